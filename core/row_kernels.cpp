// The plain row kernels, the vector forms beside them, and the choice between the two. Everything here waits for
// memory, so the vector forms keep to one wide load, a few operations and one wide store.
#include "core/row_kernels.h"

#include "core/prefetch.h"
#include "core/vectors.h"

#include <algorithm>
#include <intrin.h>

namespace vexo {

namespace {

// ---- Plain ----------------------------------------------------------------------------------------------------

void MoveBytesPlain(uint8_t *output, const uint8_t *input, size_t count) { memcpy(output, input, count); }
void StreamBytesPlain(uint8_t *output, const uint8_t *input, size_t count) { memcpy(output, input, count); }

void ShiftBitsPlain(uint8_t *output, const uint8_t *input, size_t count, int shift)
{
    for (size_t i = 0; i < count; ++i)
        output[i] = uint8_t(input[i] << shift | input[i + 1] >> (8 - shift));
}

void GetAlpha32Plain(uint8_t *levels, const uint8_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        levels[i] = pixels[4 * i + 3];
}

void GetAlpha16Plain(uint8_t *levels, const uint8_t *pixels, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        levels[i] = pixels[2 * i + 1] & 0x80 ? 255 : 0;
}

void SetAlpha32Plain(uint8_t *pixels, const uint8_t *levels, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        pixels[4 * i + 3] = levels[i];
}

void SetAlpha16Plain(uint8_t *pixels, const uint8_t *levels, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        pixels[2 * i + 1] = uint8_t((pixels[2 * i + 1] & 0x7F) | (levels[i] & 0x80));
}

void CopyOthersPlain(uint8_t *output, const uint8_t *input, size_t count, uint8_t key)
{
    for (size_t i = 0; i < count; ++i)
        output[i] = input[i] == key ? output[i] : input[i];
}

// ---- SSE2 -----------------------------------------------------------------------------------------------------

// There are no shifts of bytes: words are shifted, and `kept` tells the bits of a byte that come from that byte.
inline void ShiftStep128(uint8_t *output, const uint8_t *input, __m128i left, __m128i right, __m128i kept)
{
    const __m128i high = _mm_and_si128(kept, _mm_sll_epi16(Load128(input), left));
    const __m128i low = _mm_andnot_si128(kept, _mm_srl_epi16(Load128(input + 1), right));
    Store128(output, _mm_or_si128(high, low));
}

void ShiftBitsSse2(uint8_t *output, const uint8_t *input, size_t count, int shift)
{
    if (count < 16) {
        ShiftBitsPlain(output, input, count, shift);
        return;
    }
    const __m128i left = _mm_cvtsi32_si128(shift), right = _mm_cvtsi32_si128(8 - shift);
    const __m128i kept = _mm_set1_epi8(char(0xFF << shift));
    for (size_t i = 0; i + 16 < count; i += 16)
        ShiftStep128(output + i, input + i, left, right, kept);
    ShiftStep128(output + count - 16, input + count - 16, left, right, kept); // partly done already
}

void CopyOthersSse2(uint8_t *output, const uint8_t *input, size_t count, uint8_t key)
{
    const __m128i keys = _mm_set1_epi8(char(key));
    for (; count >= 16; count -= 16, input += 16, output += 16) {
        const __m128i pixels = Load128(input), kept = _mm_cmpeq_epi8(pixels, keys);
        Store128(output, _mm_or_si128(_mm_and_si128(kept, Load128(output)), _mm_andnot_si128(kept, pixels)));
    }
    CopyOthersPlain(output, input, count, key);
}

// ---- String moves ----------------------------------------------------------------------------------------------

// Whole lines of the caches are written without being read.
void MoveBytesString(uint8_t *output, const uint8_t *input, size_t count) { __movsb(output, input, count); }

// ---- AVX2 -----------------------------------------------------------------------------------------------------

VEXO_AVX2_PIECE void Stream256(uint8_t *p, __m256i v) { _mm256_stream_si256(reinterpret_cast<__m256i *>(p), v); }

VEXO_TARGET_AVX2 void StreamBytesAvx2(uint8_t *output, const uint8_t *input, size_t count)
{
    constexpr size_t kStep = 128;
    const size_t unaligned = std::min(count, size_t(-reinterpret_cast<intptr_t>(output)) % 32);
    memcpy(output, input, unaligned);
    output += unaligned;
    input += unaligned;
    count -= unaligned;
    for (; count >= kStep; count -= kStep, input += kStep, output += kStep) {
        const __m256i a = Load256(input), b = Load256(input + 32), c = Load256(input + 64), d = Load256(input + 96);
        Stream256(output, a);
        Stream256(output + 32, b);
        Stream256(output + 64, c);
        Stream256(output + 96, d);
    }
    _mm_sfence();
    memcpy(output, input, count);
}

VEXO_AVX2_PIECE void ShiftStep256(uint8_t *output, const uint8_t *input, __m128i left, __m128i right, __m256i kept)
{
    const __m256i high = _mm256_and_si256(kept, _mm256_sll_epi16(Load256(input), left));
    const __m256i low = _mm256_andnot_si256(kept, _mm256_srl_epi16(Load256(input + 1), right));
    Store256(output, _mm256_or_si256(high, low));
}

VEXO_TARGET_AVX2 void ShiftBitsAvx2(uint8_t *output, const uint8_t *input, size_t count, int shift)
{
    if (count < 32) {
        ShiftBitsSse2(output, input, count, shift);
        return;
    }
    const __m128i left = _mm_cvtsi32_si128(shift), right = _mm_cvtsi32_si128(8 - shift);
    const __m256i kept = _mm256_set1_epi8(char(0xFF << shift));
    for (size_t i = 0; i + 32 < count; i += 32)
        ShiftStep256(output + i, input + i, left, right, kept);
    ShiftStep256(output + count - 32, input + count - 32, left, right, kept); // partly done already
}

VEXO_TARGET_AVX2 void GetAlpha32Avx2(uint8_t *levels, const uint8_t *pixels, size_t count)
{
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (; count >= 32; count -= 32, pixels += 128, levels += 32) {
        PrefetchOnward(pixels);
        PrefetchOnward(pixels + kCacheLine);
        const __m256i a = _mm256_srli_epi32(Load256(pixels), 24), b = _mm256_srli_epi32(Load256(pixels + 32), 24);
        const __m256i c = _mm256_srli_epi32(Load256(pixels + 64), 24), d = _mm256_srli_epi32(Load256(pixels + 96), 24);
        const __m256i all = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
        Store256(levels, _mm256_permutevar8x32_epi32(all, inOrder));
    }
    GetAlpha32Plain(levels, pixels, count);
}

VEXO_TARGET_AVX2 void GetAlpha16Avx2(uint8_t *levels, const uint8_t *pixels, size_t count)
{
    for (; count >= 32; count -= 32, pixels += 64, levels += 32) {
        const __m256i a = _mm256_srai_epi16(Load256(pixels), 15), b = _mm256_srai_epi16(Load256(pixels + 32), 15);
        Store256(levels, _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8));
    }
    GetAlpha16Plain(levels, pixels, count);
}

VEXO_AVX2_PIECE void SetAlphaOf8(uint8_t *pixels, const uint8_t *levels)
{
    const __m256i colour = _mm256_set1_epi32(0x00FFFFFF);
    const __m256i alpha = _mm256_cvtepu8_epi32(Load64(levels));
    Store256(pixels, _mm256_or_si256(_mm256_and_si256(Load256(pixels), colour), _mm256_slli_epi32(alpha, 24)));
}

VEXO_TARGET_AVX2 void SetAlpha32Avx2(uint8_t *pixels, const uint8_t *levels, size_t count)
{
    for (; count >= 16; count -= 16, levels += 16, pixels += kCacheLine) {
        PrefetchOnward(pixels);
        SetAlphaOf8(pixels, levels);
        SetAlphaOf8(pixels + 32, levels + 8);
    }
    SetAlpha32Plain(pixels, levels, count);
}

VEXO_TARGET_AVX2 void SetAlpha16Avx2(uint8_t *pixels, const uint8_t *levels, size_t count)
{
    const __m256i top = _mm256_set1_epi16(short(0x8000));
    for (; count >= 16; count -= 16, levels += 16, pixels += 32) {
        const __m256i alpha = _mm256_and_si256(_mm256_slli_epi16(_mm256_cvtepu8_epi16(Load128(levels)), 8), top);
        Store256(pixels, _mm256_or_si256(_mm256_andnot_si256(top, Load256(pixels)), alpha));
    }
    SetAlpha16Plain(pixels, levels, count);
}

VEXO_TARGET_AVX2 void CopyOthersAvx2(uint8_t *output, const uint8_t *input, size_t count, uint8_t key)
{
    const __m256i keys = _mm256_set1_epi8(char(key));
    for (; count >= 32; count -= 32, input += 32, output += 32) {
        const __m256i pixels = Load256(input), kept = _mm256_cmpeq_epi8(pixels, keys);
        Store256(output, _mm256_blendv_epi8(pixels, Load256(output), kept));
    }
    CopyOthersPlain(output, input, count, key);
}

constexpr RowKernels kPlainKernels = {
    .moveBytes = MoveBytesPlain,
    .streamBytes = StreamBytesPlain,
    .shiftBits = ShiftBitsPlain,
    .getAlpha32 = GetAlpha32Plain,
    .getAlpha16 = GetAlpha16Plain,
    .setAlpha32 = SetAlpha32Plain,
    .setAlpha16 = SetAlpha16Plain,
    .copyOthers = CopyOthersPlain,
};
constexpr RowKernels kAvx2Kernels = {
    .moveBytes = MoveBytesPlain,
    .streamBytes = StreamBytesAvx2,
    .shiftBits = ShiftBitsAvx2,
    .getAlpha32 = GetAlpha32Avx2,
    .getAlpha16 = GetAlpha16Avx2,
    .setAlpha32 = SetAlpha32Avx2,
    .setAlpha16 = SetAlpha16Avx2,
    .copyOthers = CopyOthersAvx2,
};

} // namespace

const RowKernels plainRowKernels = kPlainKernels;
RowKernels rowKernels = kPlainKernels;

void SelectRowKernels(CpuLevel level)
{
    rowKernels = level >= CpuLevel::Avx2 ? kAvx2Kernels : kPlainKernels;
    if (level < CpuLevel::Avx2) {
        rowKernels.shiftBits = ShiftBitsSse2;
        rowKernels.copyOthers = CopyOthersSse2;
    } else if (HasFastStringMoves()) {
        rowKernels.moveBytes = MoveBytesString;
    }
}

} // namespace vexo
