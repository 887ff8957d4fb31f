// The bitmap record and the storage behind it: page-file mappings, compressed rows and, under Win32s, global memory and
// temporary files. Every failing call leaves the record as it was, because nothing is stored in it before the last step
// that can fail.
#include "colour/colour.h"
#include "core/compressed_rows.h"
#include "core/core.h"
#include "core/mappings.h"
#include "regions/region.h"

#include <cstring>
#include <utility>

using namespace vexo;

static_assert(sizeof(void *) != 4 || sizeof(BitmapHandle) == 104);
static_assert(sizeof(void *) != 4 || offsetof(BitmapHandle, AnimDisposal) == 100);

namespace {

constexpr int kDefaultResolution = 150;
constexpr unsigned kGlobalSpareBytes = 16;
constexpr unsigned kPlaybackFlags = FLAG_WAIT_INPUT | FLAG_TRANSPARENT;

// ---- Page-file mappings ---------------------------------------------------------------------------------------

Mapping MappingOf(const BitmapHandle *bitmap) { return {reinterpret_cast<HANDLE>(bitmap->Handle), bitmap->Data}; }

int AllocateMapping(BitmapHandle *bitmap, Contents contents)
{
    Mapping mapping;
    const int status = AcquireMapping(bitmap->Size, contents, &mapping);
    if (Failed(status))
        return status;
    bitmap->Handle = reinterpret_cast<UINT_PTR>(mapping.handle);
    bitmap->Data = mapping.view;
    bitmap->Flags |= FLAG_ALLOCATED | FLAG_MEMORY;
    return RESULT_SUCCESS;
}

// ---- Global memory and temporary files (Win32s) ---------------------------------------------------------------

HGLOBAL GlobalBlockOf(const BitmapHandle *bitmap) { return reinterpret_cast<HGLOBAL>(bitmap->Handle); }

int AllocateGlobal(BitmapHandle *bitmap)
{
    if (bitmap->Size > 0xFFFFFFFFu - kGlobalSpareBytes)
        return ERR_NO_MEMORY;
    const HGLOBAL block = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_SHARE, bitmap->Size + kGlobalSpareBytes);
    if (!block)
        return ERR_NO_MEMORY;
    bitmap->Handle = reinterpret_cast<UINT_PTR>(block);
    bitmap->Data = nullptr;
    bitmap->Flags |= FLAG_ALLOCATED | FLAG_MEMORY;
    return RESULT_SUCCESS;
}

// Makes the file one byte longer than the pixels and winds it back.
int ExtendFile(INT_PTR file, unsigned size)
{
    const char zero = 0;
    // Sizes that V_OsSeek cannot reach from the start in one signed step do not fit a temporary file.
    if (size > 0x7FFFFFFFu || V_OsSeek(file, int(size), 0) != size)
        return ERR_NO_MEMORY;
    if (V_OsWrite(file, &zero, 1) != 1)
        return ERR_FILE_WRITE;
    V_OsSeek(file, 0, 0);
    return RESULT_SUCCESS;
}

int AllocateFile(BitmapHandle *bitmap)
{
    char name[MAX_PATH];
    V_OsGetTempName(name);
    if (!name[0])
        return ERR_NO_MEMORY;
    Buffer<char> nameCopy(strlen(name) + 1);
    const INT_PTR file = nameCopy ? V_OsCreat(name, 0) : -1;
    if (file == -1) {
        V_OsDelete(name); // the name was made by creating an empty file
        return ERR_NO_MEMORY;
    }
    const int status = ExtendFile(file, bitmap->Size);
    if (Failed(status)) {
        V_OsClose(file);
        V_OsDelete(name);
        return status;
    }
    memcpy(nameCopy.data(), name, nameCopy.size());
    bitmap->Handle = UINT_PTR(file);
    bitmap->Data = nameCopy.Release();
    bitmap->Flags |= FLAG_ALLOCATED | FLAG_DISK;
    return RESULT_SUCCESS;
}

