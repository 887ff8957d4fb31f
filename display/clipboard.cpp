// Pictures to and from the clipboard. What is to be placed is made before the clipboard is opened, and belongs to its
// owner here until the clipboard has taken it.
#include "core/core.h"
#include "core/gdi.h"
#include "display/dib.h"

using namespace vexo;

namespace {

class OpenClipboardScope {
public:
    explicit OpenClipboardScope(HWND window) : m_isOpen(::OpenClipboard(window) != FALSE) {}
    ~OpenClipboardScope()
    {
        if (m_isOpen)
            ::CloseClipboard();
    }
    OpenClipboardScope(const OpenClipboardScope &) = delete;
    OpenClipboardScope &operator=(const OpenClipboardScope &) = delete;

    explicit operator bool() const { return m_isOpen; }

private:
    bool m_isOpen;
};

// ---- Copying --------------------------------------------------------------------------------------------------

struct Offer {
    gdi::Palette palette;
    Dib dib;
    gdi::Bitmap ddb;
};

int MakeOffer(HWND hwnd, BitmapHandle *bitmap, unsigned flags, Offer *offer)
{
    if (flags & CLIPBOARD_PALETTE) {
        const gdi::WindowDC dc(hwnd);
        if (!dc)
            return ERR_INV_PARAMETER;
        offer->palette.Reset(V_CreatePaintPalette(dc.get(), bitmap)); // none for deep bitmaps
    }
    if (flags & CLIPBOARD_DIB) {
        offer->dib.Reset(V_ConvertToDIB(bitmap));
        if (!offer->dib)
            return ERR_NO_MEMORY;
    }
    if (flags & CLIPBOARD_DDB) {
        const gdi::WindowDC dc(hwnd);
        if (!dc)
            return ERR_INV_PARAMETER;
        offer->ddb.Reset(V_ConvertToDDB(dc.get(), bitmap));
        if (!offer->ddb)
            return ERR_NO_MEMORY;
    }
    return RESULT_SUCCESS;
}

// Hands something over to the open clipboard. True also for nothing.
template <class Owner>
bool Place(UINT format, Owner &owner)
{
    if (!owner)
        return true;
    if (!::SetClipboardData(format, owner.get()))
        return false;
    owner.Release();
    return true;
}

// ---- Pasting --------------------------------------------------------------------------------------------------

int PasteDIB(BitmapHandle *bitmap)
{
    const HGLOBAL dib = ::GetClipboardData(CF_DIB);
    const uint8_t *bytes = dib ? static_cast<const uint8_t *>(::GlobalLock(dib)) : nullptr;
    if (!bytes)
        return ERR_NO_BITMAP;
    const int status = BitmapFromDib(bitmap, bytes, ::GlobalSize(dib));
    ::GlobalUnlock(dib);
    if (!Failed(status))
        bitmap->ColorOrder = COLOR_ORDER_BGR; // as V_ConvertFromDIB has it
    return status;
}

int PasteDDB(HWND hwnd, BitmapHandle *bitmap)
{
    const HBITMAP ddb = static_cast<HBITMAP>(::GetClipboardData(CF_BITMAP));
    const gdi::WindowDC dc(hwnd);
    if (!ddb || !dc)
        return ERR_NO_BITMAP;
    if (const HPALETTE palette = static_cast<HPALETTE>(::GetClipboardData(CF_PALETTE)))
        return V_ConvertFromDDB(dc.get(), bitmap, ddb, palette);
    const gdi::Palette system(V_CreateSystemPalette());
    return V_ConvertFromDDB(dc.get(), bitmap, ddb, system.get());
}

} // namespace

// ---- Exports --------------------------------------------------------------------------------------------------

int VEXO_CALL V_CopyToClipboardExt(HWND hwnd, BitmapHandle *bitmap, unsigned flags)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    Offer offer;
    const int status = MakeOffer(hwnd, bitmap, flags, &offer);
    if (Failed(status))
        return status;
    const OpenClipboardScope clipboard(hwnd);
    if (!clipboard || ((flags & CLIPBOARD_EMPTY) && !::EmptyClipboard()))
        return ERR_INV_PARAMETER;
    const bool placed = Place(CF_PALETTE, offer.palette) && Place(CF_DIB, offer.dib) && Place(CF_BITMAP, offer.ddb);
    return placed ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

int VEXO_CALL V_CopyToClipboard(HWND hwnd, BitmapHandle *bitmap)
{
    constexpr unsigned kEverything = CLIPBOARD_EMPTY | CLIPBOARD_DIB | CLIPBOARD_DDB | CLIPBOARD_PALETTE;
    return Failed(V_CopyToClipboardExt(hwnd, bitmap, kEverything)) ? 0 : 1;
}

int VEXO_CALL V_CopyFromClipboard(HWND hwnd, BitmapHandle *bitmap)
{
    if (!bitmap)
        return 0;
    const OpenClipboardScope clipboard(hwnd);
    if (!clipboard)
        return 0;
    // The system makes a DIB of every DDB, with colour masks when the screen has 32 bits: a layout for GDI to read.
    int status = ::IsClipboardFormatAvailable(CF_DIB) ? PasteDIB(bitmap) : ERR_BAD_REQUEST;
    if (status == ERR_BAD_REQUEST)
        status = PasteDDB(hwnd, bitmap);
    return Failed(status) ? 0 : 1;
}

int VEXO_CALL V_ClipboardReady(void)
{
    return ::IsClipboardFormatAvailable(CF_DIB) || ::IsClipboardFormatAvailable(CF_BITMAP);
}
