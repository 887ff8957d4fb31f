// The one door to pixels: row transfers that hide the storage kind, and single pixels as colours.
#include "colour/colour.h"
#include "core/compressed_rows.h"
#include "core/core.h"
#include "core/packed_pixels.h"
#include "core/row_kernels.h"

using namespace vexo;

namespace {

unsigned ColumnOffset(int bits, int column)
{
    return unsigned(IsSupportedDepth(bits) ? int64_t(column) * bits / 8 : column);
}

int SeekTo(BitmapHandle *bitmap, unsigned offset)
{
    return V_OsSeek(INT_PTR(bitmap->Handle), int(offset), 0) == offset ? RESULT_SUCCESS : ERR_FILE_SEEK;
}

int ReadFile(BitmapHandle *bitmap, void *buffer, unsigned offset, int byteCount)
{
    const int status = SeekTo(bitmap, offset);
    if (Failed(status))
        return status;
    const int moved = V_OsRead(INT_PTR(bitmap->Handle), buffer, unsigned(byteCount));
    return moved == byteCount ? moved : ERR_FILE_READ;
}

int WriteFile(BitmapHandle *bitmap, const void *buffer, unsigned offset, int byteCount)
{
    const int status = SeekTo(bitmap, offset);
    if (Failed(status))
        return status;
    const int moved = V_OsWrite(INT_PTR(bitmap->Handle), buffer, unsigned(byteCount));
    return moved == byteCount ? moved : ERR_FILE_WRITE;
}

// What both directions check before they look at the storage. RESULT_SUCCESS to go on.
int CheckTransfer(const BitmapHandle *bitmap, const void *buffer, int byteCount)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!IsAllocated(bitmap))
        return ERR_NO_MEMORY;
    return buffer && byteCount >= 0 ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

// ---- Single pixels --------------------------------------------------------------------------------------------

// The bytes that hold one pixel: at most 2 for indices, 4 for colours.
struct PixelPlace {
    int column; // where the transfer starts
    int within; // the pixel's number within the transferred bytes, for packed indices
    int bytes;
};

PixelPlace PlaceOf(int bits, int column)
{
    if (bits >= 8)
        return {column, 0, bits / 8};
    // Groups of eight pixels start at a byte, so a pixel's place within its bytes depends on column mod 8 only; the
    // transfer starts at the byte that V_GetBitmapRowCol rounds down to.
    const int bit = (column & 7) * bits;
    return {column, bit % 8, (bit % 8 + bits + 7) / 8};
}

unsigned ExtractBits(const uint8_t *bytes, const PixelPlace &place, int bits)
{
    const unsigned pair = unsigned(bytes[0]) << 8 | (place.bytes > 1 ? bytes[1] : 0u);
    return pair >> (16 - place.within - bits) & ((1u << bits) - 1);
}

void ReplaceBits(uint8_t *bytes, const PixelPlace &place, int bits, unsigned value)
{
    const int shift = 16 - place.within - bits;
    const unsigned mask = ((1u << bits) - 1) << shift;
    const unsigned pair = unsigned(bytes[0]) << 8 | (place.bytes > 1 ? bytes[1] : 0u);
    const unsigned replaced = (pair & ~mask) | (value << shift & mask);
    bytes[0] = uint8_t(replaced >> 8);
    if (place.bytes > 1)
        bytes[1] = uint8_t(replaced);
}

COLORREF PaletteColor(const BitmapHandle *bitmap, unsigned index)
{
    RGBQUAD entry;
    if (V_GetPaletteEntries(bitmap->Palette, int(index), 1, &entry) != 1)
        return 0;
    return RGB(entry.rgbRed, entry.rgbGreen, entry.rgbBlue);
}

COLORREF ColorFromBytes(const BitmapHandle *bitmap, const uint8_t *bytes)
{
    if (bitmap->BitsPerPixel == 16)
        return UnpackPixel16(bytes[0] | unsigned(bytes[1]) << 8, bitmap->ColorOrder);
    return bitmap->ColorOrder == COLOR_ORDER_RGB ? RGB(bytes[0], bytes[1], bytes[2])
                                                 : RGB(bytes[2], bytes[1], bytes[0]);
}