// ---- Allocation -----------------------------------------------------------------------------------------------

int AllocateCompressed(BitmapHandle *bitmap)
{
    CompressedRows *rows = CreateCompressedRows(bitmap->Width, bitmap->Height);
    if (!rows)
        return ERR_NO_MEMORY;
    bitmap->Data = rows;
    bitmap->Flags |= FLAG_ALLOCATED | FLAG_MEMORY | FLAG_COMPRESSED;
    return RESULT_SUCCESS;
}

int AllocateUncompressed(BitmapHandle *bitmap, int memoryType, Contents contents)
{
    if (!process.isWin32s)
        return AllocateMapping(bitmap, contents);
    if (memoryType != STORAGE_DISK) {
        const int status = AllocateGlobal(bitmap);
        if (!Failed(status) || memoryType == STORAGE_MEMORY_ONLY)
            return status;
    }
    return AllocateFile(bitmap);
}

// The size in bytes of a picture, or 0 when it is empty or does not fit 32 bits.
unsigned CheckedSize(int64_t bytesPerLine, int height)
{
    if (height < 1 || bytesPerLine < 1 || bytesPerLine > 0x7FFFFFFF)
        return 0;
    const int64_t size = bytesPerLine * height;
    return size <= 0xFFFFFFFFll ? unsigned(size) : 0;
}

int Allocate(BitmapHandle *bitmap, int memoryType, Contents contents)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    const int64_t bytesPerLine = PaddedRowBytes(bitmap->Width, bitmap->BitsPerPixel);
    const unsigned size = CheckedSize(bytesPerLine, bitmap->Height);
    if (bitmap->Size == 0 || bitmap->Width < 1 || size == 0 || bitmap->BytesPerLine != bytesPerLine)
        return ERR_INV_RANGE;
    const int kind = memoryType & ~STORAGE_COMPRESSED;
    const bool compressed = (memoryType & STORAGE_COMPRESSED) && bitmap->BitsPerPixel == 1;
    const bool knownKind = kind == STORAGE_MEMORY || kind == STORAGE_DISK || kind == STORAGE_MEMORY_ONLY;
    if (!knownKind && !(compressed && kind == 0))
        return ERR_INV_PARAMETER;

    BitmapHandle made = *bitmap;
    made.Size = size; // a record that held compressed rows before carries the size of their pool
    if (!(memoryType & STORAGE_COMPRESSED))
        made.Flags &= ~FLAG_COMPRESSED;
    const int status = compressed ? AllocateCompressed(&made) : AllocateUncompressed(&made, kind, contents);
    if (Failed(status))
        return status;
    made.Flags &= ~FLAG_LOCKED;
    *bitmap = made;
    return RESULT_SUCCESS;
}

void FreeStorage(BitmapHandle *bitmap)
{
    if (IsCompressed(bitmap)) {
        FreeCompressedRows(CompressedRowsOf(bitmap));
        // Deliberate: FLAG_MEMORY stays set after compressed storage.
        bitmap->Flags &= ~(FLAG_COMPRESSED | FLAG_ALLOCATED);
    } else if (bitmap->Flags & FLAG_MEMORY) {
        if (process.isWin32s) {
            V_ReleaseBitmap(bitmap);
            ::GlobalFree(GlobalBlockOf(bitmap));
        } else {
            ReleaseMapping(MappingOf(bitmap));
        }
        bitmap->Flags &= ~(FLAG_MEMORY | FLAG_ALLOCATED);
    } else if (bitmap->Flags & FLAG_DISK) {
        V_OsClose(INT_PTR(bitmap->Handle));
        V_OsDelete(static_cast<const char *>(bitmap->Data));
        V_OsFree(bitmap->Data);
        bitmap->Flags &= ~(FLAG_DISK | FLAG_ALLOCATED);
    }
}

// ---- Change of height -----------------------------------------------------------------------------------------

