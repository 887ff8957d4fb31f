// The paint effects: what they leave on the device, which pieces they copy in which order, and how they report and
// stop.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/status_recorder.h"

#include <algorithm>
#include <memory>

namespace vexo::test {

namespace {

constexpr unsigned kEffects = 32, kFirstScroll = 29;

// The rectangles that BitBlt copies to one device.
struct BlitRecorder {
    explicit BlitRecorder(HDC device)
    {
        hook.Add<decltype(BitBlt)>(
            "gdi32.dll", "BitBlt",
            [this, device](auto next, HDC dc, int x, int y, int width, int height, auto... source) {
                if (dc == device)
                    rects.push_back({x, y, x + width, y + height});
                return next(dc, x, y, width, height, source...);
            });
    }

    std::vector<RECT> rects;
    Replacements hook;
};

class Effects : public LibraryTest {
protected:
    Effects() { V_SetDisplayMode(~0u, 0); }
    static int Paint(MemoryDevice &device, BitmapHandle *bitmap, const RECT &target, unsigned effect,
                     const RECT *source = nullptr, const RECT *clip = nullptr, DWORD rop = SRCCOPY)
    {
        return V_PaintDCEffect(device.dc(), bitmap, source, nullptr, &target, clip, rop, effect);
    }
};

// The picture painted at once, on a device that ends with the destination.
struct PlainPaint : MemoryDevice {
    PlainPaint(BitmapHandle *bitmap, const RECT &target)
        : MemoryDevice(target.right, std::max(target.top, target.bottom), 32)
    {
        V_PaintDC(dc(), bitmap, nullptr, nullptr, &target, nullptr, SRCCOPY);
    }
};

constexpr SIZE kSizes[] = {{1, 1},   {1, 7},   {9, 1},   {2, 2},    {5, 3},    {16, 16},
                           {17, 33}, {32, 31}, {40, 24}, {53, 100}, {253, 187}};

// How often each pixel of a device was copied.
std::vector<int> CountCopies(const std::vector<RECT> &rects, int width, int height)
{
    std::vector<int> counts(size_t(width) * size_t(height));
    for (const RECT &rect : rects)
        for (LONG y = rect.top; y < rect.bottom; ++y)
            for (LONG x = rect.left; x < rect.right; ++x)
                if (x >= 0 && x < width && y >= 0 && y < height)
                    ++counts[size_t(y) * size_t(width) + size_t(x)];
                else
                    ADD_FAILURE() << "outside the device: " << x << ", " << y;
    return counts;
}

} // namespace

TEST_F(Effects, EndWithThePicturePaintedAndCopyEveryPixelOnce)
{
    Random random(131);
    for (unsigned effect = 1; effect <= kEffects; ++effect)
        for (const SIZE size : kSizes) {
            SCOPED_TRACE(testing::Message() << "effect " << effect << ", " << size.cx << " x " << size.cy);
            const RECT area = {3, 2, 3 + size.cx, 2 + size.cy};
            TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 30, 20, 24), RandomOptions(random, 24));
            const RECT target = random.OneIn(3) ? RECT{area.left, area.bottom, area.right, area.top} : area;
            const int width = area.right, height = area.bottom;
            MemoryDevice device(width, height, 32);
            const StatusRecorder status;
            BlitRecorder recorder(device.dc());
            ASSERT_EQ(RESULT_SUCCESS, Paint(device, bitmap.get(), target, effect));
            ASSERT_EQ(PlainPaint(bitmap.get(), target).ColorsFromTop(), device.ColorsFromTop());
            const std::vector<int> counts = CountCopies(recorder.rects, width, height);
            for (int i = 0; i < int(counts.size()) && effect < kFirstScroll; ++i) {
                const POINT point = {i % width, i / width};
                ASSERT_EQ(PtInRect(&area, point), counts[size_t(i)]) << point.x << ", " << point.y;
            }
            status.ExpectRising(0, 100);
        }
}

