// What the scenes are painted with: a float colour, smooth noise, and new bitmaps of the library.
#ifndef VEXO_TOOLS_PAINTING_H
#define VEXO_TOOLS_PAINTING_H

#include "common/bitmap.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace vexo::tools {

struct Color {
    double red, green, blue; // 0 to 1
};

inline Color Mix(const Color &a, const Color &b, double amount)
{
    const double t = std::clamp(amount, 0.0, 1.0);
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t};
}

inline Color Scale(const Color &color, double factor)
{
    return {color.red * factor, color.green * factor, color.blue * factor};
}

inline BYTE ToByte(double value) { return BYTE(std::lround(std::clamp(value, 0.0, 1.0) * 255)); }

// 0 below `from`, 1 above `to`, smooth between.
inline double SmoothStep(double from, double to, double value)
{
    const double t = std::clamp((value - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// Evenly distributed 0 to 1, the same for the same arguments.
double Random(int x, int y, unsigned seed);
// Value noise with one feature to the unit, 0 to 1; and several octaves of it.
double Noise(double x, double y, unsigned seed);
double Cloud(double x, double y, int octaves, unsigned seed);

// A bitmap in memory storage; `colors` null gives the fixed palette of the depth.
Bitmap NewBitmap(int width, int height, int bits, int dotsPerInch, const RGBQUAD *colors = nullptr);

// Calls paint(y, line) for every line from the top and stores it.
template <class PaintLine>
void PaintLines(Bitmap &bitmap, PaintLine paint)
{
    std::vector<BYTE> line(size_t(bitmap->BytesPerLine));
    Lines lines(bitmap);
    for (int y = 0; y < bitmap->Height; ++y) {
        std::fill(line.begin(), line.end(), BYTE(0));
        paint(y, line.data());
        if (!lines.Put(y, line.data()))
            throw std::runtime_error("a row could not be stored");
    }
}

} // namespace vexo::tools

#endif
