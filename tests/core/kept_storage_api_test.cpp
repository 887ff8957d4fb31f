// Storage that a thread keeps after bitmaps are freed: how much, for how long, and that nothing of what it held shows
// in the bitmaps made of it.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"

#include "vexokit.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <span>

namespace vexo::test {

namespace {

constexpr int kMegabyte = 1 << 20;

class KeptStorage : public LibraryTest {
protected:
    KeptStorage() : m_start(Holdings::Now().views.size()) { V_SetStorageCaching(1); }

    // Views that are open beside those of before the test.
    size_t OpenViews() const { return Holdings::Now().views.size() - m_start; }

private:
    const size_t m_start;
};

// An 8-bit bitmap of some bytes; a divisor of them is the height.
BitmapHandle OfBytes(unsigned bytes, int height = 1)
{
    BitmapHandle record;
    V_InitBitmap(&record, int(bytes) / height, height, 8);
    EXPECT_EQ(RESULT_SUCCESS, V_AllocateBitmap(&record, STORAGE_MEMORY));
    EXPECT_EQ(bytes, record.Size);
    return record;
}

void FreeFullOf(uint8_t byte, BitmapHandle record)
{
    memset(record.Data, byte, record.Size);
    V_FreeBitmap(&record);
}

void AllocateAndFree(unsigned bytes)
{
    BitmapHandle record = OfBytes(bytes);
    V_FreeBitmap(&record);
}

std::span<const uint8_t> BytesOf(const BitmapHandle &record)
{
    return {static_cast<const uint8_t *>(record.Data), record.Size};
}

bool IsZero(const BitmapHandle &record)
{
    return std::ranges::all_of(BytesOf(record), [](uint8_t byte) { return byte == 0; });
}

} // namespace

TEST_F(KeptStorage, ServesAgainAsZeros)
{
    BitmapHandle first = OfBytes(kMegabyte);
    const void *const place = first.Data;
    FreeFullOf(0xFF, first);
    BitmapHandle smaller = OfBytes(kMegabyte * 3 / 4);
    EXPECT_EQ(place, smaller.Data);
    EXPECT_TRUE(IsZero(smaller));
    FreeFullOf(0xFF, smaller); // as large as it was at first
    BitmapHandle whole = OfBytes(kMegabyte, 1024);
    EXPECT_EQ(place, whole.Data);
    EXPECT_TRUE(IsZero(whole));

    FreeFullOf(0xFF, OfBytes(2 * kMegabyte));
    ASSERT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(&whole, 2000));
    EXPECT_EQ(1024u * 2000, whole.Size);
    EXPECT_TRUE(IsZero(whole));
    V_FreeBitmap(&whole);
    EXPECT_LE(OpenViews(), 2u);
}

TEST_F(KeptStorage, KeepsWithinItsBounds)
{
    AllocateAndFree(kMegabyte / 4 - 4096);
    AllocateAndFree(130 * kMegabyte);
    EXPECT_EQ(0u, OpenViews());
    AllocateAndFree(kMegabyte / 4);
    AllocateAndFree(kMegabyte);
    AllocateAndFree(2 * kMegabyte);
    EXPECT_EQ(2u, OpenViews());
    BitmapHandle other = OfBytes(kMegabyte * 3 / 4 - 4096); // a quarter of the kept ones would be wasted
    EXPECT_EQ(3u, OpenViews());
    V_FreeBitmap(&other);
    EXPECT_EQ(2u, OpenViews());
    AllocateAndFree(60 * kMegabyte);
    AllocateAndFree(100 * kMegabyte);
    EXPECT_EQ(1u, OpenViews());
    AllocateAndFree(4 * kMegabyte);
    EXPECT_EQ(2u, OpenViews());

    RunOnNewThread([&] { AllocateAndFree(4 * kMegabyte); }); // chooses nothing, so keeps nothing
    EXPECT_EQ(2u, OpenViews());
    EXPECT_EQ(1, V_SetStorageCaching(0));
    EXPECT_EQ(0u, OpenViews());
    AllocateAndFree(4 * kMegabyte);
    EXPECT_EQ(0u, OpenViews());
}

TEST_F(KeptStorage, ServesOneBitmapAtATime)
{
    BitmapHandle first = OfBytes(kMegabyte), copy;
    V_CopyBitmapHandle(&copy, &first);
    V_FreeBitmap(&first);
    V_FreeBitmap(&copy); // which a caller should not do
    BitmapHandle second = OfBytes(kMegabyte), third = OfBytes(kMegabyte);
    EXPECT_NE(second.Data, third.Data);
    V_FreeBitmap(&second);
    V_FreeBitmap(&third);
}

TEST_F(KeptStorage, ServesWithTheSmallestThatFits)
{
    BitmapHandle large = OfBytes(kMegabyte * 9 / 8), small = OfBytes(kMegabyte);
    V_FreeBitmap(&small);
    V_FreeBitmap(&large);
    BitmapHandle record = OfBytes(kMegabyte);
    EXPECT_EQ(small.Data, record.Data);
    V_FreeBitmap(&record);
}

