// Gray scale and halftone in place, pixel by pixel against the colours that the bitmap showed before.
#include "tests/colour/threshold_matrices.h"
#include "tests/support/library_test.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

namespace vexo::test {

namespace {

class GrayHalftone : public LibraryTest {};

enum class Result { Gray, Clustered, Dispersed, Pair };
constexpr Result kResults[] = {Result::Gray, Result::Clustered, Result::Dispersed, Result::Pair};
constexpr RGBQUAD kPair[2] = {{90, 10, 20, 0}, {200, 255, 250, 0}};

int Replace(BitmapHandle *bitmap, Result result)
{
    switch (result) {
    case Result::Gray: return V_GrayScaleBitmap(bitmap);
    case Result::Clustered: return V_HalfToneBitmap(bitmap, HALFTONE_CLUSTERED);
    case Result::Dispersed: return V_HalfToneBitmap(bitmap, HALFTONE_DISPERSED);
    default: return V_HalfToneBitmapExt(bitmap, HALFTONE_DISPERSED, kPair, 0);
    }
}

} // namespace

TEST_F(GrayHalftone, PixelsFollowLuminanceForEveryFormat)
{
    Random random(51);
    for (const Result what : kResults)
        ForEachVariant(random, 2, [&](const Variant &variant) {
            SCOPED_TRACE(testing::Message() << "result " << int(what));
            const bool isWide = random.OneIn(4); // wider than the steps that rows are converted in
            const int width = random.Between(1, 67) + (isWide ? 1024 : 0), height = random.Between(1, 20);
            TestBitmap bitmap(variant.kind, Image::Random(random, width, height, variant.bits), variant.options);
            SetRandomRegion(bitmap.get(), random);
            bitmap->XResolution = 72;
            bitmap->AnimLeft = -3;
            bitmap->AnimTransparent = RGB(255, 255, 255);
            std::vector<int> luminances;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const COLORREF color = V_GetPixelColor(bitmap.get(), y, x);
                    luminances.push_back((5 * GetGValue(color) + 2 * GetRValue(color) + GetBValue(color) + 4) / 8);
                }
            const BitmapHandle before = *bitmap.get();
            ASSERT_EQ(RESULT_SUCCESS, Replace(bitmap.get(), what));

            EXPECT_EQ(what == Result::Gray ? 8 : 1, bitmap->BitsPerPixel);
            EXPECT_EQ(before.Orientation, bitmap->Orientation);
            EXPECT_EQ(before.Region, bitmap->Region);
            EXPECT_EQ(72, bitmap->XResolution);
            EXPECT_EQ(-3, bitmap->AnimLeft);
            if (what != Result::Pair)
                EXPECT_EQ(COLOR_INDEX(what == Result::Gray ? 255 : 1), bitmap->AnimTransparent);
            EXPECT_EQ(0u, bitmap->Flags & (FLAG_COMPRESSED | FLAG_LOCKED));
            if (what == Result::Gray)
                EXPECT_EQ(GRAYSCALE_BLACK_FIRST, V_IsGrayScaleBitmap(bitmap.get()));
            else
                EXPECT_EQ(1, V_CompareHandleToPalette(bitmap->Palette,
                                                      what == Result::Pair ? kPair : V_IntGetFixedPalette(1), 2));
            const Image result = Load(bitmap.get());
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const int luminance = luminances[size_t(y * width + x)];
                    const int expected =
                        what == Result::Gray ? luminance : luminance > Threshold(what == Result::Clustered, y, x);
                    ASSERT_EQ(uint32_t(expected), result.At(y, x)) << "row " << y << ", column " << x;
                }
        });
}

TEST_F(GrayHalftone, PalettesAreChecked)
{
    TestBitmap bitmap(StorageKind::PageFile, 9, 9, 3);
    const auto setPalette = [&](HPALETTE palette) {
        DeleteObject(bitmap->Palette);
        bitmap->Palette = palette;
    };
    setPalette(V_CreatePalette(kPair, 2));
    EXPECT_EQ(ERR_NO_BITMAP, V_GrayScaleBitmap(bitmap.get())) << "fewer entries than indices";
    setPalette(CreateHalftonePalette(nullptr));
    const StatusRecorder recorder;
    EXPECT_EQ(RESULT_SUCCESS, V_GrayScaleBitmap(bitmap.get())) << "a palette with more entries serves";
    EXPECT_EQ(10u, recorder.percentages().size()) << "0, and once a row";
    setPalette(nullptr);
    EXPECT_EQ(ERR_NO_BITMAP, V_HalfToneBitmap(bitmap.get(), HALFTONE_DISPERSED));
}

} // namespace vexo::test
