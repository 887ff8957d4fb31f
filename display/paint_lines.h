// The lines of the picture that a paint reads, one at a time, from a bitmap or from rows that the caller holds.
#ifndef VEXO_DISPLAY_PAINT_LINES_H
#define VEXO_DISPLAY_PAINT_LINES_H

#include "core/core.h"

#include <optional>

namespace vexo {

// Rows in a bitmap's format that stand for stored rows from `firstRow` on. With null pixels the bitmap's own rows
// count.
struct HeldRows {
    const uint8_t *pixels;
    int firstRow;
};

class PaintLines {
public:
    // Pixels from column `firstColumn` to `endColumn` - 1 are wanted. The bitmap is locked. Test before use: false when
    // there is no memory for a row.
    PaintLines(BitmapHandle *bitmap, const HeldRows &held, int firstColumn, int endColumn);
    explicit operator bool() const { return m_direct || (m_row && *m_row); }

    // The column that every line starts with: the one asked for, or the nearest before it that starts with a byte.
    int firstColumn() const { return m_firstColumn; }
    // A line, good until the next call. Null: it could not be read, and status() says why.
    const uint8_t *Line(int line);
    int status() const { return m_status; }

private:
    BitmapHandle *const m_bitmap;
    const HeldRows m_held;
    const int m_firstColumn;
    const int m_bytes;
    const uint8_t *const m_direct;        // the first row, where rows need not be copied
    std::optional<Buffer<uint8_t>> m_row; // where they must
    int m_heldLine = -1;                  // the one in m_row
    int m_status = RESULT_SUCCESS;
};

} // namespace vexo

#endif