TEST_F(KeptStorage, BelongsToTheThreadThatFreed)
{
    BitmapHandle record = OfBytes(kMegabyte);
    RunOnNewThread([&] {
        V_SetStorageCaching(1);
        V_FreeBitmap(&record);
        EXPECT_EQ(1u, OpenViews());
        BitmapHandle again = OfBytes(kMegabyte);
        EXPECT_EQ(record.Data, again.Data);
        V_FreeBitmap(&again);
    });
    EXPECT_EQ(0u, OpenViews()); // ended with the thread
}

TEST_F(KeptStorage, IsGivenBackBeforeAnythingIsRefused)
{
    const auto expect = [&](unsigned kind, auto acquire) {
        for (const bool keeps : {true, false}) {
            if (keeps)
                AllocateAndFree(kMegabyte);
            FaultInjector faults(kind, 1);
            EXPECT_EQ(keeps, faults.Run(acquire));
            EXPECT_EQ(0u, OpenViews());
        }
    };
    expect(kFaultMappings, [] {
        BitmapHandle record;
        V_InitBitmap(&record, 100, 100, 8);
        const int status = V_AllocateBitmap(&record, STORAGE_MEMORY);
        V_FreeBitmap(&record);
        return status == RESULT_SUCCESS;
    });
    void *block = nullptr;
    const auto allocate = [&] {
        V_OsFree(block);
        return (block = V_OsAlloc(100)) != nullptr;
    };
    expect(kFaultMemory, allocate);
    allocate();
    AllocateAndFree(kMegabyte);
    FaultInjector growth(kFaultMemory, 1);
    block = growth.Run([&] { return V_OsReAlloc(block, 200); });
    EXPECT_NE(nullptr, block);
    EXPECT_EQ(0u, OpenViews());
    V_OsFree(block);
}

// Each operation makes the same bytes, padding included, in storage that was full of something else.
TEST_F(KeptStorage, OperationsLeaveNoneOfItsBytes)
{
    const auto copy = [](BitmapHandle *bitmap) {
        BitmapHandle made = {};
        const int status = V_CopyBitmap(&made, bitmap);
        V_FreeBitmap(bitmap);
        *bitmap = made;
        return status;
    };
    const std::vector<int> several = {1, 3, 8, 24};
    const struct {
        const char *name;
        std::vector<int> depths;
        std::function<int(BitmapHandle *)> run;
    } operations[] = {
        {"alpha", {16, 24, 32}, [](auto *b) { return V_GetBitmapAlpha(b, b); }},
        {"rectangle", {8}, [](auto *b) { return V_CopyBitmapRect(b, b, -3, -5, 1900, 901); }},
        {"gray", {24}, V_GrayScaleBitmap},
        {"halftone", {24}, [](auto *b) { return V_HalfToneBitmap(b, 0); }},
        {"to 1 bit", {24}, [](auto *b) { return V_ColorResBitmap(b, 1, 0, nullptr, 0); }},
        {"to 4 bits", {24}, [](auto *b) { return V_ColorResBitmap(b, 4, 0, nullptr, 0); }},
        {"to 32 bits", {8}, [](auto *b) { return V_ColorResBitmap(b, 32, 0, nullptr, 0); }},
        {"copy", several, copy},
        {"size", several, [](auto *b) { return V_SizeBitmap(b, 2101, 1003); }},
        {"resample", several, [](auto *b) { return V_ResampleBitmap(b, 2101, 1003); }},
        {"quarter turn", several, [](auto *b) { return V_RotateBitmapFine(b, 9000, 1, 0); }},
        {"rotation", several, [](auto *b) { return V_RotateBitmapFine(b, 1500, 1, 0); }},
        {"shear across", several, [](auto *b) { return V_ShearBitmap(b, 1000, 1, 0); }},
        {"shear down", several, [](auto *b) { return V_ShearBitmap(b, 1000, 0, 0); }},
    };
    Random random(40);
    for (const auto &operation : operations)
        for (const int bits : operation.depths) {
            SCOPED_TRACE(testing::Message() << operation.name << ", " << bits << " bits");
            // Every result is large enough to be kept.
            TestBitmap first(StorageKind::PageFile, 1861, 1143, bits), second;
            random.Fill(first->Data, first->Size);
            V_CopyBitmap(second.get(), first.get());
            V_SetStorageCaching(0);
            ASSERT_EQ(RESULT_SUCCESS, operation.run(first.get()));
            V_SetStorageCaching(1);
            BitmapHandle rubbish = OfBytes(first->Size, first->Height);
            const void *const place = rubbish.Data;
            FreeFullOf(0xA5, rubbish);
            ASSERT_EQ(RESULT_SUCCESS, operation.run(second.get()));
            EXPECT_EQ(place, second->Data);
            EXPECT_TRUE(std::ranges::equal(BytesOf(*first.get()), BytesOf(*second.get())));
        }
}

} // namespace vexo::test