// The first two and the last copies on a 40 x 24 area at the origin.
TEST_F(Effects, RevealInTheirOrder)
{
    struct {
        unsigned effect;
        RECT first, second, last;
    } const orders[] = {
        {1, {0, 0, 40, 1}, {0, 1, 40, 2}, {0, 23, 40, 24}},
        {2, {0, 23, 40, 24}, {0, 22, 40, 23}, {0, 0, 40, 1}},
        {3, {0, 0, 1, 24}, {1, 0, 2, 24}, {39, 0, 40, 24}},
        {4, {39, 0, 40, 24}, {38, 0, 39, 24}, {0, 0, 1, 24}},
        // 240 tiles of 2 x 2: cells 1, 0xB8 = 184, 92, ..., 0
        {5, {2, 0, 4, 2}, {8, 18, 10, 20}, {0, 0, 2, 2}},
        {9, {0, 1, 40, 2}, {0, 20, 40, 21}, {0, 0, 40, 1}},
        {10, {1, 0, 2, 24}, {24, 0, 25, 24}, {0, 0, 1, 24}},
        {11, {19, 0, 20, 24}, {20, 0, 21, 24}, {39, 0, 40, 24}},
        {12, {0, 11, 40, 12}, {0, 12, 40, 13}, {0, 23, 40, 24}},
        {13, {0, 11, 40, 12}, {0, 12, 40, 13}, {0, 19, 40, 20}},
        {14, {19, 0, 20, 24}, {20, 0, 21, 24}, {35, 0, 36, 24}},
        {15, {0, 0, 1, 24}, {39, 0, 40, 24}, {12, 12, 28, 13}},
        {16, {11, 11, 12, 13}, {28, 11, 29, 13}, {1, 23, 39, 24}},
        {17, {0, 0, 1, 24}, {39, 0, 40, 24}, {8, 16, 32, 17}},
        {19, {0, 0, 1, 16}, {1, 0, 2, 16}, {0, 16, 1, 24}},
        {20, {0, 0, 12, 1}, {0, 1, 12, 2}, {12, 0, 13, 12}},
        {21, {0, 0, 40, 1}, {0, 23, 40, 24}, {0, 12, 40, 13}},
        {22, {0, 0, 1, 24}, {39, 0, 40, 24}, {20, 0, 21, 24}},
        {23, {0, 0, 1, 24}, {39, 0, 40, 24}, {24, 0, 25, 24}},
        {24, {0, 0, 40, 1}, {0, 23, 40, 24}, {0, 16, 40, 17}},
        {25, {0, 0, 1, 24}, {8, 0, 9, 24}, {39, 0, 40, 24}},
        {26, {39, 0, 40, 24}, {31, 0, 32, 24}, {0, 0, 1, 24}},
        {27, {0, 23, 40, 24}, {0, 15, 40, 16}, {0, 0, 40, 1}},
        {28, {0, 0, 40, 1}, {0, 8, 40, 9}, {0, 23, 40, 24}},
        {29, {0, 0, 2, 24}, {0, 0, 2, 24}, {0, 0, 2, 24}},
        {30, {38, 0, 40, 24}, {38, 0, 40, 24}, {38, 0, 40, 24}},
        {31, {0, 22, 40, 24}, {0, 22, 40, 24}, {0, 22, 40, 24}},
        {32, {0, 0, 40, 2}, {0, 0, 40, 2}, {0, 0, 40, 2}},
    };
    TestBitmap bitmap(StorageKind::PageFile, 40, 24, 24);
    for (const auto &order : orders) {
        MemoryDevice device(40, 24, 32);
        BlitRecorder recorder(device.dc());
        ASSERT_EQ(RESULT_SUCCESS, Paint(device, bitmap.get(), {0, 0, 40, 24}, order.effect));
        ASSERT_GE(recorder.rects.size(), 2u);
        EXPECT_TRUE(EqualRect(&order.first, &recorder.rects[0])) << order.effect;
        EXPECT_TRUE(EqualRect(&order.second, &recorder.rects[1])) << order.effect;
        EXPECT_TRUE(EqualRect(&order.last, &recorder.rects.back())) << order.effect;
    }
}

TEST_F(Effects, SlideTheImageInWithItsFrontEdgeFirst)
{
    Random random(132);
    const RECT target = {0, 0, 20, 15};
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 20, 15, 24));
    const PlainPaint plain(bitmap.get(), target);
    for (const unsigned effect : {29u, 30u, 31u, 32u}) {
        MemoryDevice device(20, 15, 32);
        for (int y = 0; y < 15; ++y)
            for (int x = 0; x < 20; ++x)
                device.SetPixelAt(x, y, unsigned(x << 8 | y));
        const StatusRecorder stop(3); // after three steps of two
        ASSERT_EQ(StatusRecorder::kStopped, Paint(device, bitmap.get(), target, effect));
        const int dx = effect == 29 ? 6 : effect == 30 ? -6 : 0, dy = effect == 32 ? 6 : effect == 31 ? -6 : 0;
        for (int y = 0; y < 15; ++y)
            for (int x = 0; x < 20; ++x) {
                const bool old = x - dx >= 0 && x - dx < 20 && y - dy >= 0 && y - dy < 15;
                const COLORREF pushed = RGB(0, x - dx, y - dy);
                const int fromX = dx == 0 ? x : dx > 0 ? x + 20 - dx : x - 20 - dx;
                const int fromY = dy == 0 ? y : dy > 0 ? y + 15 - dy : y - 15 - dy;
                ASSERT_EQ(old ? pushed : plain.ColorAt(fromX, fromY), device.ColorAt(x, y))
                    << "effect " << effect << " at " << x << ", " << y;
            }
    }
}

