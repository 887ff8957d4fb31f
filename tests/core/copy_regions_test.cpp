// The regions of copies, of lists of copies and of alpha bitmaps against masks of single pixels, and their fate when a
// call fails.
#include "regions/region.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

namespace vexo::test {

namespace {

class CopyRegions : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

// A mask of 1-bit pixels as the bitmap's region.
void SetRegion(BitmapHandle *bitmap, const Image &mask)
{
    RegionBuilder builder(0, mask.height);
    for (int y = 0; y < mask.height; ++y) {
        for (int x = 0; x < mask.width; ++x)
            if (mask.At(y, x))
                builder.Add(x, x + 1);
        builder.EndRow();
    }
    BitmapRegion *region = builder.Finish();
    ASSERT_NE(nullptr, region);
    ReplaceRegion(bitmap, region);
}

void ExpectRegion(const Image &mask, BitmapHandle *bitmap)
{
    ASSERT_EQ(1, V_BitmapHasRgn(bitmap));
    for (int y = -1; y <= mask.height; ++y)
        for (int x = -1; x <= mask.width; ++x) {
            const bool inside = y >= 0 && y < mask.height && x >= 0 && x < mask.width && mask.At(y, x);
            ASSERT_EQ(inside, V_IsPtInBitmapRgn(bitmap, y, x) == 1) << "row " << y << ", column " << x;
        }
}

Image MovedMask(const Image &mask, int left, int top, int width, int height)
{
    Image moved(width, height, 1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (y + top >= 0 && y + top < mask.height && x + left >= 0 && x + left < mask.width)
                moved.At(y, x) = mask.At(y + top, x + left);
    return moved;
}

struct RegionBitmap {
    Image mask;
    TestBitmap bitmap;

    RegionBitmap(Random &random, int bits, int width, int height)
        : mask(Image::RandomRuns(random, width, height, 1)),
          bitmap(StorageKind::PageFile, Image::Random(random, width, height, bits))
    {
        SetRegion(bitmap.get(), mask);
    }
    BitmapHandle *get() { return bitmap.get(); }
};

} // namespace

TEST_F(CopyRegions, MoveWithTheirPixels)
{
    Random random(51);
    for (int round = 0; round < 60; ++round) {
        RegionBitmap source(random, kAllDepths[size_t(round) % kAllDepths.size()], 40, 12);
        TestBitmap copy, part, alpha;
        const int left = random.Between(-45, 45), top = random.Between(-14, 14);
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(copy.get(), source.get()));
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapRect(part.get(), source.get(), left, top, 30, 10));
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapAlpha(source.get(), alpha.get()));
        ExpectRegion(source.mask, copy.get());
        ExpectRegion(MovedMask(source.mask, left, top, 30, 10), part.get());
        ExpectRegion(source.mask, alpha.get());
        // The copies stay when the source goes, cropped in its own record here.
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapRect(source.get(), source.get(), left, top, 30, 10));
        ExpectRegion(MovedMask(source.mask, left, top, 30, 10), source.get());
        ExpectRegion(source.mask, copy.get());
    }
    // What has no region gives none.
    TestBitmap plain(StorageKind::PageFile, 8, 8, 8), copy;
    ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapRect(copy.get(), plain.get(), 20, 20, 8, 8));
    EXPECT_EQ(0, V_BitmapHasRgn(copy.get()));
}

TEST_F(CopyRegions, StayWhenAlphaIsApplied)
{
    Random random(52);
    TestBitmap levels(StorageKind::PageFile, Image::Random(random, 30, 9, 8));
    for (const int bits : {8, 16, 24, 32}) {
        RegionBitmap bitmap(random, bits, 30, 9);
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapAlpha(bitmap.get(), levels.get()));
        ExpectRegion(bitmap.mask, bitmap.get());
    }
}

TEST_F(CopyRegions, BelongToTheItemsOfAList)
{
    Random random(53);
    HGLOBAL list = nullptr, copy = nullptr;
    ASSERT_EQ(RESULT_SUCCESS, V_CreateBitmapList(&list));
    std::vector<Image> masks;
    for (int i = 0; i < 3; ++i) {
        RegionBitmap item(random, 4, 20, 8);
        ASSERT_EQ(RESULT_SUCCESS, V_InsertBitmapListItem(list, ~0u, item.get()));
        *item.get() = {};
        masks.push_back(item.mask);
    }
    ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapListItems(&copy, list, 0, 3));
    EXPECT_EQ(RESULT_SUCCESS, V_DestroyBitmapList(list));
    for (unsigned i = 0; i < 3; ++i) {
        BitmapHandle item;
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapListItem(copy, i, &item));
        ExpectRegion(masks[i], &item);
    }
    EXPECT_EQ(RESULT_SUCCESS, V_DestroyBitmapList(copy));
}

TEST_F(CopyRegions, SurviveFailures)
{
    Random random(54);
    using Operation = int (*)(BitmapHandle *, BitmapHandle *);
    for (const Operation operation : {
             Operation([](BitmapHandle *made, BitmapHandle *source) -> int { return V_CopyBitmap(made, source); }),
             Operation([](BitmapHandle *made, BitmapHandle *source) -> int {
                 return V_CopyBitmapRect(made, source, 3, 1, 9, 9);
             }),
             Operation([](BitmapHandle *made, BitmapHandle *source) -> int { return V_GetBitmapAlpha(source, made); }),
         })
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            RegionBitmap source(random, 8, 20, 8);
            TestBitmap made;
            const int status = faults.Run([&] { return operation(made.get(), source.get()); });
            if (status != RESULT_SUCCESS) {
                EXPECT_TRUE(faults.struck());
                EXPECT_EQ(ERR_NO_MEMORY, status);
            }
            EXPECT_EQ(status == RESULT_SUCCESS, V_BitmapHasRgn(made.get()) == 1);
            ExpectRegion(source.mask, source.get());
        });
}

} // namespace vexo::test
