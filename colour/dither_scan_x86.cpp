// The scans of error diffusion for AVX2: the plain ones with its three-operand instructions, and one of its own for
// black and white, which works on both of a pixel's possible values at once.
#include "colour/dither_scan.h"
#include "colour/pixel_kernels.h"

#include <immintrin.h>

namespace vexo {

namespace {

// ---- Black and white ------------------------------------------------------------------------------------------
// While it is not known yet whether a pixel becomes black or white, the next one's values after either are worked out
// side by side: channels stand twice, blue, blue, green, green, red, red, the first word for what follows black and the
// second for what follows white. The mask of the choice, all zeros or all ones, then moves the indices of a byte
// shuffle from one to the other, and sums of bytes in one instruction give the luminance from five greens, two reds and
// a blue.

struct PairScan {
    __m128i values; // of the pixel before, chosen, or its errors at the start
    __m128i white;  // whether it is white
    __m128i error1, error2;
};

// One pixel; `early` is all of its sum but what the pixel before adds.
template <int Method>
VEXO_TARGET_AVX2 inline void Step(PairScan *scan, __m128i pixel, __m128i early)
{
    constexpr const DiffusionFilter &kFilter = FilterOf(Method);
    const __m128i afterWhite = _mm_set1_epi32(-255 * kFilter.ahead[0] * 0x10000);
    const __m128i valueBytes = _mm_setr_epi8(0, -2, 0, -2, 2, -2, 2, -2, 4, -2, 4, -2, 6, -2, 6, -2);
    const __m128i luminanceBytes = _mm_setr_epi8(0, 2, 2, 2, 2, 2, 4, 4, 0, 2, 2, 2, 2, 2, 4, 4);

    early = PlusTimes<kFilter.ahead[1]>(_mm_add_epi16(early, afterWhite), scan->error2);
    const __m128i y = PlusTimes<kFilter.ahead[0]>(early, scan->values);
    const __m128i adjusted = AdjustPixel<kFilter.divisor>(pixel, y);
    const __m128i both = _mm_packus_epi16(adjusted, adjusted); // clamps
    // White adds one to each index: the mask is -1.
    scan->values = _mm_shuffle_epi8(both, _mm_sub_epi8(valueBytes, scan->white));
    const __m128i bytes = _mm_shuffle_epi8(both, _mm_sub_epi8(luminanceBytes, scan->white));
    const __m128i sum = _mm_sad_epu8(bytes, _mm_setzero_si128());
    scan->white = _mm_shuffle_epi32(_mm_cmpgt_epi32(sum, _mm_set1_epi32(8 * 128 - 4 - 1)), 0);
    scan->error2 = scan->error1;
    scan->error1 = _mm_sub_epi16(scan->values, _mm_and_si128(scan->white, Words(255)));
}

VEXO_TARGET_AVX2 inline __m128i ErrorDwords(const PairScan &scan) { return _mm_srai_epi32(scan.error1, 16); }

template <int Method>
VEXO_TARGET_AVX2 void ScanBlackAndWhite(const DiffusionBlock &block)
{
    constexpr int kDivisor = FilterOf(Method).divisor;
    const auto *waiting = static_cast<const int16_t *>(block.waiting);
    const __m128i before = LoadLanes(block.errors - 4), farBefore = LoadLanes(block.errors - 8);
    PairScan scan;
    scan.values = scan.error1 = _mm_unpacklo_epi16(before, before); // as if it had been that bright, and black
    scan.white = _mm_setzero_si128();
    scan.error2 = _mm_unpacklo_epi16(farBefore, farBefore);
    size_t i = 0;
    for (; i + 2 <= block.count; i += 2) {
        const __m128i quads = LoadLanes(reinterpret_cast<const int16_t *>(block.quads + 4 * i));
        const __m128i pixels = _mm_unpacklo_epi8(quads, _mm_setzero_si128());
        const __m128i sums =
            _mm_add_epi16(Times<kDivisor>(pixels), _mm_loadu_si128(reinterpret_cast<const __m128i *>(waiting + 4 * i)));
        Step<Method>(&scan, _mm_unpacklo_epi16(pixels, pixels), _mm_unpacklo_epi16(sums, sums));
        const __m128i white = scan.white, errors = ErrorDwords(scan);
        Step<Method>(&scan, _mm_unpackhi_epi16(pixels, pixels), _mm_unpackhi_epi16(sums, sums));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(block.errors + 4 * i), _mm_packs_epi32(errors, ErrorDwords(scan)));
        const int indices = _mm_cvtsi128_si32(_mm_unpacklo_epi8(white, scan.white)) & 0x0101;
        memcpy(block.indices + i, &indices, 2);
    }
    if (i < block.count) {
        const __m128i pixel = LoadQuad(block.quads + 4 * i);
        const __m128i sum = _mm_add_epi16(Times<kDivisor>(pixel), LoadLanes(waiting + 4 * i));
        Step<Method>(&scan, _mm_unpacklo_epi16(pixel, pixel), _mm_unpacklo_epi16(sum, sum));
        const __m128i errors = ErrorDwords(scan);
        StoreLanes(block.errors + 4 * i, _mm_packs_epi32(errors, errors));
        block.indices[i] = uint8_t(_mm_cvtsi128_si32(scan.white) & 1);
    }
}

// ---- By method ------------------------------------------------------------------------------------------------

template <int Method>
VEXO_TARGET_AVX2 void ScanAvx2(const DiffusionBlock &block, const DitherTarget &target)
{
    if (target.paletteClass != kClassTwoGrays)
        ScanColors<Method>(block, target);
    else if constexpr (FitsWords(FilterOf(Method)))
        ScanBlackAndWhite<Method>(block);
    else
        Scan<Method>(block, GrayChoice<1>(target));
}

constexpr void (*kScans[])(const DiffusionBlock &, const DitherTarget &) = {ScanAvx2<1>, ScanAvx2<2>, ScanAvx2<3>,
                                                                            ScanAvx2<4>, ScanAvx2<5>, ScanAvx2<6>};

} // namespace

void DiffuseAvx2(const DiffusionBlock &block, int method, const DitherTarget &target)
{
    kScans[method - kDitherFloydSteinberg](block, target);
}

} // namespace vexo
