// The builder of regions, and the comparison kernels of every processor level.
#include "regions/match_kernels.h"
#include "regions/region.h"
#include "tests/support/faults.h"
#include "tests/support/kernels.h"
#include "tests/support/regions.h"

namespace vexo::test {

namespace {

class RegionServices : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

} // namespace

TEST_F(RegionServices, TheBuilderRemembersThatMemoryRanOut)
{
    ForEachFault(kFaultMemory, [](FaultInjector &faults) {
        BitmapRegion *region = faults.Run([] {
            RegionBuilder builder(0, 3000);
            for (int row = 0; row < 3000; ++row) {
                for (int i = 0; i < 5; ++i)
                    builder.Add(10 * i, 10 * i + row % 9);
                builder.EndRow();
            }
            return builder.Finish();
        });
        if (!faults.struck())
            ASSERT_TRUE(region);
        if (region) // lists that cannot be made smaller stay as they are
            ExpectSoundRecord(*region);
        FreeRegion(region);
    });
}

TEST_F(RegionServices, ClipsLeaveWhatIsInside)
{
    Random random(80);
    for (int round = 0; round < 100; ++round) {
        const int width = random.Between(1, 40), height = random.Between(1, 12);
        TestBitmap bitmap;
        V_InitBitmap(bitmap.get(), width, height, 1);
        Image mask = RandomMask(random, width, height);
        SetMask(bitmap.get(), mask);
        const RECT rect = {random.Below(width), random.Below(height), random.Between(1, width),
                           random.Between(1, height)};
        ASSERT_EQ(RESULT_SUCCESS, ClipRegion(*bitmap->Region, rect));
        for (int row = 0; row < height; ++row)
            for (int x = 0; x < width; ++x)
                mask.At(row, x) &= PtInRect(&rect, {x, row}) ? 1u : 0u;
        ASSERT_EQ(mask, MaskOf(bitmap.get()));
    }
}

using MatchKernelsTest = KernelTest<SelectMatchKernels>;

TEST_F(MatchKernelsTest, EveryLevelGivesThePlainResult)
{
    using Kernel = void (*MatchKernels::*)(uint32_t *, const uint8_t *, size_t, uint32_t);
    constexpr Kernel kKernels[] = {&MatchKernels::match8, &MatchKernels::match16, &MatchKernels::match24,
                                   &MatchKernels::match32};
    Random random(81);
    ForEachLevel([&] {
        for (size_t bytes = 1; bytes <= 4; ++bytes)
            for (size_t n = 0; n < 200 && !HasFatalFailure(); ++n) {
                // Bytes of few values, which match in their place and elsewhere.
                const uint32_t key = uint32_t(random.Next()) & (bytes == 1 ? 0x01 : bytes == 2 ? 0x0101 : 0x010101);
                ExpectPlainResult(
                    random, (n + 31) / 32 * 4, n * bytes,
                    [&](bool isPlain, auto *mask, auto *pixels) {
                        const MatchKernels &kernels = isPlain ? plainMatchKernels : matchKernels;
                        (kernels.*kKernels[bytes - 1])(reinterpret_cast<uint32_t *>(mask), pixels, n, key);
                    },
                    1);
            }
    });
}

} // namespace vexo::test
