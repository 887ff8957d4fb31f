// Colour reduction as a step of other operations: builds the converted copy without touching the source.
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

// Builds the converted copy of an allocated bitmap. Errors as for V_ColorResBitmap; `result` is then of no use.
int BuildReduced(PendingBitmap *result, BitmapHandle *source, const Reduction &reduction);

} // namespace vexo

#endif
