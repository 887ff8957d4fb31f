// The playback record, and the drawing of its frames on the canvas.
#ifndef VEXO_ANIMATION_PLAYBACK_H
#define VEXO_ANIMATION_PLAYBACK_H

#include "core/core.h"

namespace vexo {

// A block of working memory; the handle that callers hold is that of the block.
struct Playback {
    int Index; // of the current frame in the list, -1 before the first
    unsigned State;
    BitmapHandle *Canvas;
    HGLOBAL List;
    DWORD DelayStart; // tick count when the wait began
    RECT UpdateRect;
    BitmapHandle SavedArea; // what was under a frame with disposal 3
    int AppendActive;       // 1 while rows of the last frame are missing
    int LinesMissing;
    uint8_t *LineMarks; // one bit for each row of the last frame that has been validated, most significant first
};
static_assert(sizeof(void *) != 4 || sizeof(Playback) == 152);

// A frame's record is a copy of its list item. What it describes belongs to the list and stays as it is.

// Draws a frame at its place, and tells whether that could be done.
bool DrawFrame(const Playback &playback, const BitmapHandle &frame);

// Keeps what is under a frame in SavedArea, which has no storage when that fails.
void SaveArea(Playback *playback, const BitmapHandle &frame);
// Puts it back and frees it. False when there is none.
bool RestoreArea(Playback *playback, const BitmapHandle &frame);

// Fills a frame's rectangle with the background, whatever the canvas's region is.
void FillBackground(const Playback &playback, const BitmapHandle &frame);

// Adds what a frame covers, or the canvas itself, to UpdateRect.
void AddUpdate(Playback *playback, const BitmapHandle &bitmap);

} // namespace vexo

#endif
