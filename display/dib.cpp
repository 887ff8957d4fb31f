// Packed device-independent bitmaps: one block of global memory with a header, a colour table and rows, bottom line
// first. What comes in is hostile until proved otherwise: every size is computed in 64 bits and held against what the
// header and the block allow before anything is allocated or read.
#include "display/dib.h"
#include "colour/color_res.h"
#include "colour/colour.h"
#include "core/core.h"
#include "core/gdi.h"
#include "display/device.h"

using namespace vexo;

namespace {

constexpr DWORD kCoreHeaderSize = sizeof(BITMAPCOREHEADER);
constexpr DWORD kInfoHeaderSize = sizeof(BITMAPINFOHEADER);
constexpr DWORD kLargestHeaderSize = 124; // BITMAPV5HEADER: what a bare pointer is trusted for
static_assert(kCoreHeaderSize == 12 && kInfoHeaderSize == 40);

// ---- Writing --------------------------------------------------------------------------------------------------

bool NeedsConversion(const BitmapHandle *bitmap)
{
    return DibDepth(bitmap->BitsPerPixel) != bitmap->BitsPerPixel ||
           (bitmap->BitsPerPixel == 24 && bitmap->ColorOrder != COLOR_ORDER_BGR);
}

LONG PixelsPerMetre(int dotsPerInch) { return LONG((int64_t(dotsPerInch) * 10000 + 127) / 254); }
int DotsPerInch(LONG pixelsPerMetre) { return int((int64_t(pixelsPerMetre) * 254 + 5000) / 10000); }

// Where the parts of a DIB lie and how large it is.
struct DibLayout {
    int bits;
    int colorCount; // entries of the colour table
    int64_t bytesPerLine;
    int64_t totalBytes;

