// What reaches the device: bands of a limited size and their headers, and the sameness of clipped and whole paints.
#include "tests/support/bitmaps.h"
#include "tests/support/fake_device.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/paint_model.h"
#include "tests/support/stretch_recorder.h"

#include <algorithm>

namespace vexo::test {

namespace {

class PaintBands : public LibraryTest {};

constexpr size_t kBandLimit = 262144;

RECT RectOf(const StretchCall &call) { return {call.x, call.y, call.x + call.width, call.y + call.height}; }

// The calls cover the rectangle, each pixel once, with bands below the limit and drawn one to one.
void ExpectTiles(const std::vector<StretchCall> &calls, const RECT &whole)
{
    int64_t area = 0;
    for (size_t i = 0; i < calls.size(); ++i) {
        const StretchCall &call = calls[i];
        const RECT rect = RectOf(call);
        EXPECT_LE(call.bits.size(), kBandLimit);
        EXPECT_EQ(call.bits.size(), call.header.biSizeImage);
        EXPECT_EQ(call.width, call.header.biWidth);
        EXPECT_EQ(call.height, call.header.biHeight);
        EXPECT_EQ(call.width, call.sourceWidth);
        EXPECT_EQ(call.height, call.sourceHeight);
        EXPECT_EQ(0, call.sourceX);
        EXPECT_EQ(0, call.sourceY);
        EXPECT_TRUE(rect.left >= whole.left && rect.top >= whole.top && rect.right <= whole.right &&
                    rect.bottom <= whole.bottom);
        RECT common;
        for (size_t k = 0; k < i; ++k) {
            const RECT other = RectOf(calls[k]);
            EXPECT_FALSE(IntersectRect(&common, &rect, &other));
        }
        area += int64_t(call.width) * call.height;
    }
    EXPECT_EQ(int64_t(whole.right - whole.left) * (whole.bottom - whole.top), area);
}

} // namespace

TEST_F(PaintBands, SeamsDoNotShow)
{
    Random random(71);
    struct {
        int bits, width, height;
        unsigned mode;
        RECT target;
    } const cases[] = {
        {24, 200, 900, 0, {0, 0, 200, 900}},
        {24, 200, 900, 0, {0, 900, 200, 0}},
        {32, 60, 37, 0, {0, 0, 250, 1100}},
        {1, 300, 1200, DISPLAYMODE_SCALE_TO_GRAY, {0, 0, 300, 1200}},
        {1, 290, 1100, DISPLAYMODE_SCALE_TO_GRAY, {0, 1150, 300, 0}},
    };
    for (const auto &c : cases) {
        const Image image = Image::RandomRuns(random, c.width, c.height, c.bits);
        BitmapOptions options;
        if (c.bits == 1)
            options.palette = {{0, 0, 0, 0}, {255, 255, 255, 0}};
        TestBitmap bitmap(StorageKind::PageFile, image, options);
        V_SetDisplayMode(~0u, c.mode);
        const int height = int(std::max(c.target.top, c.target.bottom));
        MemoryDevice device(c.target.right, height, 32);
        StretchRecorder recorder;
        ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(device.dc(), bitmap.get(), nullptr, nullptr, &c.target, nullptr, SRCCOPY));
        EXPECT_GT(recorder.calls.size(), 1u);
        ExpectTiles(recorder.calls, {0, 0, c.target.right, height});
        const PaintModel model(image, options, {{}, {}, c.target, {}});
        const std::vector<COLORREF> colors = device.ColorsFromTop();
        for (int i = 0; i < int(colors.size()); ++i) {
            const PaintedPixel pixel = *model.PixelAt(i % c.target.right, i / c.target.right);
            const int level = c.bits == 1 && model.IsScaled() ? model.BlendedLevel(pixel, false) : -1;
            ASSERT_EQ(level < 0 ? model.ColorOf(pixel) : RGB(level, level, level), colors[size_t(i)])
                << "at " << i % c.target.right << ", " << i / c.target.right;
        }
    }
}

TEST_F(PaintBands, StayBelowTheLimitWhateverTheWidth)
{
    const HDC dc = CreateCompatibleDC(nullptr);
    for (const int bits : {1, 16, 24})
        for (const unsigned mode : {0u, DISPLAYMODE_DITHER | 0u, DISPLAYMODE_DITHER | DISPLAYMODE_BIT0}) {
            const FakeDevice device(8);
            V_SetDisplayMode(~0u, mode);
            TestBitmap bitmap(StorageKind::PageFile, 50, 20, bits);
            StretchRecorder recorder(false);
            const RECT target = {5, 7, 5 + 200003, 7 + 3}, high = {5, 7, 8, 100009};
            ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(dc, bitmap.get(), nullptr, nullptr, &target, nullptr, SRCCOPY));
            ExpectTiles(recorder.calls, target);
            recorder.calls.clear();
            ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(dc, bitmap.get(), nullptr, nullptr, &high, nullptr, SRCCOPY));
            ExpectTiles(recorder.calls, high);
        }
    DeleteDC(dc);
}

