// Colour reduction: bitmaps converted row by row to another depth and palette, built beside their sources and put in
// their places when all are complete. One bitmap is a list of one.
#include "colour/color_res.h"

#include "colour/colour.h"
#include "colour/fixed_palettes.h"
#include "colour/pixel_kernels.h"
#include "colour/quantizer.h"
#include "colour/row_reduction.h"
#include "core/lists.h"
#include "core/packed_pixels.h"
#include "core/row_io.h"

#include <algorithm>
#include <bit>
#include <new>

using namespace vexo;

namespace {

constexpr unsigned kPaletteFlags = COLORRES_FIXED_PALETTE | COLORRES_OWN_PALETTE | COLORRES_OPTIMIZED_PALETTE |
                                   COLORRES_CALLER_PALETTE | COLORRES_GRAY_PALETTE;
constexpr unsigned kKnownFlags = kPaletteFlags | COLORRES_ORDER_BGR | COLORRES_SYSTEM_COLORS | COLORRES_NO_DITHER;

bool IsOptimized(const Reduction &reduction)
{
    return IsPalettised(reduction.bitsPerPixel) && (reduction.flags & COLORRES_OPTIMIZED_PALETTE);
}

// ---- Checks -----------------------------------------------------------------------------------------------------

int CheckReduction(const Reduction &reduction)
{
    if (!IsSupportedDepth(reduction.bitsPerPixel))
        return ERR_BAD_BITS_PER_PIXEL;
    const unsigned palettes = reduction.flags & kPaletteFlags;
    if ((reduction.flags & ~kKnownFlags) || (palettes && !std::has_single_bit(palettes)))
        return ERR_INV_PARAMETER;
    if ((reduction.flags & COLORRES_SYSTEM_COLORS) && palettes != COLORRES_OPTIMIZED_PALETTE)
        return ERR_INV_PARAMETER;
    if (IsPalettised(reduction.bitsPerPixel) && palettes == COLORRES_CALLER_PALETTE &&
        (!reduction.colors || reduction.colorCount < 1 || reduction.colorCount > 1 << reduction.bitsPerPixel))
        return ERR_INV_PARAMETER;
    return RESULT_SUCCESS;
}

int CheckSource(const BitmapHandle *source, const Reduction &reduction)
{
    if (!IsAllocated(source))
        return ERR_NO_BITMAP;
    if (IsPalettised(reduction.bitsPerPixel) && (reduction.flags & COLORRES_OWN_PALETTE) &&
        !(IsPalettised(source->BitsPerPixel) && source->Palette))
        return ERR_INV_PARAMETER;
    return RESULT_SUCCESS;
}

// ---- Target colours ---------------------------------------------------------------------------------------------

// The colours of a reduction that depend on no pixels.
void ChooseColors(const BitmapHandle *source, const Reduction &reduction, TargetColors *target)
{
    const int count = 1 << reduction.bitsPerPixel;
    *target = {};
    target->count = count;
    switch (reduction.flags & kPaletteFlags) {
    case COLORRES_OWN_PALETTE:
        ReadPalette(source, target->colors);
        target->count = std::min(count, 1 << source->BitsPerPixel);
        target->keepsIndices = count >= 1 << source->BitsPerPixel;
        std::fill(target->colors + target->count, target->colors + 256, RGBQUAD{});
        break;
    case COLORRES_CALLER_PALETTE:
        memcpy(target->colors, reduction.colors, sizeof(RGBQUAD) * size_t(reduction.colorCount));
        target->count = reduction.colorCount;
        break;
    case COLORRES_GRAY_PALETTE:
        for (int i = 0; i < count; ++i) {
            const BYTE gray = BYTE(i * 255 / (count - 1));
            target->colors[i] = {gray, gray, gray, 0};
        }
        break;
    default: memcpy(target->colors, FixedPalette(reduction.bitsPerPixel), sizeof(RGBQUAD) * size_t(count)); break;
    }
}

// Counts the colours of a row; those of indices are left in `uses`.
void CountRow(ColorQuantizer &quantizer, const BitmapHandle *source, const uint8_t *pixels, uint32_t (&uses)[256])
{
    constexpr size_t kStep = 1024;
    const int bits = source->BitsPerPixel;
    for (size_t x = 0; x < size_t(source->Width); x += kStep) {
        const size_t count = std::min(kStep, size_t(source->Width) - x);
        const uint8_t *step = pixels + x / 8 * size_t(bits);
        uint8_t stage[4 * kStep];
        if (!IsPalettised(bits)) {
            quantizer.AddPixels(UnpackQuads(stage, step, count, bits, source->ColorOrder == COLOR_ORDER_RGB), count);
            continue;
        }
        WithIndexDepth(bits, [&](auto depth) { depth.Unpack(stage, step, count); });
        for (size_t i = 0; i < count; ++i)
            ++uses[stage[i]];
    }
}

int CountColors(ColorQuantizer &quantizer, BitmapHandle *source, Progress &progress)
{
    const BitmapLock lock(source);
    RowReader reader(source);
    if (!reader)
        return ERR_NO_MEMORY;
    uint32_t uses[256] = {};
    for (int y = 0; y < source->Height; ++y) {
        const uint8_t *pixels;
        int status = reader.Read(y, &pixels);
        if (Failed(status))
            return status;
        CountRow(quantizer, source, pixels, uses);
        status = progress.Step();
        if (Failed(status))
            return status;
    }
    if (IsPalettised(source->BitsPerPixel)) {
        RGBQUAD own[256];
        ReadColors(source, own);
        for (int i = 0; i < 1 << source->BitsPerPixel; ++i)
            quantizer.AddColor(own[i], uses[i]);
    }
    return RESULT_SUCCESS;
}

// One palette for all the bitmaps, between the display's static colours if these are wanted.
int OptimizeColors(std::span<BitmapHandle> bitmaps, const Reduction &reduction, Progress &progress,
                   TargetColors *target)
{
    uint64_t pixels = 0;
    for (const BitmapHandle &bitmap : bitmaps)
        pixels += uint64_t(bitmap.Width) * uint64_t(bitmap.Height);
    ColorQuantizer quantizer(pixels);
    if (!quantizer)
        return ERR_NO_MEMORY;
    for (BitmapHandle &bitmap : bitmaps) {
        const int status = CountColors(quantizer, &bitmap, progress);
        if (Failed(status))
            return status;
    }
    *target = {};
    const int count = 1 << reduction.bitsPerPixel;
    const int fixed = reduction.flags & COLORRES_SYSTEM_COLORS ? GetSystemStaticColors(target->colors, count) : 0;
    const int made = fixed < count ? quantizer.MakePalette(target->colors + fixed / 2, count - fixed) : 0;
    target->count = fixed ? count : made;
    target->fitsExactly = quantizer.HoldsAll(count - fixed);
    return RESULT_SUCCESS;
}

// ---- Building ---------------------------------------------------------------------------------------------------

// Makes the empty result: the source's attributes at the new depth.
int StartResult(BitmapHandle *result, const BitmapHandle *source, const Reduction &reduction,
                const TargetColors &target)
{
    V_InitBitmap(result, source->Width, source->Height, reduction.bitsPerPixel);
    const bool compressed = IsCompressed(source) && reduction.bitsPerPixel == 1;
    const int status = AllocateForFilling(result, compressed ? STORAGE_COMPRESSED | STORAGE_MEMORY : STORAGE_MEMORY);
    if (Failed(status))
        return status;
    if (IsPalettised(reduction.bitsPerPixel)) {
        result->Palette = V_CreatePalette(target.colors, 1 << reduction.bitsPerPixel);
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
    return V_CopyPlaybackParms(result, source);
}

int ConvertRows(BitmapHandle *result, BitmapHandle *source, RowReduction &rows, Progress &progress)
{
    const BitmapLock sourceLock(source), resultLock(result);
    RowReader reader(source);
    RowWriter writer(result);
    if (!reader || !writer)
        return ERR_NO_MEMORY;
    int status = RESULT_SUCCESS;
    for (int y = 0; y < source->Height && !Failed(status); ++y) {
        const int row = StoredRow(source, y);
        const uint8_t *pixels;
        status = reader.Read(row, &pixels);
        if (Failed(status))
            break;
        uint8_t *target = writer.Row(row);
        rows.Convert(target, pixels);
        ClearRowPadding(target, source->Width, result->BitsPerPixel);
        status = writer.Write(row);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

int BuildOne(BitmapHandle *result, BitmapHandle *source, const Reduction &reduction, const TargetColors &target,
             Progress &progress)
{
    int status = StartResult(result, source, reduction, target);
    if (Failed(status))
        return status;
    RowReduction rows;
    status = rows.Start(source, result, target, !(reduction.flags & COLORRES_NO_DITHER));
    return Failed(status) ? status : ConvertRows(result, source, rows, progress);
}

// Converted copies of all the bitmaps; `results` are empty records.
int BuildAll(std::span<PendingBitmap> results, std::span<BitmapHandle> bitmaps, const Reduction &reduction)
{
    int status = CheckReduction(reduction);
    int64_t rowCount = 0;
    for (size_t i = 0; i < bitmaps.size() && !Failed(status); ++i) {
        status = CheckSource(&bitmaps[i], reduction);
        rowCount += bitmaps[i].Height;
    }
    if (Failed(status))
        return status;
    const bool optimized = IsOptimized(reduction);
    Progress progress(int(std::min<int64_t>(optimized ? 2 * rowCount : rowCount, 0x7FFFFFFF)));
    status = progress.Start();
    TargetColors target = {};
    if (!Failed(status) && optimized)
        status = OptimizeColors(bitmaps, reduction, progress, &target);
    for (size_t i = 0; i < bitmaps.size() && !Failed(status); ++i) {
        if (IsPalettised(reduction.bitsPerPixel) && !optimized)
            ChooseColors(&bitmaps[i], reduction, &target);
        status = BuildOne(results[i].record(), &bitmaps[i], reduction, target, progress);
    }
    return status;
}

// Records that operations build for a list, freed unless they were committed.
class PendingBitmaps {
public:
    explicit PendingBitmaps(size_t count) : m_records(count)
    {
        for (PendingBitmap &record : m_records.span())
            new (&record) PendingBitmap;
    }
    ~PendingBitmaps()
    {
        for (PendingBitmap &record : m_records.span())
            record.~PendingBitmap();
    }
    PendingBitmaps(const PendingBitmaps &) = delete;
    PendingBitmaps &operator=(const PendingBitmaps &) = delete;

    explicit operator bool() const { return bool(m_records); }
    std::span<PendingBitmap> span() const { return m_records.span(); }

private:
    Buffer<PendingBitmap> m_records;
};

} // namespace

int vexo::BuildReduced(PendingBitmap *result, BitmapHandle *source, const Reduction &reduction)
{
    return BuildAll({result, 1}, {source, 1}, reduction);
}

void vexo::ReplaceByConverted(BitmapHandle *bitmap, PendingBitmap *result)
{
    (*result)->Region = bitmap->Region;
    bitmap->Region = nullptr;
    result->CommitTo(bitmap);
}

// ---- Exports ----------------------------------------------------------------------------------------------------

int VEXO_CALL V_ColorResBitmap(BitmapHandle *bitmap, int bitsPerPixel, unsigned flags, const RGBQUAD *colors,
                               int colorCount)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    PendingBitmap result;
    const int status = BuildReduced(&result, bitmap, {bitsPerPixel, flags, colors, colorCount});
    if (!Failed(status))
        ReplaceByConverted(bitmap, &result);
    return status;
}

int VEXO_CALL V_ColorResBitmapList(HGLOBAL list, int bitsPerPixel, unsigned flags, const RGBQUAD *colors,
                                   int colorCount)
{
    BitmapList *items = BitmapListOf(list);
    if (!items)
        return ERR_INV_PARAMETER;
    const std::span<BitmapHandle> bitmaps = items->span();
    const PendingBitmaps results(std::max<size_t>(bitmaps.size(), 1));
    if (!results)
        return ERR_NO_MEMORY;
    const int status = BuildAll(results.span(), bitmaps, {bitsPerPixel, flags, colors, colorCount});
    for (size_t i = 0; i < bitmaps.size() && !Failed(status); ++i)
        ReplaceByConverted(&bitmaps[i], &results.span()[i]);
    return status;
}
