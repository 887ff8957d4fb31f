// Rows of a locked bitmap one at a time: where they lie when that is memory, else through a buffer of their own. The
// loops over pixels need not know which.
#ifndef VEXO_CORE_ROW_IO_H
#define VEXO_CORE_ROW_IO_H

#include "core/core.h"

namespace vexo {

class RowReader {
public:
    explicit RowReader(BitmapHandle *bitmap)
        : m_bitmap(bitmap), m_rows(DirectRows(bitmap)), m_buffer(m_rows ? 1 : size_t(bitmap->BytesPerLine))
    {
    }
    explicit operator bool() const { return bool(m_buffer); }

    // RESULT_SUCCESS or the error of the storage. The pixels are there until the next row is read.
    int Read(int row, const uint8_t **pixels)
    {
        if (m_rows) {
            *pixels = m_rows + size_t(row) * size_t(m_bitmap->BytesPerLine);
            return RESULT_SUCCESS;
        }
        *pixels = m_buffer.data();
        return ReadRow(m_bitmap, m_buffer.data(), row);
    }

private:
    BitmapHandle *m_bitmap;
    const uint8_t *m_rows;
    Buffer<uint8_t> m_buffer;
};

class RowWriter {
public:
    explicit RowWriter(BitmapHandle *bitmap)
        : m_bitmap(bitmap), m_rows(DirectRows(bitmap)),
          m_buffer(m_rows ? 1 : size_t(bitmap->BytesPerLine), Buffer<uint8_t>::Fill::Zero)
    {
    }
    explicit operator bool() const { return bool(m_buffer); }

    // Where to put the pixels of a row before it is written.
    uint8_t *Row(int row) const
    {
        return m_rows ? m_rows + size_t(row) * size_t(m_bitmap->BytesPerLine) : m_buffer.data();
    }
    // The same with the pixels that the row has, for changing some of them. RESULT_SUCCESS or the error of the storage.
    int Edit(int row, uint8_t **pixels)
    {
        *pixels = Row(row);
        return m_rows ? RESULT_SUCCESS : ReadRow(m_bitmap, *pixels, row);
    }
    int Write(int row) { return m_rows ? RESULT_SUCCESS : WriteRow(m_bitmap, m_buffer.data(), row); }

private:
    BitmapHandle *m_bitmap;
    uint8_t *m_rows;
    Buffer<uint8_t> m_buffer;
};

} // namespace vexo

#endif
