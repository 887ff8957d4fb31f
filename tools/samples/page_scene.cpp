// A page as a scanner gives it: the benchmark's text at half its resolution, with the lake as a printed halftone.
#include "samples/scenes.h"

#include "bench/images.hpp"
#include "samples/painting.h"

namespace vexo::tools {
namespace {

constexpr int kSourceStride = (testimg::PageWidth + 31) / 32 * 4;
constexpr int kWidth = testimg::PageWidth / 2, kHeight = testimg::PageHeight / 2;
constexpr int kPictureLeft = 620, kPictureTop = 765, kPictureWidth = 500, kPictureHeight = 350;

// The lake's brightness, 0 to 1, at the size it is printed in.
std::vector<double> LakeTones()
{
    Bitmap lake = PaintLake();
    std::vector<double> tones;
    std::vector<BYTE> line(size_t(lake->BytesPerLine));
    Lines lines(lake);
    for (int y = 0; y < kPictureHeight; ++y) {
        lines.Get(y * lake->Height / kPictureHeight, line.data());
        for (int x = 0; x < kPictureWidth; ++x) {
            const BYTE *pixel = &line[size_t(x * lake->Width / kPictureWidth) * 3];
            tones.push_back(testimg::luminance(pixel[0], pixel[1], pixel[2]) / 255.0);
        }
    }
    return tones;
}

// A printer's screen: dots on a lattice turned by 45 degrees that grow with the darkness.
bool IsWhiteInScreen(double tone, int x, int y)
{
    constexpr double kPitch = 7.0, kTurn = 6.283185307 / kPitch;
    const double u = (x + y) * 0.70710678 * kTurn, v = (x - y) * 0.70710678 * kTurn;
    return tone > 0.5 + 0.25 * (std::cos(u) + std::cos(v));
}

} // namespace

Bitmap PaintPage()
{
    std::vector<BYTE> page(size_t(kSourceStride) * testimg::PageHeight);
    testimg::page1(page.data(), kSourceStride);
    const auto whiteAt = [&](int x, int y) {
        return page[size_t(y) * kSourceStride + size_t(x / 8)] >> (7 - x % 8) & 1;
    };
    const std::vector<double> tones = LakeTones();
    Bitmap bitmap = NewBitmap(kWidth, kHeight, 1, 150);
    PaintLines(bitmap, [&](int y, BYTE *line) {
        const int row = y - kPictureTop;
        for (int x = 0; x < kWidth; ++x) {
            const int column = x - kPictureLeft;
            bool white = whiteAt(2 * x, 2 * y) + whiteAt(2 * x + 1, 2 * y) + whiteAt(2 * x, 2 * y + 1) +
                             whiteAt(2 * x + 1, 2 * y + 1) >=
                         3;
            if (row >= 0 && row < kPictureHeight && column >= 0 && column < kPictureWidth)
                white = IsWhiteInScreen(tones[size_t(row * kPictureWidth + column)], x, y);
            if (white)
                line[x / 8] |= BYTE(0x80 >> x % 8);
        }
    });
    return bitmap;
}

} // namespace vexo::tools
