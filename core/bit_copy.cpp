// Bit ranges are copied as whole bytes of the destination, by a kernel that shifts many at a time; what sticks out at
// either end is merged bit by bit into the byte it lies in.
#include "core/bit_copy.h"

#include "core/row_kernels.h"

#include <algorithm>

namespace vexo {

namespace {

constexpr unsigned TopBits(unsigned count) { return 0xFF00u >> count & 0xFF; }

// The bits from bit `shift` of p[0] on, of which the first `count` <= 8 count, at the top of a byte.
unsigned BitsAt(const uint8_t *p, unsigned shift, unsigned count)
{
    unsigned bits = unsigned(p[0]) << shift;
    if (shift + count > 8)
        bits |= p[1] >> (8 - shift);
    return bits & 0xFF;
}

// Replaces `count` bits of a byte from bit `shift` on by those at the top of `bits`.
void Merge(uint8_t *p, unsigned shift, unsigned count, unsigned bits)
{
    const unsigned mask = TopBits(count) >> shift;
    *p = uint8_t((*p & ~mask) | (bits >> shift & mask));
}

} // namespace

void CopyBits(uint8_t *to, uint64_t toBit, const uint8_t *from, uint64_t fromBit, uint64_t count)
{
    to += toBit / 8;
    from += fromBit / 8;
    unsigned shift = unsigned(fromBit % 8);
    if (const unsigned toShift = unsigned(toBit % 8)) {
        const unsigned head = unsigned(std::min<uint64_t>(count, 8 - toShift));
        if (head == 0)
            return;
        Merge(to++, toShift, head, BitsAt(from, shift, head));
        count -= head;
        shift += head;
        from += shift / 8;
        shift %= 8;
    }
    const size_t bytes = size_t(count / 8);
    if (shift == 0)
        memcpy(to, from, bytes);
    else
        rowKernels.shiftBits(to, from, bytes, int(shift));
    if (const unsigned tail = unsigned(count % 8))
        Merge(to + bytes, 0, tail, BitsAt(from + bytes, shift, tail));
}

} // namespace vexo
