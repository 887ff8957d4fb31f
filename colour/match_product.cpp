// Nearest entries of the palettes whose channels are independent: the nearest level of each channel, from two lookups
// by its upper four bits. A value halfway between two levels makes two or four entries equally near, which the rule of
// V_FindPaletteIndex tells apart by their order of hue.
#include "colour/fixed_palettes.h"
#include "colour/palette_matcher.h"
#include "colour/pixel_kernels.h"

#include <immintrin.h>

namespace vexo {

namespace {

// The nearest levels of a value: `low`, and `high` where two are equally near, else `low` again.
struct NearestLevels {
    int low, high;
};
NearestLevels FindLevels(const ChannelLevels &channel, uint8_t value)
{
    const int upper = value >> 4;
    const int low = channel.first[upper] + (value > channel.last[upper]);
    return {low, low + (value == channel.half[upper])};
}

int FindProduct(const ProductPalette &palette, uint8_t red, uint8_t green, uint8_t blue)
{
    const NearestLevels reds = FindLevels(palette.red, red), greens = FindLevels(palette.green, green);
    const int blueLevel = FindLevels(palette.blue, blue).low; // four levels at most: none has a middle
    const auto index = [&](int r, int g) {
        return r << palette.red.shift | g << palette.green.shift | blueLevel << palette.blue.shift;
    };
    int best = index(reds.low, greens.low);
    if (reds.low == reds.high && greens.low == greens.high)
        return best;
    const unsigned hueClass = HueClass(red, green, blue);
    for (int r = reds.low; r <= reds.high; ++r)
        for (int g = greens.low; g <= greens.high; ++g)
            if (HueClass(palette.red.value[r], palette.green.value[g], palette.blue.value[blueLevel]) == hueClass)
                best = index(r, g);
    return best;
}

} // namespace

void MatchProductPlain(uint8_t *indices, const uint8_t *quads, size_t count, const ProductPalette &palette)
{
    for (size_t i = 0; i < count; ++i)
        indices[i] = uint8_t(FindProduct(palette, quads[4 * i + 2], quads[4 * i + 1], quads[4 * i]));
}

namespace {

// The bytes of one channel, 32 pixels a register.
struct Channels {
    __m256i blue, green, red;
};

VEXO_TARGET_AVX2 inline __m256i Table(const uint8_t (&table)[16])
{
    return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(table)));
}

VEXO_TARGET_AVX2 inline __m256i UpperBits(__m256i v)
{
    return _mm256_and_si256(_mm256_srli_epi16(v, 4), _mm256_set1_epi8(15));
}

// Four registers of quads to channels. Pixels come out in the order of kInOrder.
VEXO_TARGET_AVX2 inline Channels SplitQuads(const uint8_t *quads)
{
    const __m256i *source = reinterpret_cast<const __m256i *>(quads);
    const __m256i byChannel =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    const __m256i a = _mm256_shuffle_epi8(_mm256_loadu_si256(source), byChannel);
    const __m256i b = _mm256_shuffle_epi8(_mm256_loadu_si256(source + 1), byChannel);
    const __m256i c = _mm256_shuffle_epi8(_mm256_loadu_si256(source + 2), byChannel);
    const __m256i d = _mm256_shuffle_epi8(_mm256_loadu_si256(source + 3), byChannel);
    const __m256i lowAB = _mm256_unpacklo_epi32(a, b), lowCD = _mm256_unpacklo_epi32(c, d);
    const __m256i highAB = _mm256_unpackhi_epi32(a, b), highCD = _mm256_unpackhi_epi32(c, d);
    return {_mm256_unpacklo_epi64(lowAB, lowCD), _mm256_unpackhi_epi64(lowAB, lowCD),
            _mm256_unpacklo_epi64(highAB, highCD)};
}

VEXO_TARGET_AVX2 inline __m256i LowLevel(const ChannelLevels &channel, __m256i values, __m256i upper)
{
    const __m256i above = _mm256_subs_epu8(values, _mm256_shuffle_epi8(Table(channel.last), upper));
    return _mm256_add_epi8(_mm256_shuffle_epi8(Table(channel.first), upper),
                           _mm256_min_epu8(above, _mm256_set1_epi8(1)));
}

