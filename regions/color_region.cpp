// Regions of all pixels of one colour. The colour is brought into the form of the pixels, once, so that rows are
// compared as they are stored; the columns where equal and other pixels meet are the segments.
#include "colour/colour.h"
#include "core/packed_pixels.h"
#include "core/row_io.h"
#include "regions/match_kernels.h"
#include "regions/shape_builder.h"

#include <optional>

using namespace vexo;

namespace {

// The pixel value that a colour stands for in a bitmap, or none when no pixel can be of that colour.
using Key = std::optional<uint32_t>;

Key DeepKey(const BitmapHandle *bitmap, COLORREF color)
{
    if (color >> 24 == 1)
        return {};
    const uint8_t red = GetRValue(color), green = GetGValue(color), blue = GetBValue(color);
    const int order = bitmap->ColorOrder;
    if (bitmap->BitsPerPixel == 16) {
        const uint16_t pixel = PackPixel16(red, green, blue, order);
        // Pixels are compared at 24 bits, and five bits widen to a few of the 256 levels only.
        return UnpackPixel16(pixel, order) == (color & 0xFFFFFF) ? Key(pixel) : Key();
    }
    return order == COLOR_ORDER_RGB ? color & 0xFFFFFF : uint32_t(blue | green << 8 | red << 16);
}

constexpr size_t kChunk = 2048; // pixels, a multiple of 32: masks of a chunk stay in the first-level cache

// The mask of `count` <= kChunk pixels from column `x` on, which is a multiple of kChunk.
void MatchChunk(uint32_t *mask, const uint8_t *row, size_t x, size_t count, int bits, uint32_t key)
{
    const uint8_t *pixels = row + x / 8 * unsigned(bits);
    switch (bits) {
    case 1: return MatchBits(mask, pixels, count, key != 0);
    case 8: return matchKernels.match8(mask, pixels, count, key);
    case 16: return matchKernels.match16(mask, pixels, count, key);
    case 24: return matchKernels.match24(mask, pixels, count, key);
    case 32: return matchKernels.match32(mask, pixels, count, key);
    }
    uint8_t indices[kChunk];
    WithIndexDepth(bits, [&](auto depth) { depth.Unpack(indices, pixels, count); });
    matchKernels.match8(mask, indices, count, key);
}

// Adds the segments of a row. False: no memory.
bool AddMatches(RegionBuilder &builder, const uint8_t *row, int width, int bits, uint32_t key)
{
    uint32_t mask[kChunk / 32], last = 0;
    const size_t pixels = size_t(width);
    for (size_t x = 0; x < pixels; x += kChunk) {
        const size_t count = std::min(kChunk, pixels - x), words = (count + 31) / 32;
        MatchChunk(mask, row, x, count, bits, key);
        int *edges = builder.Reserve(words * 32 + 1);
        if (!edges)
            return false;
        builder.Commit(size_t(EdgesOf(mask, words, int(x), &last, edges) - edges));
    }
    if (last) { // the last pixel is the last bit of its word, so that no change was seen behind it
        int *edge = builder.Reserve(1);
        if (!edge)
            return false;
        *edge = width;
        builder.Commit(1);
    }
    builder.EndRow();
    return true;
}

int BuildColorRegion(BitmapHandle *bitmap, uint32_t key, RegionBuilder &builder)
{
    const BitmapLock lock(bitmap);
    RowReader reader(bitmap);
    if (!reader)
        return ERR_NO_MEMORY;
    for (int row = 0; row < bitmap->Height; ++row) {
        const uint8_t *pixels;
        const int status = reader.Read(row, &pixels);
        if (Failed(status))
            return status;
        if (!AddMatches(builder, pixels, bitmap->Width, bitmap->BitsPerPixel, key))
            return ERR_NO_MEMORY;
    }
    return RESULT_SUCCESS;
}

} // namespace

int vexo::IndexOfColor(const BitmapHandle *bitmap, COLORREF color)
{
    if (color >> 24 == 1)
        return int(color & ((1u << bitmap->BitsPerPixel) - 1));
    RGBQUAD colors[256];
    const int count = V_GetPaletteEntries(bitmap->Palette, 0, 1 << bitmap->BitsPerPixel, colors);
    for (int i = 0; i < count; ++i)
        if (RGB(colors[i].rgbRed, colors[i].rgbGreen, colors[i].rgbBlue) == (color & 0xFFFFFF))
            return i;
    return -1;
}

int VEXO_CALL V_SetBitmapRgnColor(BitmapHandle *bitmap, COLORREF color, unsigned combine)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (combine > COMBINE_COMPLEMENT_NEW)
        return ERR_INV_PARAMETER;
    const int index = IsPalettised(bitmap->BitsPerPixel) ? IndexOfColor(bitmap, color) : -1;
    const Key key = !IsPalettised(bitmap->BitsPerPixel) ? DeepKey(bitmap, color) : index < 0 ? Key() : Key(index);
    RegionBuilder builder(0, key ? bitmap->Height : 0);
    if (key) {
        const int status = BuildColorRegion(bitmap, *key, builder);
        if (Failed(status))
            return status;
    }
    return CombineWithRegion(bitmap, builder.Finish(), combine);
}
