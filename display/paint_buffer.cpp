// Painting rows that the caller holds, such as those of a picture that is still being decoded.
#include "colour/colour.h"
#include "display/dib_order.h"
#include "display/paint_bands.h"
#include "display/paint_engine.h"

using namespace vexo;

namespace {

constexpr int kOneRowOfRuns = -1; // as rowCount

// The stored rows that the buffer stands for, as far as the bitmap has them.
Span RowsInBuffer(const BitmapHandle *bitmap, int firstRow, int rowCount)
{
    const int64_t end = int64_t(firstRow) + rowCount;
    return {std::max(firstRow, 0), int(std::max<int64_t>(0, std::min<int64_t>(end, bitmap->Height)))};
}

// Draws the buffer as it is.
// Deliberate: at x 0, in full width, and all of its rows from the top of the clipped destination on, whatever the
// destination's left edge and the clips are.
int DrawBuffer(const PaintJob &job, uint8_t *rows, int rowCount)
{
    const BitmapHandle *bitmap = job.bitmap;
    RGBQUAD palette[256];
    ReadPalette(bitmap, palette);
    const int bits = bitmap->BitsPerPixel;
    const BandHeader header(job.device, {bits, IsPalettised(bits) ? 1 << bits : 0, palette, false}, job.displayMode);
    const bool topLineFirst = bitmap->Orientation != ORIENT_BOTTOM_UP;
    if (!header)
        return ERR_NO_MEMORY;
    const DibOrder order(bitmap, rows, rowCount, topLineFirst != job.mapping.mirrored);
    header.Draw(job.dc, rows, 0, job.mapping.DeviceTop(job.mapping.lines), bitmap->Width, rowCount, job.rop);
    return RESULT_SUCCESS;
}

int PaintRows(PaintJob &job, const PaintArea &area, uint8_t *rows, int firstRow, int rowCount)
{
    job.path = ChoosePaintPath(job.bitmap, job.device.DepthClass(), job.displayMode);
    if (job.path > PaintPath::Dither)
        job.path = PaintPath::Plain;
    const int status = MapPaint(&job.mapping, job.bitmap, area, RowsInBuffer(job.bitmap, firstRow, rowCount));
    if (Failed(status) || job.mapping.IsEmpty())
        return status;
    if (job.path == PaintPath::Plain && !job.mapping.IsScaled())
        return DrawBuffer(job, rows, rowCount);
    job.held = {rows, firstRow};
    return RunPaint(job);
}

} // namespace

int VEXO_CALL V_PaintDCBuffer(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                              const RECT *dstRect, const RECT *dstClip, DWORD rop, void *buffer, int firstRow,
                              int rowCount)
{
    if (!bitmap || !buffer)
        return ERR_NO_BITMAP;
    if (!dstRect || !hdc)
        return ERR_INV_PARAMETER;
    if (!IsSupportedDepth(bitmap->BitsPerPixel))
        return ERR_BAD_BITS_PER_PIXEL;
    PaintJob job = {hdc, rop, bitmap, {nullptr, 0}, Device::Of(hdc), V_GetDisplayMode(), PaintPath::Plain, {}};
    const PaintArea area = {srcRect, srcClip, dstRect, dstClip};
    if (rowCount != kOneRowOfRuns)
        return PaintRows(job, area, static_cast<uint8_t *>(buffer), firstRow, rowCount);
    const Buffer<uint8_t> row(size_t(bitmap->BytesPerLine), Buffer<uint8_t>::Fill::Zero);
    if (!row)
        return ERR_NO_MEMORY;
    V_ExpandRow(static_cast<const WORD *>(buffer), row.data(), 0, bitmap->Width);
    return PaintRows(job, area, row.data(), firstRow, 1);
}
