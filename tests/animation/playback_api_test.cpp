// Playback: the steps one by one with a clock of the test's own, and whole animations against a plain compositor over
// depths, orientations, regions, disposals and formats.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"

#include <array>

namespace vexo::test {

namespace {

class Playback : public LibraryTest {
protected:
    ~Playback() override
    {
        if (m_playback)
            Destroy();
    }

    void Create(BitmapHandle *canvas)
    {
        ASSERT_EQ(RESULT_SUCCESS, V_CreateBitmapList(&m_list));
        ASSERT_EQ(RESULT_SUCCESS, V_CreatePlayback(&m_playback, canvas, m_list));
    }

    // A frame for the list, which owns it.
    void AddFrame(const BitmapHandle &frame) { ASSERT_EQ(RESULT_SUCCESS, V_InsertBitmapListItem(m_list, ~0u, &frame)); }

    unsigned Step()
    {
        unsigned state = 99, again = 98;
        EXPECT_EQ(RESULT_SUCCESS, V_ProcessPlayback(m_playback, &state));
        EXPECT_EQ(RESULT_SUCCESS, V_GetPlaybackState(m_playback, &again));
        EXPECT_EQ(state, again);
        return state;
    }
    void ExpectSteps(std::initializer_list<unsigned> states)
    {
        for (const unsigned state : states)
            EXPECT_EQ(state, Step());
    }
    int Index()
    {
        int index = -99;
        EXPECT_EQ(RESULT_SUCCESS, V_GetPlaybackIndex(m_playback, &index));
        return index;
    }
    unsigned Delay()
    {
        unsigned delay = 12345;
        EXPECT_EQ(RESULT_SUCCESS, V_GetPlaybackDelay(m_playback, &delay));
        return delay;
    }
    RECT TakeUpdateRect()
    {
        RECT rect;
        EXPECT_EQ(RESULT_SUCCESS, V_GetPlaybackUpdateRect(m_playback, &rect, 1));
        return rect;
    }

    void Destroy()
    {
        HGLOBAL list = nullptr;
        EXPECT_EQ(RESULT_SUCCESS, V_DestroyPlayback(m_playback, &list));
        EXPECT_EQ(m_list, list);
        EXPECT_EQ(RESULT_SUCCESS, V_DestroyBitmapList(list));
        m_playback = m_list = nullptr;
    }

