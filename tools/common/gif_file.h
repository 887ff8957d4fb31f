// GIF files. The imaging component compresses the frames; their places, times and transparent colours are put in
// between, since not every system's encoder takes them.
#ifndef VEXO_TOOLS_GIF_FILE_H
#define VEXO_TOOLS_GIF_FILE_H

#include "common/bitmap.h"

#include <span>
#include <string>

namespace vexo::tools {

// Writes one picture, or several as an animation that repeats for ever. The canvas is the first frame. For the others
// AnimLeft and AnimTop count, for all of them AnimDelay, AnimDisposal and (with FLAG_TRANSPARENT) the index in
// AnimTransparent. A failure leaves the file as it was and is thrown as FileError.
void WriteGif(std::span<Bitmap> frames, const std::wstring &path);

} // namespace vexo::tools

#endif