TEST_F(PaintBands, CarryTheHeaderOfThePath)
{
    Random random(72);
    const std::vector<RGBQUAD> own = RandomPalette(random, 32);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 11, 7, 5), {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, own});
    TestBitmap page(StorageKind::PageFile, 11, 7, 1);
    const HDC dc = CreateCompatibleDC(nullptr);
    const RECT target = {0, 0, 11, 7};
    const auto paint = [&](TestBitmap &source, unsigned mode, int technology) {
        const FakeDevice device(8, 1, technology);
        V_SetDisplayMode(~0u, mode);
        StretchRecorder recorder(false);
        V_PaintDC(dc, source.get(), nullptr, nullptr, &target, nullptr, SRCAND);
        EXPECT_EQ(1u, recorder.calls.size());
        EXPECT_EQ(SRCAND, recorder.calls[0].rop);
        EXPECT_EQ(dc, recorder.calls[0].dc);
        EXPECT_EQ(40u, recorder.calls[0].header.biSize);
        EXPECT_EQ(1, recorder.calls[0].header.biPlanes);
        return recorder.calls[0];
    };

    const StretchCall indices = paint(bitmap, DISPLAYMODE_PALETTE_INDICES, DT_RASDISPLAY);
    EXPECT_EQ(UINT(DIB_PAL_COLORS), indices.usage);
    EXPECT_EQ(8, indices.header.biBitCount);
    ASSERT_EQ(32u, indices.indices.size());
    for (WORD i = 0; i < 32; ++i)
        EXPECT_EQ(i, indices.indices[i]);

    const StretchCall colors = paint(bitmap, 0, DT_RASDISPLAY);
    EXPECT_EQ(UINT(DIB_RGB_COLORS), colors.usage);
    ASSERT_EQ(32u, colors.colors.size());
    EXPECT_EQ(0, memcmp(own.data(), colors.colors.data(), 128));

    const StretchCall grays = paint(page, DISPLAYMODE_SCALE_TO_GRAY, DT_RASDISPLAY);
    EXPECT_EQ(8, grays.header.biBitCount);
    ASSERT_EQ(256u, grays.colors.size());
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(RGB(i, i, i), RGB(grays.colors[size_t(i)].rgbBlue, grays.colors[size_t(i)].rgbGreen,
                                    grays.colors[size_t(i)].rgbRed));

    const StretchCall printed = paint(bitmap, 0, DT_RASPRINTER);
    EXPECT_NE(colors.info, printed.info) << "printers have a header of their own";
    EXPECT_EQ(colors.info, paint(bitmap, 0, DT_PLOTTER).info);
    EXPECT_EQ(0, memcmp(own.data(), printed.colors.data(), 128));
    V_SetDisplayMode(4, 0);
    const StretchCall printedIndices = paint(bitmap, DISPLAYMODE_PALETTE_INDICES, DT_RASPRINTER);
    ASSERT_EQ(32u, printedIndices.indices.size());
    EXPECT_EQ(31, printedIndices.indices[31]);
    DeleteDC(dc);
}

// ---- Clips ----------------------------------------------------------------------------------------------------

namespace {

// Paints with and without a clip; inside the clip the two agree, outside nothing changes.
void ExpectClipAgrees(BitmapHandle *bitmap, int width, int height, const RECT *source, const RECT &target,
                      const RECT &clip)
{
    MemoryDevice whole(width, height, 32), part(width, height, 32);
    ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(whole.dc(), bitmap, source, nullptr, &target, nullptr, SRCCOPY));
    ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(part.dc(), bitmap, source, nullptr, &target, &clip, SRCCOPY));
    const std::vector<COLORREF> expected = whole.ColorsFromTop(), colors = part.ColorsFromTop();
    for (int i = 0; i < int(colors.size()); ++i) {
        const POINT point = {i % width, i / width};
        ASSERT_EQ(PtInRect(&clip, point) ? expected[size_t(i)] : 0, colors[size_t(i)])
            << "at " << point.x << ", " << point.y;
    }
}

} // namespace

TEST_F(PaintBands, AClipShowsThePixelsOfTheWholePaint)
{
    Random random(73);
    constexpr unsigned kModes[] = {0, DISPLAYMODE_BIT0, DISPLAYMODE_BIT0 | DISPLAYMODE_CLUSTERED};
    for (const int bits : kAllDepths)
        for (const int deviceBits : {1, 4, 8, 24})
            for (const unsigned mode : kModes) {
                const FakeDevice device(deviceBits);
                V_SetDisplayMode(~0u, mode | DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE |
                                          (bits == 1 && mode ? DISPLAYMODE_SCALE_TO_GRAY : 0u));
                BitmapOptions options = {COLOR_ORDER_BGR, random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP, {}};
                if (bits > 1 && bits <= 8)
                    options.palette = RandomPalette(random, 1 << bits);
                TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 45, 35, bits), options);
                PaintRects rects =
                    random.OneIn(2) ? PaintRects::Random(random, 45, 35) : PaintRects::RandomUnscaled(random, 45, 35);
                if (!rects.destinationClip)
                    rects.destinationClip = RECT{10, 12, 50, 40};
                SCOPED_TRACE(testing::Message()
                             << bits << " bits on " << deviceBits << ", mode " << mode << ", " << rects);
                ASSERT_NO_FATAL_FAILURE(ExpectClipAgrees(bitmap.get(), 90, 70, rects.source ? &*rects.source : nullptr,
                                                         rects.destination, *rects.destinationClip));
            }
}

TEST_F(PaintBands, AClipAgreesFarInsideALargeDitheredPaint)
{
    Random random(74);
    const FakeDevice device(4);
    V_SetDisplayMode(~0u, DISPLAYMODE_DITHER);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 90, 60, 24));
    ASSERT_NO_FATAL_FAILURE(ExpectClipAgrees(bitmap.get(), 4300, 12, nullptr, {0, 0, 4300, 12}, {4090, 3, 4200, 9}));
    ASSERT_NO_FATAL_FAILURE(ExpectClipAgrees(bitmap.get(), 12, 4300, nullptr, {0, 4300, 12, 0}, {2, 150, 9, 210}));
}

} // namespace vexo::test
