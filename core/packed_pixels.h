// Pixels of 1 to 8 bits packed most significant bit first, straddling bytes where the depth does not divide 8. One
// template over the depth serves every such format; WithIndexDepth turns a depth known at run time into the type.
#ifndef VEXO_CORE_PACKED_PIXELS_H
#define VEXO_CORE_PACKED_PIXELS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vexo {

template <int Bits>
struct PackedPixels {
    static_assert(Bits >= 1 && Bits <= 8);
    static constexpr int kBits = Bits;
    static constexpr unsigned kMask = (1u << Bits) - 1;
    static constexpr bool kStraddles = 8 % Bits != 0;

    static unsigned Get(const uint8_t *row, size_t x)
    {
        const size_t bit = x * Bits;
        const uint8_t *p = row + bit / 8;
        const int end = int(bit % 8) + Bits; // bits from the start of *p to the end of the pixel
        if (!kStraddles || end <= 8)
            return (unsigned(p[0]) >> (8 - end)) & kMask;
        return ((unsigned(p[0]) << 8 | p[1]) >> (16 - end)) & kMask;
    }

    static void Put(uint8_t *row, size_t x, unsigned value)
    {
        const size_t bit = x * Bits;
        uint8_t *p = row + bit / 8;
        const int end = int(bit % 8) + Bits;
        value &= kMask;
        if (!kStraddles || end <= 8) {
            const int shift = 8 - end;
            p[0] = uint8_t((p[0] & ~(kMask << shift)) | (value << shift));
            return;
        }
        const int shift = 16 - end;
        const unsigned pair = ((unsigned(p[0]) << 8 | p[1]) & ~(kMask << shift)) | (value << shift);
        p[0] = uint8_t(pair >> 8);
        p[1] = uint8_t(pair);
    }

    // Spreads pixels to a byte each. Eight pixels are Bits bytes, so whole groups need no bit arithmetic across calls.
    static void Unpack(uint8_t *indices, const uint8_t *row, size_t count)
    {
        if constexpr (Bits == 8) {
            memcpy(indices, row, count);
            return;
        }
        size_t x = 0;
        for (; x + 8 <= count; x += 8, row += Bits) {
            uint64_t group = 0;
            for (int i = 0; i < Bits; ++i)
                group = group << 8 | row[i];
            for (int i = 0; i < 8; ++i)
                indices[x + i] = uint8_t(group >> (7 - i) * Bits & kMask);
        }
        for (size_t i = 0; x < count; ++x, ++i)
            indices[x] = uint8_t(Get(row, i));
    }

    // Packs one byte a pixel. Bits behind the last pixel in its byte become 0.
    static void Pack(uint8_t *row, const uint8_t *indices, size_t count)
    {
        if constexpr (Bits == 8) {
            memcpy(row, indices, count);
            return;
        }
        size_t x = 0;
        for (; x + 8 <= count; x += 8, row += Bits) {
            uint64_t group = 0;
            for (int i = 0; i < 8; ++i)
                group = group << Bits | (indices[x + i] & kMask);
            for (int i = Bits - 1; i >= 0; --i, group >>= 8)
                row[i] = uint8_t(group);
        }
        if (x < count) {
            memset(row, 0, ((count - x) * Bits + 7) / 8);
            for (size_t i = 0; x < count; ++x, ++i)
                Put(row, i, indices[x]);
        }
    }
};

// Calls work(PackedPixels<bits>{}) for a depth of 1 to 8; the caller has checked the depth.
template <class Work>
auto WithIndexDepth(int bits, Work &&work)
{
    switch (bits) {
    case 1: return work(PackedPixels<1>{});
    case 2: return work(PackedPixels<2>{});
    case 3: return work(PackedPixels<3>{});
    case 4: return work(PackedPixels<4>{});
    case 5: return work(PackedPixels<5>{});
    case 6: return work(PackedPixels<6>{});
    case 7: return work(PackedPixels<7>{});
    default: return work(PackedPixels<8>{});
    }
}

} // namespace vexo

#endif
