// The vector gray kernels (AVX2): bits and groups of bits are spread to a byte each, 32 at a time. What does not fill a
// step goes to the plain kernel.
#include "display/gray_kernels.h"

#include "colour/pixel_kernels.h"

#include <immintrin.h>

namespace vexo {

namespace {

VEXO_AVX2_PIECE __m256i Load256(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
VEXO_AVX2_PIECE void Store256(uint8_t *p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
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

VEXO_TARGET_AVX2 void AddOnes1(uint8_t *counts, const uint8_t *bits, size_t count)
{
    for (; count >= 32; count -= 32, bits += 4, counts += 32)
        Store256(counts, _mm256_sub_epi8(Load256(counts), SpreadBits(bits)));
    plainGrayKernels.addOnes[0](counts, bits, count);
}

VEXO_TARGET_AVX2 void AddOnes2(uint8_t *counts, const uint8_t *bits, size_t count)
{
    for (; count >= 32; count -= 32, bits += 8, counts += 32) {
        // One byte in each 32-bit lane; its pairs go to the lane's four bytes, the highest to the first.
        const __m256i v = _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(bits)));
        const __m256i outer = _mm256_or_si256(_mm256_srli_epi32(v, 6), _mm256_slli_epi32(v, 24));
        const __m256i inner = _mm256_or_si256(_mm256_slli_epi32(v, 4), _mm256_slli_epi32(v, 14));
        const __m256i pairs = _mm256_blendv_epi8(outer, inner, _mm256_set1_epi32(0x00FFFF00));
        AddTo(counts, OnesOf(_mm256_and_si256(pairs, _mm256_set1_epi8(3))));
    }
    plainGrayKernels.addOnes[1](counts, bits, count);
}

VEXO_TARGET_AVX2 void AddOnes4(uint8_t *counts, const uint8_t *bits, size_t count)
{
    for (; count >= 32; count -= 32, bits += 16, counts += 32) {
        const __m256i v = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bits)));
        const __m256i nibbles = _mm256_or_si256(_mm256_srli_epi16(v, 4), _mm256_slli_epi16(v, 8));
        AddTo(counts, OnesOf(_mm256_and_si256(nibbles, _mm256_set1_epi8(15))));
    }
    plainGrayKernels.addOnes[2](counts, bits, count);
}

VEXO_TARGET_AVX2 void AddOnes8(uint8_t *counts, const uint8_t *bits, size_t count)
{
    const __m256i low = _mm256_set1_epi8(15);
    for (; count >= 32; count -= 32, bits += 32, counts += 32) {
        const __m256i v = Load256(bits);
        AddTo(counts, _mm256_add_epi8(OnesOf(_mm256_and_si256(v, low)),
                                      OnesOf(_mm256_and_si256(_mm256_srli_epi16(v, 4), low))));
    }
    plainGrayKernels.addOnes[3](counts, bits, count);
}

VEXO_AVX2_PIECE __m256i Divide(__m256i ones, __m256i sign, __m256i offset, __m256i reciprocal)
{
    const __m256i black = _mm256_add_epi16(_mm256_sign_epi16(ones, sign), offset);
    return _mm256_mulhi_epu16(_mm256_mullo_epi16(black, _mm256_set1_epi16(255)), reciprocal);
}

VEXO_TARGET_AVX2 void ToLevelsAvx2(uint8_t *levels, const uint8_t *counts, size_t count, const GrayScale &scale)
{
    if (scale.reciprocal != 0) {
        const __m256i zero = _mm256_setzero_si256(), reciprocal = _mm256_set1_epi16(short(scale.reciprocal));
        // black = ones, or total - ones
        const __m256i sign = _mm256_set1_epi16(scale.blackIsOne ? 1 : -1);
        const __m256i offset = _mm256_set1_epi16(short(scale.blackIsOne ? 0 : scale.total));
        for (; count >= 32; count -= 32, counts += 32, levels += 32) {
            const __m256i v = Load256(counts);
            const __m256i low = Divide(_mm256_unpacklo_epi8(v, zero), sign, offset, reciprocal);
            const __m256i high = Divide(_mm256_unpackhi_epi8(v, zero), sign, offset, reciprocal);
            Store256(levels, _mm256_xor_si256(_mm256_packus_epi16(low, high), _mm256_set1_epi8(-1)));
        }
    }
    plainGrayKernels.toLevels(levels, counts, count, scale);
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
    if (level != CpuLevel::Avx2)
        return;
    *kernels = {{AddOnes1, AddOnes2, AddOnes4, AddOnes8}, ToLevelsAvx2, ExpandAvx2};
}

} // namespace vexo
