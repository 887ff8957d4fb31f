// What every paint effect works with: the device, the finished image, and the part of the device that it goes to.
#ifndef VEXO_DISPLAY_EFFECT_CANVAS_H
#define VEXO_DISPLAY_EFFECT_CANVAS_H

#include "core/core.h"

#include <algorithm>

namespace vexo {

struct EffectCanvas {
    HDC device;
    HDC image;
    RECT area; // on the device; the image's top left is its own
    DWORD rop;

    int width() const { return area.right - area.left; }
    int height() const { return area.bottom - area.top; }

    // Copies a rectangle of the image, as far as there is any, to its place.
    void Copy(int x, int y, int wide, int high) const
    {
        const int right = std::min(x + wide, width()), bottom = std::min(y + high, height());
        x = std::max(x, 0);
        y = std::max(y, 0);
        if (x < right && y < bottom)
            ::BitBlt(device, area.left + x, area.top + y, right - x, bottom - y, image, x, y, rop);
    }
};

// Runs step(i) for i = 0 to count - 1 in passes: those divisible by `interleave`, those one higher, and so on. Returns
// the callback's wish to stop, or RESULT_SUCCESS.
template <class Step>
int RunEffectSteps(int count, int interleave, Step step)
{
    Progress progress(count);
    int status = progress.Start();
    for (int pass = 0; pass < interleave; ++pass)
        for (int i = pass; i < count && !Failed(status); i += interleave) {
            step(i);
            status = progress.Step();
        }
    return status;
}

// Each draws one effect. What the two numbers mean stands with the routine.
using EffectRoutine = int (*)(const EffectCanvas &canvas, int first, int second);

// Lines from one side to the other: interleave, whether from the far side.
int SweepRows(const EffectCanvas &canvas, int interleave, int reverse);
int SweepColumns(const EffectCanvas &canvas, int interleave, int reverse);

// Lines on both sides: interleave, one of the modes.
inline constexpr int kPairsInward = 0;
inline constexpr int kPairsOutward = 1;
inline constexpr int kPairsFarSide = 2;  // from the right or the bottom
inline constexpr int kPairsNearSide = 3; // from the left or the top
int PairRows(const EffectCanvas &canvas, int interleave, int mode);
int PairColumns(const EffectCanvas &canvas, int interleave, int mode);

// Outlines of one pixel: interleave, whether from the inside out.
int NestFrames(const EffectCanvas &canvas, int interleave, int outward);

// Tiles in random order: their size, 0 for as wide or as high as the image.
int Dissolve(const EffectCanvas &canvas, int tileWidth, int tileHeight);

// Bands that wind round the image in pieces: width of the bands, length of the pieces.
int SpiralInward(const EffectCanvas &canvas, int band, int piece);
int SpiralOutward(const EffectCanvas &canvas, int band, int piece);

// The image slides in and pushes away what was there: pixels a step (negative: to the left or up), whether vertically.
int Scroll(const EffectCanvas &canvas, int step, int vertical);

} // namespace vexo

#endif