    static inline DWORD now;
    HGLOBAL m_playback = nullptr;
    HGLOBAL m_list = nullptr;

private:
    const PageHeapScope m_pageHeap;
    static constexpr auto kTicks = [](auto) { return now; };
    Replacement<decltype(GetTickCount), decltype(kTicks)> m_clock{"kernel32.dll", "GetTickCount", kTicks};
};

BitmapHandle MakeFrame(int width, int height, int bits, unsigned delay, unsigned flags, int disposal = 0)
{
    BitmapHandle frame;
    EXPECT_EQ(RESULT_SUCCESS,
              V_CreateBitmap(&frame, STORAGE_MEMORY, width, height, bits, COLOR_ORDER_BGR, nullptr, ORIENT_BOTTOM_UP));
    frame.AnimDelay = delay;
    frame.Flags |= flags;
    frame.AnimDisposal = disposal;
    return frame;
}

} // namespace

// ---- The states -----------------------------------------------------------------------------------------------

TEST_F(Playback, WaitsAreLeftByTimeAndByInput)
{
    TestBitmap canvas(StorageKind::PageFile, 8, 8, 8);
    Create(canvas.get());
    AddFrame(MakeFrame(8, 8, 8, 0, 0));
    AddFrame(MakeFrame(8, 8, 8, 0, FLAG_WAIT_INPUT));
    AddFrame(MakeFrame(8, 8, 8, 100, 0));
    AddFrame(MakeFrame(8, 8, 8, 100, FLAG_WAIT_INPUT));
    now = 0xFFFFFFF0; // the counter wraps on the way
    ExpectSteps({1, 2, 4, 8, 9, 2, 4, PB_STATE_AWAIT_INPUT, PB_STATE_AWAIT_INPUT});
    EXPECT_EQ(0u, Delay());
    EXPECT_EQ(RESULT_SUCCESS, V_CancelPlaybackWait(m_playback));
    ExpectSteps({9, 2, 4, 6, 6});
    EXPECT_EQ(2, Index());
    now += 99;
    EXPECT_EQ(1u, Delay());
    ExpectSteps({PB_STATE_AWAIT_DELAY});
    now += 1;
    EXPECT_EQ(0u, Delay());
    ExpectSteps({8, 9, 2, 4, 7});
    now += 500;
    EXPECT_EQ(0u, Delay());
    ExpectSteps({8, 9, 10, 2});
    EXPECT_EQ(0, Index()) << "the animation starts over";
    EXPECT_EQ(RESULT_SUCCESS, V_CancelPlaybackWait(m_playback));
    ExpectSteps({PB_STATE_DRAWN}); // there was no wait to cancel
}

TEST_F(Playback, IndexChangesReplayWithoutWaiting)
{
    TestBitmap canvas(StorageKind::PageFile, 8, 8, 8);
    canvas->AnimBackground = COLOR_INDEX(1);
    Create(canvas.get());
    for (int i = 0; i < 4; ++i) {
        BitmapHandle frame = MakeFrame(2, 2, 8, 1000, FLAG_WAIT_INPUT);
        frame.AnimLeft = 2 * i;
        V_FillBitmap(&frame, COLOR_INDEX(10 + i));
        AddFrame(frame);
    }
    const auto expectPixels = [&](std::array<uint8_t, 4> expected) {
        uint8_t row[8];
        V_GetBitmapRow(canvas.get(), row, 7, 8);
        EXPECT_EQ(expected, (std::array{row[0], row[2], row[4], row[6]}));
    };
    EXPECT_EQ(RESULT_SUCCESS, V_SetPlaybackIndex(m_playback, 3));
    expectPixels({10, 11, 12, 1}); // the next step draws the frame
    ExpectSteps({PB_STATE_DRAWN});
    expectPixels({10, 11, 12, 13});
    EXPECT_EQ(RESULT_SUCCESS, V_SetPlaybackIndex(m_playback, 1));
    expectPixels({10, 1, 1, 1});
    EXPECT_EQ(1, Index());
    EXPECT_EQ(RESULT_SUCCESS, V_SetPlaybackIndex(m_playback, 4));
    expectPixels({10, 11, 12, 13});
    EXPECT_EQ(RESULT_SUCCESS, V_SetPlaybackIndex(m_playback, -1));
    ExpectSteps({PB_STATE_CLEARED});
    expectPixels({1, 1, 1, 1});
    for (const int refused : {5, -2})
        EXPECT_EQ(ERR_INV_PARAMETER, V_SetPlaybackIndex(m_playback, refused));
}

TEST_F(Playback, HoldsWhileRowsArrive)
{
    TestBitmap canvas(StorageKind::PageFile, 8, 20, 8);
    Create(canvas.get());
    BitmapHandle frame = MakeFrame(8, 20, 8, 0, 0);
    ASSERT_EQ(RESULT_SUCCESS, V_AppendPlayback(m_playback, &frame));
    ExpectSteps({1, 2, 3, 3});
    V_ValidatePlaybackLines(m_playback, -5, 8); // 0 to 2
    V_ValidatePlaybackLines(m_playback, 1, 3);  // 1 and 2 again, 3
    V_ValidatePlaybackLines(m_playback, 5, INT_MAX);
    V_ValidatePlaybackLines(m_playback, INT_MAX, INT_MAX);
    V_ValidatePlaybackLines(m_playback, 4, -1);
    ExpectSteps({PB_STATE_AWAIT_ROWS}); // row 4 is missing
    V_ValidatePlaybackLines(m_playback, 4, 1);
    ExpectSteps({4, 8, 9, 10});
    EXPECT_EQ(RESULT_SUCCESS, V_ValidatePlaybackLines(m_playback, 0, 5)) << "nothing is missing";

    // Behind the end playback goes on with the new frame; a later one ends the wait.
    frame = MakeFrame(8, 20, 8, 0, 0);
    ASSERT_EQ(RESULT_SUCCESS, V_AppendPlayback(m_playback, &frame));
    ExpectSteps({PB_STATE_AWAIT_ROWS});
    EXPECT_EQ(1, Index());
    BitmapHandle last = MakeFrame(8, 20, 8, 0, 0);
    ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
        unsigned count;
        const int status = faults.Run([&] { return V_AppendPlayback(m_playback, &last); });
        V_GetBitmapListCount(m_list, &count);
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        EXPECT_EQ(faults.struck() ? 2u : 3u, count);
    });
    ExpectSteps({PB_STATE_DRAWN});
}

