// Colour reduction: a bitmap converted row by row to another depth and palette, built beside the source and put in its
// place when it is complete.
#include "colour/color_res.h"
#include "colour/colour.h"
#include "colour/fixed_palettes.h"
#include "regions/region.h"

#include <bit>
#include <cstring>

using namespace vexo;

namespace {

constexpr unsigned kPaletteFlags =
    COLORRES_FIXED_PALETTE | COLORRES_OWN_PALETTE | COLORRES_CALLER_PALETTE | COLORRES_GRAY_PALETTE;
constexpr unsigned kKnownFlags = kPaletteFlags | COLORRES_ORDER_BGR | COLORRES_NO_DITHER;

int CheckReduction(const BitmapHandle *source, const Reduction &reduction)
{
    if (!IsAllocated(source))
        return ERR_NO_BITMAP;
    if (!IsSupportedDepth(reduction.bitsPerPixel))
        return ERR_BAD_BITS_PER_PIXEL;
    const unsigned palettes = reduction.flags & kPaletteFlags;
    if ((reduction.flags & ~kKnownFlags) || (palettes && !std::has_single_bit(palettes)))
        return ERR_INV_PARAMETER;
    if (!IsPalettised(reduction.bitsPerPixel))
        return RESULT_SUCCESS;
    if (palettes == COLORRES_CALLER_PALETTE &&
        (!reduction.colors || reduction.colorCount < 1 || reduction.colorCount > 1 << reduction.bitsPerPixel))
        return ERR_INV_PARAMETER;
    if (palettes == COLORRES_OWN_PALETTE && !(IsPalettised(source->BitsPerPixel) && source->Palette))
        return ERR_INV_PARAMETER;
    return RESULT_SUCCESS;
}

// The target's colours, padded with black. `own` are the source's.
void ChooseColors(const Reduction &reduction, const RGBQUAD (&own)[256], RGBQUAD (&colors)[256])
{
    const int count = 1 << reduction.bitsPerPixel;
    memset(colors, 0, sizeof colors);
    switch (reduction.flags & kPaletteFlags) {
    case COLORRES_OWN_PALETTE: memcpy(colors, own, sizeof(RGBQUAD) * size_t(count)); break;
    case COLORRES_CALLER_PALETTE:
        memcpy(colors, reduction.colors, sizeof(RGBQUAD) * size_t(reduction.colorCount));
        break;
    case COLORRES_GRAY_PALETTE:
        for (int i = 0; i < count; ++i) {
            const BYTE gray = BYTE(i * 255 / (count - 1));
            colors[i] = {gray, gray, gray, 0};
        }
        break;
    default: memcpy(colors, FixedPalette(reduction.bitsPerPixel), sizeof(RGBQUAD) * size_t(count)); break;
    }
}

// Makes the empty result: the source's attributes at the new depth.
int StartResult(BitmapHandle *result, const BitmapHandle *source, const Reduction &reduction, const RGBQUAD *colors)
{
    const bool palettised = IsPalettised(reduction.bitsPerPixel);
    V_InitBitmap(result, source->Width, source->Height, reduction.bitsPerPixel);
    const bool compressed = IsCompressed(source) && reduction.bitsPerPixel == 1;
    const int status = V_AllocateBitmap(result, compressed ? STORAGE_COMPRESSED | STORAGE_MEMORY : STORAGE_MEMORY);
    if (Failed(status))
        return status;
    if (palettised) {
        result->Palette = V_CreatePalette(colors, 1 << reduction.bitsPerPixel);
        if (!result->Palette)
            return ERR_NO_MEMORY;
    } else {
        result->ColorOrder = reduction.flags & COLORRES_ORDER_BGR ? COLOR_ORDER_BGR : COLOR_ORDER_RGB;
    }
    result->Flags |= source->Flags & FLAG_BIT5;
    result->Orientation = source->Orientation;
    result->DitherMode = source->DitherMode;
    result->Reserved = source->Reserved;
    result->XResolution = source->XResolution;
    result->YResolution = source->YResolution;
    V_CopyPlaybackParms(result, source);
    return CopyRegionMoved(result, source, 0, 0);
}

int ConvertRows(BitmapHandle *result, BitmapHandle *source, const RGBQUAD *own, const RGBQUAD *colors)
{
    const BitmapLock sourceLock(source), resultLock(result);
    Buffer<uint8_t> row(V_CalcConvertSize(source->Width, source->BitsPerPixel, source->Width, result->BitsPerPixel),
                        Buffer<uint8_t>::Fill::Zero);
    if (!row)
        return ERR_NO_MEMORY;
    Progress progress(source->Height);
    int status = progress.Start();
    for (int y = 0; y < source->Height && !Failed(status); ++y) {
        status = ReadRow(source, row.data(), y);
        if (!Failed(status))
            status = V_ConvertBuffer(row.data(), source->Width, source->BitsPerPixel, result->BitsPerPixel,
                                     source->ColorOrder, result->ColorOrder, own, colors);
        ClearRowPadding(row.data(), source->Width, result->BitsPerPixel);
        if (!Failed(status))
            status = WriteRow(result, row.data(), y);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

} // namespace

int vexo::BuildReduced(PendingBitmap *result, BitmapHandle *source, const Reduction &reduction)
{
    int status = CheckReduction(source, reduction);
    if (Failed(status))
        return status;
    RGBQUAD own[256], colors[256];
    const bool hasPalette = ReadPalette(source, own);
    if (IsPalettised(reduction.bitsPerPixel))
        ChooseColors(reduction, own, colors);
    status = StartResult(result->record(), source, reduction, colors);
    if (Failed(status))
        return status;
    return ConvertRows(result->record(), source, hasPalette ? own : nullptr, colors);
}

int VEXO_CALL V_ColorResBitmap(BitmapHandle *bitmap, int bitsPerPixel, unsigned flags, const RGBQUAD *colors,
                               int colorCount)
{
    PendingBitmap result;
    const int status = BuildReduced(&result, bitmap, {bitsPerPixel, flags, colors, colorCount});
    if (Failed(status))
        return status;
    result.CommitTo(bitmap);
    return RESULT_SUCCESS;
}
