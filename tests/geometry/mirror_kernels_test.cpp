// The mirroring kernels of every processor level against the plain ones, on rows that end at unreadable pages.
#include "geometry/mirror_kernels.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/random.h"

#include <algorithm>

namespace vexo::test {

namespace {

class MirrorKernelsTest : public LibraryTest {
protected:
    ~MirrorKernelsTest() override { SelectMirrorKernels(DetectCpuLevel()); }
};

// Runs one kernel of both tables on equal rows and compares what becomes of them.
template <class Kernel>
void Compare(Random &random, size_t bytes, Kernel &&kernel)
{
    GuardedBuffer row(bytes), other(bytes), expectedRow(bytes), expectedOther(bytes);
    random.Fill(row.data(), bytes);
    random.Fill(other.data(), bytes);
    std::ranges::copy(row.span(), expectedRow.data());
    std::ranges::copy(other.span(), expectedOther.data());
    kernel(plainMirrorKernels, expectedRow.data(), expectedOther.data(), bytes);
    kernel(mirrorKernels, row.data(), other.data(), bytes);
    ASSERT_TRUE(std::ranges::equal(expectedRow.span(), row.span())) << bytes << " bytes";
    ASSERT_TRUE(std::ranges::equal(expectedOther.span(), other.span())) << bytes << " bytes";
}

} // namespace

TEST_F(MirrorKernelsTest, EveryLevelGivesThePlainResult)
{
    constexpr size_t kUnitBytes[kMirrorUnitCount] = {1, 1, 1, 1, 2, 3, 4};
    Random random(63);
    for (int level = 1; level <= int(DetectCpuLevel()); ++level) {
        SelectMirrorKernels(CpuLevel(level));
        for (size_t count = 0; count < 140 && !HasFatalFailure(); ++count) {
            for (int unit = 0; unit < kMirrorUnitCount; ++unit) {
                SCOPED_TRACE(unit);
                Compare(random, count * kUnitBytes[unit],
                        [&](const MirrorKernels &k, uint8_t *row, uint8_t *other, size_t n) {
                            k.units[unit].reverse(row, n);
                            k.units[unit].exchangeReversed(row, other, n);
                        });
            }
            Compare(random, count, [](const MirrorKernels &k, uint8_t *row, uint8_t *other, size_t n) {
                k.exchange(row, other, n);
                for (int bits = 1; bits < 8; ++bits)
                    k.shiftBits(row, n, bits);
            });
        }
    }
}

} // namespace vexo::test
