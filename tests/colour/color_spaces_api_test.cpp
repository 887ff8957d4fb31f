// Colour spaces against the formulas one pixel at a time: the cube of colours in steps, random pixels of every space
// including those that stand for no colour, and buffers that end at unreadable pages.
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/random.h"

#include "vexokit.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vexo::test {

namespace {

class ColorSpaces : public LibraryTest {};

constexpr int kBytes[] = {3, 6, 4, 3, 3, 6, 3};

// A pixel of any space as up to four numbers.
struct Pixel {
    int v[4];
};

Pixel LoadPixel(const uint8_t *p, int space)
{
    Pixel pixel = {};
    for (int i = 0; i < (kBytes[space] == 4 ? 4 : 3); ++i)
        pixel.v[i] = kBytes[space] == 6 ? int16_t(p[2 * i] | p[2 * i + 1] << 8) : p[i];
    return pixel;
}

void AppendPixel(std::vector<uint8_t> &bytes, const Pixel &pixel, int space)
{
    for (int i = 0; i < (kBytes[space] == 4 ? 4 : 3); ++i) {
        bytes.push_back(uint8_t(pixel.v[i]));
        if (kBytes[space] == 6)
            bytes.push_back(uint8_t(pixel.v[i] >> 8));
    }
}

int Unit(int byte) { return byte * 16384 / 255; }
int Wrapped(int value) { return value * 255 / 16384 & 255; }
int Clamped(int value) { return std::clamp(value, 0, 255); }

Pixel ModelHsv(int B, int G, int R)
{
    const int most = std::max({B, G, R}), least = std::min({B, G, R});
    if (most == least)
        return {{0, 0, most}};
    int H;
    if (B == least)
        H = ((G - least) * 30720 / ((G - least) + (R - least)) + 180) / 360;
    else if (R == least)
        H = ((B - least) * 30720 / ((B - least) + (G - least)) + 30900) / 360;
    else
        H = ((R - least) * 30720 / ((R - least) + (B - least)) + 61620) / 360;
    return {{H & 255, (most - least) * 255 / most, most}};
}

Pixel ModelFromHsv(int H, int S, int V)
{
    const int h = H * 360 >> 8, p = (255 - S) * V / 255, d = V - p;
    if (S == 0)
        return {{V, V, V}};
    if (h <= 60)
        return {{p, p + d * h / (120 - h), V}};
    if (h <= 120)
        return {{p, V, p + d * (120 - h) / h}};
    if (h <= 180)
        return {{p + d * (h - 120) / (240 - h), V, p}};
    if (h <= 240)
        return {{V, p + d * (240 - h) / (h - 120), p}};
    if (h < 301)
        return {{V, p, p + d * (h - 240) / (360 - h)}};
    return {{p + d * (360 - h) / (h - 240), p, V}};
}

Pixel ModelHls(int B, int G, int R)
{
    const int most = std::max({B, G, R}), least = std::min({B, G, R}), sum = most + least, d = most - least;
    const int S = d == 0 ? 0 : sum < 256 ? d * 255 / sum : d * 255 / (510 - sum);
    if (S == 0)
        return {{0, sum >> 1, 0}};
    int H = R == most   ? (G - B) * 255 / (6 * d)
            : G == most ? (B - R) * 255 / (6 * d) + 85
                        : (R - G) * 255 / (6 * d) + 170;
    return {{H < 0 ? H + 255 : H, sum >> 1, S}};
}

Pixel ModelFromHls(int H, int L, int S)
{
    if (S == 0)
        return {{L, L, L}};
    const int m2 = L < 128 ? (S + 255) * L / 255 : L - L * S / 255 + S, m1 = 2 * L - m2;
    const auto channel = [&](int x) {
        if (x < 42)
            return Clamped(m1 + (m2 - m1) * x * 6 / 255);
        if (x < 127)
            return Clamped(m2);
        return Clamped(x < 170 ? m1 + (m2 - m1) * (170 - x) * 6 / 255 : m1);
    };
    return {{channel(H - 85 < 0 ? H - 85 + 255 : H - 85), channel(H), channel(H + 85 > 255 ? H + 85 - 255 : H + 85)}};
}

Pixel ModelToBgr(const Pixel &pixel, int space)
{
    const auto &[a, b, c, d] = pixel.v;
    switch (space) {
    case SPACE_YUV: {
        const int B = a + b, R = a + c;
        return {{Wrapped(B), Wrapped((1000 * a - 114 * B - 299 * R) / 587), Wrapped(R)}};
    }
    case SPACE_YIQ:
        return {{Wrapped((1008 * a - 1110 * b + 1700 * c) / 1000), Wrapped((997 * a - 271 * b - 645 * c) / 1000),
                 Wrapped((1003 * a + 955 * b + 618 * c) / 1000)}};
    case SPACE_CMYK: return {{Clamped(255 - d - c), Clamped(255 - d - b), Clamped(255 - d - a)}};
    case SPACE_HSV: return ModelFromHsv(a, b, c);
    case SPACE_HLS: return ModelFromHls(a, b, c);
    case SPACE_CMY: return {{255 - c, 255 - b, 255 - a}};
    default: return pixel;
    }
}

Pixel ModelFromBgr(const Pixel &bgr, int space)
{
    const int B = bgr.v[0], G = bgr.v[1], R = bgr.v[2];
    const int b = Unit(B), g = Unit(G), r = Unit(R), y = (299 * r + 587 * g + 114 * b) / 1000;
    const int K = 255 - std::max({B, G, R});
    switch (space) {
    case SPACE_YUV: return {{y, b - y, r - y}};
    case SPACE_YIQ: return {{y, (596 * r - 275 * g - 321 * b) / 1000, (212 * r - 528 * g + 311 * b) / 1000}};
    case SPACE_CMYK: return {{255 - R - K, 255 - G - K, 255 - B - K, K}};
    case SPACE_HSV: return ModelHsv(B, G, R);
    case SPACE_HLS: return ModelHls(B, G, R);
    case SPACE_CMY: return {{255 - R, 255 - G, 255 - B}};
    default: return bgr;
    }
}

// Converts the pixels in guarded buffers and compares each with the model.
void ExpectModel(const std::vector<uint8_t> &pixels, int from, int to)
{
    const size_t count = pixels.size() / size_t(kBytes[from]);
    GuardedBuffer source(pixels.size()), destination(count * size_t(kBytes[to]));
    std::ranges::copy(pixels, source.data());
    ASSERT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(source.data(), destination.data(), int(count), from, to));
    ASSERT_TRUE(std::ranges::equal(pixels, source.span()));
    for (size_t i = 0; i < count; ++i) {
        const Pixel in = LoadPixel(&pixels[i * size_t(kBytes[from])], from);
        const Pixel expected = ModelFromBgr(ModelToBgr(in, from), to);
        const Pixel result = LoadPixel(destination.data() + i * size_t(kBytes[to]), to);
        ASSERT_TRUE(std::ranges::equal(expected.v, result.v))
            << "space " << from << " to " << to << ", pixel " << i << " of " << count << ": " << in.v[0] << ' '
            << in.v[1] << ' ' << in.v[2] << ' ' << in.v[3] << " gives " << result.v[0] << ' ' << result.v[1] << ' '
            << result.v[2] << ' ' << result.v[3];
    }
}

} // namespace

