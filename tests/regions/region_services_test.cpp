// What other folders use of regions: the builder, copies moved and scaled, mirrors, clips; and the comparison kernels
// of every processor level.
#include "regions/match_kernels.h"
#include "regions/region.h"
#include "tests/regions/masks.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

namespace vexo::test {

namespace {

class RegionServices : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

// A bitmap without storage that has a random region.
class Carrier : public TestBitmap {
public:
    Carrier(Random &random, int width, int height) : mask(RandomMask(random, width, height))
    {
        V_InitBitmap(get(), width, height, 1);
        SetMask(get(), mask);
    }
    Image mask;
};

template <class Source>
Image Made(int width, int height, Source &&source)
{
    Image image(width, height, 1);
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x)
            image.At(row, x) = source(row, x);
    return image;
}

} // namespace

TEST_F(RegionServices, TheBuilderJoinsAndCloses)
{
    TestBitmap bitmap;
    V_InitBitmap(bitmap.get(), 30, 9, 1);
    RegionBuilder builder(1, 8);
    builder.EndRow(); // dropped from the top
    builder.Add(3, 5);
    builder.Add(5, 5);
    builder.Add(5, 9); // joined
    builder.Add(12, 13);
    builder.EndRow();
    builder.RepeatRows(1);
    builder.SkipTo(6);
    builder.Add(2, 7);
    builder.Add(3, 4);
    builder.EndRow();
    builder.EndRow(); // dropped from the bottom
    bitmap->Region = builder.Finish();
    ASSERT_TRUE(bitmap->Region);
    EXPECT_EQ(5u * sizeof(RegionRow), bitmap->Region->RowTableSize);
    EXPECT_EQ(Made(30, 9,
                   [](int row, int x) {
                       return row == 2 || row == 3 ? (x >= 3 && x < 9) || x == 12 : row == 6 && x >= 2 && x < 7;
                   }),
              MaskOf(bitmap.get()));
}

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

TEST_F(RegionServices, CopiesAndChanges)
{
    Random random(80);
    for (int round = 0; round < 200; ++round) {
        const int width = random.Between(1, 40), height = random.Between(1, 12);
        Carrier source(random, width, height);
        const Image &mask = source.mask;
        const auto at = [&](int row, int x) {
            return row >= 0 && row < height && x >= 0 && x < width ? mask.At(row, x) : 0;
        };
        const int newWidth = random.Between(1, 60), newHeight = random.Between(1, 20);
        Carrier target(random, newWidth, newHeight);
        const int dx = random.Between(-20, 20), dy = random.Between(-9, 9);
        ASSERT_EQ(RESULT_SUCCESS, CopyRegionMoved(target.get(), source.get(), dx, dy));
        ASSERT_EQ(Made(newWidth, newHeight, [&](int row, int x) { return at(row - dy, x - dx); }),
                  MaskOf(target.get()));

        // A pixel fills what lies up to its neighbour's place.
        ASSERT_EQ(RESULT_SUCCESS, CopyRegionScaled(target.get(), source.get()));
        Image scaled(newWidth, newHeight, 1);
        for (int row = 0; row < height; ++row)
            for (int x = 0; x < width; ++x)
                for (int y = row * newHeight / height; y < (row + 1) * newHeight / height; ++y)
                    for (int c = x * newWidth / width; c < (x + 1) * newWidth / width; ++c)
                        scaled.At(y, c) = mask.At(row, x);
        ASSERT_EQ(scaled, MaskOf(target.get()));

        FlipRegion(*source->Region, height);
        ASSERT_EQ(Made(width, height, [&](int row, int x) { return at(height - 1 - row, x); }), MaskOf(source.get()));
        const int cut = random.Between(0, height);
        BitmapRegion *flipped = DupRegion(*source->Region);
        CutRegion(*flipped, cut); // rows are stored from the last to the first now
        ReplaceRegion(source.get(), flipped);
        ASSERT_EQ(Made(width, height, [&](int row, int x) { return row < cut ? at(height - 1 - row, x) : 0; }),
                  MaskOf(source.get()));
        ReverseRegion(*source->Region, width);
        const auto turned = [&](int row, int x) { return row < cut ? at(height - 1 - row, width - 1 - x) : 0; };
        ASSERT_EQ(Made(width, height, turned), MaskOf(source.get()));
        const RECT rect = {random.Below(width), random.Below(height), random.Between(1, width),
                           random.Between(1, height)};
        ASSERT_EQ(RESULT_SUCCESS, ClipRegion(*source->Region, rect));
        const auto clipped = [&](int row, int x) {
            return row >= rect.top && row < rect.bottom && x >= rect.left && x < rect.right ? turned(row, x) : 0;
        };
        ASSERT_EQ(Made(width, height, clipped), MaskOf(source.get()));
        for (int row = 0; row < height; ++row) {
            const int left = random.Between(-2, width), right = random.Between(-2, width + 2);
            ForEachSegment(source.get(), row, left, right, [&](int start, int end) {
                EXPECT_TRUE(start >= left && end <= right && start < end);
                for (int x = start; x < end; ++x)
                    EXPECT_TRUE(clipped(row, x));
            });
        }
    }
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