// A region never reaches outside its bitmap, or fills would write outside the storage.
void SetHeight(BitmapHandle *bitmap, int height)
{
    if (bitmap->Region)
        CutRegion(*bitmap->Region, height);
    bitmap->Height = height;
}

int ResizeMapping(BitmapHandle *bitmap, unsigned newSize)
{
    Mapping resized;
    const int status = AcquireMapping(newSize, Contents::Zeros, &resized);
    if (Failed(status))
        return status;
    memcpy(resized.view, bitmap->Data, bitmap->Size < newSize ? bitmap->Size : newSize);
    ReleaseMapping(MappingOf(bitmap));
    bitmap->Handle = reinterpret_cast<UINT_PTR>(resized.handle);
    bitmap->Data = resized.view;
    return RESULT_SUCCESS;
}

int ResizeGlobal(BitmapHandle *bitmap, unsigned newSize)
{
    // Deliberate: without the spare bytes of allocation.
    const HGLOBAL resized = ::GlobalReAlloc(GlobalBlockOf(bitmap), newSize, GMEM_MOVEABLE);
    if (!resized)
        return ERR_NO_MEMORY;
    bitmap->Handle = reinterpret_cast<UINT_PTR>(resized);
    return RESULT_SUCCESS;
}

int ResizeFile(BitmapHandle *bitmap, unsigned newSize)
{
    const INT_PTR file = INT_PTR(bitmap->Handle);
    if (newSize > 0x7FFFFFFFu || V_OsSeek(file, int(newSize), 0) != newSize)
        return ERR_NO_MEMORY;
    return ::SetEndOfFile(reinterpret_cast<HANDLE>(file)) ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

int ResizeUncompressed(BitmapHandle *bitmap, int newHeight)
{
    const unsigned newSize = CheckedSize(bitmap->BytesPerLine, newHeight);
    if (newSize == 0)
        return ERR_INV_RANGE;
    int status;
    if (bitmap->Flags & FLAG_DISK)
        status = ResizeFile(bitmap, newSize);
    else if (process.isWin32s)
        status = ResizeGlobal(bitmap, newSize);
    else
        status = ResizeMapping(bitmap, newSize);
    if (Failed(status))
        return status;
    bitmap->Size = newSize;
    return RESULT_SUCCESS;
}

int ResizeCompressed(BitmapHandle *bitmap, int newHeight)
{
    CompressedRows *resized = ResizeCompressedRows(CompressedRowsOf(bitmap), bitmap->Height, newHeight);
    if (!resized) {
        if (newHeight < bitmap->Height)
            SetHeight(bitmap, newHeight); // the rows beyond are gone already
        return ERR_NO_MEMORY;
    }
    bitmap->Data = resized;
    return RESULT_SUCCESS;
}

// ---- Colours between bitmaps ----------------------------------------------------------------------------------

COLORREF NearestIndex(const BitmapHandle *bitmap, COLORREF color)
{
    return COLOR_INDEX(::GetNearestPaletteIndex(bitmap->Palette, color) & 0xFFFF);
}

COLORREF BlackIn(const BitmapHandle *bitmap)
{
    return IsPalettised(bitmap->BitsPerPixel) ? NearestIndex(bitmap, RGB(0, 0, 0)) : 0;
}

COLORREF TranslateIndex(const BitmapHandle *destination, const BitmapHandle *source, COLORREF color)
{
    const int index = int(color & 0xFF);
    RGBQUAD entry, same;
    if (!source || !IsPalettised(source->BitsPerPixel) || Failed(V_GetBitmapColors(source, index, 1, &entry)))
        return BlackIn(destination);
    const COLORREF entryColor = RGB(entry.rgbRed, entry.rgbGreen, entry.rgbBlue);
    if (!IsPalettised(destination->BitsPerPixel))
        return entryColor;
    if (!Failed(V_GetBitmapColors(destination, index, 1, &same)) &&
        RGB(same.rgbRed, same.rgbGreen, same.rgbBlue) == entryColor)
        return color;
    return NearestIndex(destination, entryColor);
}

// The palette V_CreateBitmap gives: the caller's, grays, or the fixed one of the depth.
HPALETTE PaletteFor(const BitmapHandle *bitmap, bool gray, const RGBQUAD *colors)
{
    if (gray)
        return V_CreateGrayPalette(8);
    return colors ? V_CreatePalette(colors, bitmap->ColorCount) : V_CreateFixedPalette(bitmap->BitsPerPixel);
}

// ---- Records of a size of their own ---------------------------------------------------------------------------

int Duplicate(BitmapHandle *destination, const BitmapHandle *source, int width, int height, int bitsPerPixel,
              unsigned flags, Contents contents)
{
    constexpr unsigned kCarried = FLAG_COMPRESSED | FLAG_BIT5;
    if (!destination || !IsAllocated(source))
        return ERR_NO_BITMAP;
    BitmapHandle made;
    V_InitBitmap(&made, width, height, bitsPerPixel);
    made.Flags |= source->Flags & kCarried;
    if (bitsPerPixel != 1)
        made.Flags &= ~FLAG_COMPRESSED;
    made.Orientation = source->Orientation;
    made.XResolution = source->XResolution;
    made.YResolution = source->YResolution;
    made.ColorOrder = source->ColorOrder;
    if (flags & DUP_ALLOCATE) {
        const int type = made.Flags & FLAG_COMPRESSED ? STORAGE_COMPRESSED | STORAGE_MEMORY : STORAGE_MEMORY;
        const int status = Allocate(&made, type, contents);
        if (Failed(status))
            return status;
    }
    made.Palette = source->Palette;
    if ((flags & DUP_PALETTE) && source->Palette) {
        made.Palette = V_DupPalette(source->Palette);
        if (!made.Palette) {
            V_FreeBitmap(&made);
            return ERR_NO_MEMORY;
        }
    }
    V_CopyPlaybackParms(&made, source);
    if (!(flags & DUP_REGION)) {
        made.Region = source->Region;
    } else if (Failed(CopyRegionMoved(&made, source, 0, 0))) {
        if (!(flags & DUP_PALETTE))
            made.Palette = nullptr; // the source's
        V_FreeBitmap(&made);
        return ERR_NO_MEMORY;
    }
    *destination = made;
    return RESULT_SUCCESS;
}

} // namespace

