// Paint effects: the bitmap is painted once into an image in memory, which a routine then reveals on the device piece
// by piece. The effects are rows of one table.
#include "core/gdi.h"
#include "display/effect_canvas.h"
#include "display/paint.h"
#include "display/rectangles.h"

using namespace vexo;

namespace {

struct Effect {
    EffectRoutine run;
    int first, second;
};

constexpr Effect kEffects[] = {
    {nullptr, 0, 0},                  // 0: none
    {SweepRows, 1, 0},                // 1
    {SweepRows, 1, 1},                // 2
    {SweepColumns, 1, 0},             // 3
    {SweepColumns, 1, 1},             // 4
    {Dissolve, 2, 2},                 // 5
    {Dissolve, 4, 4},                 // 6
    {Dissolve, 8, 8},                 // 7
    {Dissolve, 16, 16},               // 8
    {Dissolve, 0, 1},                 // 9
    {Dissolve, 1, 0},                 // 10
    {PairColumns, 1, kPairsOutward},  // 11
    {PairRows, 1, kPairsOutward},     // 12
    {PairRows, 8, kPairsOutward},     // 13
    {PairColumns, 8, kPairsOutward},  // 14
    {NestFrames, 1, 0},               // 15
    {NestFrames, 1, 1},               // 16
    {NestFrames, 8, 0},               // 17
    {NestFrames, 8, 1},               // 18
    {SpiralInward, 16, 1},            // 19
    {SpiralOutward, 16, 1},           // 20
    {PairRows, 1, kPairsInward},      // 21
    {PairColumns, 1, kPairsInward},   // 22
    {PairColumns, 8, kPairsInward},   // 23
    {PairRows, 8, kPairsInward},      // 24
    {PairColumns, 8, kPairsNearSide}, // 25
    {PairColumns, 8, kPairsFarSide},  // 26
    {PairRows, 8, kPairsFarSide},     // 27
    {PairRows, 8, kPairsNearSide},    // 28
    {Scroll, 2, 0},                   // 29
    {Scroll, -2, 0},                  // 30
    {Scroll, -2, 1},                  // 31
    {Scroll, 2, 1},                   // 32
};
constexpr unsigned kLastEffect = 32;
static_assert(std::size(kEffects) == kLastEffect + 1);

// One direction of the visible rectangle.
struct Edges {
    int64_t first, end;
};
// What part of a destination of `extent` pixels shows `clip` of the source.
Edges ImageOf(Edges clip, Edges source, int64_t extent)
{
    const int64_t length = source.end - source.first;
    return {(clip.first - source.first) * extent / length, (clip.end - source.first) * extent / length};
}
Edges Mirrored(Edges edges, int64_t about) { return {about - edges.end, about - edges.first}; }

// The part of the device that the paint covers; empty when there is none.
RECT VisibleRect(const BitmapHandle *bitmap, const PaintArea &area)
{
    RECT target = *area.destination;
    const bool mirrored = target.bottom < target.top;
    if (mirrored)
        std::swap(target.top, target.bottom);
    const RECT source = area.source ? *area.source : MakeRect(0, 0, bitmap->Width, bitmap->Height);
    RECT clip = source, visible = target;
    if (IsEmptyRect(source) || (area.sourceClip && !Intersect(&clip, source, *area.sourceClip)) ||
        (area.destinationClip && !Intersect(&visible, target, *area.destinationClip)))
        return {};
    Edges lines = {source.top, source.bottom}, clipLines = {clip.top, clip.bottom};
    if (bitmap->Orientation == ORIENT_BOTTOM_UP) {
        lines = Mirrored(lines, bitmap->Height);
        clipLines = Mirrored(clipLines, bitmap->Height);
    }
    const int64_t width = int64_t(target.right) - target.left, height = int64_t(target.bottom) - target.top;
    const Edges across = ImageOf({clip.left, clip.right}, {source.left, source.right}, width);
    Edges down = ImageOf(clipLines, lines, height);
    if (mirrored)
        down = Mirrored(down, height);
    visible.left = LONG(std::max<int64_t>(visible.left, target.left + across.first));
    visible.right = LONG(std::min<int64_t>(visible.right, target.left + across.end));
    visible.top = LONG(std::max<int64_t>(visible.top, target.top + down.first));
    visible.bottom = LONG(std::min<int64_t>(visible.bottom, target.top + down.end));
    return IsEmptyRect(visible) ? RECT{} : visible;
}

// Paints the whole bitmap into the image, whose top left is that of the visible rectangle.
// Deliberate: the source rectangle shapes the visible rectangle only; the picture in the destination is the whole
// bitmap.
int PaintImage(HDC image, BitmapHandle *bitmap, const RECT &target, const RECT &visible)
{
    const DisplayModeScope inRgb(DISPLAYMODE_PALETTE_INDICES, 0);
    const RECT moved = {target.left - visible.left, target.top - visible.top, target.right - visible.left,
                        target.bottom - visible.top};
    const RECT clip = {0, 0, visible.right - visible.left, visible.bottom - visible.top};
    return V_PaintDC(image, bitmap, nullptr, nullptr, &moved, &clip, SRCCOPY);
}

int RunEffect(HDC device, BitmapHandle *bitmap, const RECT &target, const RECT &visible, DWORD rop,
              const Effect &effect)
{
    const gdi::MemoryDC image(device);
    if (!image)
        return ERR_NO_MEMORY;
    const gdi::Bitmap pixels(
        ::CreateCompatibleBitmap(device, visible.right - visible.left, visible.bottom - visible.top));
    if (!pixels)
        return ERR_NO_MEMORY;
    const gdi::Selection selection(image.get(), pixels.get());
    if (!selection)
        return ERR_NO_MEMORY;
    const gdi::Palette palette(V_CreatePaintPalette(device, bitmap));
    const gdi::PaletteSelection paletteSelection(image.get(), palette.get(), TRUE);
    const int status = PaintImage(image.get(), bitmap, target, visible);
    return Failed(status) ? status : effect.run({device, image.get(), visible, rop}, effect.first, effect.second);
}

} // namespace

int VEXO_CALL V_PaintDCEffect(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                              const RECT *dstRect, const RECT *dstClip, DWORD rop, unsigned effect)
{
    if (!IsAllocated(bitmap) || !hdc || !dstRect || effect > kLastEffect)
        return ERR_INV_PARAMETER;
    const PaintArea area = {srcRect, srcClip, dstRect, dstClip};
    if (effect == 0)
        return PaintBitmap(hdc, bitmap, area, rop);
    if (!HasMeasures(*dstRect))
        return ERR_INV_RANGE;
    const RECT visible = VisibleRect(bitmap, area);
    return IsEmptyRect(visible) ? RESULT_SUCCESS : RunEffect(hdc, bitmap, *dstRect, visible, rop, kEffects[effect]);
}
