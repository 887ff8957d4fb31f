// What other folders use of the colour folder: nearest colours, palette mapping, conversion of pixel blocks and rows of
// one colour.
#ifndef VEXO_COLOUR_COLOUR_H
#define VEXO_COLOUR_COLOUR_H

#include "core/core.h"

namespace vexo {

constexpr int Luminance(int red, int green, int blue) { return (5 * green + 2 * red + blue + 4) >> 3; }
constexpr unsigned WidenFive(unsigned value) { return (value << 3) | (value >> 2); }

// ---- 16-bit pixels --------------------------------------------------------------------------------------------

constexpr uint16_t PackPixel16(int red, int green, int blue, int order)
{
    const int low = order == COLOR_ORDER_RGB ? red : blue, high = order == COLOR_ORDER_RGB ? blue : red;
    return uint16_t((high >> 3) << 10 | (green >> 3) << 5 | low >> 3);
}
constexpr COLORREF UnpackPixel16(unsigned pixel, int order)
{
    const unsigned high = WidenFive(pixel >> 10 & 31), green = WidenFive(pixel >> 5 & 31), low = WidenFive(pixel & 31);
    return order == COLOR_ORDER_RGB ? high << 16 | green << 8 | low : low << 16 | green << 8 | high;
}

// ---- Palettes -------------------------------------------------------------------------------------------------

// Reads up to 1 << bits entries of a bitmap's palette into quads and pads with black. False without a palette.
bool ReadPalette(const BitmapHandle *bitmap, RGBQUAD (&colors)[256]);
// The same for what a palettised bitmap's indices stand for: without a palette, the fixed colours of the depth.
void ReadColors(const BitmapHandle *bitmap, RGBQUAD (&colors)[256]);

// Maps the colours of one palette to indices of another. Without a destination the result is gray levels; without a
// source it is the map of the 256 gray levels; without either nothing is written. Returns whether map[i] = i
// throughout.
bool BuildColorMap(const RGBQUAD *source, int sourceCount, const RGBQUAD *destination, int destinationCount,
                   uint8_t *map);

// Places the display's static colours at both ends of an n-entry palette, the way the system palette holds them.
// Returns the number placed; 0 on a display without a palette.
int GetSystemStaticColors(RGBQUAD *colors, int count);

// Writes `count` equal pixels in the bitmap's format. A colour for a palettised bitmap is an index, or is matched by
// GDI's own search. Bits behind the last pixel in its byte are filled too.
void FillRowWithColor(const BitmapHandle *bitmap, COLORREF color, void *row, size_t count);

// ---- The cache of a thread ------------------------------------------------------------------------------------

// Frees a thread's cache of matched palettes (at thread detach); null is accepted.
void FreeColourCache(ColourCache *cache);
// Frees that of the calling thread, which starts a new one when it needs to.
void DropColourCache();

} // namespace vexo

#endif
