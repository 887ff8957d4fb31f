// The vector mirroring kernels: byte shuffles reverse 16, 32 or 48 bytes from one end of a row while those of the other
// end wait in registers, so that rows are mirrored where they are. Both blocks are loaded before either is stored;
// what is left in the middle of a row is therefore done by one step whose blocks overlap.
#include "geometry/mirror_kernels.h"

#include "core/vectors.h"

namespace vexo {

namespace {

// ---- Tables ---------------------------------------------------------------------------------------------------

struct alignas(16) ByteTable {
    uint8_t bytes[16];
};

// Which byte comes to each place when the order of units is reversed.
template <int Bytes>
constexpr ByteTable MakeReversedOrder()
{
    ByteTable table = {};
    for (int i = 0; i < 16; ++i)
        table.bytes[i] = uint8_t(16 - Bytes - i / Bytes * Bytes + i % Bytes);
    return table;
}
template <int Bytes>
constexpr ByteTable kReversedOrder = MakeReversedOrder<Bytes>();

// What the low and the high half of a byte become when its pixels are mirrored.
template <int Bits, int Shift>
constexpr ByteTable MakeNibbles()
{
    ByteTable table = {};
    for (unsigned i = 0; i < 16; ++i)
        table.bytes[i] = MirrorByte<Bits>(i << Shift);
    return table;
}
template <int Bits, int Shift>
constexpr ByteTable kNibbles = MakeNibbles<Bits, Shift>();

// ---- SSSE3 ----------------------------------------------------------------------------------------------------

// Units that divide 16 bytes.
template <int Bits, int Bytes>
struct Block16 {
    static constexpr int kStep = 16;

    VEXO_TARGET_SSSE3 static inline __m128i Mirror(__m128i v)
    {
        v = _mm_shuffle_epi8(v, Load128(&kReversedOrder<Bytes>));
        if constexpr (Bits == 8)
            return v;
        const __m128i half = _mm_set1_epi8(0x0F);
        const __m128i low = _mm_shuffle_epi8(Load128(&kNibbles<Bits, 0>), _mm_and_si128(v, half));
        const __m128i high = _mm_shuffle_epi8(Load128(&kNibbles<Bits, 4>), _mm_and_si128(_mm_srli_epi16(v, 4), half));
        return _mm_or_si128(low, high);
    }

    VEXO_TARGET_SSSE3 static inline void Exchange(uint8_t *low, uint8_t *high)
    {
        const __m128i a = Load128(low), b = Load128(high);
        Store128(low, Mirror(b));
        Store128(high, Mirror(a));
    }
};

// 16 pixels of 3 bytes in three registers. Each result keeps what it can from one of them; the pixels that straddle
// registers come from their neighbours.
struct Block48 {
    static constexpr int kStep = 48;

    VEXO_TARGET_SSSE3 static inline void Mirror(__m128i &a, __m128i &b, __m128i &c)
    {
        const __m128i firstFromC = _mm_setr_epi8(13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3, -1);
        const __m128i firstFromB = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 14);
        const __m128i middleFromC = _mm_setr_epi8(-1, 0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m128i middleFromB = _mm_setr_epi8(15, -1, 11, 12, 13, 8, 9, 10, 5, 6, 7, 2, 3, 4, -1, 0);
        const __m128i middleFromA = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 15, -1);
        const __m128i lastFromB = _mm_setr_epi8(1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m128i lastFromA = _mm_setr_epi8(-1, 12, 13, 14, 9, 10, 11, 6, 7, 8, 3, 4, 5, 0, 1, 2);
        const __m128i first = _mm_or_si128(_mm_shuffle_epi8(c, firstFromC), _mm_shuffle_epi8(b, firstFromB));
        const __m128i middle =
            _mm_or_si128(_mm_shuffle_epi8(b, middleFromB),
                         _mm_or_si128(_mm_shuffle_epi8(a, middleFromA), _mm_shuffle_epi8(c, middleFromC)));
        c = _mm_or_si128(_mm_shuffle_epi8(a, lastFromA), _mm_shuffle_epi8(b, lastFromB));
        b = middle;
        a = first;
    }

