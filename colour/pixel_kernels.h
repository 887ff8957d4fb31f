// The inner loops over pixels. Between formats pixels travel as quads: four bytes each, the first channel of the format
// they are meant for first; the fourth byte counts for nothing unless a kernel says otherwise. Each kernel has a plain
// form, which defines it, and where it pays vector forms, which are chosen once for the processor.
#ifndef VEXO_COLOUR_PIXEL_KERNELS_H
#define VEXO_COLOUR_PIXEL_KERNELS_H

#include "core/core.h"

namespace vexo {

class PaletteMatcher;
struct DiffusionBlock;
struct DitherTarget;
struct ProductPalette;

// No kernel touches a byte outside the pixels it is given. Those that read quads may write over them: the output may
// start at or before the input.
struct PixelKernels {
    // Packed pixels to quads with 0 as fourth byte. `swap` exchanges the first and the third channel.
    void (*unpack16)(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap);
    void (*unpack24)(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap);
    // Indices to quads.
    void (*lookUp)(uint8_t *quads, const uint8_t *indices, size_t count, const uint32_t *table);

    // Quads to packed pixels. 16-bit pixels hold the first channel in the low bits and leave bit 15 clear.
    void (*pack16)(uint8_t *pixels, const uint8_t *quads, size_t count);
    void (*pack24)(uint8_t *pixels, const uint8_t *quads, size_t count);
    // Blue, green, red quads to gray levels.
    void (*luminance)(uint8_t *levels, const uint8_t *quads, size_t count);
    // Gray levels to packed bits: 1 where a level is above its threshold, of which eight serve in turn.
    void (*threshold)(uint8_t *bits, const uint8_t *levels, size_t count, const uint8_t *thresholds);
    // Blue, green, red quads to the indices that V_FindPaletteIndex gives. These write beside the quads.
    void (*matchProduct)(uint8_t *indices, const uint8_t *quads, size_t count, const ProductPalette &palette);
    void (*matchProduct24)(uint8_t *indices, const uint8_t *pixels, size_t count, const ProductPalette &palette,
                           bool swap); // from packed pixels
    void (*matchCells)(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher);
    // Error diffusion of a row's pixels (dither_engine.h).
    void (*diffuse)(const DiffusionBlock &block, int method, const DitherTarget &target);

    // Exchange the first and the third channel in place; bit 15 and the fourth byte stay.
    void (*swap16)(uint8_t *pixels, size_t count);
    void (*swap24)(uint8_t *pixels, size_t count);
    void (*swap32)(uint8_t *pixels, size_t count);

    // Between 24-bit pixels, blue first, and those of a colour space, by the formulas of color_spaces.cpp.
    void (*hsvFromBgr)(uint8_t *hsv, const uint8_t *bgr, size_t count);
    void (*bgrFromHsv)(uint8_t *bgr, const uint8_t *hsv, size_t count);
    void (*yuvFromBgr)(uint8_t *yuv, const uint8_t *bgr, size_t count);
    void (*cmykFromBgr)(uint8_t *cmyk, const uint8_t *bgr, size_t count);
};

// Reads deep pixels (16, 24 or 32 bits) as quads, either into `stage` or where they are. `swap` exchanges the first and
// the third channel.
const uint8_t *UnpackQuads(uint8_t *stage, const uint8_t *pixels, size_t count, int bits, bool swap);

// What the vector forms must match.
extern const PixelKernels plainPixelKernels;

// The kernels in use: the plain ones until SelectPixelKernels has been called.
extern PixelKernels pixelKernels;

// Chooses the kernels for a processor, at process attach.
void SelectPixelKernels(CpuLevel level);

// Replaces the kernels that have a vector form for the level (pixel_kernels_x86.cpp).
void UseVectorKernels(PixelKernels *kernels, CpuLevel level);

// The forms of the two searches, which live beside the tables they use.
void MatchProductPlain(uint8_t *indices, const uint8_t *quads, size_t count, const ProductPalette &palette);
void MatchProductAvx2(uint8_t *indices, const uint8_t *quads, size_t count, const ProductPalette &palette);
void MatchProduct24Plain(uint8_t *indices, const uint8_t *pixels, size_t count, const ProductPalette &palette,
                         bool swap);
void MatchProduct24Avx2(uint8_t *indices, const uint8_t *pixels, size_t count, const ProductPalette &palette,
                        bool swap);
void MatchCellsPlain(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher);
void MatchCellsAvx2(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher);

// The forms of the colour spaces, which live beside their formulas and tables.
void HsvFromBgrPlain(uint8_t *hsv, const uint8_t *bgr, size_t count);
void BgrFromHsvPlain(uint8_t *bgr, const uint8_t *hsv, size_t count);
void YuvFromBgrPlain(uint8_t *yuv, const uint8_t *bgr, size_t count);
void CmykFromBgrPlain(uint8_t *cmyk, const uint8_t *bgr, size_t count);
void UseVectorSpaces(PixelKernels *kernels, CpuLevel level);

} // namespace vexo

#endif
