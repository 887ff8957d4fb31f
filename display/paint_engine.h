// One paint, worked out: what V_PaintDC and V_PaintDCBuffer share once they know what to show where.
#ifndef VEXO_DISPLAY_PAINT_ENGINE_H
#define VEXO_DISPLAY_PAINT_ENGINE_H

#include "display/device.h"
#include "display/paint_lines.h"
#include "display/paint_mapping.h"

namespace vexo {

struct PaintJob {
    HDC dc;
    DWORD rop;
    BitmapHandle *bitmap; // locked
    HeldRows held;        // the rows to paint, or null pixels for the bitmap's own
    Device device;
    unsigned displayMode;
    PaintPath path; // gray and black-preserving ones for the bitmap's own rows only
    PaintMapping mapping;
};

// Paints a mapping that is not empty.
int RunPaint(const PaintJob &job);

} // namespace vexo

#endif
