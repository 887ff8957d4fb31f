// The row pool: where blocks go, and its links and contents under random use and failing growth.
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/random.h"

#include "core/row_pool.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <span>
#include <tuple>
#include <vector>

namespace vexo::test {
namespace {

constexpr uint32_t kHeader = sizeof(PoolBlock);

const PoolBlock &At(const RowPool *pool, uint32_t offset)
{
    return *reinterpret_cast<const PoolBlock *>(reinterpret_cast<const char *>(pool) + offset);
}

// Walks both lists. Returns the blocks in use.
std::set<uint32_t> CheckLinks(const RowPool *pool)
{
    std::set<uint32_t> used, free;
    uint32_t previous = 0, end = sizeof(RowPool);
    for (uint32_t offset = end; offset; offset = At(pool, offset).next) {
        const PoolBlock &block = At(pool, offset);
        EXPECT_EQ(end, offset);
        EXPECT_EQ(previous, block.previous);
        EXPECT_EQ(0u, block.payload % 4);
        EXPECT_TRUE(block.inUse || !previous || At(pool, previous).inUse) << "two free blocks touch at " << offset;
        (block.inUse ? used : free).insert(offset);
        previous = offset;
        end = offset + kHeader + block.payload;
        if (testing::Test::HasFailure() || end > pool->size)
            break;
    }
    EXPECT_EQ(pool->size, end);
    EXPECT_EQ(0u, pool->size % kPoolStep);
    EXPECT_EQ(previous, pool->lastBlock);

    previous = 0;
    for (uint32_t offset = pool->firstFree; offset; offset = At(pool, offset).nextFree) {
        EXPECT_EQ(previous, At(pool, offset).previousFree);
        if (free.erase(offset) == 0) {
            ADD_FAILURE() << offset << " is in the free list out of turn";
            break;
        }
        previous = offset;
    }
    EXPECT_TRUE(free.empty()) << "free blocks that are not in the list";
    return used;
}

class Pool : public LibraryTest {
protected:
    Pool() : m_pool(CreateRowPool()) {}
    ~Pool() override { FreeRowPool(m_pool); }

    uint32_t Allocate(uint32_t bytes) { return AllocateBlock(m_pool, bytes); }
    uint32_t Resize(uint32_t block, uint32_t bytes) { return ResizeBlock(m_pool, block, bytes); }
    uint32_t Payload(uint32_t block) const { return At(m_pool, block).payload; }

    RowPool *m_pool;
};

TEST_F(Pool, RefusesWhatNoPoolHolds)
{
    const uint32_t block = Allocate(16348), size = m_pool->size; // a full pool
    for (const uint32_t bytes : {0xFFFFBFFCu, 0xFFFFC000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(0u, Allocate(bytes));
        EXPECT_EQ(0u, Resize(block, bytes));
    }
    EXPECT_EQ(size, m_pool->size);
}

TEST_F(Pool, KeepsContentsUnderRandomUse)
{
    Random random(3);
    std::map<uint32_t, std::vector<uint8_t>> model; // by block
    for (int round = 0; round < 6000; ++round) {
        const bool grows = round / 1000 % 2 == 0;
        const bool isNew = model.empty() || random.OneIn(grows ? 2 : 6);
        uint32_t block = 0;
        std::vector<uint8_t> bytes;
        if (!isNew) {
            const auto chosen = std::next(model.begin(), random.Below(int(model.size())));
            std::tie(block, bytes) = *chosen;
            model.erase(chosen);
            if (random.OneIn(grows ? 6 : 3)) {
                FreeBlock(m_pool, block);
                continue;
            }
        }
        const auto size = uint32_t(random.OneIn(20) ? random.Below(6000) : random.Below(300));
        const uint32_t placed = isNew ? Allocate(size) : Resize(block, size);
        ASSERT_NE(0u, placed);
        ASSERT_GE(Payload(placed), size);
        ASSERT_LE(Payload(placed), (size + 3) / 4 * 4 + kHeader);
        auto *data = static_cast<uint8_t *>(BlockData(m_pool, placed));
        const auto kept = ptrdiff_t(std::min<size_t>(bytes.size(), size));
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + kept, data));
        bytes.resize(size);
        random.Fill(bytes.data(), size);
        std::ranges::copy(bytes, data);
        ASSERT_TRUE(model.emplace(placed, bytes).second);

        const std::set<uint32_t> used = CheckLinks(m_pool);
        ASSERT_FALSE(HasFailure()) << "round " << round;
        ASSERT_TRUE(std::ranges::equal(used, model, {}, {}, [](const auto &entry) { return entry.first; }));
    }
    for (const auto &[block, bytes] : model) {
        EXPECT_TRUE(
            std::ranges::equal(bytes, std::span(static_cast<uint8_t *>(BlockData(m_pool, block)), bytes.size())));
        FreeBlock(m_pool, block);
    }
    EXPECT_TRUE(CheckLinks(m_pool).empty());
}

TEST_F(Pool, StaysAsItWasWhenItCannotGrow)
{
    const uint32_t block = Allocate(1000);
    Allocate(14000);
    for (const bool resizes : {false, true})
        ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
            const auto *bytes = reinterpret_cast<const char *>(m_pool);
            const std::vector<char> before(bytes, bytes + m_pool->size);
            const uint32_t placed = faults.Run([&] { return resizes ? Resize(block, 20000) : Allocate(5000); });
            EXPECT_EQ(faults.struck(), placed == 0);
            CheckLinks(m_pool);
            if (!placed)
                EXPECT_EQ(1000u, Payload(block));
            if (!placed && !resizes)
                EXPECT_EQ(0, memcmp(before.data(), m_pool, before.size()));
        });
}

} // namespace
} // namespace vexo::test
