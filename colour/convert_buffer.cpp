// Conversion of pixels in place, a block at a time. Each block passes through a buffer on the stack as quads, or as
// indices between palettes; narrowing runs from the first block to the last and widening from the last to the first, so
// that no block is overwritten before it has been read.
#include "colour/colour.h"
#include "colour/fixed_palettes.h"
#include "colour/nearest_colour.h"
#include "colour/pixel_kernels.h"
#include "core/packed_pixels.h"

#include <algorithm>
#include <cstring>

using namespace vexo;

namespace {

// Pixels of a block. A multiple of 8, so that blocks of every depth begin with a byte.
constexpr size_t kBlock = PaletteSearch::kMostPixels;

struct Format {
    int bits; // 0: gray levels
    int order;
    const RGBQUAD *palette; // of 1 << bits colours

    bool isGray() const { return bits == 0; }
    bool isIndexed() const { return bits >= 1 && bits <= 8; }
    bool isDeep() const { return bits > 8; }
    size_t storedBits() const { return isGray() ? 8 : size_t(bits); }
    int colorCount() const { return 1 << bits; }
};

Format MakeFormat(int bits, int order, const RGBQUAD *palette)
{
    Format format = {bits, order, nullptr};
    if (format.isIndexed())
        format.palette = palette ? palette : FixedPalette(bits);
    return format;
}

bool IsValid(const Format &format)
{
    return !format.isDeep() || format.order == COLOR_ORDER_RGB || format.order == COLOR_ORDER_BGR;
}

void UnpackIndices(uint8_t *indices, const uint8_t *pixels, size_t count, const Format &format)
{
    WithIndexDepth(int(format.storedBits()), [&](auto depth) { depth.Unpack(indices, pixels, count); });
}

void PackIndices(uint8_t *pixels, const uint8_t *indices, size_t count, const Format &format)
{
    WithIndexDepth(int(format.storedBits()), [&](auto depth) { depth.Pack(pixels, indices, count); });
}

// Calls convert(destination, source, count) for each block in the order that is safe in place.
template <class Convert>
void ForEachBlock(uint8_t *buffer, size_t count, const Format &source, const Format &destination, Convert convert)
{
    const size_t sourceStep = kBlock / 8 * source.storedBits(), destinationStep = kBlock / 8 * destination.storedBits();
    const size_t blocks = (count + kBlock - 1) / kBlock;
    const bool widens = destinationStep > sourceStep;
    for (size_t i = 0; i < blocks; ++i) {
        const size_t block = widens ? blocks - 1 - i : i;
        const size_t left = count - block * kBlock;
        convert(buffer + block * destinationStep, buffer + block * sourceStep, left < kBlock ? left : kBlock);
    }
}

// ---- Between indices and gray levels --------------------------------------------------------------------------

void ConvertIndices(uint8_t *buffer, size_t count, const Format &source, const Format &destination)
{
    uint8_t map[256];
    const bool identity =
        BuildColorMap(source.palette, source.isGray() ? 256 : source.colorCount(), destination.palette,
                      destination.isGray() ? 256 : destination.colorCount(), map);
    if (identity && source.storedBits() == destination.storedBits())
        return;
    ForEachBlock(buffer, count, source, destination, [&](uint8_t *target, const uint8_t *pixels, size_t length) {
        uint8_t indices[kBlock];
        UnpackIndices(indices, pixels, length, source);
        for (size_t i = 0; i < length && !identity; ++i)
            indices[i] = map[indices[i]];
        PackIndices(target, indices, length, destination);
    });
}

// ---- From indices and gray levels to deep pixels --------------------------------------------------------------

// The quads of each index in the order of the destination.
void MakeQuadTable(uint32_t (&table)[256], const Format &source, int order)
{
    const int count = source.isGray() ? 256 : source.colorCount();
    for (int i = 0; i < count; ++i) {
        const RGBQUAD gray = {BYTE(i), BYTE(i), BYTE(i), 0};
        const RGBQUAD &color = source.isGray() ? gray : source.palette[i];
        table[i] = order == COLOR_ORDER_RGB ? RGB(color.rgbRed, color.rgbGreen, color.rgbBlue)
                                            : RGB(color.rgbBlue, color.rgbGreen, color.rgbRed);
    }
}

// ---- From deep pixels -----------------------------------------------------------------------------------------

void PackQuads(uint8_t *pixels, const uint8_t *quads, size_t count, const Format &destination)
{
    switch (destination.bits) {
    case 16: pixelKernels.pack16(pixels, quads, count); break;
    case 24: pixelKernels.pack24(pixels, quads, count); break;
    default: memcpy(pixels, quads, 4 * count); break;
    }
}

void SwapChannels(uint8_t *buffer, size_t count, int bits)
{
    switch (bits) {
    case 16: pixelKernels.swap16(buffer, count); break;
    case 24: pixelKernels.swap24(buffer, count); break;
    default: pixelKernels.swap32(buffer, count); break;
    }
}

void IndicesToDeep(uint8_t *buffer, size_t count, const Format &source, const Format &destination)
{
    uint32_t table[256];
    MakeQuadTable(table, source, destination.order);
    ForEachBlock(buffer, count, source, destination, [&](uint8_t *target, const uint8_t *pixels, size_t length) {
        uint8_t indices[kBlock], quads[4 * kBlock];
        UnpackIndices(indices, pixels, length, source);
        pixelKernels.lookUp(quads, indices, length, table);
        PackQuads(target, quads, length, destination);
    });
}

void DeepToDeep(uint8_t *buffer, size_t count, const Format &source, const Format &destination)
{
    const bool swap = source.order != destination.order;
    if (source.bits == destination.bits) {
        if (swap)
            SwapChannels(buffer, count, source.bits);
        return;
    }
    ForEachBlock(buffer, count, source, destination, [&](uint8_t *target, const uint8_t *pixels, size_t length) {
        uint8_t quads[4 * kBlock];
        PackQuads(target, UnpackQuads(quads, pixels, length, source.bits, swap), length, destination);
    });
}

void DeepToGray(uint8_t *buffer, size_t count, const Format &source, const Format &destination)
{
    const bool swap = source.order == COLOR_ORDER_RGB;
    ForEachBlock(buffer, count, source, destination, [&](uint8_t *target, const uint8_t *pixels, size_t length) {
        uint8_t quads[4 * kBlock];
        pixelKernels.luminance(target, UnpackQuads(quads, pixels, length, source.bits, swap), length);
    });
}

void DeepToIndices(uint8_t *buffer, size_t count, const Format &source, const Format &destination)
{
    const bool swap = source.order == COLOR_ORDER_RGB;
    const PaletteSearch search(destination.palette, destination.colorCount());
    ForEachBlock(buffer, count, source, destination, [&](uint8_t *target, const uint8_t *pixels, size_t length) {
        uint8_t indices[kBlock];
        search.FindPixels(indices, pixels, length, source.bits, swap);
        PackIndices(target, indices, length, destination);
    });
}

} // namespace

