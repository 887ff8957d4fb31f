// The vector pixel kernels: byte shuffles for 3-byte pixels (SSSE3), everything else 8 to 32 pixels a step (AVX2). The
// pixels that do not fill a step, and those whose step would touch bytes beyond the last pixel, go to the plain kernel.
#include "colour/dither_engine.h"
#include "colour/pixel_kernels.h"
#include "core/prefetch.h"
#include "core/vectors.h"

namespace vexo {

namespace {

// ---- SSSE3: 16 pixels of 3 bytes are three registers ----------------------------------------------------------

// Shuffles of the first 12 bytes to quads, and of quads to 12 bytes. -1 gives a zero byte.
VEXO_TARGET_SSSE3 inline __m128i SpreadOrder(bool swap)
{
    return swap ? _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1)
                : _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
}
VEXO_TARGET_SSSE3 inline __m128i GatherOrder()
{
    return _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
}

VEXO_TARGET_SSSE3 void Unpack24Ssse3(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap)
{
    const __m128i order = SpreadOrder(swap);
    for (; count >= 16; count -= 16, pixels += 48, quads += 64) {
        const __m128i a = Load128(pixels), b = Load128(pixels + 16), c = Load128(pixels + 32);
        Store128(quads, _mm_shuffle_epi8(a, order));
        Store128(quads + 16, _mm_shuffle_epi8(_mm_alignr_epi8(b, a, 12), order));
        Store128(quads + 32, _mm_shuffle_epi8(_mm_alignr_epi8(c, b, 8), order));
        Store128(quads + 48, _mm_shuffle_epi8(_mm_srli_si128(c, 4), order));
    }
    plainPixelKernels.unpack24(quads, pixels, count, swap);
}

VEXO_TARGET_SSSE3 void Pack24Ssse3(uint8_t *pixels, const uint8_t *quads, size_t count)
{
    const __m128i order = GatherOrder();
    for (; count >= 16; count -= 16, quads += 64, pixels += 48) {
        const __m128i a = _mm_shuffle_epi8(Load128(quads), order), b = _mm_shuffle_epi8(Load128(quads + 16), order);
        const __m128i c = _mm_shuffle_epi8(Load128(quads + 32), order),
                      d = _mm_shuffle_epi8(Load128(quads + 48), order);
        Store128(pixels, _mm_or_si128(a, _mm_slli_si128(b, 12)));
        Store128(pixels + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
        Store128(pixels + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
    }
    plainPixelKernels.pack24(pixels, quads, count);
}

// Red and blue exchanged in three registers of 16 bytes: each keeps five pixels and the middle byte of a sixth, and the
// rest comes from its neighbours.
struct SwapOrders {
    int8_t own[3][16], from1To0[16], from0To1[16], from2To1[16], from1To2[16];
};
constexpr SwapOrders kSwap = {
    .own = {{2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, -1},
            {0, -1, 4, 3, 2, 7, 6, 5, 10, 9, 8, 13, 12, 11, -1, 15},
            {-1, 3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 15, 14, 13}},
    .from1To0 = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1},
    .from0To1 = {-1, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
    .from2To1 = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, -1},
    .from1To2 = {14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
};

VEXO_TARGET_SSSE3 void Swap24Ssse3(uint8_t *pixels, size_t count)
{
    const __m128i own0 = Load128(kSwap.own[0]), own1 = Load128(kSwap.own[1]), own2 = Load128(kSwap.own[2]);
    const __m128i from1To0 = Load128(kSwap.from1To0), from0To1 = Load128(kSwap.from0To1);
    const __m128i from2To1 = Load128(kSwap.from2To1), from1To2 = Load128(kSwap.from1To2);
    for (; count >= 16; count -= 16, pixels += 48) {
        const __m128i a = Load128(pixels), b = Load128(pixels + 16), c = Load128(pixels + 32);
        Store128(pixels, _mm_or_si128(_mm_shuffle_epi8(a, own0), _mm_shuffle_epi8(b, from1To0)));
        Store128(pixels + 16, _mm_or_si128(_mm_shuffle_epi8(b, own1),
                                           _mm_or_si128(_mm_shuffle_epi8(a, from0To1), _mm_shuffle_epi8(c, from2To1))));
        Store128(pixels + 32, _mm_or_si128(_mm_shuffle_epi8(c, own2), _mm_shuffle_epi8(b, from1To2)));
    }
    plainPixelKernels.swap24(pixels, count);
}

// ---- AVX2 -----------------------------------------------------------------------------------------------------

VEXO_TARGET_AVX2 void Unpack24Avx2(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap)
{
    const __m256i order = InBothHalves(SpreadOrder(swap));
    // The second load reaches 4 bytes beyond the 8 pixels.
    for (; count >= 10; count -= 8, pixels += 24, quads += 32) {
        const __m256i v = LoadHalves(pixels, pixels + 12);
        Store256(quads, _mm256_shuffle_epi8(v, order));
    }
    plainPixelKernels.unpack24(quads, pixels, count, swap);
}

VEXO_TARGET_AVX2 void Pack24Avx2(uint8_t *pixels, const uint8_t *quads, size_t count)
{
    // Each store reaches 8 bytes beyond the 8 pixels, into those that the next step writes.
    for (; count >= 11; count -= 8, quads += 32, pixels += 24)
        Store256(pixels, CloseUp24(Load256(quads)));
    plainPixelKernels.pack24(pixels, quads, count);
}

VEXO_TARGET_AVX2 void Unpack16Avx2(uint8_t *quads, const uint8_t *pixels, size_t count, bool swap)
{
    // Five bits at the top of a 16-bit lane times 8.25 x 32, upper half: (x << 3) | (x >> 2).
    const __m256i five = _mm256_set1_epi16(short(0xF800)), widen = _mm256_set1_epi16(264);
    const __m128i first = _mm_cvtsi32_si128(swap ? 1 : 11), third = _mm_cvtsi32_si128(swap ? 11 : 1);
    for (; count >= 16; count -= 16, pixels += 32, quads += 64) {
        const __m256i v = Load256(pixels);
        const __m256i a = _mm256_mulhi_epu16(_mm256_and_si256(_mm256_sll_epi16(v, first), five), widen);
        const __m256i b = _mm256_mulhi_epu16(_mm256_and_si256(_mm256_slli_epi16(v, 6), five), widen);
        const __m256i c = _mm256_mulhi_epu16(_mm256_and_si256(_mm256_sll_epi16(v, third), five), widen);
        const __m256i ab = _mm256_or_si256(a, _mm256_slli_epi16(b, 8));
        const __m256i even = _mm256_unpacklo_epi16(ab, c), odd = _mm256_unpackhi_epi16(ab, c);
        Store256(quads, _mm256_permute2x128_si256(even, odd, 0x20));
        Store256(quads + 32, _mm256_permute2x128_si256(even, odd, 0x31));
    }
    plainPixelKernels.unpack16(quads, pixels, count, swap);
}

// The upper five bits of each channel of 8 quads, as 15-bit numbers in 32-bit lanes.
VEXO_AVX2_PIECE __m256i KeepFiveBits(__m256i quads)
{
    const __m256i outer = _mm256_and_si256(quads, _mm256_set1_epi32(0x00F800F8));
    const __m256i middle = _mm256_and_si256(quads, _mm256_set1_epi32(0xF800));
    const __m256i joined = _mm256_madd_epi16(outer, _mm256_set1_epi32(1024 << 16 | 1));
    return _mm256_or_si256(_mm256_srli_epi32(joined, 3), _mm256_srli_epi32(middle, 6));
}

VEXO_TARGET_AVX2 void Pack16Avx2(uint8_t *pixels, const uint8_t *quads, size_t count)
{
    for (; count >= 16; count -= 16, quads += 64, pixels += 32) {
        const __m256i both = _mm256_packus_epi32(KeepFiveBits(Load256(quads)), KeepFiveBits(Load256(quads + 32)));
        Store256(pixels, _mm256_permute4x64_epi64(both, 0xD8));
    }
    plainPixelKernels.pack16(pixels, quads, count);
}

VEXO_AVX2_PIECE __m256i LuminanceOf(__m256i quads)
{
    const __m256i weighted = _mm256_maddubs_epi16(quads, _mm256_set1_epi32(0x00020501)); // blue 1, green 5, red 2
    const __m256i sum = _mm256_madd_epi16(weighted, _mm256_set1_epi16(1));
    return _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(4)), 3);
}

VEXO_TARGET_AVX2 void LuminanceAvx2(uint8_t *levels, const uint8_t *quads, size_t count)
{
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (; count >= 32; count -= 32, quads += 128, levels += 32) {
        const __m256i low = _mm256_packus_epi32(LuminanceOf(Load256(quads)), LuminanceOf(Load256(quads + 32)));
        const __m256i high = _mm256_packus_epi32(LuminanceOf(Load256(quads + 64)), LuminanceOf(Load256(quads + 96)));
        Store256(levels, _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), inOrder));
    }
    plainPixelKernels.luminance(levels, quads, count);
}

