// The vector forms of the kernels of resizing and resampling: shuffles for enlarged rows (SSSE3), gathered pixels,
// extracted bits and sums sorted by channel for shrunk ones, whole rows 32 bytes at a time (AVX2).
#include "geometry/size_kernels.h"

#include "core/vectors.h"

#include <cstring>

namespace vexo {

namespace {

// ---- Nearest sampling -----------------------------------------------------------------------------------------

VEXO_TARGET_SSSE3 inline void SampleWindowTo(uint8_t *destination, const uint8_t *source, const SampleWindow &window)
{
    const __m128i v = Load128(source + window.offset);
    const __m128i order = Load128(window.order);
    Store128(destination, _mm_shuffle_epi8(v, order));
}

VEXO_TARGET_SSSE3 void WindowsSsse3(uint8_t *destination, size_t bytes, const uint8_t *source,
                                    const SampleWindow *windows)
{
    size_t at = 0;
    for (; at + 16 <= bytes; at += 16)
        SampleWindowTo(destination + at, source, *windows++);
    if (at < bytes)
        SampleWindowTo(destination + bytes - 16, source, *windows);
}

VEXO_TARGET_AVX2 size_t Gather24Avx2(uint8_t *destination, const uint8_t *source, const uint32_t *positions,
                                     size_t count)
{
    // Byte offsets are signed 32-bit numbers to the gather. Each load reaches one byte into the pixel behind, and each
    // store 8 bytes into the pixels of the next step.
    if (positions[count - 1] > 0x2AAAAAA0u)
        return 0;
    size_t done = 0;
    for (; count - done >= 11; done += 8, destination += 24) {
        const __m256i at = Load256(positions + done);
        const __m256i pixels = _mm256_i32gather_epi32(reinterpret_cast<const int *>(source),
                                                      _mm256_add_epi32(at, _mm256_add_epi32(at, at)), 1);
        Store256(destination, CloseUp24(pixels));
    }
    return done;
}

VEXO_TARGET_AVX2 size_t Gather32Avx2(uint8_t *destination, const uint8_t *source, const uint32_t *positions,
                                     size_t count)
{
    size_t done = 0;
    for (; count - done >= 8; done += 8, destination += 32) {
        const __m256i at = Load256(positions + done);
        Store256(destination, _mm256_i32gather_epi32(reinterpret_cast<const int *>(source), at, 4));
    }
    return done;
}

// In memory the first pixel is the highest bit of the first byte.
inline uint32_t SwapBytes(uint32_t v) { return v >> 24 | (v >> 8 & 0xFF00) | (v << 8 & 0xFF0000) | v << 24; }

VEXO_AVX2_PIECE uint32_t LoadPixels(const uint8_t *p)
{
    uint32_t word;
    memcpy(&word, p, 4);
    return SwapBytes(word);
}

// The number of pieces is a constant for the common ratios, so that no branch depends on the data.
template <size_t Pieces>
VEXO_TARGET_AVX2 void PickBits(uint8_t *destination, size_t words, const uint8_t *source, const uint32_t *plan,
                               size_t pieces)
{
    if (Pieces)
        pieces = Pieces;
    for (size_t word = 0; word < words; ++word, destination += 4) {
        const uint8_t *from = source + *plan++;
        uint32_t result = 0;
        for (size_t piece = 0; piece < pieces; ++piece, from += 4, plan += 2)
            result |= _pext_u32(LoadPixels(from), plan[0]) << (plan[1] & 31);
        result = SwapBytes(result);
        memcpy(destination, &result, 4);
    }
}

VEXO_TARGET_AVX2 void BitPicksAvx2(uint8_t *destination, size_t words, const uint8_t *source, const uint32_t *plan,
                                   size_t pieces)
{
    switch (pieces) {
    case 2: PickBits<2>(destination, words, source, plan, pieces); break;
    case 3: PickBits<3>(destination, words, source, plan, pieces); break;
    case 4: PickBits<4>(destination, words, source, plan, pieces); break;
    case 5: PickBits<5>(destination, words, source, plan, pieces); break;
    default: PickBits<0>(destination, words, source, plan, pieces); break;
    }
}

// The first bit of each two of 32 bytes, as bytes in 16-bit lanes.
VEXO_AVX2_PIECE __m256i HalvedBits(__m256i v)
{
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m256i firstOfTwo = InBothHalves(_mm_setr_epi8(0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3));
    const __m256i low = _mm256_shuffle_epi8(firstOfTwo, _mm256_and_si256(v, nibble));
    const __m256i high = _mm256_shuffle_epi8(firstOfTwo, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble));
    const __m256i nibbles = _mm256_or_si256(_mm256_slli_epi16(high, 2), low);
    return _mm256_maddubs_epi16(nibbles, _mm256_set1_epi16(0x0110)); // 16 times the first byte and the second one
}

VEXO_TARGET_AVX2 void HalveBitsAvx2(uint8_t *destination, size_t bytes, const uint8_t *source)
{
    for (; bytes >= 32; bytes -= 32, destination += 32, source += 64) {
        const __m256i both = _mm256_packus_epi16(HalvedBits(Load256(source)), HalvedBits(Load256(source + 32)));
        Store256(destination, _mm256_permute4x64_epi64(both, 0xD8));
    }
    for (; bytes > 0; --bytes, ++destination, source += 2)
        *destination = uint8_t(_pext_u32(unsigned(source[0]) << 8 | source[1], 0xAAAA));
}

// ---- Resampling -----------------------------------------------------------------------------------------------

// The means of two pixels, a 32-bit lane for each channel. The bytes of a chunk are sorted by channel and added up by
// fours: in pairs first, for all chunks, and the pairs at the end.
template <size_t PixelBytes>
VEXO_AVX2_PIECE __m256i MeanOfTwo(const uint8_t *source, const MeanPlan::Pixel &low, const MeanPlan::Pixel &high,
                                  const MeanPlan &plan, size_t chunks)
{
    const __m256i ones = _mm256_set1_epi8(1);
    const __m256i fullOrder =
        InBothHalves(PixelBytes == 3 ? _mm_setr_epi8(0, 3, 6, 9, 1, 4, 7, 10, 2, 5, 8, 11, -1, -1, -1, -1)
                                     : _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    const uint8_t *lowBytes = source + low.offset, *highBytes = source + high.offset;
    __m256i sums = _mm256_setzero_si256();
    for (size_t chunk = 1; chunk < chunks; ++chunk, lowBytes += 4 * PixelBytes, highBytes += 4 * PixelBytes) {
        const __m256i sorted = _mm256_shuffle_epi8(LoadHalves(lowBytes, highBytes), fullOrder);
        sums = _mm256_add_epi16(sums, _mm256_maddubs_epi16(sorted, ones));
    }
    const __m256i order = LoadHalves(plan.lastOrder[low.variant], plan.lastOrder[high.variant]);
    const __m256i sorted = _mm256_shuffle_epi8(LoadHalves(lowBytes, highBytes), order);
    sums = _mm256_madd_epi16(_mm256_add_epi16(sums, _mm256_maddubs_epi16(sorted, ones)), _mm256_set1_epi16(1));
    const __m256i reciprocals =
        Halves(_mm_set1_epi32(int(plan.reciprocal[low.variant])), _mm_set1_epi32(int(plan.reciprocal[high.variant])));
    return _mm256_srli_epi32(_mm256_mullo_epi32(sums, reciprocals), 24);
}

template <size_t PixelBytes, size_t Chunks>
VEXO_TARGET_AVX2 void MeanPixels(uint8_t *destination, const uint8_t *source, const MeanPlan::Pixel *pixels,
                                 size_t count, const MeanPlan &plan)
{
    const size_t chunks = Chunks ? Chunks : plan.chunks;
    for (; count >= 8; count -= 8, pixels += 8, destination += 8 * PixelBytes) {
        // Pixels four apart share a register, so that packing leaves them in order.
        const __m256i a = MeanOfTwo<PixelBytes>(source, pixels[0], pixels[4], plan, chunks);
        const __m256i b = MeanOfTwo<PixelBytes>(source, pixels[1], pixels[5], plan, chunks);
        const __m256i c = MeanOfTwo<PixelBytes>(source, pixels[2], pixels[6], plan, chunks);
        const __m256i d = MeanOfTwo<PixelBytes>(source, pixels[3], pixels[7], plan, chunks);
        const __m256i quads = _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
        Store256(destination, PixelBytes == 3 ? CloseUp24(quads) : quads);
    }
}

template <size_t PixelBytes>
VEXO_TARGET_AVX2 void MeanPixelsOf(uint8_t *destination, const uint8_t *source, const MeanPlan::Pixel *pixels,
                                   size_t count, const MeanPlan &plan)
{
    switch (plan.chunks) {
    case 1: MeanPixels<PixelBytes, 1>(destination, source, pixels, count, plan); break;
    case 2: MeanPixels<PixelBytes, 2>(destination, source, pixels, count, plan); break;
    case 3: MeanPixels<PixelBytes, 3>(destination, source, pixels, count, plan); break;
    default: MeanPixels<PixelBytes, 0>(destination, source, pixels, count, plan); break;
    }
}

VEXO_TARGET_AVX2 void MeanPixelsAvx2(uint8_t *destination, const uint8_t *source, const MeanPlan::Pixel *pixels,
                                     size_t count, const MeanPlan &plan)
{
    if (plan.pixelBytes == 3)
        MeanPixelsOf<3>(destination, source, pixels, count, plan);
    else
        MeanPixelsOf<4>(destination, source, pixels, count, plan);
}

VEXO_TARGET_SSSE3 inline void BlendWindowTo(uint8_t *destination, const uint8_t *source, const BlendWindow &window,
                                            size_t pixelBytes, __m128i shift)
{
    const __m128i order = Load128(window.order);
    const __m128i a = _mm_shuffle_epi8(Load128(source + window.offset), order);
    const __m128i b = _mm_shuffle_epi8(Load128(source + window.offset + pixelBytes), order);
    const __m128i low = _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), Load128(window.weights));
    const __m128i high = _mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), Load128(window.weights + 16));
    const __m128i lowMeans = _mm_srl_epi16(_mm_mulhi_epu16(low, Load128(window.reciprocals)), shift);
    const __m128i highMeans = _mm_srl_epi16(_mm_mulhi_epu16(high, Load128(window.reciprocals + 8)), shift);
    Store128(destination, _mm_packus_epi16(lowMeans, highMeans));
}

