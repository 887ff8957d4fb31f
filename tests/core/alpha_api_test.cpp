// Alpha out of and into bitmaps against plain images: every depth and storage, differing sizes and orientations, and
// calls that fail or are stopped.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <algorithm>

namespace vexo::test {

namespace {

class Alpha : public LibraryTest {
protected:
    ~Alpha() override { V_SetStatusCallBack(nullptr); }

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

StorageKind RandomKind(Random &random, int bits)
{
    const std::vector<StorageKind> kinds = StorageKinds(bits);
    return kinds[size_t(random.Below(int(kinds.size())))];
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

int stopAtCall;
int VEXO_CALL StopAtCall(int) { return --stopAtCall == 0 ? -77 : RESULT_SUCCESS; }

} // namespace

TEST_F(Alpha, ExtractedIsAGrayBitmapOfTheSameRows)
{
    Random random(61);
    for (const int bits : kAllDepths)
        for (const StorageKind kind : StorageKinds(bits)) {
            SCOPED_TRACE(testing::Message() << bits << " bits, " << kind);
            const StorageScope scope(kind);
            const Image image = Image::Random(random, random.Between(1, 150), random.Between(1, 9), bits);
            TestBitmap source(kind, image, {random.Below(2), random.Below(2) * 2, {}}), alpha;
            source->XResolution = 72;
            const BitmapSnapshot before(source.get());
            ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapAlpha(source.get(), alpha.get()));
            before.ExpectUnchanged();
            Image expected(image.width, image.height, 8);
            std::ranges::transform(image.pixels, expected.pixels.begin(),
                                   [&](uint32_t pixel) { return AlphaOf(pixel, bits); });
            EXPECT_EQ(expected, Load(alpha.get()));
            EXPECT_EQ(GRAYSCALE_BLACK_FIRST, V_IsGrayScaleBitmap(alpha.get()));
            EXPECT_EQ(256, V_GetPaletteSize(alpha->Palette));
            EXPECT_EQ(source->Orientation, alpha->Orientation);
            EXPECT_EQ(72, alpha->XResolution);
            ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapAlpha(source.get(), source.get()));
            EXPECT_EQ(expected, Load(source.get()));
        }
}

TEST_F(Alpha, AppliedIsMatchedFromTheTopLeft)
{
    Random random(62);
    for (const int bits : {16, 32})
        for (const StorageKind kind : StorageKinds(bits))
            for (const int levelBits : kAllDepths)
                for (int round = 0; round < 4; ++round) {
                    const StorageScope scope(kind);
                    const bool fromRamp = levelBits == 8 && round % 2;
                    const StorageKind levelKind =
                        kind == StorageKind::PageFile && levelBits == 1 ? StorageKind::Compressed : kind;
                    const Image image = Image::Random(random, random.Between(1, 80), random.Between(1, 8), bits);
                    const Image levels = Image::Random(random, random.Between(1, 80), random.Between(1, 8), levelBits);
                    const int orientation = random.Below(2) * 2, levelOrientation = random.Below(2) * 2;
                    TestBitmap bitmap(kind, image, {random.Below(2), orientation, {}});
                    TestBitmap source(levelKind, levels,
                                      {COLOR_ORDER_BGR, levelOrientation, fromRamp ? Grays() : std::vector<RGBQUAD>()});
                    SCOPED_TRACE(testing::Message() << levelBits << " to " << bits << " bits, " << kind);
                    const BitmapSnapshot before(source.get());
                    const Image gray = fromRamp ? levels : GrayLevels(source.get());
                    ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapAlpha(bitmap.get(), source.get()));
                    ASSERT_EQ(Apply(image, orientation, gray, levelOrientation), Load(bitmap.get()));
                    before.ExpectUnchanged();
                }
}

