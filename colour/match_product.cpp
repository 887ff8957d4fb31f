// Nearest entries of the palettes whose channels are independent: the nearest level of each channel, from two lookups
// by its upper four bits. A value halfway between two levels makes two or four entries equally near, which the rule of
// V_FindPaletteIndex tells apart by their order of hue.
#include "colour/fixed_palettes.h"
#include "colour/palette_matcher.h"
#include "colour/pixel_kernels.h"
#include "core/vectors.h"

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
    for (size_t i = 0; i < count; ++i, quads += 4)
        indices[i] = uint8_t(FindProduct(palette, quads[2], quads[1], quads[0]));
}

void MatchProduct24Plain(uint8_t *indices, const uint8_t *pixels, size_t count, const ProductPalette &palette,
                         bool swap)
{
    const int red = swap ? 0 : 2, blue = swap ? 2 : 0;
    for (size_t i = 0; i < count; ++i, pixels += 3)
        indices[i] = uint8_t(FindProduct(palette, pixels[red], pixels[1], pixels[blue]));
}

namespace {

// The bytes of one channel, 32 pixels a register.
struct Channels {
    __m256i blue, green, red;
};

VEXO_AVX2_PIECE __m256i Table(const uint8_t (&table)[16]) { return InBothHalves(Load128(table)); }

VEXO_AVX2_PIECE __m256i UpperBits(__m256i v) { return _mm256_and_si256(_mm256_srli_epi16(v, 4), _mm256_set1_epi8(15)); }

// Four registers of quads to channels. Pixels come out in the order of kInOrder.
VEXO_AVX2_PIECE Channels SplitQuads(const uint8_t *quads)
{
    const __m256i byChannel = InBothHalves(_mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    const __m256i a = _mm256_shuffle_epi8(Load256(quads), byChannel);
    const __m256i b = _mm256_shuffle_epi8(Load256(quads + 32), byChannel);
    const __m256i c = _mm256_shuffle_epi8(Load256(quads + 64), byChannel);
    const __m256i d = _mm256_shuffle_epi8(Load256(quads + 96), byChannel);
    const __m256i lowAB = _mm256_unpacklo_epi32(a, b), lowCD = _mm256_unpacklo_epi32(c, d);
    const __m256i highAB = _mm256_unpackhi_epi32(a, b), highCD = _mm256_unpackhi_epi32(c, d);
    return {_mm256_unpacklo_epi64(lowAB, lowCD), _mm256_unpackhi_epi64(lowAB, lowCD),
            _mm256_unpacklo_epi64(highAB, highCD)};
}

// Where the bytes of a channel of 16 pixels lie in each of their three registers; -1 for those in another one.
struct ByteOrders {
    uint8_t from[3][3][16]; // channel, register

    constexpr ByteOrders() : from()
    {
        for (int channel = 0; channel < 3; ++channel)
            for (int part = 0; part < 3; ++part)
                for (int i = 0; i < 16; ++i) {
                    const int place = 3 * i + channel - 16 * part;
                    from[channel][part][i] = place >= 0 && place < 16 ? uint8_t(place) : uint8_t(0xFF);
                }
    }
};
constexpr ByteOrders kByteOrders;

VEXO_AVX2_PIECE __m256i Gather(const uint8_t (&from)[3][16], __m256i a, __m256i b, __m256i c)
{
    return _mm256_or_si256(
        _mm256_or_si256(_mm256_shuffle_epi8(a, Table(from[0])), _mm256_shuffle_epi8(b, Table(from[1]))),
        _mm256_shuffle_epi8(c, Table(from[2])));
}

// 32 pixels of three bytes to channels, in order.
VEXO_AVX2_PIECE Channels SplitPixels(const uint8_t *pixels, bool swap)
{
    const auto load = [&](int offset) VEXO_TARGET_AVX2 { return LoadHalves(pixels + offset, pixels + offset + 48); };
    const __m256i a = load(0), b = load(16), c = load(32);
    const __m256i first = Gather(kByteOrders.from[0], a, b, c), third = Gather(kByteOrders.from[2], a, b, c);
    return {swap ? third : first, Gather(kByteOrders.from[1], a, b, c), swap ? first : third};
}

VEXO_AVX2_PIECE __m256i LowLevel(const ChannelLevels &channel, __m256i values, __m256i upper)
{
    const __m256i above = _mm256_subs_epu8(values, _mm256_shuffle_epi8(Table(channel.last), upper));
    return _mm256_add_epi8(_mm256_shuffle_epi8(Table(channel.first), upper),
                           _mm256_min_epu8(above, _mm256_set1_epi8(1)));
}

// All ones where a value is halfway to the next level.
VEXO_AVX2_PIECE __m256i Halfway(const ChannelLevels &channel, __m256i values, __m256i upper)
{
    return _mm256_cmpeq_epi8(values, _mm256_shuffle_epi8(Table(channel.half), upper));
}

// What red and blue say about the order of hue.
struct RedAndBlue {
    __m256i least, most, redIsMost;
};
VEXO_AVX2_PIECE RedAndBlue Compare(__m256i red, __m256i blue)
{
    const __m256i most = _mm256_max_epu8(red, blue);
    return {_mm256_min_epu8(red, blue), most, _mm256_cmpeq_epi8(most, red)};
}

// A number for each HueClass: -2, 0 or 2 for green among the others, with all bits turned over unless blue is above
// red.
VEXO_AVX2_PIECE __m256i HueClasses(const RedAndBlue &others, __m256i green)
{
    const __m256i notBelow = _mm256_cmpeq_epi8(_mm256_max_epu8(green, others.least), green);
    const __m256i notAbove = _mm256_cmpeq_epi8(_mm256_min_epu8(green, others.most), green);
    const __m256i place = _mm256_sub_epi8(notBelow, notAbove);
    return _mm256_xor_si256(_mm256_add_epi8(place, place), others.redIsMost);
}

VEXO_AVX2_PIECE __m256i IndexPart(const ChannelLevels &channel, __m256i levels)
{
    return _mm256_sll_epi16(levels, _mm_cvtsi32_si128(channel.shift));
}

VEXO_AVX2_PIECE __m256i ValueOf(const ChannelLevels &channel, __m256i levels)
{
    return _mm256_shuffle_epi8(Table(channel.value), levels);
}

// What the search among equally near entries goes by.
struct TieSearch {
    const ProductPalette &palette;
    __m256i blueValues;
    __m256i classes; // of the pixels
};

// All ones where the entry of two levels has the pixel's hue class.
VEXO_AVX2_PIECE __m256i HasClass(const TieSearch &search, __m256i redLevels, __m256i greenLevels)
{
    const RedAndBlue others = Compare(ValueOf(search.palette.red, redLevels), search.blueValues);
    return _mm256_cmpeq_epi8(HueClasses(others, ValueOf(search.palette.green, greenLevels)), search.classes);
}

VEXO_AVX2_PIECE __m256i MatchProduct32(const ProductPalette &palette, const Channels &colors)
{
    const __m256i upperRed = UpperBits(colors.red), upperGreen = UpperBits(colors.green);
    const __m256i red = LowLevel(palette.red, colors.red, upperRed);
    const __m256i green = LowLevel(palette.green, colors.green, upperGreen);
    const __m256i blue = LowLevel(palette.blue, colors.blue, UpperBits(colors.blue));
    const __m256i lowest = _mm256_or_si256(
        _mm256_or_si256(IndexPart(palette.red, red), IndexPart(palette.green, green)), IndexPart(palette.blue, blue));
    const __m256i redTie = Halfway(palette.red, colors.red, upperRed);
    const __m256i greenTie = Halfway(palette.green, colors.green, upperGreen);
    const __m256i ties = _mm256_or_si256(redTie, greenTie);
    if (_mm256_testz_si256(ties, ties))
        return lowest;

    // The entry of the higher levels comes last and is taken first.
    const TieSearch search = {palette, ValueOf(palette.blue, blue),
                              HueClasses(Compare(colors.red, colors.blue), colors.green)};
    const __m256i highRed = _mm256_sub_epi8(red, redTie), highGreen = _mm256_sub_epi8(green, greenTie);
    const __m256i redStep = _mm256_and_si256(redTie, _mm256_set1_epi8(char(1 << palette.red.shift)));
    const __m256i greenStep = _mm256_and_si256(greenTie, _mm256_set1_epi8(char(1 << palette.green.shift)));
    const __m256i takesBoth = HasClass(search, highRed, highGreen);
    if (_mm256_testz_si256(redTie, greenTie))
        return _mm256_add_epi8(lowest, _mm256_and_si256(takesBoth, _mm256_or_si256(redStep, greenStep)));

    const __m256i takesRed = _mm256_or_si256(takesBoth, HasClass(search, highRed, green));
    const __m256i takesGreen = _mm256_andnot_si256(takesRed, HasClass(search, red, highGreen));
    const __m256i withRed = _mm256_add_epi8(lowest, _mm256_and_si256(takesRed, redStep));
    return _mm256_add_epi8(withRed, _mm256_and_si256(_mm256_or_si256(takesBoth, takesGreen), greenStep));
}

} // namespace

VEXO_TARGET_AVX2 void MatchProductAvx2(uint8_t *indices, const uint8_t *quads, size_t count,
                                       const ProductPalette &palette)
{
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (; count >= 32; count -= 32, quads += 128, indices += 32) {
        const __m256i matched = MatchProduct32(palette, SplitQuads(quads));
        Store256(indices, _mm256_permutevar8x32_epi32(matched, inOrder));
    }
    MatchProductPlain(indices, quads, count, palette);
}

VEXO_TARGET_AVX2 void MatchProduct24Avx2(uint8_t *indices, const uint8_t *pixels, size_t count,
                                         const ProductPalette &palette, bool swap)
{
    for (; count >= 32; count -= 32, pixels += 96, indices += 32)
        Store256(indices, MatchProduct32(palette, SplitPixels(pixels, swap)));
    MatchProduct24Plain(indices, pixels, count, palette, swap);
}

} // namespace vexo
