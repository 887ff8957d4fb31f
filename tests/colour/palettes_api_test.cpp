// Palettes, gray tests and nearest colours through the public interface.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

#include <cstring>

namespace vexo::test {

namespace {

class Palettes : public LibraryTest {};

struct OwnedPalette {
    HPALETTE handle;
    ~OwnedPalette() { DeleteObject(handle); }
};

bool Is(const RGBQUAD &quad, int blue, int green, int red)
{
    return quad.rgbBlue == blue && quad.rgbGreen == green && quad.rgbRed == red && quad.rgbReserved == 0;
}

} // namespace

TEST_F(Palettes, FixedColoursAreTheStatedOnes)
{
    constexpr struct {
        int depth, index, blue, green, red;
    } kStated[] = {{1, 1, 255, 255, 255},   {2, 2, 170, 170, 170},   {3, 6, 0, 255, 255},     {4, 1, 0, 0, 128},
                   {4, 7, 128, 128, 128},   {4, 8, 192, 192, 192},   {4, 12, 255, 0, 0},      {5, 0x1D, 255, 170, 255},
                   {6, 0x1B, 255, 170, 85}, {7, 0x4D, 85, 109, 170}, {8, 0xB6, 170, 182, 182}};
    for (const auto &c : kStated)
        EXPECT_TRUE(Is(V_IntGetFixedPalette(c.depth)[c.index], c.blue, c.green, c.red)) << c.depth << ", " << c.index;
    EXPECT_EQ(nullptr, V_IntGetFixedPalette(0));
    EXPECT_EQ(nullptr, V_IntGetFixedPalette(9));

    RGBQUAD colors[256];
    EXPECT_EQ(RESULT_SUCCESS, V_GetFixedPalette(colors, 0));
    EXPECT_TRUE(Is(colors[200], 200, 200, 200));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetFixedPalette(colors, 9));
    const OwnedPalette zero = {V_CreateFixedPalette(0)};
    EXPECT_EQ(2, V_GetPaletteSize(zero.handle));
    EXPECT_EQ(1, V_CompareHandleToPalette(zero.handle, V_IntGetFixedPalette(1), 2));
}

TEST_F(Palettes, EntriesTravelBothWaysWithTheirFourthByte)
{
    Random random(1);
    std::vector<RGBQUAD> colors = RandomPalette(random, 300);
    colors[7].rgbReserved = PC_NOCOLLAPSE;
    const OwnedPalette palette = {V_CreatePalette(colors.data(), 300)};
    ASSERT_EQ(300, V_GetPaletteSize(palette.handle));
    std::vector<RGBQUAD> read(300);
    EXPECT_EQ(300, V_GetPaletteEntries(palette.handle, 0, 300, read.data()));
    EXPECT_EQ(0, memcmp(colors.data(), read.data(), 300 * sizeof(RGBQUAD)));
    const OwnedPalette copy = {V_DupPalette(palette.handle)};
    EXPECT_EQ(1, V_CompareHandleToPalette(copy.handle, colors.data(), 300));
    EXPECT_EQ(2, V_SetPaletteEntries(copy.handle, 5, 2, colors.data()));
    EXPECT_EQ(0, V_CompareHandleToPalette(copy.handle, colors.data(), 300));
    EXPECT_EQ(1, V_CompareHandleToPalette(nullptr, colors.data(), 4));
    EXPECT_EQ(nullptr, V_CreatePalette(nullptr, 4));
    EXPECT_EQ(nullptr, V_CreatePalette(colors.data(), 0));
    EXPECT_EQ(nullptr, V_DupPalette(nullptr));
    EXPECT_EQ(0, V_GetPaletteSize(nullptr));
}

TEST_F(Palettes, BitmapsGetAFreshPaletteWhenColoursArePut)
{
    TestBitmap bitmap(StorageKind::PageFile, 4, 4, 4);
    const RGBQUAD put[2] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    EXPECT_EQ(RESULT_SUCCESS, V_PutBitmapColors(bitmap.get(), 14, 2, put));
    RGBQUAD read[16];
    ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapColors(bitmap.get(), 0, 16, read));
    EXPECT_TRUE(Is(read[13], 255, 0, 255));
    EXPECT_TRUE(Is(read[14], 1, 2, 3));
    EXPECT_TRUE(Is(read[15], 4, 5, 6));
    for (const int first : {-1, 15, 16, 0x7FFFFFFF})
        EXPECT_EQ(ERR_INV_PARAMETER, V_PutBitmapColors(bitmap.get(), first, 2, put)) << first;
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapColors(bitmap.get(), 0, 0, read));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapColors(bitmap.get(), 15, 2, read));
    BitmapHandle empty = {};
    EXPECT_EQ(ERR_NO_BITMAP, V_PutBitmapColors(&empty, 0, 2, put));
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapColors(nullptr, 0, 2, read));
}

TEST_F(Palettes, GrayRampsAreRecognised)
{
    const auto test = [](int bits, auto grayAt) {
        std::vector<RGBQUAD> colors;
        for (int i = 0; i < 1 << bits; ++i) {
            const BYTE gray = BYTE(grayAt(i));
            colors.push_back({gray, gray, gray, 0});
        }
        TestBitmap bitmap(StorageKind::PageFile, 4, 4, bits, {.palette = colors});
        return V_IsGrayScaleBitmap(bitmap.get());
    };
    EXPECT_EQ(GRAYSCALE_BLACK_FIRST, test(4, [](int i) { return i * 17; }));
    EXPECT_EQ(GRAYSCALE_WHITE_FIRST, test(4, [](int i) { return 255 - i * 17; }));
    EXPECT_EQ(GRAYSCALE_UNORDERED, test(4, [](int i) { return i * 16; }));
    EXPECT_EQ(GRAYSCALE_BLACK_FIRST, test(8, [](int i) { return i; }));
    TestBitmap colour(StorageKind::PageFile, 4, 4, 8);
    EXPECT_EQ(GRAYSCALE_NO, V_IsGrayScaleBitmap(colour.get()));
    TestBitmap deep(StorageKind::PageFile, 4, 4, 24);
    EXPECT_EQ(GRAYSCALE_NO, V_IsGrayScaleBitmap(deep.get()));

    const OwnedPalette grays = {V_CreateGrayPalette(4)};
    RGBQUAD entry;
    ASSERT_EQ(1, V_GetPaletteEntries(grays.handle, 5, 1, &entry));
    EXPECT_TRUE(Is(entry, 85, 85, 85));
    EXPECT_EQ(nullptr, V_CreateGrayPalette(32)); // the low five bits ask for a single gray
}

TEST_F(Palettes, SharedTablesAreGivenBack)
{
    EXPECT_EQ(-1, V_FindPaletteIndex(V_IntGetFixedPalette(1), 0, 0, 0, 0));
    unsigned *table = V_CreateUserMatchTable(V_IntGetFixedPalette(8), 256);
    ASSERT_NE(nullptr, table);
    EXPECT_EQ(nullptr, V_SetUserMatchTable(table));
    EXPECT_EQ(table, V_SetUserMatchTable(nullptr));
    EXPECT_EQ(RESULT_SUCCESS, V_FreeUserMatchTable(table));
    EXPECT_EQ(RESULT_SUCCESS, V_FreeUserMatchTable(nullptr));
    EXPECT_EQ(4, V_Get1BitOnTable()[0xC5]);
}

} // namespace vexo::test
