// Decides how a bitmap is painted: one function from depth, palette, device class and display mode to a path, which the
// palette for the paint follows from.
#include "colour/fixed_palettes.h"
#include "display/device.h"
#include "display/paint.h"

using namespace vexo;

namespace vexo {

namespace {

constexpr unsigned kAlwaysDither = DISPLAYMODE_DITHER | DISPLAYMODE_FIXED_PALETTE;

// Whether the bitmap shows the fixed colours of its depth already. A palette that is shorter counts by what it has.
bool HasFixedPalette(const BitmapHandle *bitmap)
{
    const int bits = bitmap->BitsPerPixel;
    return V_CompareHandleToPalette(bitmap->Palette, FixedPalette(bits), 1 << bits) != 0;
}

PaintPath ChooseForOneBit(const BitmapHandle *bitmap, int deviceClass, unsigned mode)
{
    const bool toGray = (mode & DISPLAYMODE_SCALE_TO_GRAY) && deviceClass >= kDeviceClass4;
    const bool alwaysDither = (mode & kAlwaysDither) == kAlwaysDither;
    if (!toGray && !(mode & DISPLAYMODE_KEEP_BLACK))
        return alwaysDither && deviceClass == kDeviceClass8 ? PaintPath::Dither : PaintPath::Plain;
    switch (V_IsGrayScaleBitmap(bitmap)) {
    case GRAYSCALE_BLACK_FIRST: return toGray ? PaintPath::Gray : PaintPath::Black;
    case GRAYSCALE_WHITE_FIRST: return toGray ? PaintPath::GrayWhite : PaintPath::BlackWhite;
    default: return alwaysDither ? PaintPath::Dither : PaintPath::Plain;
    }
}

// 4 and 8 bits, which a DIB takes as they are: dithered to devices of fewer bits, and with the fixed palette asked for
// to devices of their own depth too, unless they have its colours.
PaintPath ChooseForDibIndices(const BitmapHandle *bitmap, int deviceClass, unsigned mode)
{
    const int bits = bitmap->BitsPerPixel;
    const bool fixedPalette = (mode & DISPLAYMODE_FIXED_PALETTE) != 0;
    if (!(mode & DISPLAYMODE_DITHER) || deviceClass > kDeviceClass8)
        return PaintPath::Plain;
    if (deviceClass < bits)
        return PaintPath::Dither;
    // Deliberate: 4-bit bitmaps are compared on devices of their depth even when the fixed palette is not asked for.
    if (deviceClass == bits && (fixedPalette || bits == 4))
        return HasFixedPalette(bitmap) ? PaintPath::Plain : PaintPath::Dither;
    return deviceClass > bits && fixedPalette ? PaintPath::Dither : PaintPath::Plain;
}

// 16 and 32 bits are widened where 24 bits go as they are.
PaintPath ChooseForColors(int deviceClass, unsigned mode, PaintPath otherwise)
{
    return (mode & DISPLAYMODE_DITHER) && deviceClass <= kDeviceClass8 ? PaintPath::Dither : otherwise;
}

} // namespace

PaintPath ChoosePaintPath(const BitmapHandle *bitmap, int deviceClass, unsigned displayMode)
{
    switch (bitmap->BitsPerPixel) {
    case 1: return ChooseForOneBit(bitmap, deviceClass, displayMode);
    case 2:
    case 3:
    case 5:
    case 6:
    case 7:
        // Dithered to any device with the fixed palette, also where no dithering exists.
        return (displayMode & DISPLAYMODE_DITHER) &&
                       ((displayMode & DISPLAYMODE_FIXED_PALETTE) || deviceClass < kDeviceClass8)
                   ? PaintPath::Dither
                   : PaintPath::Widen;
    case 4:
    case 8: return ChooseForDibIndices(bitmap, deviceClass, displayMode);
    case 16:
    case 32: return ChooseForColors(deviceClass, displayMode, PaintPath::Widen);
    case 24: return ChooseForColors(deviceClass, displayMode, PaintPath::Plain);
    default: return PaintPath::Plain;
    }
}

const RGBQUAD *DitherPalette(int deviceClass, unsigned displayMode)
{
    if (deviceClass == kDeviceClass8 && (displayMode & DISPLAYMODE_FIXED_PALETTE_ALT))
        return CubePalette();
    return FixedPalette(deviceClass);
}

} // namespace vexo

void VEXO_CALL V_GetDitherFlags(HDC hdc, BitmapHandle *bitmap, int *deviceBits, int *path)
{
    const int deviceClass = Device::Of(hdc).DepthClass();
    if (deviceBits)
        *deviceBits = deviceClass;
    if (path)
        *path = bitmap ? int(ChoosePaintPath(bitmap, deviceClass, V_GetDisplayMode())) : 0;
}

HPALETTE VEXO_CALL V_CreatePaintPalette(HDC hdc, BitmapHandle *bitmap)
{
    if (!bitmap)
        return nullptr;
    const unsigned mode = V_GetDisplayMode();
    const int deviceClass = Device::Of(hdc).DepthClass();
    const PaintPath path = ChoosePaintPath(bitmap, deviceClass, mode);
    if (path == PaintPath::Dither)
        return deviceClass <= kDeviceClass8 ? V_CreatePalette(DitherPalette(deviceClass, mode), 1 << deviceClass)
                                            : nullptr;
    if (IsGrayPath(path))
        return V_CreateGrayPalette(8);
    return IsPalettised(bitmap->BitsPerPixel) ? V_DupPalette(bitmap->Palette) : nullptr;
}
