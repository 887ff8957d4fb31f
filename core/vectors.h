// Vector instructions: the marks of functions that use them, and the moves between memory and registers.
#ifndef VEXO_CORE_VECTORS_H
#define VEXO_CORE_VECTORS_H

#include <immintrin.h>

// Marks the functions that may use instructions beyond the baseline. The pieces of a kernel that are functions of their
// own are always inlined: no 32-byte value may pass through the stack of the 64-bit GNU build, which is aligned to 16
// bytes only.
#if defined(_MSC_VER) && !defined(__clang__)
#define VEXO_TARGET_SSSE3
#define VEXO_TARGET_AVX2
#define VEXO_TARGET_GFNI
#define VEXO_AVX2_PIECE __forceinline
#else
#define VEXO_TARGET_SSSE3 __attribute__((target("ssse3")))
#define VEXO_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt,popcnt")))
#define VEXO_TARGET_GFNI __attribute__((target("avx2,bmi,bmi2,lzcnt,popcnt,gfni")))
#define VEXO_AVX2_PIECE VEXO_TARGET_AVX2 __attribute__((always_inline)) inline
#endif

namespace vexo {

// 8, 16 or 32 bytes at any address. 8 bytes are the lower half of a register, whose upper half is 0.
inline __m128i Load64(const void *p) { return _mm_loadl_epi64(static_cast<const __m128i *>(p)); }
inline __m128i Load128(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }
inline void Store64(void *p, __m128i v) { _mm_storel_epi64(static_cast<__m128i *>(p), v); }
inline void Store128(void *p, __m128i v) { _mm_storeu_si128(static_cast<__m128i *>(p), v); }
VEXO_AVX2_PIECE __m256i Load256(const void *p) { return _mm256_loadu_si256(static_cast<const __m256i *>(p)); }
VEXO_AVX2_PIECE void Store256(void *p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }

VEXO_AVX2_PIECE __m256i Halves(__m128i low, __m128i high)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}
VEXO_AVX2_PIECE __m128i LowHalf(__m256i v) { return _mm256_castsi256_si128(v); }
VEXO_AVX2_PIECE __m128i HighHalf(__m256i v) { return _mm256_extracti128_si256(v, 1); }
VEXO_AVX2_PIECE __m256i InBothHalves(__m128i v) { return _mm256_broadcastsi128_si256(v); }
VEXO_AVX2_PIECE __m256i LoadHalves(const void *low, const void *high) { return Halves(Load128(low), Load128(high)); }
VEXO_AVX2_PIECE void StoreHalves(void *low, void *high, __m256i v)
{
    Store128(low, LowHalf(v));
    Store128(high, HighHalf(v));
}

// Eight pixels of 4 bytes without their fourth ones: 24 bytes, and behind them what need not be kept.
VEXO_AVX2_PIECE __m256i CloseUp24(__m256i quads)
{
    const __m128i order = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    return _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(quads, InBothHalves(order)),
                                       _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

} // namespace vexo

#endif
