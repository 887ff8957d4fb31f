// Colour spaces: each has one conversion to blue-green-red bytes and one from them, so that any two spaces are two
// steps apart. The conversions here are the formulas as they are defined; color_spaces_x86.cpp has quicker forms of
// some.
#include "colour/pixel_kernels.h"

#include <algorithm>

using namespace vexo;

namespace {

constexpr int kUnit = 16384; // 1.0 of the 16-bit spaces, a component of 255

int Scale(int component) { return component * kUnit / 255; }
// Deliberate: keeps the low byte of what does not fit one.
uint8_t ScaleBack(int value) { return uint8_t(value * 255 / kUnit); }
uint8_t Clamp(int value) { return uint8_t(std::clamp(value, 0, 255)); }

struct Words {
    int first, second, third;
};
Words LoadWords(const uint8_t *pixel)
{
    int16_t words[3];
    memcpy(words, pixel, sizeof words);
    return {words[0], words[1], words[2]};
}
void StoreWords(uint8_t *pixel, int first, int second, int third)
{
    const int16_t words[3] = {int16_t(first), int16_t(second), int16_t(third)};
    memcpy(pixel, words, sizeof words);
}

void StoreBytes(uint8_t *pixel, uint8_t first, uint8_t second, uint8_t third)
{
    pixel[0] = first;
    pixel[1] = second;
    pixel[2] = third;
}

int LumaOf(int red, int green, int blue) { return (299 * red + 587 * green + 114 * blue) / 1000; }

// ---- Y, B - Y, R - Y and Y, I, Q --------------------------------------------------------------------------------

void BgrFromYuv(uint8_t *bgr, const uint8_t *yuv, size_t count)
{
    for (; count > 0; --count, yuv += 6, bgr += 3) {
        const auto [y, u, v] = LoadWords(yuv);
        const int blue = y + u, red = y + v;
        StoreBytes(bgr, ScaleBack(blue), ScaleBack((1000 * y - 114 * blue - 299 * red) / 587), ScaleBack(red));
    }
}

void YiqFromBgr(uint8_t *yiq, const uint8_t *bgr, size_t count)
{
    for (; count > 0; --count, bgr += 3, yiq += 6) {
        const int blue = Scale(bgr[0]), green = Scale(bgr[1]), red = Scale(bgr[2]);
        StoreWords(yiq, LumaOf(red, green, blue), (596 * red - 275 * green - 321 * blue) / 1000,
                   (212 * red - 528 * green + 311 * blue) / 1000);
    }
}

void BgrFromYiq(uint8_t *bgr, const uint8_t *yiq, size_t count)
{
    // Deliberate: Y is weighted 1.003, 0.997 and 1.008.
    for (; count > 0; --count, yiq += 6, bgr += 3) {
        const auto [y, i, q] = LoadWords(yiq);
        StoreBytes(bgr, ScaleBack((1008 * y - 1110 * i + 1700 * q) / 1000),
                   ScaleBack((997 * y - 271 * i - 645 * q) / 1000), ScaleBack((1003 * y + 955 * i + 618 * q) / 1000));
    }
}

// ---- Inks -------------------------------------------------------------------------------------------------------

void BgrFromCmyk(uint8_t *bgr, const uint8_t *cmyk, size_t count)
{
    for (; count > 0; --count, cmyk += 4, bgr += 3) {
        const int light = 255 - cmyk[3];
        StoreBytes(bgr, Clamp(light - cmyk[2]), Clamp(light - cmyk[1]), Clamp(light - cmyk[0]));
    }
}

// Its own inverse.
void CmyFromBgr(uint8_t *cmy, const uint8_t *bgr, size_t count)
{
    for (; count > 0; --count, bgr += 3, cmy += 3)
        StoreBytes(cmy, uint8_t(~bgr[2]), uint8_t(~bgr[1]), uint8_t(~bgr[0]));
}

// ---- Hue, lightness, saturation ---------------------------------------------------------------------------------

void HlsFromBgr(uint8_t *hls, const uint8_t *bgr, size_t count)
{
    for (; count > 0; --count, bgr += 3, hls += 3) {
        const int blue = bgr[0], green = bgr[1], red = bgr[2];
        const int most = std::max({blue, green, red}), least = std::min({blue, green, red});
        const int sum = most + least, range = most - least;
        int hue = 0, saturation = 0;
        if (range != 0)
            saturation = range * 255 / (sum < 256 ? sum : 510 - sum);
        if (saturation != 0) {
            if (red == most)
                hue = (green - blue) * 255 / (6 * range);
            else if (green == most)
                hue = (blue - red) * 255 / (6 * range) + 85;
            else
                hue = (red - green) * 255 / (6 * range) + 170;
            if (hue < 0)
                hue += 255; // Deliberate: here and on the way back a turn is 255 steps, not 256.
        }
        StoreBytes(hls, uint8_t(hue), uint8_t(sum >> 1), uint8_t(saturation));
    }
}

// A channel at a position of the hue circle, between the lower and the upper value.
uint8_t ChannelAt(int position, int lower, int upper)
{
    if (position < 42)
        return Clamp(lower + (upper - lower) * position * 6 / 255);
    if (position < 127)
        return Clamp(upper);
    if (position < 170)
        return Clamp(lower + (upper - lower) * (170 - position) * 6 / 255);
    return Clamp(lower);
}

void BgrFromHls(uint8_t *bgr, const uint8_t *hls, size_t count)
{
    for (; count > 0; --count, hls += 3, bgr += 3) {
        const int hue = hls[0], lightness = hls[1], saturation = hls[2];
        if (saturation == 0) {
            StoreBytes(bgr, uint8_t(lightness), uint8_t(lightness), uint8_t(lightness));
            continue;
        }
        const int upper = lightness < 128 ? (saturation + 255) * lightness / 255
                                          : lightness - lightness * saturation / 255 + saturation;
        const int lower = 2 * lightness - upper;
        const int bluePosition = hue < 85 ? hue - 85 + 255 : hue - 85;
        const int redPosition = hue + 85 > 255 ? hue + 85 - 255 : hue + 85;
        StoreBytes(bgr, ChannelAt(bluePosition, lower, upper), ChannelAt(hue, lower, upper),
                   ChannelAt(redPosition, lower, upper));
    }
}

} // namespace

