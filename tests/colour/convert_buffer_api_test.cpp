// V_ConvertBuffer in place against a plain per-pixel model: every pair of formats, in buffers that end at an
// unreadable page.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <algorithm>
#include <cstring>

namespace vexo::test {

namespace {

constexpr int kFormats[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32};
struct Color {
    int red, green, blue, fourth;
};

struct Format {
    int bits, order;
    std::vector<RGBQUAD> palette; // empty: null is passed

    int StoredBits() const { return bits ? bits : 8; }
    const RGBQUAD *Quads() const { return palette.empty() ? nullptr : palette.data(); }
    const RGBQUAD *Colors() const { return palette.empty() ? V_IntGetFixedPalette(bits) : palette.data(); }
};

Color ColorOf(const Format &format, uint32_t pixel)
{
    if (format.bits == 0)
        return {int(pixel), int(pixel), int(pixel), 0};
    if (format.bits <= 8) {
        const RGBQUAD &quad = format.Colors()[pixel];
        return {quad.rgbRed, quad.rgbGreen, quad.rgbBlue, 0};
    }
    const COLORREF color = ColorOfPixel(pixel, format.bits, format.order, {});
    return {GetRValue(color), GetGValue(color), GetBValue(color), format.bits == 32 ? int(pixel >> 24) : 0};
}

// The nearest entry with ties and probes of the ends, written down as the rules say them.
int Nearest(const RGBQUAD *colors, int count, const Color &c)
{
    const auto isColor = [&](int i, int v) {
        return colors[i].rgbRed == v && colors[i].rgbGreen == v && colors[i].rgbBlue == v;
    };
    if (c.red == 0 && c.green == 0 && c.blue == 0) {
        if (isColor(0, 0))
            return 0;
        if (isColor(count - 1, 0))
            return count - 1;
    }
    if (c.red == 255 && c.green == 255 && c.blue == 255) {
        if (isColor(count - 1, 255))
            return count - 1;
        if (isColor(0, 255))
            return 0;
    }
    const auto hue = [](int r, int g, int b) {
        return (b > r ? 4 : 0) + (std::min(r, b) > g ? 2 : 0) + (g > std::max(r, b) ? 1 : 0);
    };
    int best = 1 << 30, index = -1;
    for (int i = 0; i < count; ++i) {
        const int db = colors[i].rgbBlue - c.blue, dg = colors[i].rgbGreen - c.green, dr = colors[i].rgbRed - c.red;
        const int d = db * db + dg * dg + dr * dr;
        const bool sameHue =
            hue(colors[i].rgbRed, colors[i].rgbGreen, colors[i].rgbBlue) == hue(c.red, c.green, c.blue);
        if (d < best || (d == best && sameHue)) {
            best = d;
            index = i;
        }
        if (best == 0)
            break;
    }
    return index;
}

uint32_t PixelFor(const Format &source, const Format &destination, uint32_t pixel)
{
    if (source.bits == 16 && destination.bits == 16 && source.order != destination.order)
        return (pixel & 0x83E0) | (pixel >> 10 & 31) | (pixel & 31) << 10;
    if (source.bits == 16 && destination.bits == 16)
        return pixel;
    const Color c = ColorOf(source, pixel);
    if (destination.bits == 0)
        return source.bits == 0 ? pixel : uint32_t(5 * c.green + 2 * c.red + c.blue + 4) >> 3;
    if (destination.bits <= 8) {
        const int sourceCount = source.bits >= 1 && source.bits <= 8 ? 1 << source.bits : 0;
        const bool samePalette =
            sourceCount && source.bits <= destination.bits &&
            memcmp(source.Colors(), destination.Colors(), size_t(sourceCount) * sizeof(RGBQUAD)) == 0;
        return samePalette ? pixel : uint32_t(Nearest(destination.Colors(), 1 << destination.bits, c));
    }
    const uint32_t low = uint32_t(destination.order == COLOR_ORDER_RGB ? c.red : c.blue);
    const uint32_t high = uint32_t(destination.order == COLOR_ORDER_RGB ? c.blue : c.red);
    const uint32_t green = uint32_t(c.green);
    if (destination.bits == 16)
        return high >> 3 << 10 | green >> 3 << 5 | low >> 3;
    return uint32_t(destination.bits == 32 ? c.fourth : 0) << 24 | high << 16 | green << 8 | low;
}

Format RandomFormat(Random &random, int bits)
{
    Format format = {bits, bits > 8 ? random.Below(2) : random.Below(5) - 2, {}};
    if (bits < 1 || bits > 8 || random.OneIn(3))
        return format;
    format.palette = RandomPalette(random, 1 << bits);
    const BYTE mask = random.OneIn(4) ? 0xC0 : 0xFF; // near ties and duplicates
    for (RGBQUAD &quad : format.palette)
        quad = {BYTE(quad.rgbBlue & mask), BYTE(quad.rgbGreen & mask), BYTE(quad.rgbRed & mask), quad.rgbReserved};
    if (random.OneIn(4)) // black and white at both ends
        format.palette.front() = format.palette.back() = random.OneIn(2) ? RGBQUAD{} : RGBQUAD{255, 255, 255, 0};
    return format;
}

uint32_t RandomPixel(Random &random, const Format &format)
{
    static constexpr uint8_t kTies[] = {0, 18, 42, 43, 91, 127, 128, 164, 237, 255};
    if (format.bits >= 24 && random.OneIn(2)) {
        uint32_t pixel = uint32_t(random.Byte()) << 24;
        for (int shift = 0; shift < 24; shift += 8)
            pixel |= uint32_t(kTies[random.Below(10)]) << shift;
        return format.bits == 24 ? pixel & 0xFFFFFF : pixel;
    }
    return uint32_t(random.Next()) & (format.StoredBits() == 32 ? 0xFFFFFFFFu : (1u << format.StoredBits()) - 1);
}

void CheckConversion(Random &random, const Format &source, const Format &destination, int count)
{
    const auto bytesOf = [&](const Format &format) { return (size_t(count) * size_t(format.StoredBits()) + 7) / 8; };
    GuardedBuffer buffer(std::max(bytesOf(source), bytesOf(destination)));
    std::vector<uint32_t> pixels;
    for (int x = 0; x < count; ++x) {
        pixels.push_back(RandomPixel(random, source));
        SetPixelOf(buffer.data(), size_t(x), source.StoredBits(), pixels.back());
    }
    ASSERT_EQ(RESULT_SUCCESS, V_ConvertBuffer(buffer.data(), count, source.bits, destination.bits, source.order,
                                              destination.order, source.Quads(), destination.Quads()));
    for (int x = 0; x < count; ++x)
        ASSERT_EQ(PixelFor(source, destination, pixels[size_t(x)]),
                  PixelOf(buffer.data(), size_t(x), destination.StoredBits()))
            << source.bits << " to " << destination.bits << " bits, orders " << source.order << " and "
            << destination.order << ", pixel " << x << " of " << count << ", " << std::hex << pixels[size_t(x)];
}

class ConvertBuffer : public LibraryTest {};

} // namespace

TEST_F(ConvertBuffer, EveryPairOfFormatsGivesWhatAPlainModelGives)
{
    static constexpr int kCounts[] = {1, 2, 7, 8, 9, 15, 17, 31, 67, 255, 257, 300, 1023, 1024, 1025, 2050};
    Random random(22);
    for (const int sourceBits : kFormats)
        for (const int destinationBits : kFormats)
            for (int round = 0; round < 12; ++round) {
                const int count = kCounts[random.Below(16)];
                Format source = RandomFormat(random, sourceBits);
                Format destination = RandomFormat(random, destinationBits);
                if (sourceBits == destinationBits && round % 4 == 0)
                    destination.palette = source.palette;
                if (round % 8 == 0 && !destination.palette.empty()) // a fourth byte is enough for a search
                    destination.palette.back().rgbReserved = 1;
                CheckConversion(random, source, destination, count);
                if (HasFatalFailure())
                    return;
            }
}

TEST_F(ConvertBuffer, RefusesBadArgumentsBeforeItTouchesTheBuffer)
{
    const std::vector<uint8_t> before(64, 0x3C);
    std::vector<uint8_t> buffer = before;
    const auto convert = [&](int count, int from, int to, int fromOrder, int toOrder) {
        return V_ConvertBuffer(buffer.data(), count, from, to, fromOrder, toOrder, nullptr, nullptr);
    };
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertBuffer(nullptr, 8, 24, 8, 1, 1, nullptr, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, convert(0, 24, 8, 1, 1));
    for (const int bad : {-1, 9, 15, 17, 33, 64}) {
        EXPECT_EQ(ERR_INV_PARAMETER, convert(8, bad, 8, 1, 1)) << bad;
        EXPECT_EQ(ERR_INV_PARAMETER, convert(8, 8, bad, 1, 1)) << bad;
    }
    for (const int deep : {16, 24, 32})
        EXPECT_EQ(ERR_INV_PARAMETER, convert(4, 8, deep, 0, 2)) << deep;
    EXPECT_EQ(RESULT_SUCCESS, convert(-5, 24, 8, 1, 1));
    EXPECT_EQ(RESULT_SUCCESS, convert(8, 0, 0, 1, 1));
    EXPECT_EQ(before, buffer);
    // The largest of three padded rows
    EXPECT_EQ(32u, V_CalcConvertSize(10, 0, 10, 24));
    EXPECT_EQ(400u, V_CalcConvertSize(100, 32, 3, 1));
    EXPECT_EQ(12u, V_CalcConvertSize(1, 8, 3, 32));
}

} // namespace vexo::test