TEST_F(Effects, TouchTheVisibleRectangleOnly)
{
    Random random(135);
    const RECT target = {4, 2, 64, 46}, clip = {0, 0, 40, 100}, source = {5, 3, 25, 14};
    // Rows 3 to 13 of 22 are the middle of the picture either way; halves of the rectangle's height in stored rows.
    const RECT sourceClip = {10, 3, 100, 8};
    for (const int orientation : {ORIENT_TOP_DOWN, ORIENT_BOTTOM_UP}) {
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 30, 22, 24), {COLOR_ORDER_BGR, orientation, {}});
        const PlainPaint plain(bitmap.get(), target);
        MemoryDevice device(70, 50, 32);
        ASSERT_EQ(RESULT_SUCCESS,
                  V_PaintDCEffect(device.dc(), bitmap.get(), &source, &sourceClip, &target, &clip, SRCCOPY, 15));
        // 20 x 11 source pixels on 60 x 44: columns from 15 on; 5 of 11 rows, the upper or the lower ones.
        const RECT visible = orientation == ORIENT_TOP_DOWN ? RECT{19, 2, 40, 22} : RECT{19, 26, 40, 46};
        for (int y = 0; y < 46; ++y)
            for (int x = 0; x < 64; ++x)
                ASSERT_EQ(PtInRect(&visible, {x, y}) ? plain.ColorAt(x, y) : 0, device.ColorAt(x, y)) << x << ", " << y;
    }
}

TEST_F(Effects, StopWhereTheCallbackWants)
{
    Random random(136);
    const RECT target = {0, 0, 20, 30};
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 20, 30, 24));
    const std::vector<COLORREF> picture = PlainPaint(bitmap.get(), target).ColorsFromTop();
    for (unsigned effect = 1; effect < kFirstScroll; ++effect)
        for (const int stop : {0, 1, 4}) {
            MemoryDevice device(20, 30, 32);
            BlitRecorder recorder(device.dc());
            const StatusRecorder progress(stop);
            const int status = Paint(device, bitmap.get(), target, effect);
            if (int(progress.percentages().size()) <= stop)
                continue; // the effect has fewer steps
            EXPECT_EQ(StatusRecorder::kStopped, status);
            EXPECT_EQ(stop + 1, int(progress.percentages().size())) << "called again, effect " << effect;
            EXPECT_EQ(stop == 0, recorder.rects.empty());
            const std::vector<int> counts = CountCopies(recorder.rects, 20, 30);
            const std::vector<COLORREF> colors = device.ColorsFromTop();
            for (size_t i = 0; i < counts.size(); ++i)
                ASSERT_EQ(counts[i] ? picture[i] : 0, colors[i]) << "effect " << effect;
        }
}

TEST_F(Effects, CheckTheirNumberAndRestoreTheDisplayMode)
{
    Random random(137);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 20, 10, 8));
    MemoryDevice device(20, 10, 32);
    const RECT target = {0, 0, 20, 10};
    for (const unsigned effect : {33u, ~0u}) {
        EXPECT_EQ(ERR_INV_PARAMETER, Paint(device, bitmap.get(), target, effect));
        EXPECT_EQ(ERR_INV_PARAMETER,
                  V_PaintRgnDCEffect(device.dc(), bitmap.get(), nullptr, nullptr, &target, nullptr, SRCCOPY, effect));
    }
    const LONG farLeft = LONG(0x80000000);
    EXPECT_EQ(RESULT_SUCCESS, Paint(device, bitmap.get(), {farLeft, 0, farLeft + 20, 10}, 29));
    EXPECT_EQ(std::vector<COLORREF>(200, 0), device.ColorsFromTop());

    const PlainPaint plain(bitmap.get(), target);
    EXPECT_EQ(RESULT_SUCCESS, Paint(device, bitmap.get(), target, 0));
    EXPECT_EQ(plain.ColorsFromTop(), device.ColorsFromTop());
    V_SetDisplayMode(~0u, DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_KEEP_BLACK);
    EXPECT_EQ(RESULT_SUCCESS, Paint(device, bitmap.get(), target, 7));
    EXPECT_EQ(plain.ColorsFromTop(), device.ColorsFromTop()) << "indices apply to the caller's paints only";
    EXPECT_EQ(DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_KEEP_BLACK, V_GetDisplayMode());
}

TEST_F(Effects, FailWithoutTouchingTheDevice)
{
    Random random(138);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 20, 10, 24));
    const RECT target = {0, 0, 30, 10};
    ForEachFault(kFaultMemory | kFaultGdi, [&](FaultInjector &faults) {
        const auto device = std::make_unique<MemoryDevice>(30, 10, 32);
        const int status = faults.Run([&] { return Paint(*device, bitmap.get(), target, 11); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        if (faults.struck())
            EXPECT_EQ(std::vector<COLORREF>(300, 0), device->ColorsFromTop());
        EXPECT_EQ(0u, V_GetDisplayMode());
    });
}

} // namespace vexo::test