int VEXO_CALL V_ConvertBuffer(void *buffer, int count, int sourceBits, int destinationBits, int sourceOrder,
                              int destinationOrder, const RGBQUAD *sourcePalette, const RGBQUAD *destinationPalette)
{
    const auto isKnown = [](int bits) { return bits == 0 || IsSupportedDepth(bits); };
    if (!buffer || count == 0 || !isKnown(sourceBits) || !isKnown(destinationBits))
        return ERR_INV_PARAMETER;
    if (count < 0)
        return RESULT_SUCCESS;
    const Format source = MakeFormat(sourceBits, sourceOrder, sourcePalette);
    const Format destination = MakeFormat(destinationBits, destinationOrder, destinationPalette);
    if (!IsValid(source) || !IsValid(destination))
        return ERR_INV_PARAMETER;

    uint8_t *pixels = static_cast<uint8_t *>(buffer);
    if (!source.isDeep() && !destination.isDeep())
        ConvertIndices(pixels, size_t(count), source, destination);
    else if (!source.isDeep())
        IndicesToDeep(pixels, size_t(count), source, destination);
    else if (destination.isDeep())
        DeepToDeep(pixels, size_t(count), source, destination);
    else if (destination.isGray())
        DeepToGray(pixels, size_t(count), source, destination);
    else
        DeepToIndices(pixels, size_t(count), source, destination);
    return RESULT_SUCCESS;
}

unsigned VEXO_CALL V_CalcConvertSize(int sourceCount, int sourceBits, int destinationCount, int destinationBits)
{
    const auto rowBytes = [](int count, int bits) {
        return PaddedRowBytes(count > 0 ? count : 0, bits == 0 ? 8 : bits);
    };
    int64_t size = rowBytes(sourceCount, sourceBits);
    size = std::max(size, rowBytes(destinationCount, sourceBits));
    size = std::max(size, rowBytes(destinationCount, destinationBits));
    // Choice: a size that 32 bits cannot hold comes out as the largest, which no allocation grants.
    return unsigned(std::min<int64_t>(size, 0xFFFFFFFF));
}
