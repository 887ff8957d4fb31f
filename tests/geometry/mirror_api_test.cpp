// Flip and reverse against a model that moves pixels one by one, for all depths, storages and widths, with regions.
#include "tests/geometry/turned_images.h"
#include "tests/support/all_or_nothing.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

namespace vexo::test {

namespace {

class Mirror : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

} // namespace

TEST_F(Mirror, PixelsAndRegionsAreMirrored)
{
    Random random(60);
    for (const bool isFlip : {true, false})
        ForEachVariant(random, 10, [&](const Variant &variant) {
            const int width = random.Between(1, random.OneIn(2) ? 40 : 300);
            const Image image = Image::RandomRuns(random, width, random.Between(1, 7), variant.bits);
            TestBitmap bitmap(variant.kind, image, variant.options);
            if (random.OneIn(2))
                SetRandomRegion(bitmap.get(), random);
            const Image mask = MaskOf(bitmap.get());
            const BitmapSnapshot before(bitmap.get());
            const auto run = isFlip ? V_FlipBitmap : V_ReverseBitmap;
            ASSERT_EQ(RESULT_SUCCESS, run(bitmap.get()));
            ASSERT_EQ(isFlip ? Flipped(image) : Reversed(image), Load(bitmap.get()));
            ASSERT_EQ(isFlip ? Flipped(mask) : Reversed(mask), MaskOf(bitmap.get()));
            ASSERT_EQ(RESULT_SUCCESS, run(bitmap.get()));
            before.ExpectSamePicture();
        });
}

TEST_F(Mirror, RunsAreThoseOfTheMirroredRow)
{
    Random random(61);
    const StorageScope scope(StorageKind::Compressed);
    for (int width : {1, 2, 37, 65536, 200000}) {
        Image image = Image::RandomRuns(random, width, 6, 1);
        for (int row = 1; row < 6; ++row) // long runs, and ends of either value
            for (int x = 0; x < width; ++x)
                image.At(row, x) = uint32_t(row >> (x * 3 / width) & 1);
        TestBitmap mirrored(StorageKind::Compressed, image), expected(StorageKind::Compressed, Reversed(image));
        ASSERT_EQ(RESULT_SUCCESS, V_ReverseBitmap(mirrored.get()));
        const auto runsOf = [&](TestBitmap &bitmap, int row) {
            std::vector<WORD> runs(size_t(width) + 1);
            int count = 0;
            V_GetBitmapRowColCompressed(bitmap.get(), nullptr, runs.data(), row, 0, width, &count);
            runs.resize(size_t(count));
            return runs;
        };
        for (int row = 0; row < 6; ++row)
            EXPECT_TRUE(runsOf(expected, row) == runsOf(mirrored, row)) << width << ", row " << row;
    }
}

// Two rows that fill the first pool to the last byte and gain a run each.
TEST_F(Mirror, FullPoolsLoseNoRow)
{
    Image image(8160, 2, 1);
    for (int x = 0; x < image.width; ++x) {
        image.At(0, x) = x >= 4080;
        image.At(1, x) = uint32_t(x % 2);
    }
    ExpectAllOrNothingOnFailure({StorageKind::Compressed, image, {}, 1}, V_ReverseBitmap);
}

TEST_F(Mirror, FlatBitmapsReportBothEnds)
{
    TestBitmap bitmap(StorageKind::PageFile, 9, 1, 8);
    const StatusRecorder recorder;
    EXPECT_EQ(RESULT_SUCCESS, V_FlipBitmap(bitmap.get()));
    EXPECT_EQ((std::vector<int>{0, 100}), recorder.percentages());
}

} // namespace vexo::test
