// Noise from hashed lattice points, and bitmaps to paint on.
#include "samples/painting.h"

#include "bench/images.hpp"
#include "common/errors.h"

namespace vexo::tools {

double Random(int x, int y, unsigned seed)
{
    return testimg::mix3(uint32_t(x), uint32_t(y), seed) * (1.0 / 4294967296.0);
}

double Noise(double x, double y, unsigned seed)
{
    const double left = std::floor(x), top = std::floor(y);
    const int column = int(left), row = int(top);
    const double fx = SmoothStep(0, 1, x - left), fy = SmoothStep(0, 1, y - top);
    const double upper = std::lerp(Random(column, row, seed), Random(column + 1, row, seed), fx);
    const double lower = std::lerp(Random(column, row + 1, seed), Random(column + 1, row + 1, seed), fx);
    return std::lerp(upper, lower, fy);
}

double Cloud(double x, double y, int octaves, unsigned seed)
{
    double sum = 0, weight = 0.5, total = 0;
    for (int octave = 0; octave < octaves; ++octave) {
        sum += weight * Noise(x, y, seed + unsigned(octave));
        total += weight;
        weight /= 2;
        x *= 2;
        y *= 2;
    }
    return sum / total;
}

Bitmap NewBitmap(int width, int height, int bits, int dotsPerInch, const RGBQUAD *colors)
{
    Bitmap bitmap;
    const int status =
        V_CreateBitmap(bitmap.get(), STORAGE_MEMORY, width, height, bits, COLOR_ORDER_BGR, colors, ORIENT_BOTTOM_UP);
    if (status != RESULT_SUCCESS)
        throw std::runtime_error(StatusWords(status));
    bitmap->XResolution = bitmap->YResolution = dotsPerInch;
    return bitmap;
}

} // namespace vexo::tools