// ---- Moving finished bitmaps ----------------------------------------------------------------------------------

void PendingBitmap::MoveTo(BitmapHandle *empty)
{
    *empty = m_record;
    m_record = {};
}

void PendingBitmap::CommitTo(BitmapHandle *caller)
{
    V_StopDithering(caller); // what runs is for rows of the former size and depth
    V_FreeBitmap(caller);
    MoveTo(caller);
}

void PendingBitmap::DeliverTo(BitmapHandle *destination, const BitmapHandle *source)
{
    if (destination == source)
        CommitTo(destination);
    else
        MoveTo(destination);
}

void vexo::ClearNewStorage(BitmapHandle *bitmap)
{
    if (!process.isWin32s)
        return;
    if (uint8_t *rows = DirectRows(bitmap))
        memset(rows, 0, bitmap->Size);
}

void PendingBitmap::ExchangeStorage(BitmapHandle *caller)
{
    constexpr unsigned kStorageFlags = FLAG_ALLOCATED | FLAG_MEMORY | FLAG_DISK | FLAG_LOCKED | FLAG_COMPRESSED;
    const bool isLocked = (caller->Flags & FLAG_LOCKED) != 0;
    std::swap(caller->Handle, m_record.Handle);
    std::swap(caller->Data, m_record.Data);
    std::swap(caller->Width, m_record.Width);
    std::swap(caller->Height, m_record.Height);
    std::swap(caller->BytesPerLine, m_record.BytesPerLine);
    std::swap(caller->CachedRowOffset, m_record.CachedRowOffset);
    std::swap(caller->CachedRow, m_record.CachedRow);
    std::swap(caller->Size, m_record.Size);
    const unsigned differing = (caller->Flags ^ m_record.Flags) & kStorageFlags;
    caller->Flags ^= differing;
    m_record.Flags ^= differing;
    if (isLocked)
        V_LockBitmap(caller);
    else
        V_ReleaseBitmap(caller);
}

