// The vector kernels of quarter turns. A register holds a piece of one row in its lower half and the same piece of the
// row half a block further down in its upper half; interleaving registers log2(rows) times then leaves a column in
// each, in the order of the rows. Pixels of 3 bytes are widened to 4 on the way in and closed up on the way out; bits
// are transposed as bytes, and each column of bytes gives its eight columns of bits by sign masks, or by a product of
// matrices of bits where the processor has one.
#include "geometry/turn_kernels.h"

#include "core/vectors.h"

#include <algorithm>

namespace vexo {

namespace {

// Pixels of two registers by turns: of the lower, or of the upper, 8 bytes in each half.
template <int Bytes, bool IsUpper>
VEXO_AVX2_PIECE __m256i Alternate(__m256i a, __m256i b)
{
    switch (Bytes) {
    case 1: return IsUpper ? _mm256_unpackhi_epi8(a, b) : _mm256_unpacklo_epi8(a, b);
    case 2: return IsUpper ? _mm256_unpackhi_epi16(a, b) : _mm256_unpacklo_epi16(a, b);
    default: return IsUpper ? _mm256_unpackhi_epi32(a, b) : _mm256_unpacklo_epi32(a, b);
    }
}

// One round: each register is interleaved with the one half the block further on.
template <int Bytes, int Count>
VEXO_AVX2_PIECE void Interleave(__m256i (&v)[Count])
{
    __m256i result[Count];
    for (int i = 0; i < Count / 2; ++i) {
        result[2 * i] = Alternate<Bytes, false>(v[i], v[i + Count / 2]);
        result[2 * i + 1] = Alternate<Bytes, true>(v[i], v[i + Count / 2]);
    }
    for (int i = 0; i < Count; ++i)
        v[i] = result[i];
}

// The columns of 8 bytes of 32 rows, in the order of the rows or with each group of eight rows mirrored.
template <bool MirrorGroups>
VEXO_AVX2_PIECE void GatherBytes(__m256i (&v)[8], const uint8_t *from, ptrdiff_t stride)
{
    const auto row = [&](int place) VEXO_TARGET_AVX2 {
        return Load64(from + (MirrorGroups ? (place & ~7) + 7 - (place & 7) : place) * stride);
    };
    for (int i = 0; i < 8; ++i)
        v[i] = Halves(_mm_unpacklo_epi8(row(i), row(i + 8)), _mm_unpacklo_epi8(row(i + 16), row(i + 24)));
    Interleave<1>(v);
    Interleave<1>(v);
    Interleave<1>(v);
}

// ---- Blocks of pixels -----------------------------------------------------------------------------------------

// Each form moves a block of kRows rows and kColumns columns. The last argument tells that no pixel follows the block
// in its rows.
//
// Pixels of 2 and 4 bytes: half a register holds a row of the block, and interleaving the halves of the list once for
// each bit of the column number turns it.
template <int Bytes>
struct Block {
    static constexpr int kColumns = 16 / Bytes, kRows = 2 * kColumns, kLeastColumns = kColumns;

    static VEXO_AVX2_PIECE void Move(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t stride, bool)
    {
        __m256i v[kColumns];
        for (int i = 0; i < kColumns; ++i)
            v[i] = LoadHalves(from + i * stride, from + (i + kColumns) * stride);
        for (int columns = kColumns; columns > 1; columns /= 2)
            Interleave<Bytes>(v);
        for (int i = 0; i < kColumns; ++i)
            Store256(to + i * toStride, v[i]);
    }
};

template <>
struct Block<1> {
    static constexpr int kRows = 32, kColumns = 8, kLeastColumns = 8;

    static VEXO_AVX2_PIECE void Move(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t stride, bool)
    {
        __m256i v[8];
        GatherBytes<false>(v, from, stride);
        for (int i = 0; i < 8; ++i)
            Store256(to + i * toStride, v[i]);
    }
};

template <>
struct Block<3> {
    static constexpr int kRows = 8, kColumns = 4, kLeastColumns = 6;

