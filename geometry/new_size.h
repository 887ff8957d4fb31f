// What resizing, resampling and shearing share: the bitmap of another size that is built beside the caller's.
#ifndef VEXO_GEOMETRY_NEW_SIZE_H
#define VEXO_GEOMETRY_NEW_SIZE_H

#include "core/core.h"

namespace vexo {

// Makes `made` a bitmap of another size with the attributes of `source`, storage and palette, but no region.
// RESULT_SUCCESS or the error of V_DupBitmapNewDim.
int StartNewSize(PendingBitmap *made, const BitmapHandle *source, int width, int height);

// Gives `made` the region of `caller`, scaled, and puts it in the caller's place. RESULT_SUCCESS, or ERR_NO_MEMORY; the
// caller's bitmap is unchanged then.
int FinishNewSize(PendingBitmap *made, BitmapHandle *caller);

} // namespace vexo

#endif