// ---- Those with quicker forms -----------------------------------------------------------------------------------

void vexo::YuvFromBgrPlain(uint8_t *yuv, const uint8_t *bgr, size_t count)
{
    for (; count > 0; --count, bgr += 3, yuv += 6) {
        const int blue = Scale(bgr[0]), red = Scale(bgr[2]), y = LumaOf(red, Scale(bgr[1]), blue);
        StoreWords(yuv, y, blue - y, red - y);
    }
}

void vexo::CmykFromBgrPlain(uint8_t *cmyk, const uint8_t *bgr, size_t count)
{
    for (; count > 0; --count, bgr += 3, cmyk += 4) {
        const uint8_t most = std::max({bgr[0], bgr[1], bgr[2]});
        StoreBytes(cmyk, uint8_t(most - bgr[2]), uint8_t(most - bgr[1]), uint8_t(most - bgr[0]));
        cmyk[3] = uint8_t(255 - most);
    }
}

// The hue's place between two of red, green and blue is the share that the rising one has of what the two exceed the
// third by. The way back divides by the same sum.
void vexo::HsvFromBgrPlain(uint8_t *hsv, const uint8_t *bgr, size_t count)
{
    for (; count > 0; --count, bgr += 3, hsv += 3) {
        const int blue = bgr[0], green = bgr[1], red = bgr[2];
        const int most = std::max({blue, green, red}), least = std::min({blue, green, red});
        if (most == least) {
            StoreBytes(hsv, 0, 0, uint8_t(most));
            continue;
        }
        const int sum = blue + green + red - 3 * least; // of the two above the least
        int hue;
        if (blue == least)
            hue = ((green - least) * 30720 / sum + 180) / 360;
        else if (red == least)
            hue = ((blue - least) * 30720 / sum + 30900) / 360;
        else
            hue = ((red - least) * 30720 / sum + 61620) / 360;
        // Deliberate: a hue of 256 is stored as its low byte.
        StoreBytes(hsv, uint8_t(hue), uint8_t((most - least) * 255 / most), uint8_t(most));
    }
}