VEXO_TARGET_SSSE3 void BlendPixelsSsse3(uint8_t *destination, size_t bytes, const uint8_t *source,
                                        const BlendWindow *windows, size_t pixelBytes, int shift)
{
    const __m128i places = _mm_cvtsi32_si128(shift);
    size_t at = 0;
    for (; at + 16 <= bytes; at += 16)
        BlendWindowTo(destination + at, source, *windows++, pixelBytes, places);
    if (at < bytes)
        BlendWindowTo(destination + bytes - 16, source, *windows, pixelBytes, places);
}

// Sums up to 4080 in 16-bit lanes.
VEXO_TARGET_AVX2 void MeanRowsAvx2(uint8_t *destination, const uint8_t *const *rows, int count, size_t bytes)
{
    const int shift = LaneDivision::Shift(count);
    const __m256i multiplier = _mm256_set1_epi16(short(LaneDivision::Multiplier(count, shift)));
    const __m128i places = _mm_cvtsi32_si128(shift);
    const __m256i zero = _mm256_setzero_si256();
    size_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        __m256i low = zero, high = zero;
        for (int row = 0; row < count; ++row) {
            const __m256i v = Load256(rows[row] + i);
            low = _mm256_add_epi16(low, _mm256_unpacklo_epi8(v, zero));
            high = _mm256_add_epi16(high, _mm256_unpackhi_epi8(v, zero));
        }
        low = _mm256_srl_epi16(_mm256_mulhi_epu16(low, multiplier), places);
        high = _mm256_srl_epi16(_mm256_mulhi_epu16(high, multiplier), places);
        Store256(destination + i, _mm256_packus_epi16(low, high));
    }
    if (i < bytes) {
        const uint8_t *rest[kMostMeanRows];
        for (int row = 0; row < count; ++row)
            rest[row] = rows[row] + i;
        plainResampleKernels.meanRows(destination + i, rest, count, bytes - i);
    }
}

