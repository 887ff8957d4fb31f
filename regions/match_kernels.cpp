// Comparisons of whole rows with one pixel. The vector forms make 32 bits of the mask at a time; the pixels behind the
// last whole word go to the plain form.
#include "regions/match_kernels.h"

#include "core/vectors.h"

#include <bit>

namespace vexo {

namespace {

// ---- Plain ----------------------------------------------------------------------------------------------------

template <int Bytes>
uint32_t PixelAt(const uint8_t *pixels, size_t i)
{
    uint32_t pixel = 0;
    for (int byte = 0; byte < Bytes; ++byte)
        pixel |= uint32_t(pixels[i * Bytes + byte]) << 8 * byte;
    return pixel;
}

template <int Bytes, uint32_t Significant>
void MatchPlain(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    for (size_t i = 0; i < count; i += 32) {
        uint32_t word = 0;
        for (size_t bit = 0; bit < 32 && i + bit < count; ++bit)
            word |= uint32_t((PixelAt<Bytes>(pixels, i + bit) & Significant) == key) << bit;
        mask[i / 32] = word;
    }
}

// The last pixels of a row, behind `done` that a vector form has dealt with.
template <int Bytes, uint32_t Significant>
void MatchRest(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key, size_t done)
{
    MatchPlain<Bytes, Significant>(mask + done / 32, pixels + done * Bytes, count - done, key);
}

constexpr uint32_t kSignificant8 = 0xFF, kSignificant16 = 0x7FFF, kSignificant24 = 0xFFFFFF;

// ---- SSE2 -----------------------------------------------------------------------------------------------------

void Match8Sse2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m128i keys = _mm_set1_epi8(char(key));
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const int low = _mm_movemask_epi8(_mm_cmpeq_epi8(Load128(pixels + i), keys));
        const int high = _mm_movemask_epi8(_mm_cmpeq_epi8(Load128(pixels + i + 16), keys));
        mask[i / 32] = uint32_t(low) | uint32_t(high) << 16;
    }
    MatchRest<1, kSignificant8>(mask, pixels, count, key, i);
}

void Match16Sse2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m128i keys = _mm_set1_epi16(short(key)), significant = _mm_set1_epi16(short(kSignificant16));
    const auto equal = [&](const uint8_t *p) { return _mm_cmpeq_epi16(_mm_and_si128(Load128(p), significant), keys); };
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const uint8_t *p = pixels + 2 * i;
        const int low = _mm_movemask_epi8(_mm_packs_epi16(equal(p), equal(p + 16)));
        const int high = _mm_movemask_epi8(_mm_packs_epi16(equal(p + 32), equal(p + 48)));
        mask[i / 32] = uint32_t(low) | uint32_t(high) << 16;
    }
    MatchRest<2, kSignificant16>(mask, pixels, count, key, i);
}

// 16 pixels: bytes compared with the key's byte of their place, and three equal bytes in a row make a pixel.
uint32_t Match16Pixels24(const uint8_t *pixels, const __m128i (&keys)[3])
{
    uint64_t bytes = 0;
    for (int i = 0; i < 3; ++i)
        bytes |= uint64_t(_mm_movemask_epi8(_mm_cmpeq_epi8(Load128(pixels + 16 * i), keys[i]))) << 16 * i;
    uint64_t matches = bytes & bytes >> 1 & bytes >> 2 & 0x249249249249u;
    uint32_t word = 0;
    for (; matches; matches &= matches - 1)
        word |= 1u << std::countr_zero(matches) / 3;
    return word;
}

void Match24Sse2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    uint8_t pattern[48];
    for (int i = 0; i < 48; ++i)
        pattern[i] = uint8_t(key >> i % 3 * 8);
    const __m128i keys[3] = {Load128(pattern), Load128(pattern + 16), Load128(pattern + 32)};
    size_t i = 0;
    for (; i + 32 <= count; i += 32)
        mask[i / 32] = Match16Pixels24(pixels + 3 * i, keys) | Match16Pixels24(pixels + 3 * i + 48, keys) << 16;
    MatchRest<3, kSignificant24>(mask, pixels, count, key, i);
}

void Match32Sse2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m128i keys = _mm_set1_epi32(int(key)), significant = _mm_set1_epi32(int(kSignificant24));
    const auto equal = [&](const uint8_t *p) { return _mm_cmpeq_epi32(_mm_and_si128(Load128(p), significant), keys); };
    const auto match16 = [&](const uint8_t *p) {
        const __m128i low = _mm_packs_epi32(equal(p), equal(p + 16)),
                      high = _mm_packs_epi32(equal(p + 32), equal(p + 48));
        return uint32_t(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
    };
    size_t i = 0;
    for (; i + 32 <= count; i += 32)
        mask[i / 32] = match16(pixels + 4 * i) | match16(pixels + 4 * i + 64) << 16;
    MatchRest<4, kSignificant24>(mask, pixels, count, key, i);
}

// ---- AVX2 -----------------------------------------------------------------------------------------------------

