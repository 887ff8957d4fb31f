// The effect that slides the image in. Where the device shows all of the area, scrolling moves what is there already
// and only the strip at its edge is copied; elsewhere scrolled pixels may be missing, and all that is in is copied
// anew.
#include "display/effect_canvas.h"

namespace vexo {

namespace {

bool ShowsWholeArea(const EffectCanvas &canvas)
{
    RECT clip, common;
    return ::GetClipBox(canvas.device, &clip) == SIMPLEREGION && ::IntersectRect(&common, &clip, &canvas.area) &&
           ::EqualRect(&common, &canvas.area);
}

// Copies lines first to end - 1 of those that are in, counted from the edge of the image that came in first. With
// `shown` lines in, that edge lies `shown` lines from the edge of the area where the image enters.
void CopyEntered(const EffectCanvas &canvas, bool towardsEnd, bool vertical, int shown, int first, int end)
{
    const int extent = vertical ? canvas.height() : canvas.width(), count = end - first;
    // Moving towards the end (right or down) the image's own end is in front.
    const int imageAt = towardsEnd ? extent - end : first;
    const int deviceAt = towardsEnd ? shown - end : extent - shown + first;
    if (vertical)
        ::BitBlt(canvas.device, canvas.area.left, canvas.area.top + deviceAt, canvas.width(), count, canvas.image, 0,
                 imageAt, canvas.rop);
    else
        ::BitBlt(canvas.device, canvas.area.left + deviceAt, canvas.area.top, count, canvas.height(), canvas.image,
                 imageAt, 0, canvas.rop);
}

} // namespace

int Scroll(const EffectCanvas &canvas, int step, int vertical)
{
    const int extent = vertical ? canvas.height() : canvas.width(), length = step < 0 ? -step : step;
    const bool repaint = !ShowsWholeArea(canvas);
    int shown = 0;
    return RunEffectSteps((extent + length - 1) / length, 1, [&](int) {
        const int part = std::min(length, extent - shown), moved = step < 0 ? -part : part;
        ::ScrollDC(canvas.device, vertical ? 0 : moved, vertical ? moved : 0, &canvas.area, &canvas.area, nullptr,
                   nullptr);
        const int before = shown;
        shown += part;
        CopyEntered(canvas, step > 0, vertical, shown, repaint ? 0 : before, shown);
    });
}

} // namespace vexo
