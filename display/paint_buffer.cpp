// Painting rows that the caller holds, such as those of a picture that is still being decoded.
#include "colour/colour.h"
#include "colour/pixel_kernels.h"
#include "display/paint_bands.h"
#include "display/paint_engine.h"

using namespace vexo;

namespace {

constexpr int kOneRowOfRuns = -1; // as rowCount

// The stored rows that the buffer stands for, as far as the bitmap has them.
Span RowsInBuffer(const BitmapHandle *bitmap, int firstRow, int rowCount)
{
    const int64_t end = int64_t(firstRow) + rowCount;
    return {std::max(firstRow, 0), int(std::min<int64_t>(end, bitmap->Height))};
}

// Puts the caller's rows into the order of a DIB for a scope: bottom line first, blue first.
class DibOrder {
public:
    DibOrder(const BitmapHandle *bitmap, uint8_t *rows, int rowCount, bool reverse)
        : m_rows(rows), m_lineBytes(size_t(bitmap->BytesPerLine)), m_rowCount(rowCount), m_pixels(bitmap->Width),
          m_reverse(reverse && rowCount > 1),
          m_swap(bitmap->BitsPerPixel == 24 && bitmap->ColorOrder == COLOR_ORDER_RGB),
          m_spare(m_reverse ? m_lineBytes : 0)
    {
        if (*this)
            Turn();
    }
    ~DibOrder()
    {
        if (*this)
            Turn();
    }
    DibOrder(const DibOrder &) = delete;
    DibOrder &operator=(const DibOrder &) = delete;

    explicit operator bool() const { return !m_reverse || m_spare; }

private:
    // Done twice it changes nothing.
    void Turn()
    {
        for (int low = 0, high = m_rowCount - 1; m_reverse && low < high; ++low, --high) {
            memcpy(m_spare.data(), Row(low), m_lineBytes);
            memcpy(Row(low), Row(high), m_lineBytes);
            memcpy(Row(high), m_spare.data(), m_lineBytes);
        }
        for (int i = 0; m_swap && i < m_rowCount; ++i)
            pixelKernels.swap24(Row(i), size_t(m_pixels));
    }
    uint8_t *Row(int i) const { return m_rows + size_t(i) * m_lineBytes; }

    uint8_t *const m_rows;
    const size_t m_lineBytes;
    const int m_rowCount, m_pixels;
    const bool m_reverse, m_swap;
    Buffer<uint8_t> m_spare;
};

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
    const DibOrder order(bitmap, rows, rowCount, topLineFirst != job.mapping.mirrored);
    if (!header || !order)
        return ERR_NO_MEMORY;
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
