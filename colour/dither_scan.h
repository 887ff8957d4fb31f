// The scan of error diffusion: pixel by pixel with the three channels side by side in a register. What matters for its
// speed is the way from one pixel's choice to the next pixel's, so the arithmetic keeps that short. Templates over the
// filter and the choice, which the files that include this compile for their processors.
#ifndef VEXO_COLOUR_DITHER_SCAN_H
#define VEXO_COLOUR_DITHER_SCAN_H

#include "colour/dither_engine.h"
#include "core/vectors.h"

#include <bit>

// What is inlined takes on the instruction set of the function around it.
#if defined(_MSC_VER) && !defined(__clang__)
#define VEXO_SCAN_INLINE static __forceinline
#define VEXO_SCAN_INLINE_MEMBER __forceinline
#else
#define VEXO_SCAN_INLINE static inline __attribute__((always_inline))
#define VEXO_SCAN_INLINE_MEMBER inline __attribute__((always_inline))
#endif

namespace vexo {

// Unnamed: the copies made for different processors must not be merged.
namespace {

// ---- Lanes: four 16-bit words, blue, green, red and one that counts for nothing --------------------------------

VEXO_SCAN_INLINE __m128i LoadQuad(const uint8_t *quad)
{
    int value;
    memcpy(&value, quad, 4);
    return _mm_unpacklo_epi8(_mm_cvtsi32_si128(value), _mm_setzero_si128());
}

VEXO_SCAN_INLINE __m128i Words(int value) { return _mm_set1_epi16(int16_t(value)); }

template <int Factor>
VEXO_SCAN_INLINE __m128i Times(__m128i v)
{
    if constexpr (Factor == 1)
        return v;
    else if constexpr (Factor == 2 || Factor == 4 || Factor == 8 || Factor == 16 || Factor == 32)
        return _mm_slli_epi16(v, std::countr_zero(unsigned(Factor)));
    else
        return _mm_mullo_epi16(v, Words(Factor));
}

// sum + Factor * v where time counts until v has its effect: shifts are quicker than a product, and of the saturating
// forms, which never saturate here, compilers keep the order.
template <int Factor>
VEXO_SCAN_INLINE __m128i PlusTimes(__m128i sum, __m128i v)
{
    if constexpr (Factor == 0)
        return sum;
    else if constexpr (Factor == 7)
        return _mm_adds_epi16(_mm_subs_epi16(sum, v), Times<8>(v));
    else if constexpr (Factor == 3 || Factor == 5)
        return _mm_adds_epi16(_mm_adds_epi16(sum, v), Times<Factor - 1>(v));
    else
        return _mm_adds_epi16(sum, Times<Factor>(v));
}

// ---- Quotients ------------------------------------------------------------------------------------------------

constexpr int kReciprocalShift = 20;
constexpr int Reciprocal(int divisor) { return ((1 << kReciprocalShift) + divisor - 1) / divisor; }
constexpr bool IsReciprocalExact(int divisor)
{
    for (int y = 0; y < 256 * divisor; ++y)
        if (y * int64_t(Reciprocal(divisor)) >> kReciprocalShift != y / divisor)
            return false;
    return Reciprocal(divisor) < 0x8000;
}

// y / Divisor rounded down where the quotient is 0 to 255; below 0 and above 255 otherwise.
template <int Divisor>
VEXO_SCAN_INLINE __m128i Quotient(__m128i y)
{
    if constexpr (Divisor == 16 || Divisor == 32) {
        return _mm_srai_epi16(y, Divisor == 16 ? 4 : 5);
    } else {
        static_assert(IsReciprocalExact(Divisor));
        return _mm_srai_epi16(_mm_mulhi_epi16(y, Words(Reciprocal(Divisor))), kReciprocalShift - 16);
    }
}

// A pixel's value with the errors that reach it: pixel + sum / Divisor, truncated toward zero, for y = pixel * Divisor
// + sum. The quotient rounded down is right for positive sums and the one rounded up for negative sums, so the result
// is the middle one of: the value rounded down, the pixel itself, the value rounded up. Right within 0 to 255; what
// should lie outside does.
template <int Divisor>
VEXO_SCAN_INLINE __m128i AdjustPixel(__m128i pixel, __m128i y)
{
    const __m128i up = Quotient<Divisor>(_mm_add_epi16(y, Words(Divisor - 1)));
    return _mm_max_epi16(Quotient<Divisor>(y), _mm_min_epi16(up, pixel));
}

VEXO_SCAN_INLINE __m128i ClampToByte(__m128i v)
{
    return _mm_max_epi16(_mm_min_epi16(v, Words(255)), _mm_setzero_si128());
}

// ---- One pixel's sum ------------------------------------------------------------------------------------------

// How a method's waiting sums are kept and used: error1 and error2 are those of the last pixel and the one before.
template <int Method, bool IsNarrow = FitsWords(FilterOf(Method))>
struct Sums {
    static constexpr const DiffusionFilter &kFilter = FilterOf(Method);
    using Word = int16_t;

    VEXO_SCAN_INLINE __m128i Adjust(__m128i pixel, const Word *waiting, __m128i error1, __m128i error2)
    {
        const __m128i early = _mm_add_epi16(Times<kFilter.divisor>(pixel), Load64(waiting));
        const __m128i y = PlusTimes<kFilter.ahead[0]>(PlusTimes<kFilter.ahead[1]>(early, error2), error1);
        return ClampToByte(AdjustPixel<kFilter.divisor>(pixel, y));
    }
};

// Sums of 32 bits. They and their quotients are exact in floating point: the reciprocal is too large by a part in 10^6,
// which lifts no quotient of at most 255 by 1 / divisor, but keeps whole ones from falling short.
template <int Method>
struct Sums<Method, false> {
    static constexpr const DiffusionFilter &kFilter = FilterOf(Method);
    using Word = int32_t;

