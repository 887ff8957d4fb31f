// Animated GIF files. The imaging component compresses the frames; their places, times and transparent colours are put
// in between, since not every system's encoder takes them.
#ifndef VEXO_TOOLS_GIF_ANIMATION_H
#define VEXO_TOOLS_GIF_ANIMATION_H

#include "common/bitmap.h"

#include <span>
#include <string>

namespace vexo::tools {

// Writes frames of 8 bits or fewer as an animation that repeats for ever. The canvas is the first frame; AnimLeft,
// AnimTop, AnimDelay, AnimDisposal and (with FLAG_TRANSPARENT) the index in AnimTransparent come from the records.
// A failure leaves the file as it was and is thrown as FileError.
void WriteGifAnimation(std::span<Bitmap> frames, const std::wstring &path);

} // namespace vexo::tools

#endif
