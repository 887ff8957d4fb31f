// Which path a paint takes, as one table, and the palettes that go with the paths.
#include "tests/support/bitmaps.h"
#include "tests/support/fake_device.h"
#include "tests/support/library_test.h"

namespace vexo::test {

namespace {

class PaintChoice : public LibraryTest {
protected:
    const HDC m_dc = CreateCompatibleDC(nullptr);
    ~PaintChoice() override { DeleteDC(m_dc); }
};

enum PaletteKind { kFixed, kRandom, kWhiteFirst };

std::vector<RGBQUAD> MakePalette(PaletteKind kind, int bits)
{
    Random random{uint64_t(bits)};
    if (bits > 8 || kind == kFixed)
        return {};
    if (kind == kWhiteFirst)
        return {{255, 255, 255, 0}, {0, 0, 0, 0}};
    return RandomPalette(random, 1 << bits);
}

constexpr unsigned kD = DISPLAYMODE_DITHER, kF = DISPLAYMODE_FIXED_PALETTE;
constexpr unsigned kG = DISPLAYMODE_SCALE_TO_GRAY, kK = DISPLAYMODE_KEEP_BLACK;

// The paths on device classes 1, 4, 8 and 24.
struct Row {
    int bits;
    PaletteKind palette;
    unsigned mode;
    const char *paths;
};

constexpr Row kTable[] = {
    {1, kFixed, 0, "0000"},
    {1, kFixed, kD, "0000"},
    {1, kFixed, kF, "0000"},
    {1, kFixed, kD | kF, "0020"},
    {1, kFixed, kG, "0333"},
    {1, kFixed, kG | kD, "0333"},
    {1, kFixed, kG | kD | kF, "0333"},
    {1, kFixed, kK, "5555"},
    {1, kFixed, kK | kF, "5555"},
    {1, kFixed, kK | kD | kF, "5555"},
    {1, kFixed, kG | kK, "5333"},
    {1, kFixed, kG | kK | kD | kF, "5333"},
    {1, kWhiteFirst, kD | kF, "0020"},
    {1, kWhiteFirst, kG, "0444"},
    {1, kWhiteFirst, kK, "6666"},
    {1, kWhiteFirst, kG | kK | kD | kF, "6444"},
    {1, kRandom, 0, "0000"},
    {1, kRandom, kD | kF, "0020"},
    {1, kRandom, kG, "0000"},
    {1, kRandom, kG | kD, "0000"},
    {1, kRandom, kG | kF, "0000"},
    {1, kRandom, kG | kD | kF, "0222"},
    {1, kRandom, kK | kD, "0000"},
    {1, kRandom, kK | kD | kF, "2222"},
    {1, kRandom, kG | kK, "0000"},
    {1, kRandom, kG | kK | kD | kF, "2222"},
    {2, kFixed, 0, "1111"},
    {2, kFixed, kF, "1111"},
    {2, kFixed, kD, "2211"},
    {2, kFixed, kD | kF, "2222"},
    {3, kRandom, kF, "1111"},
    {3, kRandom, kD, "2211"},
    {3, kFixed, kD | kF, "2222"},
    {4, kFixed, kF, "0000"},
    {4, kFixed, kD, "2000"},
    {4, kFixed, kD | kF, "2020"},
    {4, kRandom, 0, "0000"},
    {4, kRandom, kF, "0000"},
    {4, kRandom, kD, "2200"},
    {4, kRandom, kD | kF, "2220"},
    {5, kFixed, kD, "2211"},
    {5, kRandom, kD | kF, "2222"},
    {6, kRandom, 0, "1111"},
    {6, kFixed, kD | kF, "2222"},
    {7, kFixed, kD, "2211"},
    {7, kRandom, kD | kF, "2222"},
    {8, kFixed, kF, "0000"},
    {8, kFixed, kD, "2200"},
    {8, kFixed, kD | kF, "2200"},
    {8, kRandom, 0, "0000"},
    {8, kRandom, kD, "2200"},
    {8, kRandom, kD | kF, "2220"},
    {16, kFixed, kF, "1111"},
    {16, kFixed, kD, "2221"},
    {16, kFixed, kD | kF, "2221"},
    {24, kFixed, kF, "0000"},
    {24, kFixed, kD, "2220"},
    {24, kFixed, kD | kF, "2220"},
    {32, kFixed, 0, "1111"},
    {32, kFixed, kD, "2221"},
};

// Bits of the display mode that must not count for the path.
constexpr unsigned kOtherBits =
    DISPLAYMODE_BIT0 | DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_CLUSTERED | DISPLAYMODE_FIXED_PALETTE_ALT;

} // namespace

TEST_F(PaintChoice, TakesThePathOfTheTable)
{
    constexpr int kClasses[] = {1, 4, 8, 24};
    for (const Row &row : kTable) {
        TestBitmap bitmap(StorageKind::PageFile, 9, 3, row.bits,
                          {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, MakePalette(row.palette, row.bits)});
        for (int column = 0; column < 4; ++column) {
            const FakeDevice device(kClasses[column]);
            for (unsigned more : {0u, kOtherBits, row.bits == 1 ? 0 : kG | kK}) {
                V_SetDisplayMode(~0u, row.mode | more);
                int deviceBits = -1, path = -1;
                V_GetDitherFlags(m_dc, bitmap.get(), &deviceBits, &path);
                EXPECT_EQ(kClasses[column], deviceBits);
                EXPECT_EQ(row.paths[column] - '0', path) << row.bits << " bits, palette " << row.palette << ", mode "
                                                         << (row.mode | more) << ", class " << kClasses[column];
            }
        }
    }
}

TEST_F(PaintChoice, TellsTheClassOfADevice)
{
    struct {
        int bits, planes, technology, expected;
    } const devices[] = {{1, 1, 1, 1},
                         {1, 3, 1, 1},
                         {3, 1, 2, 1},
                         {1, 4, 1, 4},
                         {4, 1, 1, 4},
                         {7, 1, 1, 4},
                         {8, 1, 1, 8},
                         {5, 3, 1, 8},
                         {8, 2, 1, 24},
                         {15, 1, 1, 8},
                         {16, 1, 1, 24},
                         {32, 1, 1, 24},
                         {1, 1, DT_METAFILE, 24},
                         {0, 0, DT_METAFILE, 24},
                         {0, 0, 1, 1}};
    TestBitmap bitmap(StorageKind::PageFile, 9, 3, 24);
    for (const auto &device : devices) {
        const FakeDevice fake(device.bits, device.planes, device.technology);
        int deviceBits = -1;
        V_GetDitherFlags(m_dc, bitmap.get(), &deviceBits, nullptr);
        EXPECT_EQ(device.expected, deviceBits) << device.bits << " x " << device.planes;
    }
    V_GetDitherFlags(m_dc, nullptr, nullptr, nullptr);
}

namespace {

std::vector<RGBQUAD> FixedColors(int depth) // depth 0: grays
{
    std::vector<RGBQUAD> colors(depth ? 1 << depth : 256);
    V_GetFixedPalette(colors.data(), depth);
    return colors;
}

// Holds a palette, which it deletes, to colours.
void ExpectColors(const std::vector<RGBQUAD> &expected, HPALETTE palette)
{
    EXPECT_EQ(int(expected.size()), V_GetPaletteSize(palette));
    EXPECT_EQ(1, V_CompareHandleToPalette(palette, expected.data(), int(expected.size())));
    DeleteObject(palette);
}

} // namespace

TEST_F(PaintChoice, MakesThePaletteOfThePath)
{
    const FakeDevice everyColor(24);
    Random random(5);
    const std::vector<RGBQUAD> own = RandomPalette(random, 256);
    TestBitmap index8(StorageKind::PageFile, 9, 3, 8, {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, own});
    TestBitmap index5(StorageKind::PageFile, 9, 3, 5,
                      {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, {own.begin(), own.begin() + 32}});
    TestBitmap deep(StorageKind::PageFile, 9, 3, 24), page(StorageKind::PageFile, 9, 3, 1);

    V_SetDisplayMode(~0u, DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE);
    for (const int bits : {1, 4, 8}) {
        const FakeDevice device(bits);
        ExpectColors(FixedColors(bits), V_CreatePaintPalette(m_dc, deep.get()));
        ExpectColors(FixedColors(bits), V_CreatePaintPalette(m_dc, index8.get()));
    }
    EXPECT_EQ(nullptr, V_CreatePaintPalette(m_dc, index5.get())) << "dithered to a device of every colour";

    V_SetDisplayMode(~0u, DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE_ALT);
    {
        const FakeDevice device(8);
        std::vector<RGBQUAD> cube(256);
        for (int i = 0; i < 216; ++i)
            cube[size_t(i)] = {BYTE(i % 6 * 51), BYTE(i / 6 % 6 * 51), BYTE(i / 36 * 51), 0};
        ExpectColors(cube, V_CreatePaintPalette(m_dc, deep.get()));
        ExpectColors(own, V_CreatePaintPalette(m_dc, index8.get()));
        const FakeDevice coarse(4);
        ExpectColors(FixedColors(4), V_CreatePaintPalette(m_dc, deep.get()));
    }
    ExpectColors({own.begin(), own.begin() + 32}, V_CreatePaintPalette(m_dc, index5.get()));
    ExpectColors(FixedColors(1), V_CreatePaintPalette(m_dc, page.get()));
    EXPECT_EQ(nullptr, V_CreatePaintPalette(m_dc, deep.get()));
    EXPECT_EQ(nullptr, V_CreatePaintPalette(m_dc, nullptr));

    V_SetDisplayMode(~0u, DISPLAYMODE_SCALE_TO_GRAY);
    ExpectColors(FixedColors(0), V_CreatePaintPalette(m_dc, page.get()));
}

} // namespace vexo::test