TEST_F(Alpha, OtherDepthsBecome32Bits)
{
    Random random(63);
    for (const int bits : kAllDepths) {
        if (bits == 16 || bits == 32)
            continue;
        const StorageKind kind = RandomKind(random, bits);
        SCOPED_TRACE(testing::Message() << bits << " bits, " << kind);
        const StorageScope scope(kind);
        const Image image = Image::Random(random, 50, 7, bits), levels = Image::Random(random, 40, 9, 8);
        const int order = random.Below(2), expectedOrder = bits == 24 ? order : COLOR_ORDER_BGR;
        TestBitmap bitmap(kind, image, {order, ORIENT_BOTTOM_UP, {}}), converted;
        const StorageKind sourceKind = kind == StorageKind::Compressed ? StorageKind::PageFile : kind;
        TestBitmap source(sourceKind, levels, {COLOR_ORDER_BGR, ORIENT_TOP_DOWN, Grays()});
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(converted.get(), bitmap.get()));
        ASSERT_EQ(RESULT_SUCCESS,
                  V_ColorResBitmap(converted.get(), 32, expectedOrder == COLOR_ORDER_BGR ? COLORRES_ORDER_BGR : 0,
                                   nullptr, 0));
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapAlpha(bitmap.get(), source.get()));
        EXPECT_EQ(32, bitmap->BitsPerPixel);
        EXPECT_EQ(expectedOrder, bitmap->ColorOrder);
        EXPECT_EQ(Apply(Load(converted.get()), ORIENT_BOTTOM_UP, levels, ORIENT_TOP_DOWN), Load(bitmap.get()));
    }
}

TEST_F(Alpha, ABitmapCanBeItsOwnAlpha)
{
    Random random(64);
    for (const int bits : {1, 8, 16, 32}) {
        const Image image = Image::Random(random, 30, 5, bits);
        const std::vector<RGBQUAD> palette = bits == 8 ? Grays() : std::vector<RGBQUAD>();
        TestBitmap bitmap(StorageKind::PageFile, image, {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, palette});
        const Image gray = GrayLevels(bitmap.get());
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapAlpha(bitmap.get(), bitmap.get()));
        const Image result = Load(bitmap.get());
        for (size_t i = 0; i < gray.pixels.size(); ++i)
            ASSERT_EQ(WithAlpha(result.pixels[i], result.bits, gray.pixels[i]), result.pixels[i]);
    }
}

TEST_F(Alpha, MissingBitmapsAreRefused)
{
    TestBitmap bitmap(StorageKind::PageFile, 4, 4, 32), alpha;
    BitmapHandle empty;
    V_InitBitmap(&empty, 4, 4, 32);
    for (BitmapHandle *missing : {static_cast<BitmapHandle *>(nullptr), &empty}) {
        EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapAlpha(missing, alpha.get()));
        EXPECT_EQ(ERR_NO_BITMAP, V_SetBitmapAlpha(bitmap.get(), missing));
        EXPECT_EQ(ERR_NO_BITMAP, V_SetBitmapAlpha(missing, bitmap.get()));
    }
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapAlpha(bitmap.get(), nullptr));
}

TEST_F(Alpha, FailedAndStoppedCallsChangeNothing)
{
    Random random(65);
    for (const StorageKind kind : StorageKinds(8)) {
        SCOPED_TRACE(kind);
        const StorageScope scope(kind);
        const Image image = Image::Random(random, 30, 6, 24), deep = Image::Random(random, 30, 6, 32);
        const Image levels = Image::Random(random, 30, 6, 8);
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            TestBitmap source(kind, deep), alpha;
            const BitmapSnapshot before(source.get());
            const int status = faults.Run([&] { return V_GetBitmapAlpha(source.get(), alpha.get()); });
            before.ExpectUnchanged();
            EXPECT_EQ(status == RESULT_SUCCESS, (alpha->Flags & FLAG_ALLOCATED) != 0);
        });
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            TestBitmap bitmap(kind, image), source(kind, levels);
            const BitmapSnapshot before(bitmap.get()), sourceBefore(source.get());
            const int status = faults.Run([&] { return V_SetBitmapAlpha(bitmap.get(), source.get()); });
            if (status != RESULT_SUCCESS)
                before.ExpectUnchanged();
            sourceBefore.ExpectUnchanged();
        });
        // Two stages report: the source is turned to gray, the bitmap is converted.
        V_SetStatusCallBack(StopAtCall);
        for (int call = 1; call <= 8; ++call) {
            TestBitmap bitmap(kind, image), source(kind, levels);
            const BitmapSnapshot before(bitmap.get());
            stopAtCall = call;
            EXPECT_EQ(-77, V_SetBitmapAlpha(bitmap.get(), source.get()));
            stopAtCall = 0;
            before.ExpectUnchanged();
        }
        V_SetStatusCallBack(nullptr);
    }
}

} // namespace vexo::test
