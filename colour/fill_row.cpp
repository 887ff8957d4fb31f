// Rows of one colour. The pixel is written once as the shortest group of whole bytes that repeats, and the group is
// doubled until the row is full.
#include "colour/colour.h"
#include "core/packed_pixels.h"

#include <cstring>

namespace vexo {

namespace {

// Eight pixels of any depth fill whole bytes; the deepest need 32.
struct Pattern {
    uint8_t bytes[8];
    size_t size;
};

unsigned IndexOf(const BitmapHandle *bitmap, COLORREF color)
{
    if (color >> 24 == 1)
        return color;
    const UINT nearest = ::GetNearestPaletteIndex(bitmap->Palette, color & 0xFFFFFF);
    return nearest == CLR_INVALID ? 0 : nearest; // Choice: index 0 where GDI finds none, as in a palette of nothing
}

Pattern IndexPattern(int bits, unsigned index)
{
    Pattern pattern = {{}, size_t(bits)};
    uint8_t indices[8];
    memset(indices, int(index & 0xFF), sizeof indices);
    WithIndexDepth(bits, [&](auto pixels) { pixels.Pack(pattern.bytes, indices, sizeof indices); });
    return pattern;
}

Pattern DeepPattern(const BitmapHandle *bitmap, COLORREF color)
{
    if (color >> 24 == 1)
        color = 0; // an index names no colour here
    const uint8_t red = GetRValue(color), green = GetGValue(color), blue = GetBValue(color);
    if (bitmap->BitsPerPixel == 16) {
        const uint16_t pixel = PackPixel16(red, green, blue, bitmap->ColorOrder);
        return {{uint8_t(pixel), uint8_t(pixel >> 8)}, 2};
    }
    const bool redFirst = bitmap->ColorOrder == COLOR_ORDER_RGB;
    return {{redFirst ? red : blue, green, redFirst ? blue : red, 0}, size_t(bitmap->BitsPerPixel / 8)};
}

void Repeat(uint8_t *row, size_t size, const Pattern &pattern)
{
    size_t filled = size < pattern.size ? size : pattern.size;
    memcpy(row, pattern.bytes, filled);
    while (filled < size) {
        const size_t more = size - filled < filled ? size - filled : filled;
        memcpy(row + filled, row, more);
        filled += more;
    }
}

} // namespace

void FillRowWithColor(const BitmapHandle *bitmap, COLORREF color, void *row, size_t count)
{
    const int bits = bitmap->BitsPerPixel;
    const Pattern pattern =
        IsPalettised(bits) ? IndexPattern(bits, IndexOf(bitmap, color)) : DeepPattern(bitmap, color);
    Repeat(static_cast<uint8_t *>(row), size_t(PackedBytes(int64_t(count), bits)), pattern);
}

} // namespace vexo