// ---- Exports --------------------------------------------------------------------------------------------------

int VEXO_CALL V_InitBitmap(BitmapHandle *bitmap, int width, int height, int bitsPerPixel)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    *bitmap = {};
    if (!IsSupportedDepth(bitsPerPixel))
        return ERR_BAD_BITS_PER_PIXEL;
    const ThreadSettings &settings = CurrentSettings();
    bitmap->Width = width;
    bitmap->Height = height;
    bitmap->BitsPerPixel = bitsPerPixel;
    bitmap->BytesPerLine = int(PaddedRowBytes(width, bitsPerPixel));
    bitmap->Size = unsigned(bitmap->BytesPerLine) * unsigned(height); // V_AllocateBitmap refuses what wraps around
    bitmap->Orientation = ORIENT_BOTTOM_UP;
    bitmap->DitherMode = settings.defaultDitherMode;
    if (IsPalettised(bitsPerPixel))
        bitmap->ColorCount = 1 << bitsPerPixel;
    else
        bitmap->ColorOrder = COLOR_ORDER_BGR;
    bitmap->XResolution = settings.defaultXResolution > 0 ? settings.defaultXResolution : kDefaultResolution;
    bitmap->YResolution = settings.defaultYResolution > 0 ? settings.defaultYResolution : kDefaultResolution;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_AllocateBitmap(BitmapHandle *bitmap, int memoryType)
{
    return Allocate(bitmap, memoryType, Contents::Zeros);
}

int vexo::AllocateForFilling(BitmapHandle *bitmap, int memoryType)
{
    return Allocate(bitmap, memoryType, Contents::Anything);
}

int VEXO_CALL V_CreateBitmap(BitmapHandle *bitmap, int memoryType, int width, int height, int bitsPerPixel,
                             int colorOrder, const RGBQUAD *palette, int orientation)
{
    if (!bitmap)
        return ERR_INV_PARAMETER;
    const int bits = bitsPerPixel == 0 ? 8 : bitsPerPixel;
    if (!IsSupportedDepth(bits))
        return V_InitBitmap(bitmap, width, height, bits);
    PendingBitmap made;
    V_InitBitmap(made.record(), width, height, bits);
    const int status = V_AllocateBitmap(made.record(), memoryType);
    if (Failed(status))
        return status;
    if (IsPalettised(bits)) {
        made->Palette = PaletteFor(made.record(), bitsPerPixel == 0, palette);
        if (!made->Palette)
            return ERR_NO_MEMORY;
    } else {
        made->ColorOrder = colorOrder;
    }
    made->Orientation = orientation;
    made.MoveTo(bitmap);
    return RESULT_SUCCESS;
}

void VEXO_CALL V_FreeBitmap(BitmapHandle *bitmap)
{
    if (!bitmap)
        return;
    ReplaceRegion(bitmap, nullptr);
    if (bitmap->Palette) {
        ::DeleteObject(bitmap->Palette);
        bitmap->Palette = nullptr;
    }
    if (bitmap->Flags & FLAG_ALLOCATED)
        FreeStorage(bitmap);
}

