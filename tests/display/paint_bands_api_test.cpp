// What reaches the device: bands of a limited size and their headers.
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

TEST_F(PaintBands, CarryIndicesOrColoursAndPrintersAHeaderOfTheirOwn)
{
    Random random(72);
    const std::vector<RGBQUAD> own = RandomPalette(random, 32);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 11, 7, 5), {COLOR_ORDER_BGR, ORIENT_BOTTOM_UP, own});
    const HDC dc = CreateCompatibleDC(nullptr);
    const RECT target = {0, 0, 11, 7};
    const auto paint = [&](unsigned mode, int technology) {
        const FakeDevice device(8, 1, technology);
        V_SetDisplayMode(~0u, mode);
        StretchRecorder recorder(false);
        V_PaintDC(dc, bitmap.get(), nullptr, nullptr, &target, nullptr, SRCAND);
        EXPECT_EQ(1u, recorder.calls.size());
        const StretchCall call = recorder.calls[0];
        EXPECT_EQ(SRCAND, call.rop);
        EXPECT_EQ(8, call.header.biBitCount);
        EXPECT_EQ(UINT(mode ? DIB_PAL_COLORS : DIB_RGB_COLORS), call.usage);
        EXPECT_EQ(32u, mode ? call.indices.size() : call.colors.size());
        for (WORD i = 0; i < call.indices.size(); ++i)
            EXPECT_EQ(i, call.indices[i]);
        if (!mode)
            EXPECT_EQ(0, memcmp(own.data(), call.colors.data(), 128));
        return call.info;
    };
    paint(DISPLAYMODE_PALETTE_INDICES, DT_RASDISPLAY);
    const BITMAPINFO *shown = paint(0, DT_RASDISPLAY);
    EXPECT_NE(shown, paint(0, DT_RASPRINTER));
    EXPECT_EQ(shown, paint(0, DT_PLOTTER));
    paint(DISPLAYMODE_PALETTE_INDICES, DT_RASPRINTER);
    DeleteDC(dc);
}

TEST_F(PaintBands, ColoursLeaveTheIndicesOfOtherPaintsAlone)
{
    Random random(75);
    TestBitmap dithered(StorageKind::PageFile, Image::Random(random, 11, 7, 5)); // if there were anything to dither to
    TestBitmap indexed(StorageKind::PageFile, Image::Random(random, 11, 7, 8));
    const FakeDevice device(24);
    V_SetDisplayMode(~0u, DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE);
    const HDC dc = CreateCompatibleDC(nullptr);
    const RECT target = {0, 0, 11, 7};
    StretchRecorder recorder(false);
    for (TestBitmap *bitmap : {&dithered, &indexed})
        V_PaintDC(dc, bitmap->get(), nullptr, nullptr, &target, nullptr, SRCCOPY);
    ASSERT_EQ(2u, recorder.calls.size());
    EXPECT_EQ(32u, recorder.calls[0].colors.size());
    ASSERT_EQ(256u, recorder.calls[1].indices.size());
    for (WORD i = 0; i < 256; ++i)
        EXPECT_EQ(i, recorder.calls[1].indices[i]);
    DeleteDC(dc);
}

} // namespace vexo::test