TEST_F(ColorSpaces, EveryColourOfAGridThereAndBack)
{
    std::vector<uint8_t> bytes, words;
    for (int a = 0; a < 256; a += 5)
        for (int b = 0; b < 256; b += 5)
            for (int c = 0; c < 256; c += 5)
                AppendPixel(bytes, {{a, b, c}}, SPACE_BGR);
    // Words far beyond what colours give, which wrap around on the way back.
    for (int a = -32768; a < 32768; a += 3449)
        for (int b = -32768; b < 32768; b += 3449)
            for (int c = -32768; c < 32768; c += 3449)
                AppendPixel(words, {{a, b, c}}, SPACE_YUV);
    for (int space = SPACE_BGR; space <= SPACE_CMY; ++space) {
        ExpectModel(bytes, SPACE_BGR, space);
        if (kBytes[space] == 3)
            ExpectModel(bytes, space, SPACE_BGR);
        if (kBytes[space] == 6)
            ExpectModel(words, space, SPACE_BGR);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(ColorSpaces, RandomPixelsOfEveryPairAndLength)
{
    Random random(61);
    for (int from = SPACE_BGR; from <= SPACE_CMY; ++from)
        for (int to = SPACE_BGR; to <= SPACE_CMY; ++to)
            for (int count = 1; count < 70; ++count) {
                std::vector<uint8_t> pixels(size_t(count * kBytes[from]));
                random.Fill(pixels.data(), pixels.size());
                ExpectModel(pixels, from, to);
                if (HasFatalFailure())
                    return;
            }
    // An overlapping source other than blue-green-red is read to its end before anything is written.
    constexpr int kMany = 3000;
    std::vector<uint8_t> words(6 * kMany), bgr(3 * kMany);
    random.Fill(words.data(), 3 * kMany);
    ASSERT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(words.data(), bgr.data(), kMany, SPACE_CMY, SPACE_BGR));
    std::vector<uint8_t> expected(6 * kMany);
    ASSERT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(bgr.data(), expected.data(), kMany, SPACE_BGR, SPACE_YIQ));
    ASSERT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(words.data(), words.data(), kMany, SPACE_CMY, SPACE_YIQ));
    EXPECT_EQ(expected, words);
}