int VEXO_CALL V_FreeImage(BitmapHandle *bitmap, int freeAttachments)
{
    if (!IsAllocated(bitmap))
        return RESULT_SUCCESS;
    if (!freeAttachments) {
        bitmap->Palette = nullptr;
        bitmap->Region = nullptr;
    }
    V_FreeBitmap(bitmap);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_LockBitmap(BitmapHandle *bitmap)
{
    if (!bitmap)
        return 0;
    const int previous = (bitmap->Flags & FLAG_LOCKED) != 0;
    if (process.isWin32s && !previous && HasRowsInMemory(bitmap)) {
        bitmap->Data = ::GlobalLock(GlobalBlockOf(bitmap));
        bitmap->Flags |= FLAG_LOCKED;
    }
    return previous;
}

void VEXO_CALL V_UnlockBitmap(BitmapHandle *bitmap, int previousState)
{
    if (previousState == 0)
        V_ReleaseBitmap(bitmap);
}

void VEXO_CALL V_AccessBitmap(BitmapHandle *bitmap) { V_LockBitmap(bitmap); }

void VEXO_CALL V_ReleaseBitmap(BitmapHandle *bitmap)
{
    if (!bitmap || !process.isWin32s || !HasRowsInMemory(bitmap) || !(bitmap->Flags & FLAG_LOCKED))
        return;
    ::GlobalUnlock(GlobalBlockOf(bitmap));
    bitmap->Data = nullptr;
    bitmap->Flags &= ~FLAG_LOCKED;
}

int VEXO_CALL V_ChangeBitmapHeight(BitmapHandle *bitmap, int newHeight)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (bitmap->Flags & FLAG_LOCKED)
        return ERR_INV_PARAMETER;
    if (newHeight < 1 || CheckedSize(bitmap->BytesPerLine, newHeight) == 0)
        return ERR_INV_RANGE;
    if (newHeight == bitmap->Height)
        return RESULT_SUCCESS;
    const int status =
        IsCompressed(bitmap) ? ResizeCompressed(bitmap, newHeight) : ResizeUncompressed(bitmap, newHeight);
    if (Failed(status))
        return status;
    SetHeight(bitmap, newHeight);
    bitmap->CachedRowOffset = 0;
    bitmap->CachedRow = 0;
    return RESULT_SUCCESS;
}

void VEXO_CALL V_CopyBitmapHandle(BitmapHandle *destination, const BitmapHandle *source)
{
    if (destination && source)
        *destination = *source;
}

int VEXO_CALL V_DupBitmapNewDim(BitmapHandle *destination, const BitmapHandle *source, int width, int height,
                                int bitsPerPixel, unsigned flags)
{
    return Duplicate(destination, source, width, height, bitsPerPixel, flags, Contents::Zeros);
}

int vexo::DuplicateForFilling(BitmapHandle *destination, const BitmapHandle *source, int width, int height,
                              int bitsPerPixel, unsigned flags)
{
    return Duplicate(destination, source, width, height, bitsPerPixel, flags | DUP_ALLOCATE, Contents::Anything);
}

int VEXO_CALL V_CopyPlaybackParms(BitmapHandle *destination, const BitmapHandle *source)
{
    if (!destination || !source)
        return ERR_INV_PARAMETER;
    destination->Flags = (destination->Flags & ~kPlaybackFlags) | (source->Flags & kPlaybackFlags);
    destination->AnimLeft = source->AnimLeft;
    destination->AnimTop = source->AnimTop;
    destination->AnimDelay = source->AnimDelay;
    destination->AnimDisposal = source->AnimDisposal;
    destination->AnimBackground = V_TranslateBitmapColor(destination, source, source->AnimBackground);
    destination->AnimTransparent = V_TranslateBitmapColor(destination, source, source->AnimTransparent);
    return RESULT_SUCCESS;
}

COLORREF VEXO_CALL V_TranslateBitmapColor(const BitmapHandle *destination, const BitmapHandle *source, COLORREF color)
{
    if (!destination)
        return color;
    if (color >> 24 == 1)
        return TranslateIndex(destination, source, color);
    return IsPalettised(destination->BitsPerPixel) ? NearestIndex(destination, color) : color;
}
