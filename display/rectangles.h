// Small operations on rectangles, and the integer square root.
#ifndef VEXO_DISPLAY_RECTANGLES_H
#define VEXO_DISPLAY_RECTANGLES_H

#include <windows.h>

#include <cstdint>

namespace vexo {

constexpr RECT MakeRect(LONG left, LONG top, LONG right, LONG bottom) { return {left, top, right, bottom}; }

constexpr bool IsEmptyRect(const RECT &rect) { return rect.right <= rect.left || rect.top >= rect.bottom; }

// Whether the width and the height, either of which may be negative, are at most 0x7FFFFFFF.
constexpr bool HasMeasures(const RECT &rect)
{
    const int64_t width = int64_t(rect.right) - rect.left, height = int64_t(rect.bottom) - rect.top;
    return width == int(width) && width != INT32_MIN && height == int(height) && height != INT32_MIN;
}

// Stores what two rectangles have in common; `result` may be one of them. Returns whether it has any pixel.
constexpr bool Intersect(RECT *result, const RECT &a, const RECT &b)
{
    *result = {a.left > b.left ? a.left : b.left, a.top > b.top ? a.top : b.top, a.right < b.right ? a.right : b.right,
               a.bottom < b.bottom ? a.bottom : b.bottom};
    return !IsEmptyRect(*result);
}

// By Newton's iteration from n / 2, which may end one above the true root: 3 for 8.
constexpr int IntegerSquareRoot(int n)
{
    if (n < 4)
        return n > 0 ? 1 : 0;
    int root = n / 2;
    for (int step = (root - n / root) / 2; step != 0; step = (root - n / root) / 2)
        root -= step;
    return root;
}

} // namespace vexo

#endif
