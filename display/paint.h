// What other folders and files use of painting: the choice of the paint path, the engine behind V_PaintDC, and the
// scopes that paints run in. The exports V_PaintDC and V_CreatePaintPalette (vexokit.h) serve everything else.
#ifndef VEXO_DISPLAY_PAINT_H
#define VEXO_DISPLAY_PAINT_H

#include "core/core.h"

namespace vexo {

// How a bitmap's pixels become those of a DIB that the device is given. The numbers are those of V_GetDitherFlags.
enum class PaintPath {
    Plain = 0,     // as they are: 1, 4, 8 or 24 bits
    Widen = 1,     // to the next depth that a DIB may have
    Dither = 2,    // to the depth class of the device
    Gray = 3,      // 1 bit, black first: 256 grays
    GrayWhite = 4, // the same, white first
    Black = 5,     // 1 bit, black first: a reduction that keeps black
    BlackWhite = 6 // the same, white first
};
constexpr bool IsGrayPath(PaintPath path) { return path == PaintPath::Gray || path == PaintPath::GrayWhite; }
constexpr bool KeepsBlack(PaintPath path) { return path == PaintPath::Black || path == PaintPath::BlackWhite; }

// The path for a bitmap on a device of a depth class (display/device.h) under the DISPLAYMODE_ bits given. Only the
// record's depth, ColorCount and palette are looked at.
PaintPath ChoosePaintPath(const BitmapHandle *bitmap, int deviceClass, unsigned displayMode);

// The palette that the dithering path dithers to, 1 << class entries, for kDeviceClass1, 4 and 8.
const RGBQUAD *DitherPalette(int deviceClass, unsigned displayMode);

// Where a paint goes and what is cut off it. All but the destination may be null, as in V_PaintDC.
struct PaintArea {
    const RECT *source;
    const RECT *sourceClip;
    const RECT *destination;
    const RECT *destinationClip;
};

// The engine behind V_PaintDC: everything but the check of the arguments. The bitmap is allocated.
int PaintBitmap(HDC dc, BitmapHandle *bitmap, const PaintArea &area, DWORD rop);

// Display-mode bits of the calling thread for a scope: those of `mask` get the value given, and the whole mode is as
// before at the end.
class DisplayModeScope {
public:
    DisplayModeScope(unsigned mask, unsigned value) : m_former(V_SetDisplayMode(mask, value)) {}
    ~DisplayModeScope() { V_SetDisplayMode(~0u, m_former); }
    DisplayModeScope(const DisplayModeScope &) = delete;
    DisplayModeScope &operator=(const DisplayModeScope &) = delete;

private:
    unsigned m_former;
};

} // namespace vexo

#endif
