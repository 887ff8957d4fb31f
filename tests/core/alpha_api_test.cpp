// Alpha out of and into bitmaps against plain images: every depth and storage, differing sizes and orientations, and
// calls that fail or are stopped.
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

#include <algorithm>

namespace vexo::test {

namespace {

class Alpha : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

std::vector<RGBQUAD> Grays()
{
    std::vector<RGBQUAD> grays;
    for (int i = 0; i < 256; ++i)
        grays.push_back({BYTE(i), BYTE(i), BYTE(i), 0});
    return grays;
}

uint32_t AlphaOf(uint32_t pixel, int bits) { return bits == 32 ? pixel >> 24 : bits == 16 && pixel >> 15 ? 255 : 0; }

uint32_t WithAlpha(uint32_t pixel, int bits, uint32_t level)
{
    return bits == 32 ? (pixel & 0xFFFFFF) | level << 24 : (pixel & 0x7FFF) | (level & 0x80) << 8;
}

int StoredRowOf(int orientation, int height, int y) { return orientation == ORIENT_BOTTOM_UP ? height - 1 - y : y; }

// What applying levels to a bitmap gives, both laid on each other at the top left.
Image Apply(Image image, int orientation, const Image &levels, int levelsOrientation)
{
    for (int y = 0; y < std::min(image.height, levels.height); ++y)
        for (int x = 0; x < std::min(image.width, levels.width); ++x) {
            uint32_t &pixel = image.At(StoredRowOf(orientation, image.height, y), x);
            const uint32_t level = levels.At(StoredRowOf(levelsOrientation, levels.height, y), x);
            pixel = WithAlpha(pixel, image.bits, level);
        }
    return image;
}

// The gray levels of any bitmap.
Image GrayLevels(BitmapHandle *bitmap)
{
    TestBitmap copy;
    EXPECT_EQ(RESULT_SUCCESS, V_CopyBitmap(copy.get(), bitmap));
    EXPECT_EQ(RESULT_SUCCESS, V_GrayScaleBitmap(copy.get()));
    return Load(copy.get());
}

} // namespace

TEST_F(Alpha, ExtractedIsAGrayBitmapOfTheSameRows)
{
    Random random(61);
    ForEachVariant(random, 2, [&](const Variant &variant) {
        const Image image = Image::Random(random, random.Between(1, 150), random.Between(1, 9), variant.bits);
        TestBitmap source(variant.kind, image, variant.options), alpha;
        source->XResolution = 72;
        SetRandomRegion(source.get(), random);
        const Image mask = MaskOf(source.get());
        const BitmapSnapshot before(source.get());
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapAlpha(source.get(), alpha.get()));
        before.ExpectUnchanged();
        Image expected(image.width, image.height, 8);
        std::ranges::transform(image.pixels, expected.pixels.begin(),
                               [&](uint32_t pixel) { return AlphaOf(pixel, variant.bits); });
        EXPECT_EQ(expected, Load(alpha.get()));
        EXPECT_EQ(mask, MaskOf(alpha.get()));
        EXPECT_EQ(GRAYSCALE_BLACK_FIRST, V_IsGrayScaleBitmap(alpha.get()));
        EXPECT_EQ(256, V_GetPaletteSize(alpha->Palette));
        EXPECT_EQ(source->Orientation, alpha->Orientation);
        EXPECT_EQ(72, alpha->XResolution);
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapAlpha(source.get(), source.get()));
        EXPECT_EQ(expected, Load(source.get()));
    });
}

// Bitmaps that have no room for it are converted to 32 bits first.
TEST_F(Alpha, AppliedIsMatchedFromTheTopLeft)
{
    Random random(62);
    ForEachVariant(random, 12, [&](const Variant &variant) {
        const int bits = variant.bits, levelBits = kAllDepths[size_t(random.Below(11))];
        SCOPED_TRACE(levelBits);
        const Image image = Image::Random(random, random.Between(1, 80), random.Between(1, 8), bits);
        const Image levels = Image::Random(random, random.Between(1, 80), random.Between(1, 8), levelBits);
        BitmapOptions options = RandomOptions(random, levelBits);
        const bool fromRamp = levelBits == 8 && random.OneIn(2);
        if (fromRamp)
            options.palette = Grays();
        const bool isPlain = variant.kind == StorageKind::PageFile || variant.kind == StorageKind::Compressed;
        const StorageKind kind = isPlain && levelBits == 1 && random.OneIn(2) ? StorageKind::Compressed
                                 : isPlain                                    ? StorageKind::PageFile
                                                                              : variant.kind;
        TestBitmap bitmap(variant.kind, image, variant.options), source(kind, levels, options), converted;
        const int order = bits > 8 ? variant.options.colorOrder : COLOR_ORDER_BGR;
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(converted.get(), bitmap.get()));
        if (bits != 16 && bits != 32)
            ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(converted.get(), 32,
                                                       order == COLOR_ORDER_BGR ? COLORRES_ORDER_BGR : 0, nullptr, 0));
        const Image gray = fromRamp ? levels : GrayLevels(source.get());
        const BitmapSnapshot before(source.get());
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapAlpha(bitmap.get(), source.get()));
        EXPECT_EQ(Apply(Load(converted.get()), variant.options.orientation, gray, options.orientation),
                  Load(bitmap.get()));
        EXPECT_EQ(order, bitmap->ColorOrder);
        before.ExpectUnchanged();
    });
}

// Two stages report: the source is turned to gray, the bitmap is converted.
TEST_F(Alpha, StoppedCallsChangeNothing)
{
    Random random(65);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 30, 6, 24));
    TestBitmap source(StorageKind::PageFile, Image::Random(random, 30, 6, 8));
    const BitmapSnapshot before(bitmap.get());
    for (int stop = 0; stop < 8; ++stop) {
        const StatusRecorder recorder(stop);
        EXPECT_EQ(StatusRecorder::kStopped, V_SetBitmapAlpha(bitmap.get(), source.get()));
        before.ExpectUnchanged();
    }
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapAlpha(bitmap.get(), nullptr));
}

} // namespace vexo::test
