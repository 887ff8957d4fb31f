// What the library knows of a device: read from GDI in this one place, as a small record, so that every decision about
// a device is a function of plain numbers.
#ifndef VEXO_DISPLAY_DEVICE_H
#define VEXO_DISPLAY_DEVICE_H

#include <windows.h>

namespace vexo {

// The depths that painting tells apart: below 4 bits, 4 to 7, 8 to 15, and 16 and more.
inline constexpr int kDeviceClass1 = 1;
inline constexpr int kDeviceClass4 = 4;
inline constexpr int kDeviceClass8 = 8;
inline constexpr int kDeviceClass24 = 24;

// The capabilities of a device context that every paint asks for, by the names of GetDeviceCaps.
struct Device {
    int technology;
    int bitsPixel;
    int planes;

    // Everything is 0 for a null DC.
    static Device Of(HDC dc);

    bool IsMetafile() const { return technology == DT_METAFILE; }
    bool IsRasterPrinter() const { return technology == DT_RASPRINTER; }

    // Whether the pixels of the device are quads, so that it takes such as they are.
    bool HoldsQuads() const { return technology == DT_RASDISPLAY && bitsPixel == 32 && planes == 1; }

    // Bits of a pixel. A metafile takes everything.
    int Depth() const { return IsMetafile() ? 24 : bitsPixel * planes; }
    // One of the kDeviceClass values.
    int DepthClass() const;
};

// Those that few ask for, apart because some systems take as long to answer as for a paint.
struct DeviceSurface {
    int numColors; // of the device's own colour table; -1 above 8 bits
    int horzRes;   // of the screen or the printable page, in pixels
    int vertRes;

    static DeviceSurface Of(HDC dc);
};

} // namespace vexo

#endif
