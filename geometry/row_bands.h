// Groups of rows in memory, for operations that reach many rows at a time: those of memory storage where they lie,
// others as many as fit a buffer of modest size.
#ifndef VEXO_GEOMETRY_ROW_BANDS_H
#define VEXO_GEOMETRY_ROW_BANDS_H

#include "core/core.h"

#include <algorithm>
#include <optional>

namespace vexo {

class RowBand {
public:
    // A band of at most `rows` rows of a locked bitmap. Rows in memory need no buffer and set no limit.
    RowBand(BitmapHandle *bitmap, int rows)
        : m_bitmap(bitmap), m_isDirect(DirectRows(bitmap) != nullptr),
          m_capacity(m_isDirect ? bitmap->Height : std::min(rows, bitmap->Height)), m_rows(DirectRows(bitmap))
    {
        if (!m_isDirect)
            m_rows = m_buffer.emplace(uint64_t(unsigned(m_capacity)) * unsigned(bitmap->BytesPerLine)).data();
    }

    explicit operator bool() const { return m_rows != nullptr; }

    int capacity() const { return m_capacity; }
    ptrdiff_t stride() const { return m_bitmap->BytesPerLine; }
    // A row of the current band.
    uint8_t *Row(int row) const { return m_rows + (row - m_origin) * stride(); }

    // Makes `count` rows from `first` on the current band. Rows of a new bitmap need not be loaded and are 0 then, or
    // hold anything if they lie in memory.
    int Open(int first, int count, bool load)
    {
        int status = RESULT_SUCCESS;
        if (m_isDirect)
            return status;
        m_origin = first;
        m_count = count;
        if (!load)
            memset(m_rows, 0, size_t(count) * size_t(stride()));
        for (int i = 0; i < count && load && !Failed(status); ++i)
            status = ReadRow(m_bitmap, Row(first + i), first + i);
        return status;
    }
    // Stores the rows of the current band.
    int Write() const
    {
        int status = RESULT_SUCCESS;
        for (int i = 0; i < m_count && !Failed(status); ++i)
            status = WriteRow(m_bitmap, Row(m_origin + i), m_origin + i);
        return status;
    }

private:
    BitmapHandle *m_bitmap;
    bool m_isDirect;
    int m_capacity;
    uint8_t *m_rows;  // of memory storage, or the buffer
    int m_origin = 0; // the row at m_rows
    int m_count = 0;  // rows in the buffer
    std::optional<Buffer<uint8_t>> m_buffer;
};

// How many rows of a source that lies elsewhere are held at a time: some megabytes of them, a multiple of `unit`.
inline int WindowRows(const BitmapHandle *bitmap, int unit)
{
    constexpr int kWindowBytes = 1 << 22;
    const int rows = std::max(kWindowBytes / bitmap->BytesPerLine, unit) / unit * unit;
    return std::min(rows, (bitmap->Height + unit - 1) / unit * unit);
}

} // namespace vexo

#endif