TEST_F(Playback, BadArguments)
{
    TestBitmap canvas(StorageKind::PageFile, 8, 8, 8);
    BitmapHandle empty = {};
    HGLOBAL handle = &empty;
    EXPECT_EQ(ERR_INV_PARAMETER, V_CreatePlayback(nullptr, canvas.get(), nullptr));
    for (BitmapHandle *missing : {static_cast<BitmapHandle *>(nullptr), &empty})
        EXPECT_EQ(ERR_INV_PARAMETER, V_CreatePlayback(&handle, missing, nullptr));
    ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
        const int status = faults.Run([&] { return V_CreatePlayback(&m_playback, canvas.get(), nullptr); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        EXPECT_EQ(faults.struck(), m_playback == nullptr);
    });
    unsigned number;
    RECT rect;
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetPlaybackState(m_playback, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetPlaybackIndex(m_playback, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetPlaybackDelay(m_playback, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_AppendPlayback(m_playback, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ProcessPlayback(nullptr, &number));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetPlaybackDelay(nullptr, &number));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetPlaybackUpdateRect(nullptr, &rect, 1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ValidatePlaybackLines(nullptr, 0, 1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DestroyPlayback(nullptr, &m_list));
    EXPECT_EQ(RESULT_SUCCESS, V_DestroyPlayback(m_playback, &m_list));
    EXPECT_EQ(RESULT_SUCCESS, V_DestroyBitmapList(m_list)) << "made by the playback, owned by the caller";
    m_playback = nullptr;
}

// ---- The pixels -----------------------------------------------------------------------------------------------

namespace {

// A picture as colours, top line first.
struct Plain {
    int width, height;
    std::vector<COLORREF> colors;

    COLORREF &At(int x, int y) { return colors[size_t(y) * size_t(width) + size_t(x)]; }
};

Plain PlainOf(BitmapHandle *bitmap) { return {bitmap->Width, bitmap->Height, ColorsFromTop(bitmap)}; }

// Which pixels of a frame are drawn, top line first.
Plain ShownOf(BitmapHandle *frame)
{
    Plain shown = PlainOf(frame);
    const Image mask = RegionMask(frame), pixels = Load(frame);
    for (int y = 0; y < frame->Height; ++y)
        for (int x = 0; x < frame->Width; ++x) {
            const int row = frame->Orientation == ORIENT_BOTTOM_UP ? frame->Height - 1 - y : y;
            const bool isIndex = frame->AnimTransparent >> 24 == 1;
            const bool isTransparent =
                (frame->Flags & FLAG_TRANSPARENT) && (isIndex ? pixels.At(row, x) == (frame->AnimTransparent & 0xFF)
                                                              : shown.At(x, y) == frame->AnimTransparent);
            shown.At(x, y) = mask.At(row, x) && !isTransparent;
        }
    return shown;
}

class Compositor {
public:
    explicit Compositor(BitmapHandle *canvas)
        : m_canvas(canvas), m_mask(RegionMask(canvas)), m_plain(PlainOf(canvas)), m_saved(m_plain),
          m_colors(PaletteOf(*canvas))
    {
    }

    void Clear() { FillRect(0, 0, m_plain.width, m_plain.height, true); }

    void Draw(BitmapHandle *frame)
    {
        m_saved = m_plain;
        Plain colors = PlainOf(frame), shown = ShownOf(frame);
        for (int y = 0; y < frame->Height; ++y)
            for (int x = 0; x < frame->Width; ++x)
                if (shown.At(x, y) && IsIn(frame->AnimLeft + x, frame->AnimTop + y, true))
                    m_plain.At(frame->AnimLeft + x, frame->AnimTop + y) = Nearest(colors.At(x, y));
    }

    void Dispose(BitmapHandle *frame)
    {
        if (frame->AnimDisposal == 2)
            FillRect(frame->AnimLeft, frame->AnimTop, frame->Width, frame->Height, false);
        else if (frame->AnimDisposal == 3)
            m_plain = m_saved;
    }

    const Plain &plain() const { return m_plain; }

private:
    bool IsIn(int x, int y, bool inRegion) const
    {
        if (x < 0 || y < 0 || x >= m_plain.width || y >= m_plain.height)
            return false;
        return !inRegion || m_mask.At(m_canvas->Orientation == ORIENT_BOTTOM_UP ? m_plain.height - 1 - y : y, x);
    }
    void FillRect(int left, int top, int width, int height, bool inRegion)
    {
        const COLORREF background = m_canvas->AnimBackground;
        const COLORREF filled = m_colors.empty() ? background : ColorAt(int(background & 0xFF));
        for (int y = top; y < top + height; ++y)
            for (int x = left; x < left + width; ++x)
                if (IsIn(x, y, inRegion))
                    m_plain.At(x, y) = filled;
    }
    COLORREF ColorAt(int index) const
    {
        const RGBQUAD &quad = m_colors[size_t(index)];
        return RGB(quad.rgbRed, quad.rgbGreen, quad.rgbBlue);
    }
    COLORREF Nearest(COLORREF color) const
    {
        return m_colors.empty() ? color
                                : ColorAt(V_FindPaletteIndex(m_colors.data(), int(m_colors.size()), GetRValue(color),
                                                             GetGValue(color), GetBValue(color)));
    }

    BitmapHandle *m_canvas;
    Image m_mask;
    Plain m_plain, m_saved;
    std::vector<RGBQUAD> m_colors;
};

// A frame anywhere near the canvas, mostly in its format.
BitmapHandle RandomFrame(Random &random, const BitmapHandle &canvas, const std::vector<RGBQUAD> &palette)
{
    constexpr int kDepths[] = {1, 4, 8, 24};
    const bool isAlike = !random.OneIn(3);
    const int bits = isAlike ? canvas.BitsPerPixel : kDepths[random.Below(4)];
    const Image image = Image::RandomRuns(random, random.Between(1, 40), random.Between(1, 12), bits);
    BitmapHandle frame;
    const int type = STORAGE_MEMORY | (random.OneIn(2) ? STORAGE_COMPRESSED : 0);
    EXPECT_EQ(RESULT_SUCCESS, V_CreateBitmap(&frame, type, image.width, image.height, bits, random.Below(2),
                                             isAlike && !palette.empty() ? palette.data() : nullptr,
                                             random.OneIn(2) ? ORIENT_BOTTOM_UP : ORIENT_TOP_DOWN));
    Store(&frame, image);
    frame.AnimLeft = random.Between(-10, canvas.Width);
    frame.AnimTop = random.Between(-8, canvas.Height);
    frame.AnimDisposal = random.Below(5);
    if (!random.OneIn(3)) {
        frame.Flags |= FLAG_TRANSPARENT;
        const bool byIndex = bits <= 8 && random.OneIn(2);
        frame.AnimTransparent = byIndex ? COLOR_INDEX(image.pixels[0]) : V_GetPixelColor(&frame, 0, 0);
    }
    if (random.OneIn(3))
        SetRandomRegion(&frame, random);
    return frame;
}

RECT UpdateOf(BitmapHandle *frame, const BitmapHandle &canvas)
{
    RECT bounds;
    EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapRgnBounds(frame, nullptr, &bounds));
    const auto turn = [](RECT &rect, int height) {
        const LONG top = rect.top;
        rect.top = height - rect.bottom;
        rect.bottom = height - top;
    };
    if (frame->Orientation == ORIENT_BOTTOM_UP)
        turn(bounds, frame->Height);
    OffsetRect(&bounds, frame->AnimLeft, frame->AnimTop);
    if (canvas.Orientation == ORIENT_BOTTOM_UP)
        turn(bounds, canvas.Height);
    const RECT whole = {0, 0, canvas.Width, canvas.Height};
    IntersectRect(&bounds, &bounds, &whole);
    return bounds;
}

} // namespace

TEST_F(Playback, ComposesLikeAPlainCompositor)
{
    Random random(2026);
    constexpr int kDepths[] = {1, 4, 8, 24};
    for (int round = 0; round < 60 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const int bits = kDepths[round % 4];
        BitmapOptions options = RandomOptions(random, bits);
        if (random.OneIn(2))
            options.palette.clear();
        const StorageKind kind = bits == 1 && random.OneIn(2) ? StorageKind::Compressed : StorageKind::PageFile;
        TestBitmap canvas(kind, Image::Random(random, random.Between(1, 50), random.Between(1, 20), bits), options);
        canvas->AnimBackground = bits <= 8 ? COLOR_INDEX(random.Below(1 << bits)) : COLORREF(random.Below(1 << 24));
        if (random.OneIn(3))
            SetRandomRegion(canvas.get(), random);
        Create(canvas.get());
        const int count = random.Between(1, 6);
        for (int i = 0; i < count; ++i)
            AddFrame(RandomFrame(random, *canvas.get(), options.palette));

        Compositor model(canvas.get());
        const Image canvasMask = RegionMask(canvas.get());
        EXPECT_EQ(PB_STATE_CLEARED, Step());
        model.Clear();
        ASSERT_EQ(model.plain().colors, ColorsFromTop(canvas.get())) << "cleared";
        TakeUpdateRect();
        for (int shown = 0; shown < 2 * count && !HasFailure();) {
            const unsigned before = Step();
            BitmapHandle frame;
            if (V_GetBitmapListItem(m_list, unsigned(Index()), &frame) != RESULT_SUCCESS)
                continue;
            if (before == PB_STATE_DRAWN || before == PB_STATE_DISPOSED) {
                before == PB_STATE_DRAWN ? model.Draw(&frame) : model.Dispose(&frame);
                shown += before == PB_STATE_DISPOSED;
                ASSERT_EQ(model.plain().colors, ColorsFromTop(canvas.get())) << "in state " << before;
                const RECT expected = UpdateOf(&frame, *canvas.get()), rect = TakeUpdateRect();
                if (before == PB_STATE_DRAWN || frame.AnimDisposal == 2 || frame.AnimDisposal == 3)
                    EXPECT_TRUE(EqualRect(&expected, &rect) || (IsRectEmpty(&expected) && IsRectEmpty(&rect)));
                else
                    EXPECT_TRUE(IsRectEmpty(&rect));
            }
        }
        EXPECT_EQ(canvasMask, RegionMask(canvas.get()));
        Destroy();
    }
}

TEST_F(Playback, StepsLeaveOutWhatTheyHaveNoMemoryFor)
{
    Random random(7);
    for (int disposal : {0, 2, 3}) {
        TestBitmap canvas(StorageKind::PageFile, Image::Random(random, 30, 20, 8));
        SetRandomRegion(canvas.get(), random);
        const Image mask = RegionMask(canvas.get());
        Create(canvas.get());
        BitmapHandle frame = MakeFrame(12, 9, 24, 0, FLAG_TRANSPARENT, disposal);
        Store(&frame, Image::Random(random, 12, 9, 24));
        SetRandomRegion(&frame, random);
        frame.AnimTransparent = V_GetPixelColor(&frame, 0, 0);
        AddFrame(frame);
        const BitmapSnapshot before(&frame);
        ForEachFault(kFaultMemory | kFaultMappings, [&](FaultInjector &faults) {
            V_SetPlaybackIndex(m_playback, -1);
            V_SetPlaybackIndex(m_playback, 0);
            unsigned state = 0;
            faults.Run([&] {
                while (state != PB_STATE_DISPOSED)
                    EXPECT_EQ(RESULT_SUCCESS, V_ProcessPlayback(m_playback, &state));
                return state;
            });
            before.ExpectUnchanged();
            EXPECT_EQ(mask, RegionMask(canvas.get()));
            BitmapHandle item;
            V_GetBitmapListItem(m_list, 0, &item);
            EXPECT_TRUE(SameRecord(frame, item));
        });
        Destroy();
    }
}

} // namespace vexo::test
