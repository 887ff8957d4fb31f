// The builder of regions, and the comparison kernels of every processor level.
#include "regions/match_kernels.h"
#include "regions/region.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
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

// ---- Kernels --------------------------------------------------------------------------------------------------

TEST_F(RegionServices, MatchKernelsOfEveryLevel)
{
    Random random(81);
    const CpuLevel highest = DetectCpuLevel();
    for (CpuLevel level = CpuLevel::Baseline; level <= highest; level = CpuLevel(int(level) + 1)) {
        SelectMatchKernels(level);
        using Kernel = void (*MatchKernels::*)(uint32_t *, const uint8_t *, size_t, uint32_t);
        const Kernel kernels[] = {&MatchKernels::match8, &MatchKernels::match16, &MatchKernels::match24,
                                  &MatchKernels::match32};
        for (int bytes = 1; bytes <= 4; ++bytes) {
            const Kernel kernel = kernels[bytes - 1];
            const uint32_t significant = bytes == 1 ? 0xFF : bytes == 2 ? 0x7FFF : 0xFFFFFF;
            for (size_t count = 0; count < 200; ++count) {
                GuardedBuffer pixels(count * size_t(bytes));
                const uint32_t key = uint32_t(random.Next()) & significant;
                const auto *keyBytes = reinterpret_cast<const uint8_t *>(&key);
                for (size_t i = 0; i < pixels.size(); ++i) // many bytes of the key, in their place and elsewhere
                    pixels[i] = random.OneIn(3) ? random.Byte() : keyBytes[random.OneIn(8) ? 0 : i % size_t(bytes)];
                const size_t words = (count + 31) / 32;
                std::vector<uint32_t> expected(words);
                GuardedBuffer mask(words * 4);
                (plainMatchKernels.*kernel)(expected.data(), pixels.data(), count, key);
                (matchKernels.*kernel)(mask.as<uint32_t>(), pixels.data(), count, key);
                ASSERT_EQ(0, words ? memcmp(expected.data(), mask.data(), words * 4) : 0)
                    << bytes << " bytes, " << count << " pixels, level " << int(level);
            }
        }
    }
    SelectMatchKernels(highest);
}

} // namespace vexo::test
