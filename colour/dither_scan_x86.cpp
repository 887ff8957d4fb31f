// The scans of error diffusion for AVX2: the plain ones with its three-operand instructions, and one of its own for
// black and white, which works on both of a pixel's possible values at once.
#include "colour/dither_scan.h"
#include "colour/pixel_kernels.h"
#include "core/vectors.h"

namespace vexo {

namespace {

// ---- Black and white ------------------------------------------------------------------------------------------
// While it is not known yet whether a pixel becomes black or white, the next one's values after either are worked out
// side by side: channels stand twice, blue, blue, green, green, red, red, the first word for what follows black and the
// second for what follows white. The choice, as bytes of 0 or -2, moves the indices of a byte shuffle from one to the
// other, and a sum of bytes gives the luminance from five greens, two reds and a blue in one instruction.

struct PairScan {
    __m128i values;         // of the pixel before, chosen, or its errors at the start
    __m128i white;          // whether it is white
    __m128i error1, error2; // of the pixel before and the one before that, if the filter needs them
};

// Added to a pixel, it brings 255 to the end of the range, where saturation clamps.
constexpr int kCeiling = 0x7FFF - 255;

VEXO_TARGET_AVX2 inline __m128i WhiteWords(__m128i white) { return _mm_srli_epi16(_mm_srai_epi16(white, 15), 8); }

// One pixel, which comes with kCeiling added; `early` is all of its sum but what the two pixels before add, less for
// what follows white.
template <int Method>
VEXO_TARGET_AVX2 inline void Step(PairScan *scan, __m128i pixel, __m128i early)
{
    constexpr const DiffusionFilter &kFilter = FilterOf(Method);
    const __m128i valueBytes = _mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13);
    const __m128i luminanceBytes = _mm_setr_epi8(0, 4, 4, 4, 4, 4, 8, 8, 0, 4, 4, 4, 4, 4, 8, 8);

    const __m128i sum = PlusTimes<kFilter.ahead[0]>(PlusTimes<kFilter.ahead[1]>(early, scan->error2), scan->values);
    const __m128i quotient = _mm_sign_epi16(Quotient<kFilter.divisor>(_mm_abs_epi16(sum)), sum);
    const __m128i both = _mm_subs_epu16(_mm_adds_epi16(pixel, quotient), Words(kCeiling));
    scan->values = _mm_shuffle_epi8(both, _mm_sub_epi8(valueBytes, scan->white));
    const __m128i bytes = _mm_shuffle_epi8(both, _mm_sub_epi8(luminanceBytes, scan->white));
    const __m128i total = _mm_sad_epu8(bytes, _mm_setzero_si128());
    const __m128i isWhite = _mm_cmpgt_epi32(total, _mm_set1_epi32(8 * 128 - 4 - 1));
    scan->white = _mm_shuffle_epi32(_mm_and_si128(isWhite, _mm_set1_epi8(-2)), 0);
    if constexpr (kFilter.ahead[1] != 0) {
        scan->error2 = scan->error1;
        scan->error1 = _mm_sub_epi16(scan->values, WhiteWords(scan->white));
    }
}

// Two pixels: their values and sums are `pixels` and `sums`.
template <int Method>
VEXO_TARGET_AVX2 inline void StepTwice(PairScan *scan, __m128i pixels, __m128i sums, int16_t *errors, uint8_t *indices)
{
    pixels = _mm_add_epi16(pixels, Words(kCeiling));
    const __m128i afterWhite = _mm_sub_epi16(sums, Words(255 * FilterOf(Method).ahead[0]));
    Step<Method>(scan, _mm_unpacklo_epi16(pixels, pixels), _mm_unpacklo_epi16(sums, afterWhite));
    const __m128i values = scan->values, white = scan->white;
    Step<Method>(scan, _mm_unpackhi_epi16(pixels, pixels), _mm_unpackhi_epi16(sums, afterWhite));
    const __m128i bothValues = _mm_blend_epi16(values, scan->values, 0xAA);
    const __m128i bothWhite = _mm_blend_epi16(white, scan->white, 0xAA);
    const __m128i mixed = _mm_sub_epi16(bothValues, WhiteWords(bothWhite));
    const __m128i order = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    Store128(errors, _mm_shuffle_epi8(mixed, order));
    const unsigned masks = unsigned(_mm_cvtsi128_si32(bothWhite));
    indices[0] = uint8_t(masks >> 1 & 1);
    indices[1] = uint8_t(masks >> 31);
}

template <int Method>
VEXO_TARGET_AVX2 void ScanBlackAndWhite(const DiffusionBlock &block)
{
    const auto *waiting = static_cast<const int16_t *>(block.waiting);
    const uint8_t *quads = block.quads;
    uint8_t *indices = block.indices;
    int16_t *errors = block.errors;
    const __m128i before = Load64(errors - 4), farBefore = Load64(errors - 8);
    PairScan scan;
    scan.values = scan.error1 = _mm_unpacklo_epi16(before, before); // as if it had been that bright, and black
    scan.white = _mm_setzero_si128();
    scan.error2 = _mm_unpacklo_epi16(farBefore, farBefore);
    size_t left = block.count;
    for (; left >= 2; left -= 2, quads += 8, waiting += 8, errors += 8, indices += 2) {
        const __m128i pixels = _mm_cvtepu8_epi16(Load64(quads));
        const __m128i sums = Load128(waiting);
        StepTwice<Method>(&scan, pixels, sums, errors, indices);
    }
    if (left) {
        int16_t twoErrors[8];
        uint8_t twoIndices[2];
        StepTwice<Method>(&scan, LoadQuad(quads), Load64(waiting), twoErrors, twoIndices);
        memcpy(errors, twoErrors, sizeof twoErrors / 2);
        *indices = *twoIndices;
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
    kScans[method - DITHER_FLOYD_STEINBERG](block, target);
}

} // namespace vexo
