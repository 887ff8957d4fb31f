// Vector forms of four colour space conversions (AVX2), 8 pixels a step. Divisions become multiplications with a
// rounded-up reciprocal that has so many bits that the quotient's whole part is exact.
#include "colour/pixel_kernels.h"
#include "core/row_kernels.h"
#include "core/vectors.h"

namespace vexo {

namespace {

// A step reads or writes up to 4 bytes beyond its 8 pixels, so the last ones are left to the plain forms.
constexpr size_t kStepPixels = 8;
constexpr size_t kLeastPixels = 10;

// ---- Reciprocals ------------------------------------------------------------------------------------------------

// With m = ceil(scale * 2^shift / d) the product n * m >> shift is floor(n * scale / d) as long as n * (d - 1) <
// 2^shift.
struct HsvTables {
    static constexpr int kHueShift = 17;  // n and n / d of the hue: n to 255, d to 510
    static constexpr int kByteShift = 16; // n and d to 255
    uint32_t hue[511];                    // 512 / d
    uint32_t saturation[256];             // 255 / d
    uint32_t middle[256];                 // part / whole of the two channels that a hue is between
    uint32_t order[256];                  // where blue, green and red come from: 0 highest, 1 middle, 2 lowest value

    constexpr HsvTables() : hue(), saturation(), middle(), order()
    {
        for (uint32_t d = 1; d <= 510; ++d)
            hue[d] = ((512u << kHueShift) + d - 1) / d;
        for (uint32_t d = 1; d <= 255; ++d)
            saturation[d] = ((255u << kByteShift) + d - 1) / d;
        for (int i = 0; i < 256; ++i)
            SetHue(i, i * 360 >> 8);
    }

