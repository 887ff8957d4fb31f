// Dithered paints, whole and clipped, held to the dithering of whole rows, sampled pixel by pixel.
#include "colour/dither.h"
#include "tests/support/fake_device.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/paint_model.h"

namespace vexo::test {

namespace {

class PaintDither : public LibraryTest {};

// A picture, or a part of it, that is stretched to a device of some bits.
struct Stretch {
    const Image &image;
    BitmapOptions options;
    RECT source;
    int width, height;
    bool mirrored;
    int deviceBits;
};

// The picture as the device should show it, without clips: sampled rows, dithered one after the other from the top of
// the picture down, which is the bottom of an upside-down destination.
std::vector<COLORREF> DitheredPicture(const Stretch &stretch)
{
    const auto &[image, options, source, width, height, mirrored, deviceBits] = stretch;
    const SegmentDither dither = SelectSegmentDither(image.bits, deviceBits);
    const PaintModel model(image, options, {source, {}, {0, 0, width, height}, {}});
    const PaintSource format = {options.palette.data(), options.colorOrder};
    PaintErrors errors(width);
    std::vector<COLORREF> colors(size_t(width) * size_t(height));
    std::vector<uint8_t> row(size_t(width) * 4 + 4), dithered(size_t(width) + 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const PaintedPixel pixel = *model.PixelAt(x, y);
            SetPixelOf(row.data(), size_t(x), image.bits, image.At(pixel.row, pixel.column));
        }
        dither.Dither(dithered.data(), row.data(), 0, width, 0, y, errors, format);
        for (int x = 0; x < width; ++x) {
            const RGBQUAD &color = dither.colors()[PixelOf(dithered.data(), size_t(x), deviceBits)];
            colors[size_t(mirrored ? height - 1 - y : y) * size_t(width) + size_t(x)] =
                RGB(color.rgbRed, color.rgbGreen, color.rgbBlue);
        }
    }
    return colors;
}

// What a paint shows, which must be the same through a clip.
std::vector<COLORREF> PaintedPicture(Random &random, BitmapHandle *bitmap, const Stretch &stretch)
{
    const int width = stretch.width, height = stretch.height;
    const RECT target = {0, stretch.mirrored ? height : 0, width, stretch.mirrored ? 0 : height};
    const int left = random.Below(width), top = random.Below(height);
    const RECT clip = {left, top, random.Between(left, width), random.Between(top, height)};
    MemoryDevice whole(width, height, 32), part(width, height, 32);
    EXPECT_EQ(RESULT_SUCCESS, V_PaintDC(whole.dc(), bitmap, &stretch.source, nullptr, &target, nullptr, SRCCOPY));
    EXPECT_EQ(RESULT_SUCCESS, V_PaintDC(part.dc(), bitmap, &stretch.source, nullptr, &target, &clip, SRCCOPY));
    const std::vector<COLORREF> picture = whole.ColorsFromTop();
    std::vector<COLORREF> clipped = picture;
    for (int i = 0; i < width * height; ++i)
        if (!PtInRect(&clip, {i % width, i / width}))
            clipped[size_t(i)] = 0;
    EXPECT_EQ(clipped, part.ColorsFromTop());
    return picture;
}

} // namespace

TEST_F(PaintDither, DithersTheStretchedPictureFromTheTop)
{
    Random random(91);
    constexpr unsigned kModes[] = {0, DISPLAYMODE_BIT0, DISPLAYMODE_BIT0 | DISPLAYMODE_CLUSTERED,
                                   DISPLAYMODE_FIXED_PALETTE_ALT};
    for (const int deviceBits : {1, 4, 8})
        ForEachVariant(random, 2, [&](const Variant &variant) {
            if (variant.bits == 1 && deviceBits != 8)
                return;
            const FakeDevice fake(deviceBits);
            const Image image = Image::Random(random, random.Between(1, 60), random.Between(1, 40), variant.bits);
            TestBitmap bitmap(variant.kind, image, variant.options);
            const unsigned mode = kModes[random.Below(4)];
            V_SetDisplayMode(~0u, mode | DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE);
            const bool scaled = random.OneIn(2);
            const int left = random.Below(image.width), top = random.Below(image.height);
            const RECT source = {left, top, random.Between(left + 1, image.width),
                                 random.Between(top + 1, image.height)};
            SCOPED_TRACE(testing::Message() << "on " << deviceBits << " bits, mode " << mode);
            const Stretch stretch = {image,
                                     variant.options,
                                     source,
                                     scaled ? random.Between(1, 90) : int(source.right - source.left),
                                     scaled ? random.Between(1, 70) : int(source.bottom - source.top),
                                     random.OneIn(3),
                                     deviceBits};
            ASSERT_EQ(DitheredPicture(stretch), PaintedPicture(random, bitmap.get(), stretch))
                << stretch.width << " x " << stretch.height;
        });
    // Far inside a picture that is dithered in parts
    const FakeDevice fake(4);
    V_SetDisplayMode(~0u, DISPLAYMODE_DITHER);
    const Image image = Image::Random(random, 90, 60, 24);
    TestBitmap bitmap(StorageKind::PageFile, image);
    for (int round = 0; round < 4; ++round) {
        PaintedPicture(random, bitmap.get(), {image, {}, {0, 0, 90, 60}, 4300, 12, false, 4});
        PaintedPicture(random, bitmap.get(), {image, {}, {0, 0, 90, 60}, 12, 4300, true, 4});
    }
}

// A device whose own palette is the fixed one gets the indices themselves.
TEST_F(PaintDither, GivesTheIndicesOfThePaintPalette)
{
    Random random(92);
    for (const int deviceBits : {1, 4, 8}) {
        const FakeDevice fake(deviceBits);
        V_SetDisplayMode(~0u, DISPLAYMODE_DITHER | DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_BIT0);
        const Image image = Image::Random(random, 40, 30, 24);
        TestBitmap bitmap(StorageKind::PageFile, image);
        std::vector<RGBQUAD> colors(size_t(1) << deviceBits);
        V_GetFixedPalette(colors.data(), deviceBits);
        MemoryDevice device(40, 30, deviceBits, colors);
        const HPALETTE palette = V_CreatePaintPalette(device.dc(), bitmap.get());
        const HPALETTE former = SelectPalette(device.dc(), palette, TRUE);
        const RECT target = {0, 0, 40, 30};
        ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(device.dc(), bitmap.get(), nullptr, nullptr, &target, nullptr, SRCCOPY));
        SelectPalette(device.dc(), former, TRUE);
        DeleteObject(palette);
        EXPECT_EQ(DitheredPicture({image, {}, target, 40, 30, false, deviceBits}), device.ColorsFromTop())
            << deviceBits;
    }
}

} // namespace vexo::test
