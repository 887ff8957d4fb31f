// Painting on a screen with a palette. Only a display of 8 bits has one (an X server started with that depth);
// elsewhere the test is skipped.
#include "tests/support/library_test.h"
#include "tests/support/paint_model.h"

namespace vexo::test {

namespace {

class PaletteScreen : public LibraryTest {
protected:
    void SetUp() override
    {
        if (!(GetDeviceCaps(m_screen, RASTERCAPS) & RC_PALETTE))
            GTEST_SKIP() << "the screen has no palette";
    }
    ~PaletteScreen() override { ReleaseDC(nullptr, m_screen); }

    // Paints on the screen itself, which alone shows the palette that is realised, and returns what it shows.
    std::vector<COLORREF> Show(BitmapHandle *bitmap, int width, int height)
    {
        const HPALETTE palette = V_CreatePaintPalette(m_screen, bitmap);
        EXPECT_NE(nullptr, palette);
        const HPALETTE former = SelectPalette(m_screen, palette, FALSE);
        EXPECT_GT(RealizePalette(m_screen), 0u);
        const RECT target = {0, 0, width, height};
        EXPECT_EQ(RESULT_SUCCESS, V_PaintDC(m_screen, bitmap, nullptr, nullptr, &target, nullptr, SRCCOPY));
        std::vector<COLORREF> colors;
        for (int i = 0; i < width * height; ++i)
            colors.push_back(GetPixel(m_screen, i % width, i / width) & 0xFFFFFF);
        SelectPalette(m_screen, former, FALSE);
        DeleteObject(palette);
        return colors;
    }

    const HDC m_screen = GetDC(nullptr);
};

} // namespace

TEST_F(PaletteScreen, ShowsABitmapsOwnColours)
{
    Random random(121);
    int deviceBits = 0, path = -1;
    const Image image = Image::Random(random, 30, 20, 4);
    const BitmapOptions options = {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, RandomPalette(random, 16)};
    TestBitmap bitmap(StorageKind::PageFile, image, options);
    V_GetDitherFlags(m_screen, bitmap.get(), &deviceBits, &path);
    EXPECT_EQ(8, deviceBits);
    EXPECT_EQ(0, path);
    const PaintModel model(image, options, {{}, {}, {0, 0, 40, 30}, {}});
    const std::vector<COLORREF> colors = Show(bitmap.get(), 40, 30);
    for (int i = 0; i < 40 * 30; ++i)
        ASSERT_EQ(model.ColorOf(*model.PixelAt(i % 40, i / 40)), colors[size_t(i)]) << i;
}

// Flat areas come out as mixtures whose mean is their colour.
TEST_F(PaletteScreen, DithersDeepColoursToTheFixedPalette)
{
    Random random(122);
    for (int round = 0; round < 6; ++round) {
        const uint32_t color = uint32_t(random.Next() & 0xFFFFFF);
        Image image(32, 32, 24);
        std::fill(image.pixels.begin(), image.pixels.end(), color);
        TestBitmap bitmap(StorageKind::PageFile, image);
        int path = -1;
        V_GetDitherFlags(m_screen, bitmap.get(), nullptr, &path);
        EXPECT_EQ(2, path);
        int64_t red = 0, green = 0, blue = 0;
        for (const COLORREF shown : Show(bitmap.get(), 32, 32))
            red += GetRValue(shown), green += GetGValue(shown), blue += GetBValue(shown);
        // The system keeps 20 of the 256 places for itself, so some colours are their neighbours.
        EXPECT_NEAR(double(color >> 16 & 255), double(red) / 1024, 16);
        EXPECT_NEAR(double(color >> 8 & 255), double(green) / 1024, 16);
        EXPECT_NEAR(double(color & 255), double(blue) / 1024, 16);
    }
}

} // namespace vexo::test
