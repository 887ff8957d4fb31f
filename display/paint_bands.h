// The way to the device: rows of a finished DIB, gathered in bands of a limited size and handed over band by band.
#ifndef VEXO_DISPLAY_PAINT_BANDS_H
#define VEXO_DISPLAY_PAINT_BANDS_H

#include "display/device.h"
#include "display/paint_mapping.h"

namespace vexo {

inline constexpr int kMaxBandBytes = 262144;
// Wider paints are cut into stripes, so that one row of 32 bits fits into a band whatever the width.
inline constexpr int kStripeColumns = 65536;
static_assert(kStripeColumns * 4 <= kMaxBandBytes);

// What the pixels of a band are.
struct BandFormat {
    int bits;              // 1, 4, 8, 24 or 32
    int colorCount;        // entries of the colour table, 0 above 8 bits
    const RGBQUAD *colors; // the table, where RGB values are used
    bool inRgb;            // use RGB values whatever the display mode says
};

// The calling thread's header for one paint, ready but for the size of each band. A printer gets a copy of its own, and
// so do RGB values under DISPLAYMODE_PALETTE_INDICES, because the thread's table must go on holding the indices.
class BandHeader {
public:
    BandHeader(const Device &device, const BandFormat &format, unsigned displayMode);
    // Without the thread's settings there is no header.
    explicit operator bool() const { return m_header != nullptr; }

    // Hands `height` rows to the device, the lowest one first, at x, y and not scaled.
    void Draw(HDC dc, const void *rows, int x, int y, int width, int height, DWORD rop) const;

private:
    PaintHeader *m_header = nullptr;
    UINT m_usage = DIB_RGB_COLORS;
};

// A device and how to draw on it.
struct BandTarget {
    HDC dc;
    DWORD rop;
    const PaintMapping *mapping;
    const BandHeader *header;
    int bits;
};

// Draws a part of the destination. rows.Make(row, line) writes the pixels of a destination line and returns a status;
// lines are asked for in order, and `row` stays as it was written until rows.StartBand() announces the next band.
// Returns RESULT_SUCCESS, ERR_NO_MEMORY or the first failure of a row, which leaves the bands before it painted.
template <class Rows>
int DrawBands(const BandTarget &target, Span columns, Span lines, Rows &rows)
{
    const size_t rowBytes = size_t(PaddedRowBytes(columns.count(), target.bits));
    const int bandLines = std::min(int(kMaxBandBytes / rowBytes), lines.count());
    const Buffer<uint8_t> band(rowBytes * size_t(bandLines));
    if (!band)
        return ERR_NO_MEMORY;
    for (int i = 0; i < bandLines; ++i)
        ClearRowPadding(band.data() + size_t(i) * rowBytes, columns.count(), target.bits);
    const PaintMapping &mapping = *target.mapping;
    while (!lines.isEmpty()) {
        const Span part = {lines.first, lines.first + std::min(bandLines, lines.count())};
        rows.StartBand();
        for (int i = 0; i < part.count(); ++i) {
            const int place = mapping.mirrored ? i : part.count() - 1 - i; // DIB rows run upwards
            const int status = rows.Make(band.data() + size_t(place) * rowBytes, part.first + i);
            if (Failed(status))
                return status;
        }
        target.header->Draw(target.dc, band.data(), mapping.left + columns.first, mapping.DeviceTop(part),
                            columns.count(), part.count(), target.rop);
        lines.first = part.end;
    }
    return RESULT_SUCCESS;
}

} // namespace vexo

#endif
