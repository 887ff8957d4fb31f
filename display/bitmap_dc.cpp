// A device context over a bitmap: a DIB section made over the very page-file mapping that holds the bitmap's rows, so
// that GDI draws into them without a copy. What GDI cannot use as it is (compressed rows, the top line first, red
// first) is put right in the bitmap itself beforehand.
#include "colour/colour.h"
#include "core/core.h"
#include "core/gdi.h"
#include "core/win32s.h"
#include "regions/region.h"

using namespace vexo;

namespace {

constexpr bool IsDibSectionDepth(int bits) { return bits == 1 || bits == 4 || bits >= 8; }

// Whether DCs come from the 16-bit companion library.
bool UsesCompanion() { return process.isWin32s && process.thunkRegistered; }

// ---- Making the pixels fit ------------------------------------------------------------------------------------

// Gives a bitmap plain rows in place of compressed ones.
int ExpandStorage(BitmapHandle *bitmap)
{
    BitmapHandle pattern = *bitmap, plain;
    pattern.Flags &= ~FLAG_COMPRESSED;
    int status = V_DupBitmapNewDim(&plain, &pattern, bitmap->Width, bitmap->Height, bitmap->BitsPerPixel, DUP_ALLOCATE);
    if (Failed(status))
        return status;
    status = V_CopyBitmapData(&plain, bitmap);
    // Palette and region stay the same objects, so whichever record goes must not take them along.
    V_FreeImage(Failed(status) ? &plain : bitmap, 0);
    if (!Failed(status))
        *bitmap = plain;
    return status;
}

int PutTopLineLast(BitmapHandle *bitmap)
{
    if (bitmap->Orientation == ORIENT_BOTTOM_UP)
        return RESULT_SUCCESS;
    const int status = V_FlipBitmap(bitmap);
    if (!Failed(status))
        bitmap->Orientation = ORIENT_BOTTOM_UP;
    return status;
}

int PutBlueFirst(BitmapHandle *bitmap)
{
    if (IsPalettised(bitmap->BitsPerPixel) || bitmap->ColorOrder == COLOR_ORDER_BGR)
        return RESULT_SUCCESS;
    uint8_t *row = DirectRows(bitmap);
    for (int y = 0; y < bitmap->Height; ++y, row += bitmap->BytesPerLine) {
        const int status = V_ConvertBuffer(row, bitmap->Width, bitmap->BitsPerPixel, bitmap->BitsPerPixel,
                                           bitmap->ColorOrder, COLOR_ORDER_BGR, nullptr, nullptr);
        if (Failed(status))
            return status;
    }
    bitmap->ColorOrder = COLOR_ORDER_BGR;
    return RESULT_SUCCESS;
}

// ---- The DC ---------------------------------------------------------------------------------------------------

using CreateDibSection = decltype(&::CreateDIBSection);

// Looked up at run time, so that the library loads where the system lacks it.
CreateDibSection FindCreateDibSection()
{
    const HMODULE gdi = ::GetModuleHandleA("GDI32");
    return gdi ? reinterpret_cast<CreateDibSection>(
                     reinterpret_cast<void (*)()>(::GetProcAddress(gdi, "CreateDIBSection")))
               : nullptr;
}

// What a DIB section over the bitmap's rows looks like.
PaintHeader SectionHeader(const BitmapHandle *bitmap)
{
    PaintHeader section = {};
    section.header.biSize = sizeof section.header;
    section.header.biWidth = bitmap->Width;
    section.header.biHeight = bitmap->Height;
    section.header.biPlanes = 1;
    section.header.biBitCount = WORD(bitmap->BitsPerPixel);
    section.header.biCompression = BI_RGB;
    section.header.biSizeImage = bitmap->Size;
    ReadPalette(bitmap, section.colors);
    return section;
}

HDC MakeDC(BitmapHandle *bitmap)
{
    const CreateDibSection createDibSection = FindCreateDibSection();
    if (!createDibSection)
        return nullptr;
    gdi::MemoryDC dc(nullptr); // compatible with the screen
    if (!dc || Failed(PutTopLineLast(bitmap)) || Failed(PutBlueFirst(bitmap)))
        return nullptr;
    const PaintHeader header = SectionHeader(bitmap);
    void *bits;
    gdi::Bitmap section(createDibSection(dc.get(), reinterpret_cast<const BITMAPINFO *>(&header), DIB_RGB_COLORS, &bits,
                                         reinterpret_cast<HANDLE>(bitmap->Handle), 0));
    if (!section || !::SelectObject(dc.get(), section.get()))
        return nullptr;
    section.Release(); // V_DeleteVexoDC finds it in the DC
    return dc.Release();
}

// Lets drawing through only where the bitmap's region is. True also without a region.
bool ClipToRegion(HDC dc, const BitmapHandle *bitmap)
{
    if (!bitmap->Region)
        return true;
    // A DC counts its lines from the top.
    const RegionTransform fromTop = {ORIENT_TOP_DOWN, 1, 1, 1, 1, 0, 0};
    HRGN clip;
    bool isOwned;
    if (Failed(RegionToGdi(bitmap, &fromTop, &clip, &isOwned)))
        return false;
    const bool isSelected = ::SelectClipRgn(dc, clip) != ERROR;
    if (isOwned)
        ::DeleteObject(clip);
    return isSelected;
}

} // namespace

// ---- Exports --------------------------------------------------------------------------------------------------

HDC VEXO_CALL V_CreateVexoDC(BitmapHandle *bitmap)
{
    if (!IsAllocated(bitmap) || !IsDibSectionDepth(bitmap->BitsPerPixel))
        return nullptr;
    if (process.isWin32s && !process.thunkRegistered)
        return nullptr; // no page-file mappings there
    if (IsCompressed(bitmap) && Failed(ExpandStorage(bitmap)))
        return nullptr;
    const HDC dc = UsesCompanion() ? reinterpret_cast<HDC>(UINT_PTR(CompanionCreateDC(bitmap))) : MakeDC(bitmap);
    if (dc && !ClipToRegion(dc, bitmap)) {
        V_DeleteVexoDC(dc);
        return nullptr;
    }
    return dc;
}

BOOL VEXO_CALL V_DeleteVexoDC(HDC hdc)
{
    if (UsesCompanion())
        return BOOL(CompanionDeleteDC(hdc));
    // The DIB section can go only after the DC that holds it; the bitmap's storage stays, the section only maps it.
    const HGDIOBJ section = ::GetObjectType(hdc) == OBJ_MEMDC ? ::GetCurrentObject(hdc, OBJ_BITMAP) : nullptr;
    const BOOL isDeleted = ::DeleteDC(hdc);
    if (section)
        ::DeleteObject(section);
    return isDeleted;
}
