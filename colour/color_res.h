// Colour reduction as a step of other operations: converted copies are built beside their sources, which stay as they
// are until all is done.
#ifndef VEXO_COLOUR_COLOR_RES_H
#define VEXO_COLOUR_COLOR_RES_H

#include "core/core.h"

namespace vexo {

// The arguments of V_ColorResBitmap that describe the result.
struct Reduction {
    int bitsPerPixel;
    unsigned flags;
    const RGBQUAD *colors;
    int colorCount;
};

// Builds the converted copy of an allocated bitmap, without its region. Errors as for V_ColorResBitmap; `result` is
// then of no use.
int BuildReduced(PendingBitmap *result, BitmapHandle *source, const Reduction &reduction);

// Puts the converted copy of a bitmap in its place. The bitmap keeps its region and ends its dithering run.
void ReplaceByConverted(BitmapHandle *bitmap, PendingBitmap *result);

} // namespace vexo

#endif
