// Colour reduction in place: what becomes of pixels, palettes and attributes, and that a refused, failed or cancelled
// call changes nothing.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"

#include <vector>

namespace vexo::test {

namespace {

class ColorRes : public LibraryTest {
protected:
    ~ColorRes() override { V_SetStatusCallBack(nullptr); }
};

std::vector<int> percentages;
int stopAt = 1000;

int VEXO_CALL Record(int percent)
{
    percentages.push_back(percent);
    return percent >= stopAt ? -77 : RESULT_SUCCESS;
}

} // namespace

TEST_F(ColorRes, PixelsAreThoseOfTheBufferConversion)
{
    Random random(41);
    for (const int from : kAllDepths)
        for (const int to : kAllDepths) {
            const StorageKind kind = StorageKinds(from)[size_t(random.Below(int(StorageKinds(from).size())))];
            const StorageScope scope(kind);
            const Image image = Image::Random(random, random.Between(1, 70), random.Between(1, 6), from);
            TestBitmap bitmap(kind, image, {random.Below(2), random.Below(2) * 2, {}});
            bitmap->AnimDelay = 70;
            bitmap->AnimTransparent = RGB(255, 255, 255);
            const BitmapHandle before = *bitmap.get();
            ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), to, COLORRES_ORDER_BGR, nullptr, 0));
            EXPECT_EQ(to, bitmap->BitsPerPixel);
            EXPECT_EQ(before.Orientation, bitmap->Orientation);
            EXPECT_EQ(70u, bitmap->AnimDelay);
            EXPECT_EQ(to > 8 ? RGB(255, 255, 255) : COLOR_INDEX((1 << to) - 1), bitmap->AnimTransparent);
            EXPECT_EQ(to > 8 ? COLOR_ORDER_BGR : 0, bitmap->ColorOrder);
            const Image result = Load(bitmap.get());
            for (int y = 0; y < image.height; ++y) {
                std::vector<uint8_t> row = image.PackedRow(y);
                row.resize(V_CalcConvertSize(image.width, from, image.width, to));
                ASSERT_EQ(RESULT_SUCCESS, V_ConvertBuffer(row.data(), image.width, from, to, before.ColorOrder,
                                                          COLOR_ORDER_BGR, nullptr, nullptr));
                for (int x = 0; x < image.width; ++x)
                    ASSERT_EQ(PixelOf(row.data(), size_t(x), to), result.At(y, x)) << from << " to " << to;
            }
        }
}

TEST_F(ColorRes, OwnPaletteKeepsIndicesAndOtherPalettesAreTheNamedOnes)
{
    Random random(42);
    const Image image = Image::Random(random, 20, 3, 3);
    const std::vector<RGBQUAD> own = RandomPalette(random, 8);
    TestBitmap bitmap(StorageKind::PageFile, image, {.palette = own});
    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), 4, COLORRES_OWN_PALETTE, nullptr, 0));
    EXPECT_EQ(image.pixels, Load(bitmap.get()).pixels);
    RGBQUAD colors[256];
    ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapColors(bitmap.get(), 0, 16, colors));
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(i < 8 ? own[size_t(i)].rgbRed : 0, colors[i].rgbRed);

    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), 8, COLORRES_GRAY_PALETTE, nullptr, 0));
    EXPECT_EQ(GRAYSCALE_BLACK_FIRST, V_IsGrayScaleBitmap(bitmap.get()));
    const RGBQUAD pair[2] = {{0, 0, 200, 0}, {200, 0, 0, 0}};
    ASSERT_EQ(RESULT_SUCCESS, V_ColorResBitmap(bitmap.get(), 1, COLORRES_CALLER_PALETTE, pair, 2));
    EXPECT_EQ(1, V_CompareHandleToPalette(bitmap->Palette, pair, 2));
}

TEST_F(ColorRes, RefusedFailedAndStoppedCallsChangeNothing)
{
    Random random(43);
    const RGBQUAD quads[2] = {};
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 33, 40, 24));
    const BitmapSnapshot snapshot(bitmap.get());
    const auto reduce = [&](int bits, unsigned flags, const RGBQUAD *colors, int count) {
        return V_ColorResBitmap(bitmap.get(), bits, flags, colors, count);
    };
    EXPECT_EQ(ERR_BAD_BITS_PER_PIXEL, reduce(9, 0, nullptr, 0));
    EXPECT_EQ(ERR_INV_PARAMETER, reduce(8, COLORRES_FIXED_PALETTE | COLORRES_GRAY_PALETTE, nullptr, 0));
    EXPECT_EQ(ERR_INV_PARAMETER, reduce(8, 0x8000, nullptr, 0));
    EXPECT_EQ(ERR_INV_PARAMETER, reduce(8, COLORRES_OWN_PALETTE, nullptr, 0));
    EXPECT_EQ(ERR_INV_PARAMETER, reduce(8, COLORRES_CALLER_PALETTE, nullptr, 2));
    EXPECT_EQ(ERR_INV_PARAMETER, reduce(1, COLORRES_CALLER_PALETTE, quads, 3));
    EXPECT_EQ(ERR_NO_BITMAP, V_ColorResBitmap(nullptr, 8, 0, nullptr, 0));

    V_SetStatusCallBack(Record);
    for (const int stop : {0, 50, 100}) {
        stopAt = stop;
        percentages.clear();
        EXPECT_EQ(-77, reduce(8, 0, nullptr, 0));
        EXPECT_EQ(0, percentages.front());
        EXPECT_GE(percentages.back(), stop);
        snapshot.ExpectUnchanged();
    }
    stopAt = 1000;
    V_SetStatusCallBack(nullptr);

    ForEachFault(kFaultAll, [](FaultInjector &faults) {
        Random again(44);
        TestBitmap victim(StorageKind::PageFile, Image::Random(again, 20, 4, 24));
        const BitmapSnapshot before(victim.get());
        const int status = faults.Run([&] { return V_ColorResBitmap(victim.get(), 8, 0, nullptr, 0); });
        if (status != RESULT_SUCCESS) {
            EXPECT_EQ(ERR_NO_MEMORY, status);
            before.ExpectUnchanged();
        }
    });

    V_SetStatusCallBack(Record);
    percentages.clear();
    EXPECT_EQ(RESULT_SUCCESS, reduce(8, 0, nullptr, 0));
    EXPECT_EQ(0, percentages.front());
    EXPECT_EQ(100, percentages.back());
}

} // namespace vexo::test