    // Four pixels are 12 of the 16 bytes loaded: the first ones, or at the end of a row the last ones.
    static VEXO_AVX2_PIECE void Move(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t stride,
                                     bool isLast)
    {
        const __m128i first = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
        const __m128i last = _mm_setr_epi8(4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
        const __m256i spread = InBothHalves(isLast ? last : first);
        from -= isLast ? 4 : 0;
        __m256i v[4];
        for (int i = 0; i < 4; ++i)
            v[i] = _mm256_shuffle_epi8(LoadHalves(from + i * stride, from + (i + 4) * stride), spread);
        Interleave<4>(v);
        Interleave<4>(v);
        for (int i = 0; i < 4; ++i) {
            const __m256i pixels = CloseUp24(v[i]);
            uint8_t *row = to + i * toStride;
            Store128(row, LowHalf(pixels));
            Store64(row + 16, HighHalf(pixels));
        }
    }
};

// Blocks one beside the other, so that the rows that are read are read on and on; what no block covers is plain work.
template <int Bytes>
VEXO_TARGET_AVX2 void TransposeAvx2(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride,
                                    int columns, int rows)
{
    using Form = Block<Bytes>;
    const int blockRows = rows / Form::kRows * Form::kRows;
    const int blockColumns = columns < Form::kLeastColumns ? 0 : columns / Form::kColumns * Form::kColumns;
    for (int r = 0; r < blockRows; r += Form::kRows)
        for (int c = 0; c < blockColumns; c += Form::kColumns)
            Form::Move(to + c * toStride + r * Bytes, toStride, from + r * fromStride + c * Bytes, fromStride,
                       c + Form::kLeastColumns > columns);
    const auto plain = plainTurnKernels.bytes[Bytes - 1];
    if (blockColumns < columns)
        plain(to + blockColumns * toStride, toStride, from + blockColumns * Bytes, fromStride, columns - blockColumns,
              blockRows);
    if (blockRows < rows)
        plain(to + blockRows * Bytes, toStride, from + blockRows * fromStride, fromStride, columns, rows - blockRows);
}

// The last piece of a row is copied from its end backwards, over what is there already.
VEXO_TARGET_AVX2 void CopyRowsAvx2(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride,
                                   size_t bytes, int rows)
{
    constexpr size_t kStep = 32;
    if (bytes < kStep) {
        plainTurnKernels.copyRows(to, toStride, from, fromStride, bytes, rows);
        return;
    }
    for (int r = 0; r < rows; ++r, to += toStride, from += fromStride) {
        for (size_t i = 0; i + kStep < bytes; i += kStep)
            Store256(to + i, Load256(from + i));
        Store256(to + bytes - kStep, Load256(from + bytes - kStep));
    }
}

// ---- Bits -----------------------------------------------------------------------------------------------------

// Both forms move blocks of whole bytes. The last blocks of either direction begin earlier if they must, and write what
// is there already; the few rows and columns beyond the last whole byte are plain work.

VEXO_TARGET_AVX2 void TransposeBitsAvx2(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride,
                                        int columns, int rows)
{
    constexpr int kColumns = 64, kRows = 32;
    const int wide = columns < kColumns ? 0 : columns & ~7, tall = rows < kRows ? 0 : rows & ~7;
    for (int i = 0; i < tall; i += kRows)
        for (int k = 0; k < wide; k += kColumns) {
            const int r = std::min(i, tall - kRows), c = std::min(k, wide - kColumns);
            // Sign masks give the first row in the lowest bit, pixels want it in the highest.
            __m256i v[8];
            GatherBytes<true>(v, from + r * fromStride + c / 8, fromStride);
            uint8_t *place = to + c * toStride + r / 8;
            for (int byte = 0; byte < 8; ++byte)
                for (int bit = 0; bit < 8; ++bit, place += toStride) {
                    const int mask = _mm256_movemask_epi8(v[byte]);
                    memcpy(place, &mask, 4);
                    v[byte] = _mm256_add_epi8(v[byte], v[byte]);
                }
        }
    const auto plain = plainTurnKernels.bits;
    if (wide < columns)
        plain(to + wide * toStride, toStride, from + wide / 8, fromStride, columns - wide, tall);
    if (tall < rows)
        plain(to + tall / 8, toStride, from + tall * fromStride, fromStride, columns, rows - tall);
}

// Eight rows of 17 to 32 bytes become one row of bytes: byte c has the bits of column c. The last 16 bytes of the rows
// begin at byte `last`.
VEXO_TARGET_GFNI inline void StandBits(uint8_t *to, const uint8_t *from, ptrdiff_t stride, int last)
{
    __m256i v[8];
    for (int i = 0; i < 8; ++i)
        v[i] = LoadHalves(from + i * stride, from + i * stride + last);
    for (int i = 0; i < 3; ++i)
        Interleave<1>(v);
    // The mirrored unit matrix times a block of 8 x 8 bits is the block with rows and columns exchanged.
    const __m256i unit = _mm256_set1_epi64x(0x0102040810204080);
    for (int i = 0; i < 8; ++i) {
        const __m256i bits = _mm256_gf2p8affine_epi64_epi8(unit, v[i], 0);
        StoreHalves(to + i * 16, to + last * 8 + i * 16, bits);
    }
}

// What eight rows at a time have become is a picture of bytes, which is then turned as one.
VEXO_TARGET_GFNI void TransposeBitsGfni(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride,
                                        int columns, int rows)
{
    constexpr int kColumns = 256, kRows = 256;
    if (columns <= kColumns / 2 || columns > kColumns || rows < kRows)
        return TransposeBitsAvx2(to, toStride, from, fromStride, columns, rows);
    const int last = (columns + 7) / 8 - 16, tall = rows & ~7;
    uint8_t bytes[kRows / 8 * kColumns];
    for (int i = 0; i < tall; i += kRows) {
        const int r = std::min(i, tall - kRows);
        for (int k = 0; k < kRows; k += 8)
            StandBits(bytes + k / 8 * kColumns, from + (r + k) * fromStride, fromStride, last);
        TransposeAvx2<1>(to + r / 8, toStride, bytes, kColumns, columns, kRows / 8);
    }
    if (tall < rows)
        plainTurnKernels.bits(to + tall / 8, toStride, from + tall * fromStride, fromStride, columns, rows - tall);
}

} // namespace

void UseVectorKernels(TurnKernels *kernels, CpuLevel level)
{
    if (level < CpuLevel::Avx2)
        return;
    *kernels = {
        TransposeBitsAvx2, {TransposeAvx2<1>, TransposeAvx2<2>, TransposeAvx2<3>, TransposeAvx2<4>}, CopyRowsAvx2};
    if (level >= CpuLevel::Gfni)
        kernels->bits = TransposeBitsGfni;
}

} // namespace vexo
