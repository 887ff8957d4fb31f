// Laying one bitmap under another against a model of single pixels, in the bitmap's own format; and underlays of other
// formats and sizes, which must look as their conversions.
#include "tests/geometry/turned_images.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

namespace vexo::test {

namespace {

class Underlay : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

// A pixel with another below it. `isKey`: it has the transparent colour.
uint32_t Laid(uint32_t pixel, uint32_t below, int bits, bool isKey)
{
    if (isKey)
        pixel = below;
    if (bits == 16)
        return pixel & 0x8000 ? pixel : below | 0x8000;
    if (bits != 32)
        return pixel;
    const uint32_t alpha = pixel >> 24;
    uint32_t result = 0xFF000000u;
    for (int shift = 0; shift < 24; shift += 8)
        result |= ((pixel >> shift & 255) * alpha + (below >> shift & 255) * (255 - alpha) + 127) / 255 << shift;
    return result;
}

// Tiles an image in the bitmap's format below it.
Image LaidImage(BitmapHandle *bitmap, BitmapHandle *below)
{
    const Image top = Load(bitmap), tile = Oriented(Load(below), below->Orientation), mask = MaskOf(bitmap);
    const bool hasKey = (bitmap->Flags & FLAG_TRANSPARENT) != 0;
    Image result = top;
    for (int row = 0; row < top.height; ++row)
        for (int x = 0; x < top.width; ++x) {
            const int line = bitmap->Orientation == ORIENT_BOTTOM_UP ? top.height - 1 - row : row;
            const uint32_t pixel = top.At(row, x), under = tile.At(line % tile.height, x % tile.width);
            const bool isKey = hasKey && (top.bits <= 8 ? pixel == (bitmap->AnimTransparent & 0xFF)
                                                        : V_GetPixelColor(bitmap, row, x) == bitmap->AnimTransparent);
            if (mask.At(row, x))
                result.At(row, x) = Laid(pixel, under, top.bits, isKey);
        }
    return result;
}

// Runs of few colours, one of which is the transparent one.
void MakeTransparent(BitmapHandle *bitmap, Random &random)
{
    bitmap->Flags |= FLAG_TRANSPARENT;
    const int row = random.Below(bitmap->Height), column = random.Below(bitmap->Width);
    bitmap->AnimTransparent =
        bitmap->BitsPerPixel <= 8 ? COLOR_INDEX(Load(bitmap).At(row, column)) : V_GetPixelColor(bitmap, row, column);
}

} // namespace

TEST_F(Underlay, TilesShowWhereTheBitmapIsTransparent)
{
    Random random(90);
    ForEachVariant(random, 8, [&](const Variant &variant) {
        const auto &[bits, kind, options] = variant;
        TestBitmap bitmap(kind, Image::RandomRuns(random, random.Between(1, 60), random.Between(1, 12), bits),
                          {options.colorOrder, options.orientation, {}});
        TestBitmap below(kind, Image::Random(random, random.Between(1, 70), random.Between(1, 9), bits),
                         {options.colorOrder, random.Below(2) * 2, {}});
        if (!random.OneIn(3))
            MakeTransparent(bitmap.get(), random);
        if (random.OneIn(2))
            SetRandomRegion(bitmap.get(), random);
        if (random.OneIn(2))
            SetRandomRegion(below.get(), random);
        const Image expected = LaidImage(bitmap.get(), below.get()), mask = MaskOf(bitmap.get());
        const BitmapSnapshot belowBefore(below.get());
        ASSERT_EQ(RESULT_SUCCESS, V_UnderlayBitmap(bitmap.get(), below.get(), UNDERLAY_TILE));
        ASSERT_EQ(expected, Load(bitmap.get()));
        ASSERT_EQ(mask, MaskOf(bitmap.get()));
        belowBefore.ExpectUnchanged();
    });
}

TEST_F(Underlay, OtherFormatsAndSizesAreConvertedAndStretched)
{
    Random random(91);
    for (int bits : kAllDepths)
        for (int belowBits : {1, 5, 8, 16, 24, 32})
            for (unsigned flags : {UNDERLAY_TILE, UNDERLAY_STRETCH}) {
                SCOPED_TRACE(testing::Message() << belowBits << " below " << bits << " bits, flags " << flags);
                TestBitmap bitmap(StorageKind::PageFile, Image::RandomRuns(random, 40, 9, bits),
                                  {bits > 8 ? COLOR_ORDER_RGB : 0, random.Below(2) * 2, {}});
                TestBitmap below(StorageKind::PageFile, Image::RandomRuns(random, 13, 5, belowBits));
                MakeTransparent(bitmap.get(), random);
                const BitmapSnapshot belowBefore(below.get());

                TestBitmap copy;
                ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(copy.get(), below.get()));
                const auto convert = [&] {
                    RGBQUAD colors[256] = {};
                    if (bits <= 8)
                        V_GetBitmapColors(bitmap.get(), 0, 1 << bits, colors);
                    ASSERT_EQ(RESULT_SUCCESS,
                              V_ColorResBitmap(copy.get(), bits, bits <= 8 ? COLORRES_CALLER_PALETTE : 0, colors,
                                               bits <= 8 ? 1 << bits : 0));
                };
                if (bits > 8)
                    convert();
                if (flags == UNDERLAY_STRETCH)
                    ASSERT_EQ(RESULT_SUCCESS, V_ResampleBitmap(copy.get(), 40, 9));
                if (bits <= 8 && bits != belowBits)
                    convert();
                const Image expected = LaidImage(bitmap.get(), copy.get());
                if (random.OneIn(2)) { // its colours are the fixed ones all the same
                    ::DeleteObject(bitmap->Palette);
                    bitmap->Palette = nullptr;
                }
                const StatusRecorder recorder;
                ASSERT_EQ(RESULT_SUCCESS, V_UnderlayBitmap(bitmap.get(), below.get(), flags));
                recorder.ExpectRising(0, 100);
                ASSERT_EQ(expected, Load(bitmap.get()));
                belowBefore.ExpectUnchanged();
            }
}

TEST_F(Underlay, LeavesWhatItCannotOrNeedNotChange)
{
    Random random(92);
    TestBitmap below(StorageKind::PageFile, Image::Random(random, 9, 4, 8));
    TestBitmap bitmap(StorageKind::PageFile, Image::RandomRuns(random, 30, 6, 24));
    SetRandomRegion(bitmap.get(), random);
    const BitmapSnapshot before(bitmap.get()), belowBefore(below.get());
    EXPECT_EQ(RESULT_SUCCESS, V_UnderlayBitmap(bitmap.get(), below.get(), UNDERLAY_TILE)) << "nothing is transparent";
    before.ExpectUnchanged();
    MakeTransparent(bitmap.get(), random);
    ASSERT_EQ(RESULT_SUCCESS, V_UnderlayBitmap(bitmap.get(), bitmap.get(), UNDERLAY_TILE)) << "a bitmap below itself";
    before.ExpectSamePicture();
    const StatusRecorder recorder(0);
    EXPECT_EQ(StatusRecorder::kStopped, V_UnderlayBitmap(bitmap.get(), below.get(), UNDERLAY_STRETCH));
    EXPECT_NE(nullptr, V_GetStatusCallBack());
    before.ExpectSamePicture();
    belowBefore.ExpectUnchanged();
}

} // namespace vexo::test
