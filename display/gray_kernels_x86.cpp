// The vector gray kernels (AVX2): bits and groups of bits are spread to a byte each, 32 at a time.
#include "display/gray_kernels.h"

#include "colour/pixel_kernels.h"
#include "core/vectors.h"

#include <algorithm>
#include <bit>

namespace vexo {

namespace {

VEXO_AVX2_PIECE void AddTo(uint8_t *p, __m256i v) { Store256(p, _mm256_add_epi8(Load256(p), v)); }

// Each of 32 bits as a byte, -1 for a 1.
VEXO_AVX2_PIECE __m256i SpreadBits(const uint8_t *bits)
{
    int word;
    memcpy(&word, bits, sizeof word);
    const __m256i byteOf = _mm256_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, //
                                            2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3);
    const __m256i bitOf = _mm256_set1_epi64x(0x0102040810204080);
    const __m256i bytes = _mm256_shuffle_epi8(_mm256_set1_epi32(word), byteOf);
    return _mm256_cmpeq_epi8(_mm256_and_si256(bytes, bitOf), bitOf);
}

// The number of 1 bits in each byte below 16.
VEXO_AVX2_PIECE __m256i OnesOf(__m256i nibbles)
{
    const __m256i ones = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, //
                                          0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
    return _mm256_shuffle_epi8(ones, nibbles);
}

// The number of 1 bits in each of 32 groups of bits.
template <int Group>
VEXO_AVX2_PIECE __m256i OnesOfGroups(const uint8_t *bits)
{
    const __m256i low = _mm256_set1_epi8(15);
    if constexpr (Group == 1) {
        return _mm256_abs_epi8(SpreadBits(bits));
    } else if constexpr (Group == 2) {
        // One byte in each 32-bit lane; its pairs go to the lane's four bytes, the highest to the first.
        const __m256i v = _mm256_cvtepu8_epi32(Load64(bits));
        const __m256i outer = _mm256_or_si256(_mm256_srli_epi32(v, 6), _mm256_slli_epi32(v, 24));
        const __m256i inner = _mm256_or_si256(_mm256_slli_epi32(v, 4), _mm256_slli_epi32(v, 14));
        const __m256i pairs = _mm256_blendv_epi8(outer, inner, _mm256_set1_epi32(0x00FFFF00));
        return OnesOf(_mm256_and_si256(pairs, _mm256_set1_epi8(3)));
    } else if constexpr (Group == 4) {
        const __m256i v = _mm256_cvtepu8_epi16(Load128(bits));
        return OnesOf(_mm256_and_si256(_mm256_or_si256(_mm256_srli_epi16(v, 4), _mm256_slli_epi16(v, 8)), low));
    } else {
        const __m256i v = Load256(bits);
        return _mm256_add_epi8(OnesOf(_mm256_and_si256(v, low)),
                               OnesOf(_mm256_and_si256(_mm256_srli_epi16(v, 4), low)));
    }
}

// What whole steps leave over is the end of one more step, which ends where a byte does.
template <int Group>
VEXO_TARGET_AVX2 void AddOnes(uint8_t *counts, const uint8_t *bits, size_t count)
{
    constexpr size_t kPerByte = 8 / Group;
    size_t done = 0;
    for (; done + 32 <= count; done += 32)
        AddTo(counts + done, OnesOfGroups<Group>(bits + done / kPerByte));
    const size_t rest = done > 0 ? (count - done) / kPerByte * kPerByte : 0;
    if (rest > 0) {
        const size_t first = done + rest - 32;
        const __m256i places = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                                20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
        const __m256i isNew = _mm256_cmpgt_epi8(places, _mm256_set1_epi8(char(31 - rest)));
        AddTo(counts + first, _mm256_and_si256(OnesOfGroups<Group>(bits + first / kPerByte), isNew));
    }
    done += rest;
    plainGrayKernels.addOnes[std::countr_zero(unsigned(Group))](counts + done, bits + done / kPerByte, count - done);
}

VEXO_AVX2_PIECE __m256i Divide(__m256i ones, __m256i sign, __m256i offset, __m256i reciprocal)
{
    const __m256i black = _mm256_add_epi16(_mm256_sign_epi16(ones, sign), offset);
    return _mm256_mulhi_epu16(_mm256_mullo_epi16(black, _mm256_set1_epi16(255)), reciprocal);
}

VEXO_TARGET_AVX2 void ToLevelsAvx2(uint8_t *levels, const uint8_t *counts, size_t count, const GrayScale &scale)
{
    if (scale.reciprocal == 0 || count < 32) {
        plainGrayKernels.toLevels(levels, counts, count, scale);
        return;
    }
    const __m256i zero = _mm256_setzero_si256(), reciprocal = _mm256_set1_epi16(short(scale.reciprocal));
    // black = ones, or total - ones
    const __m256i sign = _mm256_set1_epi16(scale.blackIsOne ? 1 : -1);
    const __m256i offset = _mm256_set1_epi16(short(scale.blackIsOne ? 0 : scale.total));
    for (size_t i = 0; i < count; i += 32) {
        const size_t place = std::min(i, count - 32); // the last step repeats a part of the one before
        const __m256i v = Load256(counts + place);
        const __m256i low = Divide(_mm256_unpacklo_epi8(v, zero), sign, offset, reciprocal);
        const __m256i high = Divide(_mm256_unpackhi_epi8(v, zero), sign, offset, reciprocal);
        Store256(levels + place, _mm256_xor_si256(_mm256_packus_epi16(low, high), _mm256_set1_epi8(-1)));
    }
}

VEXO_TARGET_AVX2 void ExpandAvx2(uint8_t *bytes, const uint8_t *bits, size_t count, uint8_t flip)
{
    const __m256i flips = _mm256_set1_epi8(char(flip));
    for (; count >= 32; count -= 32, bits += 4, bytes += 32)
        Store256(bytes, _mm256_xor_si256(SpreadBits(bits), flips));
    plainGrayKernels.expand(bytes, bits, count, flip);
}

} // namespace

void UseVectorKernels(GrayKernels *kernels, CpuLevel level)
{
    if (level < CpuLevel::Avx2)
        return;
    *kernels = {{AddOnes<1>, AddOnes<2>, AddOnes<4>, AddOnes<8>}, ToLevelsAvx2, ExpandAvx2};
}

} // namespace vexo
