// The dithering interface: what it refuses, small cases by hand, and flat grays, which must keep their mean.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

#include <cmath>

namespace vexo::test {

namespace {

class DitherInterface : public LibraryTest {};

// Dithers equal rows of 24-bit pixels of one gray and returns the mean of red, green and blue of what is shown.
struct Mean {
    double part[3];
};
Mean DitherGray(int gray, int method, const RGBQUAD *colors, int count, int bits)
{
    constexpr int kSize = 96, kEdge = 16; // errors that leave the picture are lost near its edges
    BitmapHandle bitmap;
    V_InitBitmap(&bitmap, kSize, kSize, 24);
    bitmap.DitherMode = method;
    EXPECT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, colors, count));
    const std::vector<uint8_t> source(3 * kSize, uint8_t(gray));
    std::vector<uint8_t> row(kSize);
    double sums[3] = {};
    for (int y = 0; y < kSize; ++y) {
        EXPECT_EQ(RESULT_SUCCESS, V_DitherLine(&bitmap, source.data(), row.data()));
        for (int x = kEdge; x < kSize - kEdge && y >= kEdge && y < kSize - kEdge; ++x) {
            const RGBQUAD &shown = colors[PixelOf(row.data(), size_t(x), bits)];
            sums[0] += shown.rgbBlue;
            sums[1] += shown.rgbGreen;
            sums[2] += shown.rgbRed;
        }
    }
    EXPECT_EQ(RESULT_SUCCESS, V_StopDithering(&bitmap));
    constexpr double kPixels = (kSize - 2 * kEdge) * (kSize - 2 * kEdge);
    return {{sums[0] / kPixels, sums[1] / kPixels, sums[2] / kPixels}};
}

void ExpectMean(int gray, int method, const RGBQUAD *colors, int count, int bits, double tolerance)
{
    const Mean mean = DitherGray(gray, method, colors, count, bits);
    for (const double part : mean.part)
        EXPECT_NEAR(gray, part, tolerance) << "method " << method << ", " << count << " colours";
}

std::vector<RGBQUAD> Cube()
{
    std::vector<RGBQUAD> cube;
    for (int i = 0; i < 216; ++i)
        cube.push_back({BYTE(i % 6 * 51), BYTE(i / 6 % 6 * 51), BYTE(i / 36 * 51), 0});
    return cube;
}

} // namespace

TEST_F(DitherInterface, ChecksItsArguments)
{
    BitmapHandle bitmap;
    V_InitBitmap(&bitmap, 8, 8, 8);
    uint8_t source[8] = {}, row[8];
    EXPECT_EQ(ERR_NO_BITMAP, V_StartDithering(nullptr, nullptr, 2));
    EXPECT_EQ(ERR_NO_BITMAP, V_StopDithering(nullptr));
    EXPECT_EQ(RESULT_SUCCESS, V_StopDithering(&bitmap));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, source, row));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(nullptr, source, row));
    for (const int count : {-1, 0, 257})
        EXPECT_EQ(ERR_INV_PARAMETER, V_StartDithering(&bitmap, V_IntGetFixedPalette(8), count));
    bitmap.DitherMode = 9;
    EXPECT_EQ(ERR_INV_PARAMETER, V_StartDithering(&bitmap, nullptr, 2));
    EXPECT_EQ(nullptr, bitmap.DitherState);
    bitmap.DitherMode = 8;
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, nullptr, 2));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, nullptr, row));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, source, nullptr));
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, nullptr, 256)); // ends the run before
    EXPECT_EQ(RESULT_SUCCESS, V_StopDithering(&bitmap));
    EXPECT_EQ(nullptr, bitmap.DitherState);
    EXPECT_EQ(ERR_INV_PARAMETER, V_DitherLine(&bitmap, source, row));
    bitmap.Width = 0x7FFFFFFF; // more than memory holds
    bitmap.DitherMode = 5;
    EXPECT_EQ(ERR_NO_MEMORY, V_StartDithering(&bitmap, nullptr, 2));
}

TEST_F(DitherInterface, ChoosesDepthsAndBrightnessAsDocumented)
{
    BitmapHandle bitmap;
    V_InitBitmap(&bitmap, 4, 1, 24);
    bitmap.DitherMode = DITHER_NONE;
    const uint8_t source[12] = {127, 127, 127, 128, 128, 128, 0, 255, 0, 255, 0, 255};
    uint8_t row[2] = {0xFF, 0xFF};
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, V_IntGetFixedPalette(1), 2));
    ASSERT_EQ(RESULT_SUCCESS, V_DitherLine(&bitmap, source, row));
    EXPECT_EQ(0x60, row[0]); // luminances 127, 128, 159, 96; bits behind the pixels are 0
    EXPECT_EQ(0xFF, row[1]);
    const RGBQUAD palette[3] = {{0, 250, 0, 0}, {130, 130, 130, 0}, {250, 0, 250, 0}};
    ASSERT_EQ(RESULT_SUCCESS, V_StartDithering(&bitmap, palette, 3)); // two bits
    ASSERT_EQ(RESULT_SUCCESS, V_DitherLine(&bitmap, source, row));
    EXPECT_EQ(0x52, row[0]);
    EXPECT_EQ(0xFF, row[1]);
    V_StopDithering(&bitmap);
}

TEST_F(DitherInterface, FlatGraysKeepTheirMean)
{
    const std::vector<RGBQUAD> cube = Cube();
    std::vector<RGBQUAD> uneven; // matched by search: no two steps between its grays are equal
    for (const int gray : {0, 30, 100, 130, 180, 255})
        uneven.push_back({BYTE(gray), BYTE(gray), BYTE(gray), 0});
    for (int i = 1; i < 7; ++i)
        uneven.push_back({BYTE(i & 1 ? 220 : 10), BYTE(i & 2 ? 230 : 20), BYTE(i & 4 ? 240 : 30), 0});
    for (int method = DITHER_FLOYD_STEINBERG; method <= DITHER_JARVIS; ++method)
        for (const int gray : {20, 77, 128, 201, 240}) {
            for (int bits = 1; bits <= 8; ++bits)
                ExpectMean(gray, method, V_IntGetFixedPalette(bits), 1 << bits, bits, 4);
            if (gray <= 4 * 51) // only full white is white in the cube, so what lies below it comes out darker
                ExpectMean(gray, method, cube.data(), 216, 8, 4);
            ExpectMean(gray, method, uneven.data(), int(uneven.size()), 4, 4);
        }
    // Ordered dithering is true to every gray, up to a step of the matrix, where the levels are two or the cube's, else
    // to those around the middle.
    for (int method = DITHER_DISPERSED; method <= DITHER_CLUSTERED; ++method) {
        for (const int gray : {0, 20, 77, 128, 201, 240, 255}) {
            for (const int bits : {1, 3, 4})
                ExpectMean(gray, method, V_IntGetFixedPalette(bits), 1 << bits, bits, 4.5);
            ExpectMean(gray, method, cube.data(), 216, 8, 2);
        }
        for (const int gray : {0, 118, 128, 138, 255})
            for (const int bits : {5, 6, 7, 8})
                ExpectMean(gray, method, V_IntGetFixedPalette(bits), 1 << bits, bits, 3);
    }
}

} // namespace vexo::test