void vexo::BgrFromHsvPlain(uint8_t *bgr, const uint8_t *hsv, size_t count)
{
    for (; count > 0; --count, hsv += 3, bgr += 3) {
        const int degrees = hsv[0] * 360 >> 8, saturation = hsv[1], value = hsv[2];
        const int least = (255 - saturation) * value / 255, range = value - least;
        const auto middle = [&](int part, int whole) { return uint8_t(least + range * part / whole); };
        const uint8_t low = uint8_t(least), high = uint8_t(value);
        if (saturation == 0)
            StoreBytes(bgr, high, high, high);
        else if (degrees <= 60)
            StoreBytes(bgr, low, middle(degrees, 120 - degrees), high);
        else if (degrees <= 120)
            StoreBytes(bgr, low, high, middle(120 - degrees, degrees));
        else if (degrees <= 180)
            StoreBytes(bgr, middle(degrees - 120, 240 - degrees), high, low);
        else if (degrees <= 240)
            StoreBytes(bgr, high, middle(240 - degrees, degrees - 120), low);
        else if (degrees <= 300)
            StoreBytes(bgr, high, low, middle(degrees - 240, 360 - degrees));
        else
            StoreBytes(bgr, middle(360 - degrees, degrees - 240), low, high);
    }
}

// ---- The table of spaces and the export -------------------------------------------------------------------------

namespace {

struct ColorSpace {
    int bytesPerPixel;
    void (*toBgr)(uint8_t *bgr, const uint8_t *pixels, size_t count);
    void (*fromBgr)(uint8_t *pixels, const uint8_t *bgr, size_t count);
};

void CopyBgr(uint8_t *to, const uint8_t *from, size_t count) { memmove(to, from, 3 * count); }

// The kernels are chosen after this table is made.
template <auto Kernel>
void RunKernel(uint8_t *to, const uint8_t *from, size_t count)
{
    (pixelKernels.*Kernel)(to, from, count);
}

constexpr ColorSpace kSpaces[] = {
    {3, CopyBgr, CopyBgr},                                                           // SPACE_BGR
    {6, BgrFromYuv, RunKernel<&PixelKernels::yuvFromBgr>},                           // SPACE_YUV
    {4, BgrFromCmyk, RunKernel<&PixelKernels::cmykFromBgr>},                         // SPACE_CMYK
    {3, RunKernel<&PixelKernels::bgrFromHsv>, RunKernel<&PixelKernels::hsvFromBgr>}, // SPACE_HSV
    {3, BgrFromHls, HlsFromBgr},                                                     // SPACE_HLS
    {6, BgrFromYiq, YiqFromBgr},                                                     // SPACE_YIQ
    {3, CmyFromBgr, CmyFromBgr},                                                     // SPACE_CMY
};

// Between buffers that do not overlap. What lies between the two conversions stays in the nearest cache.
void ConvertInSteps(uint8_t *target, const ColorSpace &to, const uint8_t *pixels, const ColorSpace &from, size_t count)
{
    constexpr size_t kStep = 1024;
    uint8_t bgr[3 * kStep];
    for (size_t done = 0; done < count; done += kStep) {
        const size_t some = std::min(count - done, kStep);
        from.toBgr(bgr, pixels + done * size_t(from.bytesPerPixel), some);
        to.fromBgr(target + done * size_t(to.bytesPerPixel), bgr, some);
    }
}

bool IsSpace(int space) { return space >= SPACE_BGR && space <= SPACE_CMY; }

} // namespace

int VEXO_CALL V_ConvertColorSpace(const void *source, void *destination, int count, int sourceSpace,
                                  int destinationSpace)
{
    if (!IsSpace(sourceSpace) || !IsSpace(destinationSpace))
        return ERR_INV_PARAMETER;
    if (count < 1)
        return RESULT_SUCCESS;
    if (!source || !destination)
        return ERR_INV_PARAMETER;
    const ColorSpace &from = kSpaces[sourceSpace], &to = kSpaces[destinationSpace];
    const uint8_t *pixels = static_cast<const uint8_t *>(source);
    uint8_t *target = static_cast<uint8_t *>(destination);
    const size_t sourceBytes = size_t(count) * size_t(from.bytesPerPixel);
    const size_t targetBytes = size_t(count) * size_t(to.bytesPerPixel);
    if (sourceSpace == SPACE_BGR) {
        to.fromBgr(target, pixels, size_t(count));
        return RESULT_SUCCESS;
    }
    if (pixels + sourceBytes <= target || target + targetBytes <= pixels) {
        ConvertInSteps(target, to, pixels, from, size_t(count));
        return RESULT_SUCCESS;
    }
    // Of two that overlap all of the source is read before the destination is touched.
    Buffer<uint8_t> bgr(3 * size_t(count));
    if (!bgr)
        return ERR_NO_MEMORY;
    from.toBgr(bgr.data(), pixels, size_t(count));
    to.fromBgr(target, bgr.data(), size_t(count));
    return RESULT_SUCCESS;
}