void ColorToBytes(const BitmapHandle *bitmap, COLORREF color, uint8_t *bytes)
{
    const uint8_t red = GetRValue(color), green = GetGValue(color), blue = GetBValue(color);
    if (bitmap->BitsPerPixel == 16) {
        const uint16_t pixel = PackPixel16(red, green, blue, bitmap->ColorOrder);
        bytes[0] = uint8_t(pixel);
        bytes[1] = uint8_t(pixel >> 8);
        return;
    }
    const bool redFirst = bitmap->ColorOrder == COLOR_ORDER_RGB;
    bytes[0] = redFirst ? red : blue;
    bytes[1] = green;
    bytes[2] = redFirst ? blue : red;
    bytes[3] = 0;
}

// The index a colour stands for in a palettised bitmap, or -1 when there is no palette to match it with.
int IndexOfColor(const BitmapHandle *bitmap, COLORREF color)
{
    if (color >> 24 == 1)
        return int(color & ((1u << bitmap->BitsPerPixel) - 1));
    RGBQUAD colors[256];
    const int count = V_GetPaletteEntries(bitmap->Palette, 0, bitmap->ColorCount, colors);
    return V_FindPaletteIndex(colors, count, GetRValue(color), GetGValue(color), GetBValue(color));
}

int PutIndex(BitmapHandle *bitmap, int row, int column, int index)
{
    uint8_t bytes[2] = {};
    const PixelPlace place = PlaceOf(bitmap->BitsPerPixel, column);
    const int moved = V_GetBitmapRowCol(bitmap, bytes, row, place.column, place.bytes);
    if (TransferFailed(moved))
        return moved;
    // Compressed rows hand over the whole byte the pixel lies in, which is the same byte at this depth.
    if (bitmap->BitsPerPixel == 8)
        bytes[0] = uint8_t(index);
    else
        ReplaceBits(bytes, place, bitmap->BitsPerPixel, unsigned(index));
    return V_PutBitmapRowCol(bitmap, bytes, row, place.column, place.bytes);
}

bool IsInside(const BitmapHandle *bitmap, int row, int column)
{
    return row >= 0 && row < bitmap->Height && column >= 0 && column < bitmap->Width;
}

} // namespace

// ---- Rows -----------------------------------------------------------------------------------------------------

// Steps of one row up or down cost an addition.
unsigned vexo::RowOffset(BitmapHandle *bitmap, int row)
{
    const unsigned bytesPerLine = unsigned(bitmap->BytesPerLine);
    unsigned offset = bitmap->CachedRowOffset;
    if (row == bitmap->CachedRow + 1)
        offset += bytesPerLine;
    else if (row == bitmap->CachedRow - 1)
        offset -= bytesPerLine;
    else if (row != bitmap->CachedRow)
        offset = bytesPerLine * unsigned(row);
    bitmap->CachedRow = row;
    bitmap->CachedRowOffset = offset;
    return offset;
}

int vexo::GetRowBytes(BitmapHandle *bitmap, void *buffer, int row, unsigned firstByte, int byteCount)
{
    const unsigned offset = RowOffset(bitmap, row) + firstByte;
    if (const uint8_t *rows = DirectRows(bitmap)) {
        CopyBytes(static_cast<uint8_t *>(buffer), rows + offset, size_t(byteCount));
        return byteCount;
    }
    return bitmap->Flags & FLAG_DISK ? ReadFile(bitmap, buffer, offset, byteCount) : ERR_NO_MEMORY;
}

int vexo::PutRowBytes(BitmapHandle *bitmap, const void *buffer, int row, unsigned firstByte, int byteCount)
{
    const unsigned offset = RowOffset(bitmap, row) + firstByte;
    if (uint8_t *rows = DirectRows(bitmap)) {
        CopyBytes(rows + offset, static_cast<const uint8_t *>(buffer), size_t(byteCount));
        return byteCount;
    }
    return bitmap->Flags & FLAG_DISK ? WriteFile(bitmap, buffer, offset, byteCount) : ERR_NO_MEMORY;
}