    VEXO_SCAN_INLINE __m128i Adjust(__m128i pixel, const Word *waiting, __m128i, __m128i error2)
    {
        static_assert(kFilter.ahead[0] == 0);
        const __m128i ahead = _mm_madd_epi16(_mm_unpacklo_epi16(error2, error2), _mm_set1_epi32(kFilter.ahead[1]));
        const __m128i sum = _mm_add_epi32(Load128(waiting), ahead);
        constexpr float kReciprocal = 1.000001f / float(kFilter.divisor);
        const __m128i quotient = _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(sum), _mm_set1_ps(kReciprocal)));
        return ClampToByte(_mm_add_epi16(pixel, _mm_packs_epi32(quotient, quotient)));
    }
};

// ---- Choices: the index of adjusted lanes, and the lanes of its colour ------------------------------------------

// The sum of the four products, in every place of a half.
VEXO_SCAN_INLINE __m128i DotProduct(__m128i lanes, __m128i factors)
{
    const __m128i pairs = _mm_madd_epi16(lanes, factors);
    return _mm_add_epi32(pairs, _mm_shuffle_epi32(pairs, _MM_SHUFFLE(2, 3, 0, 1)));
}

VEXO_SCAN_INLINE __m128i Lanes(int blue, int green, int red)
{
    return _mm_setr_epi16(int16_t(blue), int16_t(green), int16_t(red), 0, int16_t(blue), int16_t(green), int16_t(red),
                          0);
}
VEXO_SCAN_INLINE __m128i LuminanceWeights() { return Lanes(1, 5, 2); }

template <class Word>
class CellChoice {
public:
    explicit CellChoice(const DitherTarget &target) : m_cells(*target.cells) {}

    VEXO_SCAN_INLINE_MEMBER __m128i Choose(__m128i lanes, uint8_t *index) const
    {
        const __m128i key = DotProduct(_mm_srli_epi16(lanes, 3), Lanes(1, 1 << 5, 1 << 10));
        const unsigned cell = m_cells.Cell<Word>(unsigned(_mm_cvtsi128_si32(key)));
        *index = CellPalette::IndexOf(cell);
        return Load64(m_cells.ColorOf(cell));
    }

private:
    CellPalette &m_cells;
};

// Two or four even grays by the upper bits of the luminance.
template <int Bits>
class GrayChoice {
public:
    explicit GrayChoice(const DitherTarget &) {}

    VEXO_SCAN_INLINE_MEMBER __m128i Choose(__m128i lanes, uint8_t *index) const
    {
        constexpr int kStep = 255 / ((1 << Bits) - 1);
        const __m128i sum = _mm_add_epi32(DotProduct(lanes, LuminanceWeights()), _mm_set1_epi32(4));
        const __m128i level = _mm_srli_epi32(sum, 3 + 8 - Bits);
        *index = uint8_t(_mm_cvtsi128_si32(level));
        return _mm_mullo_epi16(_mm_shufflelo_epi16(level, 0), Words(kStep));
    }
};

// Each channel by itself.
class ProductChoice {
public:
    explicit ProductChoice(const DitherTarget &target)
    {
        const ProductRule &rule = RuleOf(target.paletteClass);
        const auto lanes = [&](auto part) { return Lanes(part(rule.blue), part(rule.green), part(rule.red)); };
        m_scales = lanes([](const ProductChannel &channel) { return LevelScale(channel.levels); });
        m_ramps = lanes([](const ProductChannel &channel) { return LevelRamp(channel.levels); });
        m_places = lanes([](const ProductChannel &channel) { return channel.place; });
        m_bright = unsigned(rule.bright);
    }

    VEXO_SCAN_INLINE_MEMBER __m128i Choose(__m128i lanes, uint8_t *index) const
    {
        const __m128i levels = _mm_mulhi_epu16(lanes, m_scales);
        const unsigned place = unsigned(_mm_cvtsi128_si32(DotProduct(levels, m_places)));
        *index = uint8_t(place | (place ? m_bright : 0));
        return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(levels, m_ramps), Words(128)), 8);
    }

private:
    __m128i m_scales, m_ramps, m_places;
    unsigned m_bright;
};

// ---- Scans ----------------------------------------------------------------------------------------------------

template <int Method, class Choice>
VEXO_SCAN_INLINE void Scan(const DiffusionBlock &block, const Choice &choice)
{
    using MethodSums = Sums<Method>;
    const auto *waiting = static_cast<const typename MethodSums::Word *>(block.waiting);
    __m128i error1 = Load64(block.errors - 4), error2 = Load64(block.errors - 8);
    for (size_t i = 0; i < block.count; ++i) {
        const __m128i pixel = LoadQuad(block.quads + 4 * i);
        const __m128i adjusted = MethodSums::Adjust(pixel, waiting + 4 * i, error1, error2);
        error2 = error1;
        error1 = _mm_sub_epi16(adjusted, choice.Choose(adjusted, block.indices + i));
        Store64(block.errors + 4 * i, error1);
    }
}

// All classes but black and white.
template <int Method>
VEXO_SCAN_INLINE void ScanColors(const DiffusionBlock &block, const DitherTarget &target)
{
    if (target.paletteClass == kClassCells)
        Scan<Method>(block, CellChoice<uint16_t>(target));
    else if (target.paletteClass == kClassMatchTable)
        Scan<Method>(block, CellChoice<unsigned>(target));
    else if (IsProductClass(target.paletteClass))
        Scan<Method>(block, ProductChoice(target));
    else
        Scan<Method>(block, GrayChoice<2>(target));
}

} // namespace

} // namespace vexo

#endif
