// Capture of the real screen, DDBs for it and paints on it. A display is needed, of 24 bits or of 8 with a palette;
// `./dev test` runs these under one of each.
#include "tests/support/library_test.h"
#include "tests/support/paint_model.h"

namespace vexo::test {

namespace {

// Shows a message loop's worth of messages for a while, so that what was drawn reaches the screen.
void Settle()
{
    for (int i = 0; i < 40; ++i) {
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageA(&message);
        Sleep(10);
    }
}

bool CanReadScreen()
{
    const HDC screen = GetDC(nullptr);
    const bool canRead = GetPixel(screen, 0, 0) != CLR_INVALID;
    ReleaseDC(nullptr, screen);
    return canRead;
}

// What the system sets up with the first window stays.
HWND MakeWindow()
{
    return CreateWindowExA(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, "STATIC", "", WS_POPUP | WS_VISIBLE, 40, 30, 64, 48,
                           nullptr, nullptr, nullptr, nullptr);
}

class Screen : public LibraryTest {
protected:
    static void SetUpTestSuite()
    {
        s_canRead = CanReadScreen();
        if (s_canRead) {
            s_window = MakeWindow();
            Settle();
        }
    }
    static void TearDownTestSuite()
    {
        if (s_window)
            DestroyWindow(s_window);
    }
    void SetUp() override
    {
        if (!s_canRead)
            GTEST_SKIP() << "there is no display whose pixels can be read";
    }

    static inline bool s_canRead;
    static inline HWND s_window;
};

// The 16 colours every device of 4 or more bits has.
COLORREF SafeColor(int i)
{
    const RGBQUAD &color = V_IntGetFixedPalette(4)[i % 16];
    return RGB(color.rgbRed, color.rgbGreen, color.rgbBlue);
}

} // namespace

TEST_F(Screen, CapturesWhatAWindowShows)
{
    const HDC window = GetDC(s_window);
    std::vector<COLORREF> drawn;
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) {
            const COLORREF color = SafeColor(x / 5 + y / 3 * 7);
            SetPixel(window, x, y, color);
            drawn.push_back(color);
        }
    GdiFlush();
    Settle();
    const HDC screen = GetDC(nullptr);
    for (const bool fromScreen : {true, false}) {
        const int dx = fromScreen ? 40 : 0, dy = fromScreen ? 30 : 0;
        for (const RECT &rect : {RECT{dx, dy, dx + 64, dy + 48}, RECT{dx, dy + 48, dx + 64, dy}}) {
            TestBitmap captured;
            ASSERT_EQ(RESULT_SUCCESS, V_ScreenCaptureBitmap(fromScreen ? screen : window, captured.get(), &rect));
            EXPECT_EQ(GetDeviceCaps(screen, BITSPIXEL) == 8 ? 8 : 24, captured->BitsPerPixel);
            EXPECT_EQ(drawn, ColorsFromTop(captured.get())) << (fromScreen ? "screen" : "window");
        }
    }
    ReleaseDC(nullptr, screen);
    ReleaseDC(s_window, window);
}

TEST_F(Screen, DdbsShowThePicture)
{
    Random random(81);
    const HDC screen = GetDC(nullptr);
    const bool hasPalette = (GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) != 0;
    // Some systems give DDBs of palette displays fixed colours, whatever palette is selected.
    const int tolerance = hasPalette ? 0x40 : 0;
    for (const int bits : {1, 4, 7, 8, 24}) {
        if (hasPalette && bits == 24)
            continue; // dithered
        BitmapOptions options;
        if (bits <= 8)
            options.palette = RandomPalette(random, 1 << bits);
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 37, 11, bits), options);
        const HPALETTE palette = V_CreatePaintPalette(screen, bitmap.get());
        TestBitmap back;
        ASSERT_EQ(RESULT_SUCCESS, V_ChangeFromDDB(screen, back.get(), V_ConvertToDDB(screen, bitmap.get()), palette));
        EXPECT_EQ(GetDeviceCaps(screen, BITSPIXEL) == 8 ? 8 : 24, back->BitsPerPixel);
        const std::vector<COLORREF> colors = ColorsFromTop(bitmap.get()), after = ColorsFromTop(back.get());
        ASSERT_EQ(colors.size(), after.size());
        for (size_t i = 0; i < colors.size(); ++i)
            for (const int channel : {0, 8, 16})
                ASSERT_NEAR(int(colors[i] >> channel & 255), int(after[i] >> channel & 255), tolerance)
                    << bits << " bits, pixel " << i;
    }
    ReleaseDC(nullptr, screen);
}

// ---- Painting on a screen with a palette -------------------------------------------------------------------------

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
        const std::vector<COLORREF> shown = Show(bitmap.get(), 32, 32);
        for (const int shift : {0, 8, 16}) {
            int sum = 0;
            for (const COLORREF c : shown)
                sum += c >> shift & 255;
            // The system keeps 20 of the 256 places for itself, so some colours are their neighbours.
            EXPECT_NEAR(int(color >> (16 - shift) & 255), sum / 1024, 16);
        }
    }
}

} // namespace vexo::test
