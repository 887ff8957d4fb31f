// Mirroring rows in place: what flip, reverse and the half turn share.
#ifndef VEXO_GEOMETRY_MIRROR_H
#define VEXO_GEOMETRY_MIRROR_H

#include "geometry/mirror_kernels.h"

#include <optional>

namespace vexo {

// Mirrors rows of one width and depth. Pixels of 3, 5, 6 and 7 bits, which are no multiple of bytes and no part of one,
// pass through a work row.
class RowMirror {
public:
    RowMirror(int width, int bits);

    // False when there is no memory for the work row.
    explicit operator bool() const { return !m_work || *m_work; }

    // Reverses the order of a row's pixels. The bits behind the last pixel in its byte become 0.
    void Reverse(uint8_t *row) const;
    // Exchanges two separate rows and reverses both.
    void ExchangeReversed(uint8_t *row, uint8_t *other) const;

private:
    void DropSpareBits(uint8_t *row) const;

    int m_width;
    int m_bits;
    size_t m_bytes;  // of the pixels of a row
    int m_spareBits; // behind them in the last byte
    MirrorKernels::Unit m_unit;
    std::optional<Buffer<uint8_t>> m_work;
};

// What a mirroring does to the rows of a bitmap, and to its region. The two together are the half turn.
enum class Mirroring { Flip, Reverse, HalfTurn };

// Mirrors an allocated bitmap and its region; progress runs over the given range. When a row cannot be read or written,
// or the callback stops the work, the rows done are put back and the error is returned.
int MirrorBitmap(BitmapHandle *bitmap, Mirroring mirroring, int progressFrom, int progressTo);

} // namespace vexo

#endif
