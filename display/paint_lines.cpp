// Lines for painting. Rows that lie in memory are used where they are; others pass through one row buffer.
#include "display/paint_lines.h"

namespace vexo {

namespace {

// The nearest column at or before one that starts with a byte.
int ByteColumn(int column, int bits)
{
    int pixels = 1; // that fill whole bytes
    while (pixels * bits % 8 != 0)
        pixels *= 2;
    return column / pixels * pixels;
}

} // namespace

PaintLines::PaintLines(BitmapHandle *bitmap, const HeldRows &held, int firstColumn, int endColumn)
    : m_bitmap(bitmap), m_held(held), m_firstColumn(ByteColumn(firstColumn, bitmap->BitsPerPixel)),
      m_bytes(int(PackedBytes(endColumn - m_firstColumn, bitmap->BitsPerPixel))),
      m_direct(held.pixels ? held.pixels : DirectRows(bitmap))
{
    if (!m_direct)
        m_row.emplace(size_t(m_bytes));
}

const uint8_t *PaintLines::Line(int line)
{
    const int row = StoredRow(m_bitmap, line);
    if (m_direct) {
        const size_t offset = size_t(PackedBytes(m_firstColumn, m_bitmap->BitsPerPixel));
        return m_direct + size_t(int64_t(row) - m_held.firstRow) * size_t(m_bitmap->BytesPerLine) + offset;
    }
    if (line == m_heldLine)
        return m_row->data();
    m_heldLine = -1;
    const int moved = V_GetBitmapRowCol(m_bitmap, m_row->data(), row, m_firstColumn, m_bytes);
    if (TransferFailed(moved)) {
        m_status = moved;
        return nullptr;
    }
    m_heldLine = line;
    return m_row->data();
}

} // namespace vexo
