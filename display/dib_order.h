// Pixels in memory that are a DIB but for the order of their rows or colours, put right in place while GDI reads them.
#ifndef VEXO_DISPLAY_DIB_ORDER_H
#define VEXO_DISPLAY_DIB_ORDER_H

#include "colour/pixel_kernels.h"
#include "geometry/mirror_kernels.h"

namespace vexo {

// Gives rows in the format of a bitmap, BytesPerLine apart, the order of a DIB for a scope: blue first, and the last
// row first if `reverse` is set. It needs no memory, so that they can always be put back.
class DibOrder {
public:
    DibOrder(const BitmapHandle *bitmap, uint8_t *rows, int rowCount, bool reverse)
        : m_bitmap(bitmap), m_rows(rows), m_rowCount(rowCount), m_reverse(reverse)
    {
        Turn();
    }
    ~DibOrder() { Turn(); }
    DibOrder(const DibOrder &) = delete;
    DibOrder &operator=(const DibOrder &) = delete;

private:
    // Done twice it changes nothing.
    void Turn() const
    {
        const size_t lineBytes = size_t(m_bitmap->BytesPerLine);
        for (int low = 0, high = m_rowCount - 1; m_reverse && low < high; ++low, --high)
            mirrorKernels.exchange(Row(low), Row(high), lineBytes);
        if (m_bitmap->BitsPerPixel == 24 && m_bitmap->ColorOrder == COLOR_ORDER_RGB)
            for (int i = 0; i < m_rowCount; ++i)
                pixelKernels.swap24(Row(i), size_t(m_bitmap->Width));
    }
    uint8_t *Row(int i) const { return m_rows + size_t(i) * size_t(m_bitmap->BytesPerLine); }

    const BitmapHandle *const m_bitmap;
    uint8_t *const m_rows;
    const int m_rowCount;
    const bool m_reverse;
};

} // namespace vexo

#endif
