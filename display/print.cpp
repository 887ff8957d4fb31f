// Printing: the default printer's jobs, and the place of a picture on a page. The pixels are painted as on any other
// device, row by row of the device when someone wants to see progress and be able to stop.
#include "colour/colour.h"
#include "core/gdi.h"
#include "display/device.h"
#include "display/dib.h"
#include "display/dib_order.h"
#include "display/paint.h"
#include "display/rectangles.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace vexo;

namespace {

// What the callers of the three exports ask for, in pixels of the device; 0 leaves the choice to the page.
struct Placement {
    int x, y, width, height;
};

// ---- Jobs -----------------------------------------------------------------------------------------------------

// Cuts a text at the next comma and returns what follows it: an empty text without one.
char *CutAtComma(char *text)
{
    char *comma = strchr(text, ',');
    if (!comma)
        return text + strlen(text);
    *comma = 0;
    return comma + 1;
}

// A DC of the default printer with a job and a page begun, or null.
HDC OpenDefaultPrinter()
{
    char device[81] = "";
    ::GetProfileStringA("windows", "device", "", device, sizeof device);
    char *const driver = CutAtComma(device);
    char *const port = CutAtComma(driver);
    if (!*device)
        return nullptr;
    const HDC dc = ::CreateDCA(driver, device, port, nullptr);
    if (!dc)
        return nullptr;
    DOCINFOA document = {};
    document.cbSize = sizeof document;
    document.lpszDocName = "VEXO GRAPHIC";
    if (::StartDocA(dc, &document) < 1) {
        ::DeleteDC(dc);
        return nullptr;
    }
    ::StartPage(dc);
    return dc;
}

// Ends page and job and deletes the DC. The DC's former value, or null when either would not end.
HDC EndJob(HDC dc)
{
    const bool pageEnded = ::EndPage(dc) >= 1;
    const bool jobEnded = ::EndDoc(dc) > 0;
    ::DeleteDC(dc);
    return pageEnded && jobEnded ? dc : nullptr;
}

HDC FinishCall(HDC dc, bool endDoc) { return endDoc ? EndJob(dc) : dc; }

// The end of a call whose picture was stopped or could not be painted.
HDC AbandonCall(HDC dc, bool ownJob, bool endDoc)
{
    if (ownJob) {
        ::AbortDoc(dc);
        ::DeleteDC(dc);
    } else if (endDoc) {
        EndJob(dc);
    }
    return nullptr;
}

// ---- The place on the page ------------------------------------------------------------------------------------

// The largest size with the bitmap's proportions.
SIZE FitInto(const BitmapHandle *bitmap, int width, int height)
{
    const int scaled = ::MulDiv(height, bitmap->Width, bitmap->Height);
    if (scaled >= 0 && scaled <= width) // below 0: more than an int holds
        return {scaled, height};
    return {width, ::MulDiv(width, bitmap->Height, bitmap->Width)};
}

SIZE SizeOnPage(const BitmapHandle *bitmap, const Placement &placement, int pageWidth, int pageHeight)
{
    if (placement.width == 0 && placement.height == 0)
        return FitInto(bitmap, pageWidth, pageHeight);
    if (placement.width == 0)
        return {::MulDiv(bitmap->Width, placement.height, bitmap->Height), placement.height};
    if (placement.height == 0)
        return {placement.width, ::MulDiv(bitmap->Height, placement.width, bitmap->Width)};
    return {placement.width, placement.height};
}

RECT DestinationOnPage(const DeviceSurface &surface, const BitmapHandle *bitmap, const Placement &placement)
{
    // Deliberate: the page begins one pixel inside the device's, to the right and downwards.
    const RECT page = {1, 1, surface.horzRes, surface.vertRes};
    const int pageWidth = page.right - page.left, pageHeight = abs(page.bottom - page.top);
    const SIZE size = SizeOnPage(bitmap, placement, pageWidth, pageHeight);
    if (size.cx < 1 || size.cy < 1)
        return {};
    const int64_t left = placement.x ? placement.x : page.left + (pageWidth - size.cx) / 2;
    const int64_t top = placement.y ? placement.y : page.top + (pageHeight - size.cy) / 2;
    // Deliberate: what reaches out of the page is not cut off. The whole picture goes into what remains.
    const RECT clipped = {LONG(std::max<int64_t>(left, page.left)), LONG(std::max<int64_t>(top, page.top)),
                          LONG(std::min<int64_t>(left + size.cx, page.right)),
                          LONG(std::min<int64_t>(top + size.cy, page.bottom))};
    return IsEmptyRect(clipped) ? RECT{} : clipped;
}

// ---- Painting -------------------------------------------------------------------------------------------------

int PaintForPrinter(HDC dc, bool monochrome, BitmapHandle *bitmap, const RECT &destination, const RECT *clip)
{
    constexpr unsigned kOrdered = DISPLAYMODE_BIT0 | DISPLAYMODE_CLUSTERED;
    const DisplayModeScope mode(monochrome ? kOrdered | DISPLAYMODE_PALETTE_INDICES
                                           : DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_DITHER,
                                monochrome ? kOrdered : 0);
    return PaintBitmap(dc, bitmap, {nullptr, nullptr, &destination, clip}, SRCCOPY);
}

// Row by row, with a callback to tell and to ask.
int PaintInRows(HDC dc, bool monochrome, BitmapHandle *bitmap, const RECT &destination)
{
    const int rows = abs(destination.bottom - destination.top);
    Progress progress(rows);
    int status = progress.Start();
    for (int row = 0; row < rows && !Failed(status); ++row) {
        const RECT clip = {destination.left, destination.top + row, destination.right, destination.top + row + 1};
        status = PaintForPrinter(dc, monochrome, bitmap, destination, &clip);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

int PaintOnPage(HDC dc, BitmapHandle *bitmap, const Placement &placement)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    const gdi::Palette palette(::V_CreatePaintPalette(dc, bitmap));
    const DeviceSurface surface = DeviceSurface::Of(dc);
    const bool monochrome = surface.numColors < 3 && Device::Of(dc).Depth() == 1;
    const RECT destination = DestinationOnPage(surface, bitmap, placement);
    int status;
    {
        const gdi::PaletteSelection selection(dc, palette.get());
        status = V_GetStatusCallBack() ? PaintInRows(dc, monochrome, bitmap, destination)
                                       : PaintForPrinter(dc, monochrome, bitmap, destination, nullptr);
    }
    if (palette)
        ::RealizePalette(dc);
    return status;
}

// ---- In one piece ---------------------------------------------------------------------------------------------

// Rows in files and 16 and 32 bits are not worth a DIB of the whole picture. Without storage the paint fails.
bool MustBePainted(const BitmapHandle *bitmap)
{
    const int bits = bitmap->BitsPerPixel;
    return !IsAllocated(bitmap) || (bitmap->Flags & FLAG_DISK) || bits == 16 || bits == 32;
}

void Stretch(HDC dc, const Placement &placement, const BITMAPINFO *info, const void *rows)
{
    const BITMAPINFOHEADER &header = info->bmiHeader;
    ::StretchDIBits(dc, placement.x, placement.y, placement.width, placement.height, 0, 0, header.biWidth,
                    header.biHeight, rows, info, DIB_RGB_COLORS, SRCCOPY);
}

// Prints the pixels where they lie.
void StretchRows(HDC dc, const Placement &placement, const BitmapHandle *bitmap, uint8_t *rows)
{
    const Buffer<PaintHeader> info(1, Buffer<PaintHeader>::Fill::Zero);
    if (!info)
        return;
    const int bits = bitmap->BitsPerPixel;
    BITMAPINFOHEADER &header = info[0].header;
    header.biSize = sizeof header;
    header.biWidth = bitmap->Width;
    header.biHeight = bitmap->Height;
    header.biPlanes = 1;
    header.biBitCount = WORD(bits);
    header.biSizeImage = DWORD(bitmap->BytesPerLine) * DWORD(bitmap->Height);
    header.biClrUsed = DWORD(IsPalettised(bits) ? bitmap->ColorCount : 0);
    ReadPalette(bitmap, info[0].colors);
    const DibOrder order(bitmap, rows, bitmap->Height, bitmap->Orientation != ORIENT_BOTTOM_UP);
    Stretch(dc, placement, reinterpret_cast<const BITMAPINFO *>(info.data()), rows);
}

// Prints pixels that no DIB can have, compressed or of odd depths, by way of a DIB made of them.
void StretchCopy(HDC dc, const Placement &placement, BitmapHandle *bitmap)
{
    const Dib dib(MakeDib(bitmap, bitmap->ColorCount));
    const auto *info = dib ? static_cast<const BITMAPINFO *>(::GlobalLock(dib.get())) : nullptr;
    if (!info)
        return;
    Stretch(dc, placement, info, reinterpret_cast<const uint8_t *>(info->bmiColors + info->bmiHeader.biClrUsed));
    ::GlobalUnlock(dib.get());
}

// The bitmap's own colours are printed: its indices mean no others, whatever a paint would dither to.
void StretchOnPage(HDC dc, BitmapHandle *bitmap, const Placement &placement)
{
    const int bits = bitmap->BitsPerPixel;
    const gdi::Palette palette(IsPalettised(bits) ? ::V_CreatePaintPalette(dc, bitmap) : nullptr);
    const gdi::PaletteSelection selection(dc, palette.get());
    const BitmapLock lock(bitmap);
    uint8_t *const rows = DirectRows(bitmap);
    if (rows && DibDepth(bits) == bits)
        StretchRows(dc, placement, bitmap, rows);
    else
        StretchCopy(dc, placement, bitmap);
}

} // namespace

// ---- Exports --------------------------------------------------------------------------------------------------

HDC VEXO_CALL V_PrintBitmapExt(HDC hdc, BitmapHandle *bitmap, int x, int y, int width, int height, int endDoc)
{
    const HDC dc = hdc ? hdc : OpenDefaultPrinter();
    if (!dc)
        return nullptr;
    if (bitmap && Failed(PaintOnPage(dc, bitmap, {x, y, width, height})))
        return AbandonCall(dc, !hdc, endDoc);
    return FinishCall(dc, endDoc);
}

HDC VEXO_CALL V_PrintBitmapFast(HDC hdc, BitmapHandle *bitmap, int x, int y, int width, int height, int endDoc)
{
    if (bitmap && MustBePainted(bitmap))
        return V_PrintBitmapExt(hdc, bitmap, x, y, width, height, endDoc);
    const HDC dc = hdc ? hdc : OpenDefaultPrinter();
    if (!dc)
        return nullptr;
    if (bitmap)
        StretchOnPage(dc, bitmap, {x, y, width, height});
    return FinishCall(dc, endDoc);
}

HDC VEXO_CALL V_PrintBitmap(BitmapHandle *bitmap, int x, int y, int width, int height, int endDoc)
{
    ThreadSettings *const thread = CurrentThread();
    if (!thread)
        return nullptr;
    const HDC dc = V_PrintBitmapExt(thread->printJob, bitmap, x, y, width, height, endDoc);
    thread->printJob = endDoc ? nullptr : dc;
    return dc;
}