// Results too large for the caches are the same as small ones, wherever they lie.
TEST_F(ColorSpaces, LargeResults)
{
    Random random(62);
    for (const int count : {1398102, 1398105, 1500000})
        for (const size_t surplus : {0, 1}) {
            const GuardedBuffer bgr(3 * size_t(count)), yuv(6 * size_t(count) + surplus);
            random.Fill(bgr.data(), bgr.size());
            ASSERT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(bgr.data(), yuv.data(), count, SPACE_BGR, SPACE_YUV));
            std::vector<uint8_t> expected(6 * size_t(count));
            constexpr int kPiece = 4999;
            for (int done = 0; done < count; done += kPiece)
                V_ConvertColorSpace(bgr.data() + 3 * done, &expected[6 * size_t(done)], std::min(count - done, kPiece),
                                    SPACE_BGR, SPACE_YUV);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), yuv.data())) << count << ", " << surplus;
        }
}

TEST_F(ColorSpaces, StatedValuesRefusalsAndFaults)
{
    const auto convert = [](const std::vector<uint8_t> &pixel, int from, int to) {
        std::vector<uint8_t> result(size_t(kBytes[to]));
        EXPECT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(pixel.data(), result.data(), 1, from, to));
        return result;
    };
    using Bytes = std::vector<uint8_t>;
    EXPECT_EQ((Bytes{0, 255, 255}), convert({0, 0, 255}, SPACE_BGR, SPACE_HSV));
    EXPECT_EQ(85, convert({0, 255, 0}, SPACE_BGR, SPACE_HSV)[0]);
    EXPECT_EQ((Bytes{0, 0, 77}), convert({77, 77, 77}, SPACE_BGR, SPACE_HSV));
    EXPECT_EQ((Bytes{0, 0, 0, 0}), convert({255, 255, 255}, SPACE_BGR, SPACE_CMYK));
    EXPECT_EQ((Bytes{0, 0, 0, 255}), convert({0, 0, 0}, SPACE_BGR, SPACE_CMYK));
    EXPECT_EQ((Bytes{1, 2, 3}), convert({1, 2, 3}, SPACE_BGR, SPACE_BGR));

    uint8_t pixel[6] = {9, 9, 9, 9, 9, 9}, out[6] = {7, 7, 7, 7, 7, 7};
    const Bytes untouched(out, out + 6);
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertColorSpace(pixel, out, 1, 7, SPACE_BGR));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertColorSpace(pixel, out, 1, SPACE_HSV, 7));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertColorSpace(pixel, out, 0, -1, SPACE_BGR));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertColorSpace(nullptr, out, 1, SPACE_BGR, SPACE_HSV));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertColorSpace(pixel, nullptr, 1, SPACE_HSV, SPACE_BGR));
    EXPECT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(nullptr, nullptr, 0, SPACE_HSV, SPACE_BGR));
    EXPECT_EQ(RESULT_SUCCESS, V_ConvertColorSpace(pixel, out, 0, SPACE_HSV, SPACE_BGR));
    EXPECT_EQ(untouched, Bytes(out, out + 6));
    ForEachFault(kFaultAll, [&](FaultInjector &faults) {
        uint8_t result[6] = {7, 7, 7, 7, 7, 7};
        const int status = faults.Run([&] { return V_ConvertColorSpace(result, result, 1, SPACE_HSV, SPACE_YUV); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        EXPECT_EQ(faults.struck(), untouched == Bytes(result, result + 6));
    });
}

} // namespace vexo::test