VEXO_TARGET_AVX2 void BlendRowsAvx2(uint8_t *destination, const uint8_t *a, const uint8_t *b, size_t bytes, int step,
                                    int steps)
{
    const int shift = LaneDivision::Shift(steps);
    const __m256i multiplier = _mm256_set1_epi16(short(LaneDivision::Multiplier(steps, shift)));
    const __m256i weights = _mm256_set1_epi16(short(step << 8 | (steps - step)));
    const __m128i places = _mm_cvtsi32_si128(shift);
    size_t i = 0;
    for (; i + 32 <= bytes; i += 32) {
        const __m256i ofA = Load256(a + i), ofB = Load256(b + i);
        const __m256i low = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(ofA, ofB), weights);
        const __m256i high = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(ofA, ofB), weights);
        Store256(destination + i, _mm256_packus_epi16(_mm256_srl_epi16(_mm256_mulhi_epu16(low, multiplier), places),
                                                      _mm256_srl_epi16(_mm256_mulhi_epu16(high, multiplier), places)));
    }
    if (i < bytes)
        plainResampleKernels.blendRows(destination + i, a + i, b + i, bytes - i, step, steps);
}

} // namespace

void UseVectorKernels(SampleKernels *kernels, CpuLevel level)
{
    if (level == CpuLevel::Baseline)
        return;
    kernels->windows = WindowsSsse3;
    if (level == CpuLevel::Ssse3)
        return;
    kernels->gather24 = Gather24Avx2;
    kernels->gather32 = Gather32Avx2;
    kernels->bitPicks = BitPicksAvx2;
    kernels->halveBits = HalveBitsAvx2;
}

void UseVectorKernels(ResampleKernels *kernels, CpuLevel level)
{
    if (level == CpuLevel::Baseline)
        return;
    kernels->blendPixels = BlendPixelsSsse3;
    if (level == CpuLevel::Ssse3)
        return;
    kernels->meanPixels = MeanPixelsAvx2;
    kernels->meanRows = MeanRowsAvx2;
    kernels->blendRows = BlendRowsAvx2;
}

} // namespace vexo