    size_t RowsOffset() const { return kInfoHeaderSize + sizeof(RGBQUAD) * size_t(colorCount); }
    bool Fits() const { return totalBytes <= kMaxDibBytes; }
};

DibLayout LayoutFor(const BitmapHandle *bitmap)
{
    const int bits = DibDepth(bitmap->BitsPerPixel);
    DibLayout layout = {bits, IsPalettised(bits) ? bitmap->ColorCount : 0, PaddedRowBytes(bitmap->Width, bits), 0};
    layout.totalBytes = int64_t(layout.RowsOffset()) + layout.bytesPerLine * bitmap->Height;
    return layout;
}

void WriteHeader(uint8_t *dib, const BitmapHandle *bitmap, const DibLayout &layout, int colorsUsed)
{
    BITMAPINFOHEADER header = {};
    header.biSize = kInfoHeaderSize;
    header.biWidth = bitmap->Width;
    header.biHeight = bitmap->Height;
    header.biPlanes = 1;
    header.biBitCount = WORD(layout.bits);
    header.biCompression = BI_RGB;
    header.biSizeImage = DWORD(layout.bytesPerLine * bitmap->Height);
    header.biXPelsPerMeter = PixelsPerMetre(bitmap->XResolution);
    header.biYPelsPerMeter = PixelsPerMetre(bitmap->YResolution);
    header.biClrUsed = DWORD(colorsUsed);
    memcpy(dib, &header, sizeof header);
}

void WriteColorTable(uint8_t *dib, const RGBQUAD *colors, int count)
{
    uint8_t *table = dib + kInfoHeaderSize;
    memcpy(table, colors, sizeof(RGBQUAD) * size_t(count));
    for (int i = 0; i < count; ++i)
        table[i * 4 + 3] = 0;
}

// The stored row that becomes row i of a DIB, counted from the bottom of the picture.
int RowFromBottom(const BitmapHandle *bitmap, int i)
{
    return bitmap->Orientation == ORIENT_BOTTOM_UP ? i : bitmap->Height - i - 1;
}

// Fills in the rows of a DIB of the bitmap's own format.
int CopyRows(BitmapHandle *bitmap, uint8_t *rows)
{
    for (int i = 0; i < bitmap->Height; ++i, rows += bitmap->BytesPerLine) {
        const int status = ReadRow(bitmap, rows, RowFromBottom(bitmap, i));
        if (Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

// Fills in the rows of a DIB of another depth or colour order. Indices keep their meaning: both sides share a palette.
int ConvertRows(BitmapHandle *bitmap, uint8_t *rows, const DibLayout &layout, const RGBQUAD *colors)
{
    const size_t lineBytes = size_t(layout.bytesPerLine);
    Buffer<uint8_t> work(lineBytes > size_t(bitmap->BytesPerLine) ? lineBytes : size_t(bitmap->BytesPerLine),
                         Buffer<uint8_t>::Fill::Zero);
    if (!work)
        return ERR_NO_MEMORY;
    for (int i = 0; i < bitmap->Height; ++i, rows += lineBytes) {
        int status = ReadRow(bitmap, work.data(), RowFromBottom(bitmap, i));
        if (Failed(status))
            return status;
        status = V_ConvertBuffer(work.data(), bitmap->Width, bitmap->BitsPerPixel, layout.bits, bitmap->ColorOrder,
                                 COLOR_ORDER_BGR, colors, colors);
        if (Failed(status))
            return status;
        ClearRowPadding(work.data(), bitmap->Width, layout.bits);
        memcpy(rows, work.data(), lineBytes);
    }
    return RESULT_SUCCESS;
}

// Whether the storage of a bitmap is a block of global memory that holds the rows of a DIB.
bool IsDibStorage(const BitmapHandle *bitmap)
{
    return process.isWin32s && (bitmap->Flags & FLAG_MEMORY) && !IsCompressed(bitmap) &&
           bitmap->Orientation == ORIENT_BOTTOM_UP && !NeedsConversion(bitmap);
}

// Makes a DIB around such a block. The bitmap must be unlocked. Null: unchanged.
HGLOBAL StorageToDib(BitmapHandle *bitmap)
{
    const DibLayout layout = LayoutFor(bitmap);
    RGBQUAD colors[256];
    ReadPalette(bitmap, colors);
    if (!layout.Fits())
        return nullptr;
    const HGLOBAL block =
        ::GlobalReAlloc(reinterpret_cast<HGLOBAL>(bitmap->Handle), SIZE_T(layout.totalBytes), GMEM_MOVEABLE);
    if (!block)
        return nullptr;
    uint8_t *dib = static_cast<uint8_t *>(::GlobalLock(block));
    memmove(dib + layout.RowsOffset(), dib, size_t(layout.bytesPerLine * bitmap->Height));
    WriteHeader(dib, bitmap, layout, bitmap->ColorCount);
    WriteColorTable(dib, colors, layout.colorCount);
    ::GlobalUnlock(block);
    bitmap->Flags &= ~(FLAG_ALLOCATED | FLAG_MEMORY); // freeing the bitmap leaves the block alone
    return block;
}

// ---- Reading --------------------------------------------------------------------------------------------------

// What a header of either kind says, checked.
struct DibInfo {
    int width;
    int height; // positive; see topDown
    bool topDown;
    int bits;
    DWORD headerSize;
    int64_t tableEntries; // as stored; may be more or fewer than the depth allows
    int entryBytes;
    int xResolution, yResolution;
    unsigned size; // bytes of the rows

    int64_t RowsOffset() const { return headerSize + tableEntries * entryBytes; }
};

DeviceSurface ScreenSurface()
{
    const gdi::ScreenDC screen;
    return DeviceSurface::Of(screen.get());
}

// Deliberate: a resolution of 0 takes the screen's width or height in pixels.
int ResolutionOf(LONG pixelsPerMetre, int DeviceSurface::*screenSize)
{
    return DotsPerInch(pixelsPerMetre ? pixelsPerMetre : ScreenSurface().*screenSize);
}

struct HeaderFields {
    int64_t width, height;
    unsigned planes, bits;
    DWORD compression, colorsUsed;
    LONG xPixelsPerMetre, yPixelsPerMetre;
};

HeaderFields FieldsOf(const BITMAPCOREHEADER &header)
{
    return {header.bcWidth, header.bcHeight, header.bcPlanes, header.bcBitCount, BI_RGB, 0, 0, 0};
}

HeaderFields FieldsOf(const BITMAPINFOHEADER &header)
{
    return {header.biWidth,       header.biHeight,  header.biPlanes,        header.biBitCount,
            header.biCompression, header.biClrUsed, header.biXPelsPerMeter, header.biYPelsPerMeter};
}

// Reads the fields of the header at `bytes`. `available` is how many bytes may be read there.
template <class Header>
bool ReadFields(const uint8_t *bytes, uint64_t available, HeaderFields *fields)
{
    Header header;
    if (available < sizeof header)
        return false;
    memcpy(&header, bytes, sizeof header);
    *fields = FieldsOf(header);
    return true;
}

int CheckFields(const HeaderFields &fields, DibInfo *info)
{
    if (fields.width < 1 || fields.height == 0)
        return ERR_INV_PARAMETER;
    if (fields.planes != 1 || fields.compression != BI_RGB)
        return ERR_BAD_REQUEST;
    const unsigned bits = fields.bits;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return ERR_BAD_REQUEST;
    const int64_t height = fields.height < 0 ? -fields.height : fields.height;
    const int64_t bytesPerLine = PaddedRowBytes(fields.width, int(bits));
    if (height > 0x7FFFFFFF || bytesPerLine > 0x7FFFFFFF || bytesPerLine * height > kMaxDibBytes)
        return ERR_INV_RANGE;
    info->width = int(fields.width);
    info->height = int(height);
    info->topDown = fields.height < 0;
    info->bits = int(bits);
    info->size = unsigned(bytesPerLine * height);
    return RESULT_SUCCESS;
}

// Reads and checks the header at `bytes`, of which `available` may be read.
int ReadHeader(const uint8_t *bytes, uint64_t available, DibInfo *info)
{
    DWORD headerSize;
    if (available < sizeof headerSize)
        return ERR_INV_PARAMETER;
    memcpy(&headerSize, bytes, sizeof headerSize);
    const bool core = headerSize == kCoreHeaderSize;
    if (!core && headerSize < kInfoHeaderSize)
        return ERR_BAD_REQUEST;
    if (headerSize > available)
        return ERR_INV_PARAMETER;
    HeaderFields fields;
    if (!(core ? ReadFields<BITMAPCOREHEADER>(bytes, available, &fields)
               : ReadFields<BITMAPINFOHEADER>(bytes, available, &fields)))
        return ERR_INV_PARAMETER;
    const int status = CheckFields(fields, info);
    if (Failed(status))
        return status;
    info->headerSize = headerSize;
    info->entryBytes = core ? 3 : 4;
    info->tableEntries = fields.colorsUsed ? fields.colorsUsed : IsPalettised(info->bits) ? 1 << info->bits : 0;
    info->xResolution = ResolutionOf(fields.xPixelsPerMetre, &DeviceSurface::horzRes);
    info->yResolution = ResolutionOf(fields.yPixelsPerMetre, &DeviceSurface::vertRes);
    return RESULT_SUCCESS;
}

// The same for a whole packed DIB, which must hold all that its header promises.
int ReadPackedHeader(const uint8_t *dib, uint64_t available, DibInfo *info)
{
    const int status = ReadHeader(dib, available, info);
    if (Failed(status))
        return status;
    return uint64_t(info->RowsOffset()) + info->size <= available ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

// Initialises a bitmap as the DIB describes it, with its palette: missing entries black, surplus ones left out.
int DescribeBitmap(BitmapHandle *bitmap, const DibInfo &info, const uint8_t *table)
{
    V_InitBitmap(bitmap, info.width, info.height, info.bits);
    bitmap->XResolution = info.xResolution;
    bitmap->YResolution = info.yResolution;
    if (!IsPalettised(info.bits))
        return RESULT_SUCCESS;
    RGBQUAD colors[256] = {};
    const int64_t stored = info.tableEntries < bitmap->ColorCount ? info.tableEntries : bitmap->ColorCount;
    for (int i = 0; i < int(stored); ++i, table += info.entryBytes)
        colors[i] = {table[0], table[1], table[2], 0};
    bitmap->Palette = V_CreatePalette(colors, bitmap->ColorCount);
    return bitmap->Palette ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

// Stores the rows of a DIB in a fresh bitmap, the picture's bottom line in row 0.
int StoreRows(BitmapHandle *bitmap, const DibInfo &info, const uint8_t *rows)
{
    const BitmapLock lock(bitmap);
    for (int row = 0; row < info.height; ++row, rows += bitmap->BytesPerLine) {
        const int status = WriteRow(bitmap, rows, info.topDown ? info.height - 1 - row : row);
        if (Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

int BitmapFromParts(BitmapHandle *bitmap, const DibInfo &info, const uint8_t *table, const uint8_t *rows)
{
    PendingBitmap made;
    int status = DescribeBitmap(made.record(), info, table);
    if (!Failed(status))
        status = AllocateForFilling(made.record(), STORAGE_MEMORY);
    if (!Failed(status))
        status = StoreRows(made.record(), info, rows);
    if (!Failed(status))
        made.MoveTo(bitmap);
    return status;
}

void ReverseRows(uint8_t *rows, const DibInfo &info)
{
    const size_t lineBytes = info.size / unsigned(info.height);
    uint8_t *low = rows, *high = rows + lineBytes * size_t(info.height - 1);
    for (; low < high; low += lineBytes, high -= lineBytes)
        for (size_t i = 0; i < lineBytes; ++i) {
            const uint8_t byte = low[i];
            low[i] = high[i];
            high[i] = byte;
        }
}

// Makes the DIB's own block the storage of a bitmap in global memory. The block is locked on entry and unlocked at the
// end.
int BitmapFromBlock(BitmapHandle *bitmap, HGLOBAL dib, uint8_t *bytes, uint64_t available)
{
    DibInfo info;
    PendingBitmap made;
    int status = ReadPackedHeader(bytes, available, &info);
    if (!Failed(status))
        status = DescribeBitmap(made.record(), info, bytes + info.headerSize);
    if (Failed(status)) {
        ::GlobalUnlock(dib);
        return status;
    }
    memmove(bytes, bytes + info.RowsOffset(), info.size);
    if (info.topDown)
        ReverseRows(bytes, info);
    ::GlobalUnlock(dib);
    const HGLOBAL trimmed = ::GlobalReAlloc(dib, info.size, GMEM_MOVEABLE);
    made->Handle = reinterpret_cast<UINT_PTR>(trimmed ? trimmed : dib); // an untrimmed block serves as well
    made->Data = nullptr;
    made->Flags |= FLAG_ALLOCATED | FLAG_MEMORY;
    made.MoveTo(bitmap);
    return RESULT_SUCCESS;
}

} // namespace

HGLOBAL vexo::MakeDib(BitmapHandle *bitmap, int colorsUsed)
{
    const DibLayout layout = LayoutFor(bitmap);
    GlobalBlock dib(layout.totalBytes);
    if (!dib)
        return nullptr;
    RGBQUAD colors[256];
    ReadPalette(bitmap, colors);
    WriteHeader(dib.bytes(), bitmap, layout, colorsUsed);
    WriteColorTable(dib.bytes(), colors, layout.colorCount);
    const BitmapLock lock(bitmap);
    uint8_t *rows = dib.bytes() + layout.RowsOffset();
    const int status = NeedsConversion(bitmap)
                           ? ConvertRows(bitmap, rows, layout, IsPalettised(layout.bits) ? colors : nullptr)
                           : CopyRows(bitmap, rows);
    return Failed(status) ? nullptr : dib.Release();
}

int vexo::BitmapFromDib(BitmapHandle *bitmap, const uint8_t *dib, uint64_t available)
{
    DibInfo info;
    const int status = ReadPackedHeader(dib, available, &info);
    return Failed(status) ? status : BitmapFromParts(bitmap, info, dib + info.headerSize, dib + info.RowsOffset());
}

// ---- Exports --------------------------------------------------------------------------------------------------

HGLOBAL VEXO_CALL V_ConvertToDIB(BitmapHandle *bitmap)
{
    if (!IsAllocated(bitmap))
        return nullptr;
    if (!NeedsConversion(bitmap))
        return MakeDib(bitmap, 0);
    const int bits = DibDepth(bitmap->BitsPerPixel);
    const unsigned flags = IsPalettised(bits) ? COLORRES_OWN_PALETTE : COLORRES_ORDER_BGR;
    PendingBitmap reduced;
    if (Failed(BuildReduced(&reduced, bitmap, {bits, flags, nullptr, 0})))
        return nullptr;
    return MakeDib(reduced.record(), 0);
}

HGLOBAL VEXO_CALL V_ChangeToDIB(BitmapHandle *bitmap)
{
    if (!IsAllocated(bitmap) || (bitmap->Flags & FLAG_LOCKED))
        return nullptr;
    const HGLOBAL result = IsDibStorage(bitmap) ? StorageToDib(bitmap) : MakeDib(bitmap, bitmap->ColorCount);
    if (result)
        V_FreeBitmap(bitmap);
    return result;
}

int VEXO_CALL V_ConvertFromDIB(BitmapHandle *bitmap, const BITMAPINFOHEADER *header, const void *bits)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!header || !bits)
        return ERR_INV_PARAMETER;
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(header);
    DibInfo info;
    int status = ReadHeader(bytes, kLargestHeaderSize, &info);
    if (!Failed(status))
        status = BitmapFromParts(bitmap, info, bytes + info.headerSize, static_cast<const uint8_t *>(bits));
    if (!Failed(status))
        bitmap->ColorOrder = COLOR_ORDER_BGR; // Deliberate: at every depth, also where the order means nothing.
    return status;
}

int VEXO_CALL V_ChangeFromDIB(BitmapHandle *bitmap, HGLOBAL dib)
{
    if (!bitmap || !dib)
        return ERR_INV_PARAMETER;
    uint8_t *bytes = static_cast<uint8_t *>(::GlobalLock(dib));
    if (!bytes)
        return ERR_INV_PARAMETER;
    const uint64_t available = ::GlobalSize(dib);
    if (process.isWin32s)
        return BitmapFromBlock(bitmap, dib, bytes, available);
    const int status = BitmapFromDib(bitmap, bytes, available);
    ::GlobalUnlock(dib);
    if (!Failed(status))
        ::GlobalFree(dib);
    return status;
}