VEXO_TARGET_AVX2 void ThresholdAvx2(uint8_t *bits, const uint8_t *levels, size_t count, const uint8_t *thresholds)
{
    // A mask has the first pixel in its lowest bit, a row in the highest one.
    const __m256i reversed = InBothHalves(_mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
    const __m256i limits = _mm256_broadcastq_epi64(Load64(thresholds));
    for (; count >= 32; count -= 32, levels += 32, bits += 4) {
        const __m256i notAbove = _mm256_cmpeq_epi8(_mm256_subs_epu8(Load256(levels), limits), _mm256_setzero_si256());
        const int above = ~_mm256_movemask_epi8(_mm256_shuffle_epi8(notAbove, reversed));
        memcpy(bits, &above, 4);
    }
    plainPixelKernels.threshold(bits, levels, count, thresholds);
}

VEXO_TARGET_AVX2 void LookUpAvx2(uint8_t *quads, const uint8_t *indices, size_t count, const uint32_t *table)
{
    for (; count >= 8; count -= 8, indices += 8, quads += 32) {
        const __m128i eight = Load64(indices);
        Store256(quads, _mm256_i32gather_epi32(reinterpret_cast<const int *>(table), _mm256_cvtepu8_epi32(eight), 4));
    }
    plainPixelKernels.lookUp(quads, indices, count, table);
}

VEXO_TARGET_AVX2 void Swap16Avx2(uint8_t *pixels, size_t count)
{
    const __m256i low = _mm256_set1_epi16(0x1F), kept = _mm256_set1_epi16(short(0x83E0));
    for (; count >= 16; count -= 16, pixels += 32) {
        const __m256i v = Load256(pixels);
        const __m256i first = _mm256_slli_epi16(_mm256_and_si256(v, low), 10);
        const __m256i third = _mm256_and_si256(_mm256_srli_epi16(v, 10), low);
        Store256(pixels, _mm256_or_si256(_mm256_and_si256(v, kept), _mm256_or_si256(first, third)));
    }
    plainPixelKernels.swap16(pixels, count);
}

// Two blocks of 16 pixels side by side.
VEXO_TARGET_AVX2 void Swap24Avx2(uint8_t *pixels, size_t count)
{
    const __m256i own0 = InBothHalves(Load128(kSwap.own[0])), own1 = InBothHalves(Load128(kSwap.own[1])),
                  own2 = InBothHalves(Load128(kSwap.own[2]));
    const __m256i from1To0 = InBothHalves(Load128(kSwap.from1To0)), from0To1 = InBothHalves(Load128(kSwap.from0To1));
    const __m256i from2To1 = InBothHalves(Load128(kSwap.from2To1)), from1To2 = InBothHalves(Load128(kSwap.from1To2));
    for (; count >= 32; count -= 32, pixels += 96) {
        PrefetchOnward(pixels);
        PrefetchOnward(pixels + kCacheLine);
        const __m256i a = LoadHalves(pixels, pixels + 48), b = LoadHalves(pixels + 16, pixels + 64),
                      c = LoadHalves(pixels + 32, pixels + 80);
        StoreHalves(pixels, pixels + 48,
                    _mm256_or_si256(_mm256_shuffle_epi8(a, own0), _mm256_shuffle_epi8(b, from1To0)));
        StoreHalves(pixels + 16, pixels + 64,
                    _mm256_or_si256(_mm256_shuffle_epi8(b, own1), _mm256_or_si256(_mm256_shuffle_epi8(a, from0To1),
                                                                                  _mm256_shuffle_epi8(c, from2To1))));
        StoreHalves(pixels + 32, pixels + 80,
                    _mm256_or_si256(_mm256_shuffle_epi8(c, own2), _mm256_shuffle_epi8(b, from1To2)));
    }
    Swap24Ssse3(pixels, count);
}

VEXO_TARGET_AVX2 void Swap32Avx2(uint8_t *pixels, size_t count)
{
    const __m256i order = InBothHalves(_mm_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15));
    for (; count >= 8; count -= 8, pixels += 32)
        Store256(pixels, _mm256_shuffle_epi8(Load256(pixels), order));
    plainPixelKernels.swap32(pixels, count);
}

} // namespace

void UseVectorKernels(PixelKernels *kernels, CpuLevel level)
{
    if (level == CpuLevel::Baseline)
        return;
    kernels->unpack24 = Unpack24Ssse3;
    kernels->pack24 = Pack24Ssse3;
    kernels->swap24 = Swap24Ssse3;
    if (level == CpuLevel::Ssse3)
        return;
    kernels->unpack16 = Unpack16Avx2;
    kernels->unpack24 = Unpack24Avx2;
    kernels->lookUp = LookUpAvx2;
    kernels->threshold = ThresholdAvx2;
    kernels->pack16 = Pack16Avx2;
    kernels->pack24 = Pack24Avx2;
    kernels->luminance = LuminanceAvx2;
    kernels->matchProduct = MatchProductAvx2;
    kernels->matchProduct24 = MatchProduct24Avx2;
    kernels->matchCells = MatchCellsAvx2;
    kernels->diffuse = DiffuseAvx2;
    kernels->swap16 = Swap16Avx2;
    kernels->swap24 = Swap24Avx2;
    kernels->swap32 = Swap32Avx2;
}

} // namespace vexo