    // The way back runs in pairs of sectors of 60 degrees: a channel rises up to the middle of a pair and another falls
    // behind it.
    constexpr void SetHue(int i, int degrees)
    {
        constexpr uint32_t kOrders[6] = {0x80000102, 0x80010002, 0x80020001, 0x80020100, 0x80010200, 0x80000201};
        const int sector = degrees <= 60 ? 0 : (degrees - 1) / 60;
        const int start = sector / 2 * 120, fromStart = degrees - start, toEnd = 120 - fromStart;
        const uint32_t part = uint32_t(sector % 2 ? toEnd : fromStart),
                       whole = uint32_t(sector % 2 ? fromStart : toEnd);
        middle[i] = ((part << kByteShift) + whole - 1) / whole;
        order[i] = kOrders[sector];
    }
};
constexpr HsvTables kHsv;

// ---- Loads and stores of 8 pixels of 3 bytes --------------------------------------------------------------------

// To quads, the fourth byte 0.
VEXO_AVX2_PIECE __m256i LoadPixels(const uint8_t *pixels)
{
    const __m128i order = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    return _mm256_shuffle_epi8(LoadHalves(pixels, pixels + 12), InBothHalves(order));
}

VEXO_AVX2_PIECE void StorePixels(uint8_t *pixels, __m256i quads)
{
    const __m256i closed = CloseUp24(quads);
    // Just the 24 bytes: in place the next ones have not been read yet.
    Store128(pixels, LowHalf(closed));
    Store64(pixels + 16, HighHalf(closed));
}

VEXO_AVX2_PIECE __m256i LookUp(const uint32_t *table, __m256i indices)
{
    return _mm256_i32gather_epi32(reinterpret_cast<const int *>(table), indices, 4);
}

// ---- Hue, saturation, value -------------------------------------------------------------------------------------

VEXO_AVX2_PIECE __m256i HsvOf(__m256i quads)
{
    const __m256i byte = _mm256_set1_epi32(255);
    const __m256i blue = _mm256_and_si256(quads, byte), red = _mm256_srli_epi32(quads, 16);
    const __m256i green = _mm256_and_si256(_mm256_srli_epi32(quads, 8), byte);
    const __m256i most = _mm256_max_epi16(_mm256_max_epi16(blue, green), red);
    const __m256i least = _mm256_min_epi16(_mm256_min_epi16(blue, green), red);
    const __m256i all = _mm256_add_epi32(_mm256_add_epi32(blue, green), red);
    const __m256i sum = _mm256_sub_epi32(all, _mm256_add_epi32(least, _mm256_add_epi32(least, least)));

    // The third of the circle is the one opposite the least channel; the offset is 512 sixths for each, rounded.
    const __m256i noBlue = _mm256_cmpeq_epi32(blue, least);
    const __m256i noRed = _mm256_andnot_si256(noBlue, _mm256_cmpeq_epi32(red, least));
    __m256i rising = _mm256_blendv_epi8(red, blue, noRed), offset = _mm256_set1_epi32(1027);
    rising = _mm256_blendv_epi8(rising, green, noBlue);
    offset = _mm256_sub_epi32(offset, _mm256_and_si256(noRed, _mm256_set1_epi32(512)));
    offset = _mm256_sub_epi32(offset, _mm256_and_si256(noBlue, _mm256_set1_epi32(1024)));
    const __m256i share = _mm256_mullo_epi32(_mm256_sub_epi32(rising, least), LookUp(kHsv.hue, sum));
    const __m256i sixths = _mm256_add_epi32(_mm256_srli_epi32(share, HsvTables::kHueShift), offset);
    const __m256i hue = _mm256_and_si256(_mm256_mulhi_epu16(sixths, _mm256_set1_epi32(10923)), byte);

    const __m256i scaled = _mm256_mullo_epi32(_mm256_sub_epi32(most, least), LookUp(kHsv.saturation, most));
    const __m256i saturation = _mm256_srli_epi32(scaled, HsvTables::kByteShift);
    return _mm256_or_si256(_mm256_or_si256(hue, _mm256_slli_epi32(saturation, 8)), _mm256_slli_epi32(most, 16));
}

VEXO_AVX2_PIECE __m256i BgrOf(__m256i hsv)
{
    const __m256i byte = _mm256_set1_epi32(255);
    const __m256i hue = _mm256_and_si256(hsv, byte), value = _mm256_srli_epi32(hsv, 16);
    const __m256i gray = _mm256_xor_si256(_mm256_and_si256(_mm256_srli_epi32(hsv, 8), byte), byte);
    // x / 255 = (x + 1 + x / 256) / 256
    const __m256i product = _mm256_mullo_epi16(gray, value);
    const __m256i carry = _mm256_add_epi32(_mm256_srli_epi32(product, 8), _mm256_set1_epi32(1));
    const __m256i least = _mm256_srli_epi32(_mm256_add_epi32(product, carry), 8);
    const __m256i range = _mm256_mullo_epi32(_mm256_sub_epi32(value, least), LookUp(kHsv.middle, hue));
    const __m256i middle = _mm256_add_epi32(least, _mm256_srli_epi32(range, HsvTables::kByteShift));
    const __m256i values =
        _mm256_or_si256(_mm256_or_si256(value, _mm256_slli_epi32(middle, 8)), _mm256_slli_epi32(least, 16));
    const __m256i lanes = InBothHalves(_mm_setr_epi32(0, 0x00040404, 0x00080808, 0x000C0C0C));
    return _mm256_shuffle_epi8(values, _mm256_add_epi32(LookUp(kHsv.order, hue), lanes));
}

VEXO_TARGET_AVX2 void HsvFromBgrAvx2(uint8_t *hsv, const uint8_t *bgr, size_t count)
{
    for (; count >= kLeastPixels; count -= kStepPixels, bgr += 24, hsv += 24)
        StorePixels(hsv, HsvOf(LoadPixels(bgr)));
    HsvFromBgrPlain(hsv, bgr, count);
}

VEXO_TARGET_AVX2 void BgrFromHsvAvx2(uint8_t *bgr, const uint8_t *hsv, size_t count)
{
    for (; count >= kLeastPixels; count -= kStepPixels, hsv += 24, bgr += 24)
        StorePixels(bgr, BgrOf(LoadPixels(hsv)));
    BgrFromHsvPlain(bgr, hsv, count);
}

// ---- Y, B - Y, R - Y --------------------------------------------------------------------------------------------

// A lane of two pixels becomes six words. Which word goes to which of a lane's eight places: of four lanes a, b, c, d
// each place of the three that leave is filled by one, and no bytes need to be moved.
struct YuvOrder {
    uint8_t luma[32];  // from the products
    uint8_t other[32]; // from the scaled components
    int16_t sign[16];  // of the luma

    constexpr YuvOrder(int firstLane, int secondLane) : luma(), other(), sign()
    {
        SetLane(0, firstLane);
        SetLane(8, secondLane);
    }

    constexpr void SetLane(int firstPlace, int lane)
    {
        constexpr int kNone = -1;
        constexpr int kWords[4][8] = {{0, 1, 2, 3, 4, 5, kNone, kNone},
                                      {2, 3, 4, 5, kNone, kNone, 0, 1},
                                      {4, 5, kNone, kNone, 0, 1, 2, 3},
                                      {kNone, kNone, 0, 1, 2, 3, 4, 5}};
        for (int i = 0; i < 8; ++i) {
            const int word = kWords[lane][i], place = firstPlace + i, pixel = word / 3 * 8;
            const int component = word == kNone ? kNone : word % 3; // Y, B - Y, R - Y
            SetBytes(luma + 2 * place, component == kNone ? 0x80 : pixel + 5);
            SetBytes(other + 2 * place, component < 1 ? 0x80 : pixel + 4 * (component - 1));
            sign[place] = int16_t(component == 0 ? 1 : -1);
        }
    }