    VEXO_TARGET_SSSE3 static inline void Exchange(uint8_t *low, uint8_t *high)
    {
        __m128i a = Load128(low), b = Load128(low + 16), c = Load128(low + 32);
        __m128i d = Load128(high), e = Load128(high + 16), f = Load128(high + 32);
        Mirror(d, e, f);
        Store128(low, d);
        Store128(low + 16, e);
        Store128(low + 32, f);
        Mirror(a, b, c);
        Store128(high, a);
        Store128(high + 16, b);
        Store128(high + 32, c);
    }
};

template <class Block, MirrorUnit Unit>
VEXO_TARGET_SSSE3 void ReverseSsse3(uint8_t *row, size_t bytes)
{
    uint8_t *low = row, *high = row + bytes;
    for (; high - low >= 2 * Block::kStep; low += Block::kStep, high -= Block::kStep)
        Block::Exchange(low, high - Block::kStep);
    if (high - low >= Block::kStep)
        Block::Exchange(low, high - Block::kStep);
    else
        plainMirrorKernels.units[Unit].reverse(low, size_t(high - low));
}

template <class Block, MirrorUnit Unit>
VEXO_TARGET_SSSE3 void ExchangeReversedSsse3(uint8_t *row, uint8_t *other, size_t bytes)
{
    for (; bytes >= Block::kStep; row += Block::kStep, bytes -= Block::kStep)
        Block::Exchange(row, other + bytes - Block::kStep);
    plainMirrorKernels.units[Unit].exchangeReversed(row, other, bytes);
}

// ---- AVX2 -----------------------------------------------------------------------------------------------------

VEXO_AVX2_PIECE __m256i InBothHalves(const ByteTable &table) { return vexo::InBothHalves(Load128(&table)); }

template <int Bits, int Bytes>
struct Block32 {
    static constexpr int kStep = 32;

    static VEXO_AVX2_PIECE __m256i Mirror(__m256i v)
    {
        v = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, InBothHalves(kReversedOrder<Bytes>)), 0x4E);
        if constexpr (Bits == 8)
            return v;
        const __m256i half = _mm256_set1_epi8(0x0F);
        const __m256i low = _mm256_shuffle_epi8(InBothHalves(kNibbles<Bits, 0>), _mm256_and_si256(v, half));
        const __m256i high =
            _mm256_shuffle_epi8(InBothHalves(kNibbles<Bits, 4>), _mm256_and_si256(_mm256_srli_epi16(v, 4), half));
        return _mm256_or_si256(low, high);
    }

    static VEXO_AVX2_PIECE void Exchange(uint8_t *low, uint8_t *high)
    {
        const __m256i a = Load256(low), b = Load256(high);
        Store256(low, Mirror(b));
        Store256(high, Mirror(a));
    }
};

// The loops once more: a function's instruction set is part of what it is. Rows that are shorter than a step, and what
// a longer one leaves over, go to the 16-byte form.
template <class Block, class Rest, MirrorUnit Unit>
VEXO_TARGET_AVX2 void ReverseAvx2(uint8_t *row, size_t bytes)
{
    uint8_t *low = row, *high = row + bytes;
    for (; high - low >= 2 * Block::kStep; low += Block::kStep, high -= Block::kStep)
        Block::Exchange(low, high - Block::kStep);
    if (high - low >= Block::kStep)
        Block::Exchange(low, high - Block::kStep);
    else
        ReverseSsse3<Rest, Unit>(low, size_t(high - low));
}

template <class Block, class Rest, MirrorUnit Unit>
VEXO_TARGET_AVX2 void ExchangeReversedAvx2(uint8_t *row, uint8_t *other, size_t bytes)
{
    for (; bytes >= Block::kStep; row += Block::kStep, bytes -= Block::kStep)
        Block::Exchange(row, other + bytes - Block::kStep);
    ExchangeReversedSsse3<Rest, Unit>(row, other, bytes);
}

VEXO_TARGET_AVX2 void ExchangeAvx2(uint8_t *row, uint8_t *other, size_t bytes)
{
    for (; bytes >= 64; bytes -= 64, row += 64, other += 64) {
        const __m256i a = Load256(row), b = Load256(row + 32), c = Load256(other), d = Load256(other + 32);
        Store256(row, c);
        Store256(row + 32, d);
        Store256(other, a);
        Store256(other + 32, b);
    }
    plainMirrorKernels.exchange(row, other, bytes);
}

VEXO_TARGET_AVX2 void ShiftBitsAvx2(uint8_t *row, size_t bytes, int bits)
{
    const __m128i left = _mm_cvtsi32_si128(bits), right = _mm_cvtsi32_si128(8 - bits);
    const __m256i kept = _mm256_set1_epi8(char(0xFF << bits));
    for (; bytes > 32; bytes -= 32, row += 32) {
        const __m256i own = _mm256_and_si256(_mm256_sll_epi16(Load256(row), left), kept);
        const __m256i next = _mm256_andnot_si256(kept, _mm256_srl_epi16(Load256(row + 1), right));
        Store256(row, _mm256_or_si256(own, next));
    }
    plainMirrorKernels.shiftBits(row, bytes, bits);
}

