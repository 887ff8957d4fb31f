// Conversion to and from GDI bitmaps (DDBs), and screen capture. The way out is painting, which gives every depth the
// best that the device can show; the way in is a packed DIB, which GDI fills and V_ChangeFromDIB takes over.
#include "core/core.h"
#include "core/gdi.h"
#include "display/dib.h"
#include "display/paint.h"

using namespace vexo;

namespace {

// ---- To a DDB -------------------------------------------------------------------------------------------------

constexpr unsigned kPaintModeMask = DISPLAYMODE_PALETTE_INDICES | DISPLAYMODE_DITHER;

// Paints the whole bitmap onto a DDB of its size.
int PaintOnto(HBITMAP ddb, HDC memory, HDC device, BitmapHandle *bitmap)
{
    const gdi::Selection selection(memory, ddb);
    if (!selection)
        return ERR_NO_MEMORY;
    const DisplayModeScope mode(kPaintModeMask, DISPLAYMODE_DITHER);
    const gdi::Palette palette(V_CreatePaintPalette(device, bitmap));
    const gdi::PaletteSelection paletteSelection(memory, palette.get());
    const RECT whole = {0, 0, bitmap->Width, bitmap->Height};
    return V_PaintDC(memory, bitmap, nullptr, nullptr, &whole, nullptr, SRCCOPY);
}

HBITMAP MakeDDB(HDC device, BitmapHandle *bitmap)
{
    const gdi::MemoryDC memory(device);
    if (!memory)
        return nullptr;
    gdi::Bitmap ddb(::CreateCompatibleBitmap(device, bitmap->Width, bitmap->Height));
    if (!ddb || Failed(PaintOnto(ddb.get(), memory.get(), device, bitmap)))
        return nullptr;
    return ddb.Release();
}

// ---- From a DDB -----------------------------------------------------------------------------------------------

// The depth of the bitmap that a DDB becomes.
int DepthFor(const BITMAP &ddb)
{
    const int bits = ddb.bmBitsPixel * ddb.bmPlanes;
    return bits <= 1 ? 1 : bits <= 4 ? 4 : bits <= 8 ? 8 : 24;
}

BITMAPINFOHEADER HeaderFor(const BITMAP &ddb)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = ddb.bmWidth;
    header.biHeight = ddb.bmHeight;
    header.biPlanes = 1;
    header.biBitCount = WORD(DepthFor(ddb));
    header.biSizeImage = DWORD(PaddedRowBytes(ddb.bmWidth, header.biBitCount) * ddb.bmHeight);
    return header;
}

// Makes a packed DIB of a DDB. ERR_NO_MEMORY, or ERR_INV_PARAMETER when GDI does not give the pixels.
int PackDDB(HDC hdc, HBITMAP hBitmap, const BITMAP &ddb, Dib *packed)
{
    const BITMAPINFOHEADER header = HeaderFor(ddb);
    const int bits = header.biBitCount;
    const size_t headBytes = sizeof header + (IsPalettised(bits) ? sizeof(RGBQUAD) << bits : 0);
    GlobalBlock block(int64_t(headBytes) + PaddedRowBytes(ddb.bmWidth, bits) * ddb.bmHeight);
    if (!block)
        return ERR_NO_MEMORY;
    // GDI writes to the header it is given; the DIB keeps the one that says where its rows are.
    PaintHeader dib = {header, {}};
    const int lines = ::GetDIBits(hdc, hBitmap, 0, UINT(ddb.bmHeight), block.bytes() + headBytes,
                                  reinterpret_cast<BITMAPINFO *>(&dib), DIB_RGB_COLORS);
    if (lines != ddb.bmHeight)
        return ERR_INV_PARAMETER;
    dib.header = header;
    memcpy(block.bytes(), &dib, headBytes);
    packed->Reset(block.Release());
    return RESULT_SUCCESS;
}

// ---- Capture --------------------------------------------------------------------------------------------------

// Copies a rectangle of a device into a DDB. Null with a status when that fails.
HBITMAP Grab(HDC device, int left, int top, int width, int height, int *status)
{
    *status = ERR_INV_PARAMETER;
    const gdi::MemoryDC memory(device);
    if (!memory)
        return nullptr;
    gdi::Bitmap ddb(::CreateCompatibleBitmap(device, width, height));
    if (!ddb) {
        *status = ERR_NO_MEMORY;
        return nullptr;
    }
    const gdi::Selection selection(memory.get(), ddb.get());
    if (!selection || !::BitBlt(memory.get(), 0, 0, width, height, device, left, top, SRCCOPY))
        return nullptr;
    *status = RESULT_SUCCESS;
    return ddb.Release();
}

} // namespace

// ---- Exports --------------------------------------------------------------------------------------------------

HBITMAP VEXO_CALL V_ConvertToDDB(HDC hdc, BitmapHandle *bitmap)
{
    if (!IsAllocated(bitmap))
        return nullptr;
    if (hdc)
        return MakeDDB(hdc, bitmap);
    const gdi::ScreenDC screen;
    return screen ? MakeDDB(screen.get(), bitmap) : nullptr;
}

HBITMAP VEXO_CALL V_ChangeToDDB(HDC hdc, BitmapHandle *bitmap)
{
    const HBITMAP ddb = V_ConvertToDDB(hdc, bitmap);
    if (ddb)
        V_FreeBitmap(bitmap);
    return ddb;
}

int VEXO_CALL V_ConvertFromDDB(HDC hdc, BitmapHandle *bitmap, HBITMAP hBitmap, HPALETTE hPalette)
{
    BITMAP ddb;
    if (!bitmap || ::GetObjectType(hBitmap) != OBJ_BITMAP || ::GetObjectA(hBitmap, sizeof ddb, &ddb) != sizeof ddb)
        return ERR_INV_PARAMETER;
    Dib dib;
    {
        const gdi::PaletteSelection palette(hdc, hPalette);
        const int status = PackDDB(hdc, hBitmap, ddb, &dib);
        if (Failed(status))
            return status;
    }
    const int status = V_ChangeFromDIB(bitmap, dib.get());
    if (!Failed(status))
        dib.Release();
    return status;
}

int VEXO_CALL V_ChangeFromDDB(HDC hdc, BitmapHandle *bitmap, HBITMAP hBitmap, HPALETTE hPalette)
{
    const int status = V_ConvertFromDDB(hdc, bitmap, hBitmap, hPalette);
    if (!Failed(status)) {
        ::DeleteObject(hBitmap);
        if (hPalette)
            ::DeleteObject(hPalette);
    }
    return status;
}

int VEXO_CALL V_ScreenCaptureBitmap(HDC hdc, BitmapHandle *bitmap, const RECT *rect)
{
    if (!bitmap || !rect)
        return ERR_INV_PARAMETER;
    const int64_t width = int64_t(rect->right) - rect->left;
    const int64_t top = rect->top < rect->bottom ? rect->top : rect->bottom;
    const int64_t height = rect->top < rect->bottom ? rect->bottom - top : rect->top - top;
    if (width < 1 || height < 1 || width > 0x7FFFFFFF || height > 0x7FFFFFFF)
        return ERR_INV_PARAMETER;
    int status;
    gdi::Bitmap ddb(Grab(hdc, rect->left, int(top), int(width), int(height), &status));
    if (!ddb)
        return status;
    gdi::Palette palette(V_CreateSystemPalette());
    status = V_ChangeFromDDB(hdc, bitmap, ddb.get(), palette.get());
    if (!Failed(status)) {
        ddb.Release();
        palette.Release();
    }
    return status;
}
