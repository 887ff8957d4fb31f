// The vector combining kernels: 32 bytes a step, each operation a function of two registers of bytes. The five-bit
// fields of 16-bit pixels are moved one after the other to the low byte of their lanes and use the same functions.
#include "geometry/combine_kernels.h"

#include "core/prefetch.h"
#include "core/vectors.h"

#include <utility>

namespace vexo {

namespace {

VEXO_AVX2_PIECE __m256i Every(uint8_t byte) { return _mm256_set1_epi8(char(byte)); }

struct BitMasks {
    __m256i c0, c1, c2, c3;
};

VEXO_AVX2_PIECE void CombineBits(uint8_t *destination, const uint8_t *source, const BitMasks &f)
{
    const __m256i d = Load256(destination), s = Load256(source);
    const __m256i withSource = _mm256_and_si256(s, _mm256_xor_si256(f.c2, _mm256_and_si256(d, f.c3)));
    Store256(destination, _mm256_xor_si256(_mm256_xor_si256(f.c0, _mm256_and_si256(d, f.c1)), withSource));
}

VEXO_TARGET_AVX2 void CombineBitsAvx2(uint8_t *destination, const uint8_t *source, size_t bytes, BitFunction f)
{
    const BitMasks masks = {Every(f.c0), Every(f.c1), Every(f.c2), Every(f.c3)};
    for (; bytes >= kCacheLine; bytes -= kCacheLine, destination += kCacheLine, source += kCacheLine) {
        PrefetchOnward(destination);
        PrefetchOnward(source);
        CombineBits(destination, source, masks);
        CombineBits(destination + 32, source + 32, masks);
    }
    plainCombineKernels.bits(destination, source, bytes, f);
}

// ---- Operations on 32 channels --------------------------------------------------------------------------------

// x * y / top of 16 channels in 16-bit lanes: for top = 2^bits - 1 and x, y <= top the quotient is exactly
// (p + 1 + (p >> bits)) >> bits.
VEXO_AVX2_PIECE __m256i MultiplyLanes(__m256i x, __m256i y, __m128i bits)
{
    const __m256i product = _mm256_mullo_epi16(x, y);
    const __m256i rounded =
        _mm256_add_epi16(_mm256_add_epi16(product, _mm256_set1_epi16(1)), _mm256_srl_epi16(product, bits));
    return _mm256_srl_epi16(rounded, bits);
}

// The same for 255, in fewer steps: 32897 / 2^23 is close enough to a 255th for all 16-bit products.
VEXO_AVX2_PIECE __m256i MultiplyLanes(__m256i x, __m256i y)
{
    return _mm256_srli_epi16(_mm256_mulhi_epu16(_mm256_mullo_epi16(x, y), _mm256_set1_epi16(short(32897))), 7);
}

template <int LaneBytes>
VEXO_AVX2_PIECE __m256i Multiply(__m256i x, __m256i y, int bits)
{
    const __m128i shift = _mm_cvtsi32_si128(bits);
    if constexpr (LaneBytes == 2)
        return MultiplyLanes(x, y, shift);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i xLow = _mm256_unpacklo_epi8(x, zero), xHigh = _mm256_unpackhi_epi8(x, zero);
    const __m256i yLow = _mm256_unpacklo_epi8(y, zero), yHigh = _mm256_unpackhi_epi8(y, zero);
    if (bits == 8)
        return _mm256_packus_epi16(MultiplyLanes(xLow, yLow), MultiplyLanes(xHigh, yHigh));
    return _mm256_packus_epi16(MultiplyLanes(xLow, yLow, shift), MultiplyLanes(xHigh, yHigh, shift));
}

// x / y of 16 products and channels in 16-bit lanes. Quotients of numbers this small are exact enough in single
// precision that truncation gives the integer quotient.
VEXO_AVX2_PIECE __m256i DivideLanes(__m256i x, __m256i y)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256 low = _mm256_div_ps(_mm256_cvtepi32_ps(_mm256_unpacklo_epi16(x, zero)),
                                     _mm256_cvtepi32_ps(_mm256_unpacklo_epi16(y, zero)));
    const __m256 high = _mm256_div_ps(_mm256_cvtepi32_ps(_mm256_unpackhi_epi16(x, zero)),
                                      _mm256_cvtepi32_ps(_mm256_unpackhi_epi16(y, zero)));
    return _mm256_packs_epi32(_mm256_cvttps_epi32(low), _mm256_cvttps_epi32(high));
}

template <int LaneBytes>
VEXO_AVX2_PIECE __m256i Quotients(__m256i x, __m256i y, __m256i top)
{
    if constexpr (LaneBytes == 2)
        return DivideLanes(_mm256_mullo_epi16(x, top), y);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i factor = _mm256_unpacklo_epi8(top, zero);
    const __m256i low =
        DivideLanes(_mm256_mullo_epi16(_mm256_unpacklo_epi8(x, zero), factor), _mm256_unpacklo_epi8(y, zero));
    const __m256i high =
        DivideLanes(_mm256_mullo_epi16(_mm256_unpackhi_epi8(x, zero), factor), _mm256_unpackhi_epi8(y, zero));
    return _mm256_packus_epi16(low, high);
}

template <int LaneBytes>
VEXO_AVX2_PIECE __m256i EveryLane(uint8_t channel)
{
    return LaneBytes == 2 ? _mm256_set1_epi16(channel) : Every(channel);
}

// min(x * top / y, top), and top for y = 0.
template <int LaneBytes>
VEXO_AVX2_PIECE __m256i Divide(__m256i x, __m256i y, __m256i top)
{
    const __m256i notBelow = _mm256_cmpeq_epi8(_mm256_max_epu8(x, y), x);
    // A division by 0 would be a trap in programs that ask the processor for it.
    const __m256i divisor = _mm256_max_epu8(y, EveryLane<LaneBytes>(1));
    return _mm256_blendv_epi8(Quotients<LaneBytes>(x, divisor, top), top, notBelow);
}

// Channels are bytes, or the low bytes of 16-bit lanes whose high bytes are 0.
template <ChannelOperation Operation, int LaneBytes>
VEXO_AVX2_PIECE __m256i Combine(__m256i d, __m256i s, __m256i top, int bits)
{
    if constexpr (Operation == kAdd)
        return _mm256_min_epu8(_mm256_adds_epu8(d, s), top);
    else if constexpr (Operation == kSubtractSource)
        return _mm256_subs_epu8(d, s);
    else if constexpr (Operation == kSubtractDestination)
        return _mm256_subs_epu8(s, d);
    else if constexpr (Operation == kMultiply)
        return Multiply<LaneBytes>(d, s, bits);
    else if constexpr (Operation == kDivideBySource)
        return Divide<LaneBytes>(d, s, top);
    else if constexpr (Operation == kDivideByDestination)
        return Divide<LaneBytes>(s, d, top);
    else if constexpr (Operation == kAverage)
        return _mm256_add_epi8(_mm256_and_si256(d, s),
                               _mm256_and_si256(_mm256_srli_epi16(_mm256_xor_si256(d, s), 1), Every(0x7F)));
    else if constexpr (Operation == kMinimum)
        return _mm256_min_epu8(d, s);
    else
        return _mm256_max_epu8(d, s);
}

// ---- Loops ----------------------------------------------------------------------------------------------------

template <ChannelOperation Operation, int LaneBytes>
VEXO_AVX2_PIECE __m256i CombineTreated(__m256i d, __m256i s, const ChannelTreatment &how)
{
    d = _mm256_xor_si256(_mm256_and_si256(d, EveryLane<LaneBytes>(how.destinationKeep)),
                         EveryLane<LaneBytes>(how.destinationFlip));
    s = _mm256_xor_si256(_mm256_and_si256(s, EveryLane<LaneBytes>(how.sourceKeep)),
                         EveryLane<LaneBytes>(how.sourceFlip));
    return _mm256_xor_si256(Combine<Operation, LaneBytes>(d, s, EveryLane<LaneBytes>(how.top), how.bits),
                            EveryLane<LaneBytes>(how.resultFlip));
}

template <ChannelOperation Operation>
VEXO_AVX2_PIECE void CombineBytes(uint8_t *destination, const uint8_t *source, const ChannelTreatment &how)
{
    Store256(destination, CombineTreated<Operation, 1>(Load256(destination), Load256(source), how));
}

template <ChannelOperation Operation>
VEXO_TARGET_AVX2 void CombineBytesAvx2(uint8_t *destination, const uint8_t *source, size_t count,
                                       const ChannelTreatment &how)
{
    const ChannelTreatment local = how; // which the stores cannot change
    for (; count >= kCacheLine; count -= kCacheLine, destination += kCacheLine, source += kCacheLine) {
        PrefetchOnward(destination);
        PrefetchOnward(source);
        CombineBytes<Operation>(destination, source, local);
        CombineBytes<Operation>(destination + 32, source + 32, local);
    }
    if (count >= 32) {
        CombineBytes<Operation>(destination, source, local);
        count -= 32, destination += 32, source += 32;
    }
    plainCombineKernels.bytes[Operation](destination, source, count, how);
}

// Combines one field of 16 pixels a step. The three fields are done one after the other, row by row: the constants of
// one are as many as there are registers.
template <ChannelOperation Operation, int Shift>
VEXO_AVX2_PIECE void CombineField(uint8_t *destination, const uint8_t *source, size_t count, const ChannelTreatment how)
{
    const __m256i five = _mm256_set1_epi16(31);
    for (; count >= 16; count -= 16, destination += 32, source += 32) {
        const __m256i d = Load256(destination);
        const __m256i s = _mm256_and_si256(_mm256_srli_epi16(Load256(source), Shift), five);
        const __m256i result =
            CombineTreated<Operation, 2>(_mm256_and_si256(_mm256_srli_epi16(d, Shift), five), s, how);
        const __m256i field = _mm256_slli_epi16(_mm256_and_si256(result, five), Shift);
        Store256(destination, _mm256_or_si256(_mm256_andnot_si256(_mm256_slli_epi16(five, Shift), d), field));
    }
}

template <ChannelOperation Operation>
VEXO_TARGET_AVX2 void CombineFieldsAvx2(uint8_t *destination, const uint8_t *source, size_t count,
                                        const ChannelTreatment &how)
{
    const size_t steps = count / 16 * 16;
    // No field depends on another, not even when source and destination are the same.
    CombineField<Operation, 0>(destination, source, steps, how);
    CombineField<Operation, 5>(destination, source, steps, how);
    CombineField<Operation, 10>(destination, source, steps, how);
    plainCombineKernels.fields[Operation](destination + 2 * steps, source + 2 * steps, count - steps, how);
}

template <size_t... Operations>
constexpr CombineKernels MakeAvx2Kernels(std::index_sequence<Operations...>)
{
    return {CombineBitsAvx2,
            {CombineBytesAvx2<ChannelOperation(Operations)>...},
            {CombineFieldsAvx2<ChannelOperation(Operations)>...}};
}

} // namespace

void UseVectorKernels(CombineKernels *kernels, CpuLevel level)
{
    if (level >= CpuLevel::Avx2)
        *kernels = MakeAvx2Kernels(std::make_index_sequence<kChannelOperationCount>());
}

} // namespace vexo
