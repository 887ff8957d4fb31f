// Copies ranges of bits between rows of packed pixels, whatever their places within bytes.
#ifndef VEXO_CORE_BIT_COPY_H
#define VEXO_CORE_BIT_COPY_H

#include "core/row_kernels.h"

namespace vexo {

// Copies `count` bits from bit `fromBit` of `from` to bit `toBit` of `to`, counted from the most significant bit of the
// first byte. The other bits of the bytes at both ends stay, and no byte is read or written that holds none of the
// bits. The two ranges must not overlap. Bit numbers go beyond 32 bits: a row may have 2 GB.
void CopyBits(uint8_t *to, uint64_t toBit, const uint8_t *from, uint64_t fromBit, uint64_t count);

// The same for pixels of any depth, by column.
inline void CopyPixels(uint8_t *to, int toColumn, const uint8_t *from, int fromColumn, int count, int bits)
{
    if (bits < 8) {
        CopyBits(to, uint64_t(toColumn) * unsigned(bits), from, uint64_t(fromColumn) * unsigned(bits),
                 uint64_t(count) * unsigned(bits));
        return;
    }
    const size_t bytes = size_t(bits) / 8;
    CopyBytes(to + size_t(toColumn) * bytes, from + size_t(fromColumn) * bytes, size_t(count) * bytes);
}

} // namespace vexo

#endif
