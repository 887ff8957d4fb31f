// Whole bitmaps to gray and to halftone: every row becomes luminances first, by a table of the palette or by the pixel
// kernels, and these are the gray result, or are held against a row of thresholds.
#include "colour/color_res.h"
#include "colour/colour.h"
#include "colour/ordered_matrices.h"
#include "colour/pixel_kernels.h"
#include "core/packed_pixels.h"
#include "core/row_io.h"

#include <algorithm>

using namespace vexo;

namespace {

using Matrix = uint8_t[8][8];

// Pixels of a step. A multiple of 8, so that steps of every depth begin with a byte and with the matrix.
constexpr size_t kStep = 1024;

// ---- Luminances -----------------------------------------------------------------------------------------------

// What turns the pixels of one bitmap into luminances.
class LuminanceOf {
public:
    // False when a palettised bitmap lacks entries of its palette.
    bool Prepare(const BitmapHandle *bitmap)
    {
        m_bits = bitmap->BitsPerPixel;
        m_swap = bitmap->ColorOrder == COLOR_ORDER_RGB;
        if (!IsPalettised(m_bits))
            return true;
        RGBQUAD colors[256] = {};
        const int count = bitmap->ColorCount;
        if (count < 1 || count > 256 || V_GetPaletteEntries(bitmap->Palette, 0, count, colors) < count)
            return false;
        BuildColorMap(colors, 256, nullptr, 0, m_table);
        return true;
    }

    // Up to kStep pixels that begin with a byte.
    void Convert(uint8_t *levels, const uint8_t *pixels, size_t count) const
    {
        if (IsPalettised(m_bits)) {
            WithIndexDepth(m_bits, [&](auto depth) { depth.Unpack(levels, pixels, count); });
            for (size_t i = 0; i < count; ++i)
                levels[i] = m_table[levels[i]];
        } else {
            uint8_t quads[4 * kStep];
            pixelKernels.luminance(levels, UnpackQuads(quads, pixels, count, m_bits, m_swap), count);
        }
    }

private:
    int m_bits = 0;
    bool m_swap = false;
    uint8_t m_table[256];
};

// ---- The two operations ---------------------------------------------------------------------------------------

// Converts row y to gray levels or, with a matrix, to bits.
void ConvertRow(uint8_t *target, const uint8_t *pixels, const BitmapHandle *source, int y, const LuminanceOf &luminance,
                const Matrix *matrix)
{
    const size_t width = size_t(source->Width);
    for (size_t x = 0; x < width; x += kStep) {
        const size_t count = std::min(kStep, width - x);
        const uint8_t *step = pixels + x / 8 * size_t(source->BitsPerPixel);
        if (matrix) {
            uint8_t levels[kStep];
            luminance.Convert(levels, step, count);
            pixelKernels.threshold(target + x / 8, levels, count, (*matrix)[y & 7]);
        } else {
            luminance.Convert(target + x, step, count);
        }
    }
}

int ConvertRows(BitmapHandle *result, BitmapHandle *source, const LuminanceOf &luminance, const Matrix *matrix)
{
    const BitmapLock sourceLock(source), resultLock(result);
    RowReader reader(source);
    RowWriter writer(result);
    if (!reader || !writer)
        return ERR_NO_MEMORY;
    Progress progress(source->Height);
    int status = progress.Start();
    for (int y = 0; y < source->Height && !Failed(status); ++y) {
        const uint8_t *pixels;
        status = reader.Read(y, &pixels);
        if (Failed(status))
            break;
        uint8_t *target = writer.Row(y);
        ConvertRow(target, pixels, source, y, luminance, matrix);
        ClearRowPadding(target, source->Width, result->BitsPerPixel);
        status = writer.Write(y);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

// The empty result, with the palette and the attributes that survive.
int StartResult(BitmapHandle *result, const BitmapHandle *source, int bits, HPALETTE palette)
{
    V_InitBitmap(result, source->Width, source->Height, bits);
    result->Palette = palette;
    if (!palette)
        return ERR_NO_MEMORY;
    const int status = AllocateForFilling(result, STORAGE_MEMORY);
    if (Failed(status))
        return status;
    result->Orientation = source->Orientation;
    result->XResolution = source->XResolution;
    result->YResolution = source->YResolution;
    return V_CopyPlaybackParms(result, source);
}

// Puts the gray picture, or with a matrix the halftone in two colours, in the bitmap's place.
int Replace(BitmapHandle *bitmap, const Matrix *matrix, const RGBQUAD *colors)
{
    LuminanceOf luminance;
    if (!luminance.Prepare(bitmap))
        return ERR_NO_BITMAP;
    PendingBitmap result;
    int status = matrix ? StartResult(result.record(), bitmap, 1, V_CreatePalette(colors, 2))
                        : StartResult(result.record(), bitmap, 8, V_CreateGrayPalette(8));
    if (!Failed(status))
        status = ConvertRows(result.record(), bitmap, luminance, matrix);
    if (Failed(status))
        return status;
    ReplaceByConverted(bitmap, &result);
    return RESULT_SUCCESS;
}

} // namespace

int VEXO_CALL V_GrayScaleBitmap(BitmapHandle *bitmap)
{
    return IsAllocated(bitmap) ? Replace(bitmap, nullptr, nullptr) : ERR_NO_BITMAP;
}

int VEXO_CALL V_HalfToneBitmap(BitmapHandle *bitmap, int matrixType)
{
    return V_HalfToneBitmapExt(bitmap, matrixType, nullptr, 0);
}

int VEXO_CALL V_HalfToneBitmapExt(BitmapHandle *bitmap, int matrixType, const RGBQUAD *colors, unsigned flags)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if ((matrixType != HALFTONE_CLUSTERED && matrixType != HALFTONE_DISPERSED) || flags != 0)
        return ERR_INV_PARAMETER;
    return Replace(bitmap, matrixType == HALFTONE_CLUSTERED ? &kClusteredMatrix : &kDispersedMatrix,
                   colors ? colors : V_IntGetFixedPalette(1));
}
