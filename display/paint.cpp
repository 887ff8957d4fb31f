// The paint engine: from a path and a mapping to the kind of rows that show it, in parts whose work is bounded whatever
// the size of the destination.
#include "colour/colour.h"
#include "colour/dither.h"
#include "display/dib.h"
#include "display/gray_rows.h"
#include "display/paint_bands.h"
#include "display/paint_engine.h"
#include "display/picture_rows.h"

using namespace vexo;

namespace vexo {

namespace {

// Error diffusion starts afresh in each part of this size of the destination. Within one, everything that a clip cuts
// off above and beside it has to be dithered too; a picture enlarged many times would never be done without an end to
// it.
constexpr int kDiffusionPart = 4096;

constexpr RGBQUAD Gray(int level) { return {BYTE(level), BYTE(level), BYTE(level), 0}; }
struct GrayRamp {
    RGBQUAD colors[256] = {};
    constexpr GrayRamp()
    {
        for (int i = 0; i < 256; ++i)
            colors[i] = Gray(i);
    }
};
constexpr GrayRamp kGrayRamp;

// Calls draw(columns) for stripes narrow enough for a band.
template <class Draw>
int ForEachStripe(Span columns, Draw draw)
{
    int status = RESULT_SUCCESS;
    while (!Failed(status) && !columns.isEmpty()) {
        const Span stripe = {columns.first, columns.first + std::min(kStripeColumns, columns.count())};
        status = draw(stripe);
        columns.first = stripe.end;
    }
    return status;
}

// Draws all that shows by rows of one kind, made with what every kind needs and `arguments`.
template <class Rows, class... Arguments>
int DrawRows(const PaintJob &job, const BandFormat &format, const Arguments &...arguments)
{
    const BandHeader header(job.device, format, job.displayMode);
    if (!header)
        return ERR_NO_MEMORY;
    const BandTarget target = {job.dc, job.rop, &job.mapping, &header, format.bits};
    return ForEachStripe(job.mapping.columns, [&](Span stripe) {
        Rows rows(job.bitmap, job.mapping, stripe, arguments...);
        return rows ? DrawBands(target, stripe, job.mapping.lines, rows) : ERR_NO_MEMORY;
    });
}

// ---- 1 bit in gray, or keeping black --------------------------------------------------------------------------

int PaintGray(const PaintJob &job)
{
    const BandFormat format = {8, 256, kGrayRamp.colors, false};
    const PaintMapping &mapping = job.mapping;
    const bool blackIsOne = job.path == PaintPath::GrayWhite;
    if (!mapping.IsScaled())
        return DrawRows<GrayRows>(job, format, blackIsOne);
    if (mapping.x.to < mapping.x.from && mapping.y.to < mapping.y.from)
        return DrawRows<GrayShrinkRows>(job, format, blackIsOne);
    return DrawRows<GrayBlendRows>(job, format, blackIsOne);
}

int PaintKeepingBlack(const PaintJob &job, const RGBQUAD *palette)
{
    return DrawRows<BlackRows>(job, {1, 2, palette, false}, job.path == PaintPath::BlackWhite);
}

// ---- The bitmap's colours -------------------------------------------------------------------------------------

// A device whose pixels are quads is given quads: widening 24 bits takes GDI several times as long as the copy that is
// left.
int BandDepth(const Device &device, int sourceBits)
{
    const int bits = DibDepth(sourceBits);
    return bits == 24 && device.HoldsQuads() ? 32 : bits;
}

int PaintColors(const PaintJob &job, const RGBQUAD *palette)
{
    const int sourceBits = job.bitmap->BitsPerPixel, bits = BandDepth(job.device, sourceBits);
    // A caller who was told of dithering has selected a palette for that.
    const bool inRgb = job.path == PaintPath::Dither;
    const BandFormat format = {bits, IsPalettised(bits) ? 1 << sourceBits : 0, palette, inRgb};
    return DrawRows<PictureRows>(job, format, job.held, bits);
}

// The parts of the destination that error diffusion treats each on its own: one direction.
template <class Draw>
int ForEachDiffusionPart(Span whole, Span shown, Draw draw)
{
    int status = RESULT_SUCCESS;
    for (int first = shown.first / kDiffusionPart * kDiffusionPart; !Failed(status) && first < shown.end;) {
        const int end = first > 0x7FFFFFFF - kDiffusionPart ? 0x7FFFFFFF : first + kDiffusionPart;
        status = draw(whole & Span{first, end}, shown & Span{first, end});
        first = end;
    }
    return status;
}

int PaintDithered(const PaintJob &job, const SegmentDither &dither, const RGBQUAD *palette)
{
    const BandFormat format = {dither.deviceBits(), 1 << dither.deviceBits(), dither.colors(), false};
    const BandHeader header(job.device, format, job.displayMode);
    if (!header)
        return ERR_NO_MEMORY;
    const PaintMapping &mapping = job.mapping;
    const BandTarget target = {job.dc, job.rop, &mapping, &header, format.bits};
    const auto draw = [&](Span wholeColumns, Span columns, int firstLine, Span lines) {
        DitheredRows rows(job.bitmap, job.held, mapping, wholeColumns, columns, firstLine, dither, palette);
        return rows ? DrawBands(target, columns, lines, rows) : ERR_NO_MEMORY;
    };
    if (job.displayMode & DISPLAYMODE_BIT0)
        return ForEachStripe(mapping.columns,
                             [&](Span stripe) { return draw(stripe, stripe, mapping.lines.first, mapping.lines); });
    return ForEachDiffusionPart(mapping.allLines, mapping.lines, [&](Span wholeLines, Span lines) {
        return ForEachDiffusionPart(mapping.allColumns, mapping.columns, [&](Span wholeColumns, Span columns) {
            return draw(wholeColumns, columns, wholeLines.first, lines);
        });
    });
}

} // namespace

int RunPaint(const PaintJob &job)
{
    if (IsGrayPath(job.path))
        return PaintGray(job);
    RGBQUAD palette[256];
    ReadPalette(job.bitmap, palette);
    if (KeepsBlack(job.path) && job.mapping.IsScaled())
        return PaintKeepingBlack(job, palette);
    if (job.path == PaintPath::Dither)
        if (const SegmentDither dither = SelectSegmentDither(job.bitmap->BitsPerPixel, job.device.DepthClass()))
            return PaintDithered(job, dither, palette);
    return PaintColors(job, palette);
}

int PaintBitmap(HDC dc, BitmapHandle *bitmap, const PaintArea &area, DWORD rop)
{
    PaintJob job = {dc, rop, bitmap, {nullptr, 0}, Device::Of(dc), V_GetDisplayMode(), PaintPath::Plain, {}};
    job.path = ChoosePaintPath(bitmap, job.device.DepthClass(), job.displayMode);
    const int status = MapPaint(&job.mapping, bitmap, area, {0, bitmap->Height});
    if (Failed(status) || job.mapping.IsEmpty())
        return status;
    const BitmapLock lock(bitmap);
    return RunPaint(job);
}

} // namespace vexo

int VEXO_CALL V_PaintDC(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip, const RECT *dstRect,
                        const RECT *dstClip, DWORD rop)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (!dstRect || !hdc)
        return ERR_INV_PARAMETER;
    return PaintBitmap(hdc, bitmap, {srcRect, srcClip, dstRect, dstClip}, rop);
}
