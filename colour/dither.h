// Dithering for the rest of the library. Two faces of one engine: rows of a whole bitmap, whose running state hangs on
// the bitmap's record, and segments of rows for painting, which carry their errors in a record of the paint.
#ifndef VEXO_COLOUR_DITHER_H
#define VEXO_COLOUR_DITHER_H

#include "core/core.h"

namespace vexo {

// ---- Rows of a bitmap -----------------------------------------------------------------------------------------

// Starts a dithering run for a bitmap, as V_StartDithering does, with a target depth and a match table of one's own.
// V_DitherLine and V_StopDithering go on with it.
//
// colors       the target palette, or null for the fixed one of 2, 4, 8 ... 256 colours that holds `count`
// count        1 to 1 << depth
// depth        of the rows that come out, 1 to 8
// matchTable   32768 words as V_CreateUserMatchTable makes them, or null. It is borrowed until the run is stopped;
//              cells that hold 0 are filled with palette indices plus one as their colours occur, others only read
// Returns RESULT_SUCCESS; ERR_INV_PARAMETER for a bad count, depth, source depth or DitherMode, or a negative width;
// ERR_NO_MEMORY. The bitmap is unchanged on failure, and a run that was under way goes on; otherwise that one has
// ended.
int BeginDithering(BitmapHandle *bitmap, const RGBQUAD *colors, int count, int depth, unsigned *matchTable);

// ---- Segments of rows, for painting ---------------------------------------------------------------------------

// What a paint carries from row to row: the errors waiting for each of `width` columns, none at first. Tests as false
// when memory fails. Every paint has its own.
class PaintErrors {
public:
    explicit PaintErrors(int width);
    ~PaintErrors();
    PaintErrors(const PaintErrors &) = delete;
    PaintErrors &operator=(const PaintErrors &) = delete;

    explicit operator bool() const { return m_memory != nullptr; }

private:
    friend class SegmentDither;
    uint8_t *m_memory;
    int m_width;
};

// How to read a source row.
struct PaintSource {
    const RGBQUAD *palette; // 1 << bits quads for up to 8 bits, otherwise not looked at
    int colorOrder;         // COLOR_ORDER_ value of deeper pixels, otherwise not looked at
};

// The routine for a pair of depths: dithers segments of rows to the fixed palette of a device. Tests as false for a
// pair that has none. A value to be copied freely; one routine serves a whole paint.
class SegmentDither {
public:
    explicit operator bool() const { return m_colors != nullptr; }

    // Pixel x of `source` goes to pixel x of `destination` for first <= x < end, packed from the most significant bit;
    // the rest of the destination is left alone, and the two must not overlap. The matrix cell of a pixel is
    // [row & 7][(x + columnPhase) & 7]. Error diffusion takes the errors waiting for the segment's columns, which must
    // be within the width of `errors`, and leaves those for the row below: call it row by row, from the top of the
    // picture down. Errors that leave the segment are dropped, and what waits for other columns stays. A clipped paint
    // matches the whole one only if it dithers from the left and upper edges of the picture on.
    void Dither(uint8_t *destination, const uint8_t *source, int first, int end, int columnPhase, int row,
                PaintErrors &errors, const PaintSource &format) const;

    // The 2, 16 or 256 colours that the indices name.
    const RGBQUAD *colors() const { return m_colors; }
    int deviceBits() const { return m_deviceBits; }

private:
    friend SegmentDither SelectSegmentDither(int sourceBits, int deviceBits);

    const RGBQUAD *m_colors = nullptr;
    int m_sourceBits = 0;
    int m_deviceBits = 0;
    int m_method = 0;
    int m_paletteClass = 0;
};

// Chooses the routine: device depth 1 or 4 from 2 to 8, 16, 24 and 32 bits, device depth 8 from those and 1 bit. The
// thread's display mode decides the rest: Floyd-Steinberg; with DISPLAYMODE_BIT0 ordered by the dispersed matrix, with
// DISPLAYMODE_CLUSTERED as well by the clustered one; with DISPLAYMODE_FIXED_PALETTE_ALT to the cube palette instead of
// the fixed one on 8-bit devices.
SegmentDither SelectSegmentDither(int sourceBits, int deviceBits);

} // namespace vexo

#endif