    static constexpr void SetBytes(uint8_t *order, int first)
    {
        order[0] = uint8_t(first);
        order[1] = uint8_t(first == 0x80 ? first : first + 1);
    }
};
constexpr YuvOrder kYuvLow(0, 2), kYuvHigh(1, 3);

// Four pixels whose blue, green, red and 0 are doubled to words (257 x) to Y, B - Y, R - Y.
VEXO_AVX2_PIECE __m256i YuvOf(__m256i doubled, const YuvOrder &order)
{
    // x * 16384 / 255 is 257 x / 4 and a bit that makes a whole of x = 255 only.
    const __m256i isFull = _mm256_cmpeq_epi16(doubled, _mm256_set1_epi16(-1));
    const __m256i scaled = _mm256_sub_epi16(_mm256_srli_epi16(doubled, 2), isFull);
    const __m256i halves = _mm256_madd_epi16(scaled, _mm256_set1_epi64x(299ll << 32 | 587 << 16 | 114));
    const __m256i sums = _mm256_add_epi32(halves, _mm256_shuffle_epi32(halves, 0xB1));
    // Sums are below 2^24, so that their thousandth is exact with ceil(2^40 / 1000): from the sixth byte on.
    const __m256i products = _mm256_mul_epu32(sums, _mm256_set1_epi64x(1099511628));
    const __m256i lumas = _mm256_sign_epi16(_mm256_shuffle_epi8(products, Load256(order.luma)), Load256(order.sign));
    return _mm256_add_epi16(lumas, _mm256_shuffle_epi8(scaled, Load256(order.other)));
}

// Whole steps from the front; returns the pixels done. Streams: the target is aligned to 16 bytes and goes around the
// caches, which saves reading it into them.
template <bool Streams>
VEXO_AVX2_PIECE size_t YuvSteps(uint8_t *yuv, const uint8_t *bgr, size_t count)
{
    const auto store = [](uint8_t *p, __m128i v) {
        if constexpr (Streams)
            _mm_stream_si128(reinterpret_cast<__m128i *>(p), v);
        else
            Store128(p, v);
    };
    size_t done = 0;
    for (; count - done >= kLeastPixels; done += kStepPixels, bgr += 24, yuv += 48) {
        const __m256i quads = LoadPixels(bgr);
        const __m256i ac = YuvOf(_mm256_unpacklo_epi8(quads, quads), kYuvLow);
        const __m256i bd = YuvOf(_mm256_unpackhi_epi8(quads, quads), kYuvHigh);
        const __m128i b = LowHalf(bd), c = HighHalf(ac);
        store(yuv, _mm_blend_epi32(LowHalf(ac), b, 0b1000));
        store(yuv + 16, _mm_blend_epi32(b, c, 0b1100));
        store(yuv + 32, _mm_blend_epi32(c, HighHalf(bd), 0b1110));
    }
    return done;
}

VEXO_TARGET_AVX2 void YuvFromBgrAvx2(uint8_t *yuv, const uint8_t *bgr, size_t count)
{
    size_t done = 0;
    if (count >= kStreamFrom / 6 && reinterpret_cast<uintptr_t>(yuv) % 2 == 0) {
        while (reinterpret_cast<uintptr_t>(yuv + 6 * done) % 16 != 0)
            ++done;
        YuvFromBgrPlain(yuv, bgr, done);
        done += YuvSteps<true>(yuv + 6 * done, bgr + 3 * done, count - done);
        _mm_sfence();
    } else {
        done = YuvSteps<false>(yuv, bgr, count);
    }
    YuvFromBgrPlain(yuv + 6 * done, bgr + 3 * done, count - done);
}

// ---- Inks -------------------------------------------------------------------------------------------------------

VEXO_TARGET_AVX2 void CmykFromBgrAvx2(uint8_t *cmyk, const uint8_t *bgr, size_t count)
{
    const __m256i redFirst = InBothHalves(_mm_setr_epi8(2, 1, 0, -1, 6, 5, 4, -1, 10, 9, 8, -1, 14, 13, 12, -1));
    const __m256i spread = InBothHalves(_mm_setr_epi8(0, 0, 0, -1, 4, 4, 4, -1, 8, 8, 8, -1, 12, 12, 12, -1));
    for (; count >= kLeastPixels; count -= kStepPixels, bgr += 24, cmyk += 32) {
        const __m256i inks =
            _mm256_xor_si256(_mm256_shuffle_epi8(LoadPixels(bgr), redFirst), _mm256_set1_epi32(0xFFFFFF));
        const __m256i pairs = _mm256_min_epu8(inks, _mm256_srli_epi32(inks, 8));
        const __m256i black = _mm256_min_epu8(pairs, _mm256_srli_epi32(inks, 16)); // in the first byte
        const __m256i colored = _mm256_subs_epu8(inks, _mm256_shuffle_epi8(black, spread));
        Store256(cmyk, _mm256_or_si256(colored, _mm256_slli_epi32(black, 24)));
    }
    CmykFromBgrPlain(cmyk, bgr, count);
}

} // namespace

void UseVectorSpaces(PixelKernels *kernels, CpuLevel level)
{
    if (level < CpuLevel::Avx2)
        return;
    kernels->hsvFromBgr = HsvFromBgrAvx2;
    kernels->bgrFromHsv = BgrFromHsvAvx2;
    kernels->yuvFromBgr = YuvFromBgrAvx2;
    kernels->cmykFromBgr = CmykFromBgrAvx2;
}

} // namespace vexo