// All ones where a value is halfway to the next level.
VEXO_TARGET_AVX2 inline __m256i Halfway(const ChannelLevels &channel, __m256i values, __m256i upper)
{
    return _mm256_cmpeq_epi8(values, _mm256_shuffle_epi8(Table(channel.half), upper));
}

VEXO_TARGET_AVX2 inline __m256i HueClasses(const Channels &colors)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i least = _mm256_min_epu8(colors.red, colors.blue), most = _mm256_max_epu8(colors.red, colors.blue);
    // The three comparisons fail where the differences are 0; the complement serves as well as the class itself.
    const __m256i notBlue = _mm256_cmpeq_epi8(_mm256_subs_epu8(colors.blue, colors.red), zero);
    const __m256i notLeast = _mm256_cmpeq_epi8(_mm256_subs_epu8(least, colors.green), zero);
    const __m256i notMost = _mm256_cmpeq_epi8(_mm256_subs_epu8(colors.green, most), zero);
    return _mm256_or_si256(_mm256_and_si256(notBlue, _mm256_set1_epi8(4)),
                           _mm256_or_si256(_mm256_and_si256(notLeast, _mm256_set1_epi8(2)),
                                           _mm256_and_si256(notMost, _mm256_set1_epi8(1))));
}

// What the four combinations of low and high levels have in common.
struct TieSearch {
    const ProductPalette &palette;
    __m256i blueLevels;
    __m256i blueValues;
    __m256i classes; // of the pixels
};

VEXO_TARGET_AVX2 inline __m256i IndexOf(const TieSearch &search, __m256i redLevels, __m256i greenLevels)
{
    const __m256i red = _mm256_sll_epi16(redLevels, _mm_cvtsi32_si128(search.palette.red.shift));
    const __m256i green = _mm256_sll_epi16(greenLevels, _mm_cvtsi32_si128(search.palette.green.shift));
    return _mm256_or_si256(_mm256_or_si256(red, green), search.blueLevels);
}

// Takes the entry of two levels where its hue class is that of the pixel.
VEXO_TARGET_AVX2 inline __m256i Consider(const TieSearch &search, __m256i best, __m256i redLevels, __m256i greenLevels)
{
    const Channels entry = {search.blueValues, _mm256_shuffle_epi8(Table(search.palette.green.value), greenLevels),
                            _mm256_shuffle_epi8(Table(search.palette.red.value), redLevels)};
    const __m256i sameClass = _mm256_cmpeq_epi8(HueClasses(entry), search.classes);
    return _mm256_blendv_epi8(best, IndexOf(search, redLevels, greenLevels), sameClass);
}

VEXO_TARGET_AVX2 inline __m256i MatchProduct32(const ProductPalette &palette, const Channels &colors)
{
    const __m256i upperRed = UpperBits(colors.red), upperGreen = UpperBits(colors.green);
    const __m256i red = LowLevel(palette.red, colors.red, upperRed);
    const __m256i green = LowLevel(palette.green, colors.green, upperGreen);
    TieSearch search = {palette, LowLevel(palette.blue, colors.blue, UpperBits(colors.blue)), {}, {}};
    __m256i best = IndexOf(search, red, green);
    const __m256i redTie = Halfway(palette.red, colors.red, upperRed);
    const __m256i greenTie = Halfway(palette.green, colors.green, upperGreen);
    if (_mm256_movemask_epi8(_mm256_or_si256(redTie, greenTie)) == 0)
        return best;
    search.blueValues = _mm256_shuffle_epi8(Table(palette.blue.value), search.blueLevels);
    search.classes = HueClasses(colors);
    // Where there is no tie the high level is the low one, and all four are the same entry.
    const __m256i highRed = _mm256_sub_epi8(red, redTie), highGreen = _mm256_sub_epi8(green, greenTie);
    best = Consider(search, best, red, highGreen);
    best = Consider(search, best, highRed, green);
    return Consider(search, best, highRed, highGreen);
}

} // namespace

VEXO_TARGET_AVX2 void MatchProductAvx2(uint8_t *indices, const uint8_t *quads, size_t count,
                                       const ProductPalette &palette)
{
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (; count >= 32; count -= 32, quads += 128, indices += 32) {
        const __m256i matched = MatchProduct32(palette, SplitQuads(quads));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(indices), _mm256_permutevar8x32_epi32(matched, inOrder));
    }
    MatchProductPlain(indices, quads, count, palette);
}

} // namespace vexo
