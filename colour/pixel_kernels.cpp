// The plain pixel kernels, one pixel a step, and the choice of the kernels in use. The vector forms must match these
// bit for bit.
#include "colour/pixel_kernels.h"

#include "colour/colour.h"
#include "colour/dither_engine.h"

#include <cstring>

namespace vexo {

namespace {

unsigned Load16(const uint8_t *p) { return unsigned(p[0] | p[1] << 8); }

void Store16(uint8_t *p, unsigned value)
{
    p[0] = uint8_t(value);
    p[1] = uint8_t(value >> 8);
}

void StoreQuad(uint8_t *quad, unsigned first, unsigned second, unsigned third)
{
    const uint32_t value = first | second << 8 | third << 16;
    memcpy(quad, &value, 4);
}

void Unpack16Plain(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap)
{
    const int first = swap ? 10 : 0, third = swap ? 0 : 10;
    for (size_t i = 0; i < count; ++i) {
        const unsigned pixel = Load16(pixels + 2 * i);
        StoreQuad(quads + 4 * i, WidenFive(pixel >> first & 31), WidenFive(pixel >> 5 & 31),
                  WidenFive(pixel >> third & 31));
    }
}

void Unpack24Plain(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap)
{
    const int first = swap ? 2 : 0, third = swap ? 0 : 2;
    for (size_t i = 0; i < count; ++i, pixels += 3)
        StoreQuad(quads + 4 * i, pixels[first], pixels[1], pixels[third]);
}

void LookUpPlain(uint8_t *quads, const uint8_t *indices, size_t count, const uint32_t *table)
{
    for (size_t i = 0; i < count; ++i)
        memcpy(quads + 4 * i, &table[indices[i]], 4);
}

void Pack16Plain(uint8_t *pixels, const uint8_t *quads, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        uint32_t quad;
        memcpy(&quad, quads + 4 * i, 4);
        Store16(pixels + 2 * i, (quad >> 3 & 0x1F) | (quad >> 6 & 0x3E0) | (quad >> 9 & 0x7C00));
    }
}

void Pack24Plain(uint8_t *pixels, const uint8_t *quads, size_t count)
{
    for (size_t i = 0; i < count; ++i, pixels += 3) {
        const uint8_t first = quads[4 * i], second = quads[4 * i + 1], third = quads[4 * i + 2];
        pixels[0] = first;
        pixels[1] = second;
        pixels[2] = third;
    }
}

void LuminancePlain(uint8_t *levels, const uint8_t *quads, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        levels[i] = uint8_t(Luminance(quads[4 * i + 2], quads[4 * i + 1], quads[4 * i]));
}

void ThresholdPlain(uint8_t *bits, const uint8_t *levels, size_t count, const uint8_t *thresholds)
{
    for (; count > 0; ++bits, levels += 8) {
        const size_t length = count < 8 ? count : 8;
        unsigned byte = 0;
        for (size_t i = 0; i < length; ++i)
            byte |= unsigned(levels[i] > thresholds[i]) << (7 - i);
        *bits = uint8_t(byte);
        count -= length;
    }
}

void Swap16Plain(uint8_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        const unsigned pixel = Load16(pixels + 2 * i);
        Store16(pixels + 2 * i, (pixel & 0x83E0) | (pixel & 0x1F) << 10 | (pixel >> 10 & 0x1F));
    }
}

void Swap24Plain(uint8_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; ++i, pixels += 3) {
        const uint8_t first = pixels[0];
        pixels[0] = pixels[2];
        pixels[2] = first;
    }
}

void Swap32Plain(uint8_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        uint32_t pixel;
        memcpy(&pixel, pixels + 4 * i, 4);
        pixel = (pixel & 0xFF00FF00u) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
        memcpy(pixels + 4 * i, &pixel, 4);
    }
}

constexpr PixelKernels kPlainKernels = {
    .unpack16 = Unpack16Plain,
    .unpack24 = Unpack24Plain,
    .lookUp = LookUpPlain,
    .pack16 = Pack16Plain,
    .pack24 = Pack24Plain,
    .luminance = LuminancePlain,
    .threshold = ThresholdPlain,
    .matchProduct = MatchProductPlain,
    .matchProduct24 = MatchProduct24Plain,
    .matchCells = MatchCellsPlain,
    .diffuse = DiffusePlain,
    .swap16 = Swap16Plain,
    .swap24 = Swap24Plain,
    .swap32 = Swap32Plain,
    .hsvFromBgr = HsvFromBgrPlain,
    .bgrFromHsv = BgrFromHsvPlain,
    .yuvFromBgr = YuvFromBgrPlain,
    .cmykFromBgr = CmykFromBgrPlain,
};

} // namespace

const PixelKernels plainPixelKernels = kPlainKernels;
PixelKernels pixelKernels = kPlainKernels;

const uint8_t *UnpackQuads(uint8_t *stage, const uint8_t *pixels, size_t count, int bits, bool swap)
{
    switch (bits) {
    case 16: pixelKernels.unpack16(stage, pixels, count, swap); return stage;
    case 24: pixelKernels.unpack24(stage, pixels, count, swap); return stage;
    default:
        if (!swap)
            return pixels;
        memcpy(stage, pixels, 4 * count);
        pixelKernels.swap32(stage, count);
        return stage;
    }
}

void SelectPixelKernels(CpuLevel level)
{
    PixelKernels kernels = kPlainKernels;
    UseVectorKernels(&kernels, level);
    UseVectorSpaces(&kernels, level);
    pixelKernels = kernels;
}

} // namespace vexo