// Four registers of 8 equal or unequal pixels as 32 bits.
VEXO_AVX2_PIECE uint32_t MaskOf32(__m256i a, __m256i b, __m256i c, __m256i d)
{
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256i bytes = _mm256_packs_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
    return uint32_t(_mm256_movemask_epi8(_mm256_permutevar8x32_epi32(bytes, inOrder)));
}

VEXO_TARGET_AVX2 void Match8Avx2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m256i keys = _mm256_set1_epi8(char(key));
    size_t i = 0;
    for (; i + 32 <= count; i += 32)
        mask[i / 32] = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(Load256(pixels + i), keys)));
    MatchRest<1, kSignificant8>(mask, pixels, count, key, i);
}

VEXO_TARGET_AVX2 void Match16Avx2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m256i keys = _mm256_set1_epi16(short(key)), significant = _mm256_set1_epi16(short(kSignificant16));
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i low = _mm256_cmpeq_epi16(_mm256_and_si256(Load256(pixels + 2 * i), significant), keys);
        const __m256i high = _mm256_cmpeq_epi16(_mm256_and_si256(Load256(pixels + 2 * i + 32), significant), keys);
        const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packs_epi16(low, high), 0xD8);
        mask[i / 32] = uint32_t(_mm256_movemask_epi8(bytes));
    }
    MatchRest<2, kSignificant16>(mask, pixels, count, key, i);
}

// 8 pixels of 3 bytes spread to quads with 0 as fourth byte. The second load begins 4 bytes early, so that 24 bytes are
// all that is read.
VEXO_AVX2_PIECE __m256i Equal24(const uint8_t *p, __m256i keys)
{
    const __m256i order = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, //
                                           4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
    const __m256i bytes = LoadHalves(p, p + 8);
    return _mm256_cmpeq_epi32(_mm256_shuffle_epi8(bytes, order), keys);
}

VEXO_TARGET_AVX2 void Match24Avx2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m256i keys = _mm256_set1_epi32(int(key));
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const uint8_t *p = pixels + 3 * i;
        mask[i / 32] = MaskOf32(Equal24(p, keys), Equal24(p + 24, keys), Equal24(p + 48, keys), Equal24(p + 72, keys));
    }
    MatchRest<3, kSignificant24>(mask, pixels, count, key, i);
}

VEXO_AVX2_PIECE __m256i Equal32(const uint8_t *p, __m256i keys)
{
    const __m256i significant = _mm256_set1_epi32(int(kSignificant24));
    return _mm256_cmpeq_epi32(_mm256_and_si256(Load256(p), significant), keys);
}

VEXO_TARGET_AVX2 void Match32Avx2(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key)
{
    const __m256i keys = _mm256_set1_epi32(int(key));
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const uint8_t *p = pixels + 4 * i;
        mask[i / 32] = MaskOf32(Equal32(p, keys), Equal32(p + 32, keys), Equal32(p + 64, keys), Equal32(p + 96, keys));
    }
    MatchRest<4, kSignificant24>(mask, pixels, count, key, i);
}

} // namespace

// ---- The choice -----------------------------------------------------------------------------------------------

const MatchKernels plainMatchKernels = {MatchPlain<1, kSignificant8>, MatchPlain<2, kSignificant16>,
                                        MatchPlain<3, kSignificant24>, MatchPlain<4, kSignificant24>};

MatchKernels matchKernels = plainMatchKernels;

void SelectMatchKernels(CpuLevel level)
{
    if (level >= CpuLevel::Avx2)
        matchKernels = {Match8Avx2, Match16Avx2, Match24Avx2, Match32Avx2};
    else
        matchKernels = {Match8Sse2, Match16Sse2, Match24Sse2, Match32Sse2};
}

// ---- Bits -----------------------------------------------------------------------------------------------------

void MatchBits(uint32_t *mask, const uint8_t *row, size_t count, bool value)
{
    const uint32_t inverted = value ? 0 : ~0u;
    for (size_t i = 0; i < count; i += 32) {
        uint32_t word = 0;
        memcpy(&word, row + i / 8, std::min<size_t>(4, (count - i + 7) / 8));
        // Within each byte the first pixel is the highest bit.
        word = (word >> 4 & 0x0F0F0F0F) | (word & 0x0F0F0F0F) << 4;
        word = (word >> 2 & 0x33333333) | (word & 0x33333333) << 2;
        word = (word >> 1 & 0x55555555) | (word & 0x55555555) << 1;
        word ^= inverted;
        mask[i / 32] = count - i < 32 ? word & ((1u << (count - i)) - 1) : word;
    }
}

int *EdgesOf(const uint32_t *mask, size_t words, int first, uint32_t *last, int *edges)
{
    for (size_t i = 0; i < words; ++i, first += 32) {
        uint32_t changes = mask[i] ^ (mask[i] << 1 | *last);
        *last = mask[i] >> 31;
        for (; changes; changes &= changes - 1)
            *edges++ = first + std::countr_zero(changes);
    }
    return edges;
}

} // namespace vexo