int VEXO_CALL V_GetBitmapRowCol(BitmapHandle *bitmap, void *buffer, int row, int column, int byteCount)
{
    const int status = CheckTransfer(bitmap, buffer, byteCount);
    if (Failed(status))
        return status;
    if (IsCompressed(bitmap))
        return GetCompressedRowCol(bitmap, buffer, row, column, byteCount);
    return GetRowBytes(bitmap, buffer, row, ColumnOffset(bitmap->BitsPerPixel, column), byteCount);
}

int VEXO_CALL V_PutBitmapRowCol(BitmapHandle *bitmap, const void *buffer, int row, int column, int byteCount)
{
    const int status = CheckTransfer(bitmap, buffer, byteCount);
    if (Failed(status))
        return status;
    if (IsCompressed(bitmap))
        return PutCompressedRowCol(bitmap, buffer, row, column, byteCount);
    return PutRowBytes(bitmap, buffer, row, ColumnOffset(bitmap->BitsPerPixel, column), byteCount);
}

int VEXO_CALL V_GetBitmapRow(BitmapHandle *bitmap, void *buffer, int row, int byteCount)
{
    return V_GetBitmapRowCol(bitmap, buffer, row, 0, byteCount);
}

int VEXO_CALL V_PutBitmapRow(BitmapHandle *bitmap, const void *buffer, int row, int byteCount)
{
    return V_PutBitmapRowCol(bitmap, buffer, row, 0, byteCount);
}

int vexo::ReadRow(BitmapHandle *bitmap, void *buffer, int row)
{
    const int moved = V_GetBitmapRow(bitmap, buffer, row, bitmap->BytesPerLine);
    return TransferFailed(moved) ? moved : RESULT_SUCCESS;
}

int vexo::WriteRow(BitmapHandle *bitmap, const void *buffer, int row)
{
    const int moved = V_PutBitmapRow(bitmap, buffer, row, bitmap->BytesPerLine);
    return TransferFailed(moved) ? moved : RESULT_SUCCESS;
}

// ---- Pixels ---------------------------------------------------------------------------------------------------

COLORREF VEXO_CALL V_GetPixelColor(BitmapHandle *bitmap, int row, int column)
{
    if (!IsAllocated(bitmap) || !IsInside(bitmap, row, column))
        return COLOR_INVALID;
    const BitmapLock lock(bitmap);
    const int bits = bitmap->BitsPerPixel;
    uint8_t bytes[4] = {};
    PixelPlace place = PlaceOf(bits, column);
    if (bits == 1)
        place.column = column & 0xFFF8; // Deliberate: the column mask is 16 bits wide, so columns wrap at 65536.
    if (TransferFailed(V_GetBitmapRowCol(bitmap, bytes, row, place.column, place.bytes)))
        return COLOR_INVALID;
    if (bits > 8)
        return ColorFromBytes(bitmap, bytes);
    return PaletteColor(bitmap, bits == 8 ? bytes[0] : ExtractBits(bytes, place, bits));
}

int VEXO_CALL V_PutPixelColor(BitmapHandle *bitmap, int row, int column, COLORREF color)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (!IsInside(bitmap, row, column) || !V_IsPtInBitmapRgn(bitmap, row, column))
        return ERR_INV_RANGE;
    const BitmapLock lock(bitmap);
    int moved;
    if (IsPalettised(bitmap->BitsPerPixel)) {
        const int index = IndexOfColor(bitmap, color);
        if (index < 0)
            return ERR_INV_PARAMETER;
        moved = PutIndex(bitmap, row, column, index);
    } else {
        uint8_t bytes[4];
        ColorToBytes(bitmap, color >> 24 == 1 ? 0 : color, bytes);
        moved = V_PutBitmapRowCol(bitmap, bytes, row, column, bitmap->BitsPerPixel / 8);
    }
    return TransferFailed(moved) ? moved : RESULT_SUCCESS;
}
