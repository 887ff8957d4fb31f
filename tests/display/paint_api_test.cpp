// Painted pixels held against a plain model, on memory devices of every depth.
#include "tests/support/fake_device.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/paint_model.h"

namespace vexo::test {

namespace {

class Paint : public LibraryTest {};

constexpr int kDeviceWidth = 100, kDeviceHeight = 80;
constexpr COLORREF kBackground = RGB(12, 34, 56);

const RECT *PointerTo(const std::optional<RECT> &rect) { return rect ? &*rect : nullptr; }

int PaintOn(MemoryDevice &device, BitmapHandle *bitmap, const PaintRects &rects, DWORD rop = SRCCOPY)
{
    return V_PaintDC(device.dc(), bitmap, PointerTo(rects.source), PointerTo(rects.sourceClip), &rects.destination,
                     PointerTo(rects.destinationClip), rop);
}

// A device of RGB colours, filled with the background.
struct ColorDevice : MemoryDevice {
    explicit ColorDevice(int bits = 32) : MemoryDevice(kDeviceWidth, kDeviceHeight, bits)
    {
        for (int y = 0; y < kDeviceHeight; ++y)
            for (int x = 0; x < kDeviceWidth; ++x)
                SetPixelAt(x, y, GetRValue(kBackground) << 16 | GetGValue(kBackground) << 8 | GetBValue(kBackground));
    }
};

// Black and white in either order.
std::vector<RGBQUAD> TwoColors(bool blackIsOne)
{
    const RGBQUAD black = {0, 0, 0, 0}, white = {255, 255, 255, 0};
    return blackIsOne ? std::vector<RGBQUAD>{white, black} : std::vector<RGBQUAD>{black, white};
}

// Compares every device pixel with expected(pixel), a colour; those that show nothing keep the background.
template <class Expected>
void ExpectPixels(const MemoryDevice &device, const PaintModel &model, Expected expected)
{
    for (int y = 0; y < kDeviceHeight; ++y)
        for (int x = 0; x < kDeviceWidth; ++x) {
            const std::optional<PaintedPixel> pixel = model.PixelAt(x, y);
            ASSERT_EQ(pixel ? expected(*pixel) : kBackground, device.ColorAt(x, y)) << "at " << x << ", " << y;
            ASSERT_EQ(0u, device.PixelAt(x, y) >> 24) << "fourth byte at " << x << ", " << y;
        }
}

void ExpectColors(const MemoryDevice &device, const PaintModel &model)
{
    ExpectPixels(device, model, [&](const PaintedPixel &pixel) { return model.ColorOf(pixel); });
}

COLORREF GrayColor(int level) { return RGB(level, level, level); }

} // namespace

TEST_F(Paint, ShowsTheBitmapsColoursAtEveryDepthAndStorage)
{
    Random random(61);
    int round = 0;
    ForEachVariant(random, 8, [&](const Variant &variant) {
        ++round;
        const Image image = Image::Random(random, random.Between(1, 60), random.Between(1, 40), variant.bits);
        TestBitmap bitmap(variant.kind, image, variant.options);
        const BitmapSnapshot snapshot(bitmap.get());
        const PaintRects rects = random.OneIn(2) ? PaintRects::Random(random, image.width, image.height)
                                                 : PaintRects::RandomUnscaled(random, image.width, image.height);
        SCOPED_TRACE(testing::Message() << image.width << " x " << image.height << ", " << rects);
        constexpr int kDeviceBits[] = {4, 24, 1, 8, 16, 32};
        const FakeDevice fake(kDeviceBits[round % 6]);
        V_SetDisplayMode(~0u, 0);
        ColorDevice device(round % 4 ? 32 : 24);
        ASSERT_EQ(RESULT_SUCCESS, PaintOn(device, bitmap.get(), rects));
        ExpectColors(device, PaintModel(image, variant.options, rects));
        snapshot.ExpectUnchanged();
    });
}

TEST_F(Paint, GivesOneBitBitmapsGraysOrKeepsTheirBlack)
{
    Random random(62);
    for (const StorageKind kind : StorageKinds(1))
        for (int round = 0; round < 60; ++round) {
            const StorageScope scope(kind);
            const bool blackIsOne = random.OneIn(2), toGray = random.OneIn(2);
            const Image image = Image::RandomRuns(random, random.Between(1, 400), random.Between(1, 300), 1);
            const BitmapOptions options = {COLOR_ORDER_BGR, random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP,
                                           TwoColors(blackIsOne)};
            TestBitmap bitmap(kind, image, options);
            PaintRects rects = round % 4 ? PaintRects::Random(random, image.width, image.height)
                                         : PaintRects::RandomUnscaled(random, image.width, image.height);
            if (round % 3 == 1) { // whole ratios, with groups of bits that start anywhere
                const int ratio = 1 << random.Between(0, 3), left = random.Below(2) * random.Below(8);
                rects.source = RECT{left, 0, left + ratio * random.Between(1, 60), ratio * random.Between(1, 50)};
                rects.destination = {-2, -1, -2 + (rects.source->right - left) / ratio,
                                     -1 + rects.source->bottom / ratio};
            }
            SCOPED_TRACE(testing::Message() << image.width << " x " << image.height << ", " << kind << ", orientation "
                                            << options.orientation << ", gray " << toGray << ", " << rects);
            const FakeDevice fake(8);
            V_SetDisplayMode(~0u, toGray ? DISPLAYMODE_SCALE_TO_GRAY : DISPLAYMODE_KEEP_BLACK);
            ColorDevice device;
            ASSERT_EQ(RESULT_SUCCESS, PaintOn(device, bitmap.get(), rects));
            const PaintModel model(image, options, rects);
            ASSERT_NO_FATAL_FAILURE(ExpectPixels(device, model, [&](const PaintedPixel &pixel) {
                if (!model.IsScaled())
                    return model.ColorOf(pixel);
                if (!toGray)
                    return GrayColor(model.StaysBlack(pixel, blackIsOne) ? 0 : 255);
                return GrayColor(model.IsSmaller() ? model.ShrunkLevel(pixel, blackIsOne)
                                                   : model.BlendedLevel(pixel, blackIsOne));
            }));
        }
}

TEST_F(Paint, ShrinksHugePagesWithoutOverflow)
{
    Image image(5000, 3000, 1);
    for (int row = 0; row < image.height; ++row)
        for (int x = 0; x < image.width; ++x)
            image.At(row, x) = x >= 2500 && row < 1000; // black is 0
    BitmapOptions options;
    options.palette = TwoColors(false);
    TestBitmap bitmap(StorageKind::PageFile, image, options);
    V_SetDisplayMode(~0u, DISPLAYMODE_SCALE_TO_GRAY);
    const PaintRects rects = {{}, {}, {0, 0, 1, 1}, {}};
    ColorDevice device;
    ASSERT_EQ(RESULT_SUCCESS, PaintOn(device, bitmap.get(), rects));
    EXPECT_EQ(GrayColor(255 - 5 * 255 / 6), device.ColorAt(0, 0));
}

TEST_F(Paint, NamesColoursByTheirPlaceInTheSelectedPalette)
{
    Random random(64);
    for (const int bits : {1, 2, 3, 4, 5, 6, 7, 8}) {
        SCOPED_TRACE(bits);
        const Image image = Image::Random(random, 50, 40, bits);
        const BitmapOptions options = RandomOptions(random, bits);
        TestBitmap bitmap(StorageKind::PageFile, image, options);
        const PaintRects rects = {{}, {}, {3, 4, 60, 70}, {}};
        const PaintModel model(image, options, rects);
        ColorDevice device;
        V_SetDisplayMode(~0u, 0); // a paint in RGB between must not spoil the indices
        PaintOn(device, bitmap.get(), rects);
        V_SetDisplayMode(~0u, DISPLAYMODE_PALETTE_INDICES);
        const HPALETTE palette = V_CreatePaintPalette(device.dc(), bitmap.get());
        const HPALETTE former = SelectPalette(device.dc(), palette, TRUE);
        ASSERT_EQ(RESULT_SUCCESS, PaintOn(device, bitmap.get(), rects));
        SelectPalette(device.dc(), former, TRUE);
        DeleteObject(palette);
        ASSERT_NO_FATAL_FAILURE(ExpectColors(device, model));
        if (bits == 4 || bits == 8)
            continue;
        // Where the table says dithering and there is none, its own colours show, whatever palette is selected.
        const FakeDevice fake(bits == 1 ? 4 : 24);
        V_SetDisplayMode(~0u, DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE |
                                  DISPLAYMODE_SCALE_TO_GRAY);
        ColorDevice plain;
        ASSERT_EQ(RESULT_SUCCESS, PaintOn(plain, bitmap.get(), rects));
        ASSERT_NO_FATAL_FAILURE(ExpectColors(plain, model));
    }
}

} // namespace vexo::test
