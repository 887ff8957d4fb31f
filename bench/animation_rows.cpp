// The row of animation playback.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

constexpr unsigned kFrameCount = 100;

BitmapHandle MakeBitmap(const std::vector<RGBQUAD> &palette)
{
    BitmapHandle bitmap;
    V_CreateBitmap(&bitmap, STORAGE_MEMORY, testimg::AnimWidth, testimg::AnimHeight, 8, COLOR_ORDER_BGR, palette.data(),
                   ORIENT_TOP_DOWN);
    return bitmap;
}

HGLOBAL MakeFrames(const std::vector<RGBQUAD> &palette)
{
    HGLOBAL list = nullptr;
    V_CreateBitmapList(&list);
    for (unsigned n = 0; n < kFrameCount; ++n) {
        BitmapHandle frame = MakeBitmap(palette);
        testimg::animFrame8(static_cast<uint8_t *>(frame.Data), size_t(frame.BytesPerLine), int(n));
        frame.Flags |= FLAG_TRANSPARENT;
        frame.AnimTransparent = COLOR_INDEX(testimg::AnimTransparentIndex);
        V_InsertBitmapListItem(list, n, &frame);
    }
    return list;
}

// From one drawn frame to the next, through the waits that there are none of.
void ShowAll(HGLOBAL playback)
{
    for (unsigned shown = 0, state = 0; shown < kFrameCount;) {
        V_ProcessPlayback(playback, &state);
        shown += state == PB_STATE_DRAWN;
    }
}

void AnimationFrame()
{
    const std::vector<RGBQUAD> palette = Palette256();
    BitmapHandle canvas = MakeBitmap(palette);
    HGLOBAL playback = nullptr, list = MakeFrames(palette);
    V_CreatePlayback(&playback, &canvas, list);
    Report(
        "animation_frame", double(testimg::AnimWidth) * testimg::AnimHeight * kFrameCount, [&] { ShowAll(playback); },
        [&] { return testimg::hash(static_cast<const uint8_t *>(canvas.Data), canvas.Size); });
    V_DestroyPlayback(playback, nullptr);
    V_DestroyBitmapList(list);
    V_FreeBitmap(&canvas);
}

constexpr Workload kRows[] = {
    {"animation_frame", AnimationFrame},
};

} // namespace

std::span<const Workload> AnimationRows() { return kRows; }

} // namespace vexo::bench