// ---- GFNI -----------------------------------------------------------------------------------------------------

// The matrix that mirrors the pixels of a byte. Its last row makes the lowest bit.
template <int Bits>
constexpr uint64_t MakeMirrorMatrix()
{
    uint64_t matrix = 0;
    for (int bit = 0; bit < 8; ++bit)
        matrix |= uint64_t(MirrorByte<Bits>(1u << bit)) << (56 - 8 * bit);
    return matrix;
}

// Pixels smaller than a byte, mirrored within theirs by one product of matrices.
template <int Bits>
struct MatrixBlock32 {
    static constexpr int kStep = 32;

    VEXO_TARGET_GFNI static inline __m256i Mirror(__m256i v)
    {
        v = Block32<8, 1>::Mirror(v);
        return _mm256_gf2p8affine_epi64_epi8(v, _mm256_set1_epi64x(int64_t(MakeMirrorMatrix<Bits>())), 0);
    }

    VEXO_TARGET_GFNI static inline void Exchange(uint8_t *low, uint8_t *high)
    {
        const __m256i a = Load256(low), b = Load256(high);
        Store256(low, Mirror(b));
        Store256(high, Mirror(a));
    }
};

template <int Bits, MirrorUnit Unit>
VEXO_TARGET_GFNI void ReverseGfni(uint8_t *row, size_t bytes)
{
    using Block = MatrixBlock32<Bits>;
    uint8_t *low = row, *high = row + bytes;
    for (; high - low >= 2 * Block::kStep; low += Block::kStep, high -= Block::kStep)
        Block::Exchange(low, high - Block::kStep);
    if (high - low >= Block::kStep)
        Block::Exchange(low, high - Block::kStep);
    else
        ReverseSsse3<Block16<Bits, 1>, Unit>(low, size_t(high - low));
}

template <int Bits, MirrorUnit Unit>
VEXO_TARGET_GFNI void ExchangeReversedGfni(uint8_t *row, uint8_t *other, size_t bytes)
{
    using Block = MatrixBlock32<Bits>;
    for (; bytes >= Block::kStep; row += Block::kStep, bytes -= Block::kStep)
        Block::Exchange(row, other + bytes - Block::kStep);
    ExchangeReversedSsse3<Block16<Bits, 1>, Unit>(row, other, bytes);
}

// ---- The choice -----------------------------------------------------------------------------------------------

template <int Bits, int Bytes, MirrorUnit Unit>
void UseUnit(MirrorKernels *kernels, CpuLevel level)
{
    using Narrow = Block16<Bits, Bytes>;
    using Wide = Block32<Bits, Bytes>;
    if (level == CpuLevel::Ssse3)
        kernels->units[Unit] = {ReverseSsse3<Narrow, Unit>, ExchangeReversedSsse3<Narrow, Unit>};
    else
        kernels->units[Unit] = {ReverseAvx2<Wide, Narrow, Unit>, ExchangeReversedAvx2<Wide, Narrow, Unit>};
}

} // namespace

void UseVectorKernels(MirrorKernels *kernels, CpuLevel level)
{
    if (level == CpuLevel::Baseline)
        return;
    UseUnit<1, 1, kBits1>(kernels, level);
    UseUnit<2, 1, kBits2>(kernels, level);
    UseUnit<4, 1, kBits4>(kernels, level);
    UseUnit<8, 1, kBytes1>(kernels, level);
    UseUnit<8, 2, kBytes2>(kernels, level);
    UseUnit<8, 4, kBytes4>(kernels, level);
    kernels->units[kBytes3] = {ReverseSsse3<Block48, kBytes3>, ExchangeReversedSsse3<Block48, kBytes3>};
    if (level == CpuLevel::Ssse3)
        return;
    kernels->exchange = ExchangeAvx2;
    kernels->shiftBits = ShiftBitsAvx2;
    if (level < CpuLevel::Gfni)
        return;
    kernels->units[kBits1] = {ReverseGfni<1, kBits1>, ExchangeReversedGfni<1, kBits1>};
    kernels->units[kBits2] = {ReverseGfni<2, kBits2>, ExchangeReversedGfni<2, kBits2>};
    kernels->units[kBits4] = {ReverseGfni<4, kBits4>, ExchangeReversedGfni<4, kBits4>};
}

} // namespace vexo
