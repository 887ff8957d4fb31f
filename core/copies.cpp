// Copies of bitmaps: all rows into an existing bitmap, a whole bitmap, a rectangle. Rows that lie in memory are copied
// where they lie, compressed ones as the runs they are; only what is left goes through a row buffer.
#include "core/bit_copy.h"
#include "core/compressed_rows.h"
#include "core/row_io.h"
#include "core/row_kernels.h"
#include "regions/region.h"

#include <algorithm>
#include <climits>

using namespace vexo;

namespace {

// ---- Whole bitmaps --------------------------------------------------------------------------------------------

// What two bitmaps have in common, counted in rows and bytes.
struct CommonRows {
    int rows;
    int bytes;
    bool sameRow; // rows are as long in both
};

void CopyDirectRows(uint8_t *to, const BitmapHandle *destination, const uint8_t *from, const BitmapHandle *source,
                    const CommonRows &common)
{
    if (common.sameRow) {
        CopyBytes(to, from, size_t(common.bytes) * size_t(common.rows));
        return;
    }
    for (int y = 0; y < common.rows; ++y, to += destination->BytesPerLine, from += source->BytesPerLine)
        CopyBytes(to, from, size_t(common.bytes));
}

int CopyCompressedRows(BitmapHandle *destination, const BitmapHandle *source, const CommonRows &common)
{
    for (int y = 0; y < common.rows; ++y) {
        const int status = CopyCompressedRow(destination, source, y);
        if (Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

int CopyBufferedRows(BitmapHandle *destination, BitmapHandle *source, const CommonRows &common)
{
    const Buffer<uint8_t> row(size_t(common.bytes));
    if (!row)
        return ERR_NO_MEMORY;
    // Deliberate: a row that cannot be read or written is left out and does not end the copy.
    for (int y = 0; y < common.rows; ++y)
        if (!TransferFailed(V_GetBitmapRow(source, row.data(), y, common.bytes)))
            V_PutBitmapRow(destination, row.data(), y, common.bytes);
    return RESULT_SUCCESS;
}

int CopyRows(BitmapHandle *destination, BitmapHandle *source)
{
    const BitmapLock destinationLock(destination), sourceLock(source);
    if (destination->Data == source->Data)
        return RESULT_SUCCESS; // two records of one bitmap
    const CommonRows common = {std::min(destination->Height, source->Height),
                               std::min(destination->BytesPerLine, source->BytesPerLine),
                               destination->BytesPerLine == source->BytesPerLine};
    if (IsCompressed(destination) && IsCompressed(source) && destination->Width == source->Width)
        return CopyCompressedRows(destination, source, common);
    uint8_t *to = DirectRows(destination);
    const uint8_t *from = DirectRows(source);
    if (!to || !from)
        return CopyBufferedRows(destination, source, common);
    CopyDirectRows(to, destination, from, source, common);
    return RESULT_SUCCESS;
}

// ---- Rectangles -----------------------------------------------------------------------------------------------

// The part of a rectangle that lies in a bitmap.
struct Overlap {
    int left, top;     // in the bitmap
    int toLeft, toTop; // in the rectangle
    int width, height; // below 1: nothing
};

Overlap ClipToBitmap(const BitmapHandle *bitmap, int left, int top, int width, int height)
{
    const int x = std::max(left, 0), y = std::max(top, 0);
    const int64_t right = std::min(int64_t(left) + width, int64_t(bitmap->Width));
    const int64_t bottom = std::min(int64_t(top) + height, int64_t(bitmap->Height));
    if (right <= x || bottom <= y)
        return {};
    return {x, y, x - left, y - top, int(right - x), int(bottom - y)};
}

int CopyRect(BitmapHandle *destination, BitmapHandle *source, const Overlap &part)
{
    const BitmapLock destinationLock(destination), sourceLock(source);
    ClearNewStorage(destination);
    if (part.width < 1)
        return RESULT_SUCCESS;
    RowReader reader(source);
    RowWriter writer(destination);
    if (!reader || !writer)
        return ERR_NO_MEMORY;
    for (int y = 0; y < part.height; ++y) {
        const uint8_t *from;
        if (const int status = reader.Read(part.top + y, &from); Failed(status))
            return status;
        CopyPixels(writer.Row(part.toTop + y), part.toLeft, from, part.left, part.width, source->BitsPerPixel);
        if (const int status = writer.Write(part.toTop + y); Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

// The distance that brings a coordinate to 0. The lowest number has no opposite; what is that far away is out of sight.
constexpr int BackTo0(int coordinate) { return coordinate == INT_MIN ? INT_MAX : -coordinate; }

} // namespace

int VEXO_CALL V_CopyBitmapData(BitmapHandle *destination, BitmapHandle *source)
{
    if (!IsAllocated(source) || !IsAllocated(destination))
        return ERR_NO_BITMAP;
    return CopyRows(destination, source);
}

int VEXO_CALL V_CopyBitmap(BitmapHandle *destination, BitmapHandle *source)
{
    if (!destination || !IsAllocated(source))
        return ERR_NO_BITMAP;
    PendingBitmap copy;
    int status = DuplicateForFilling(copy.record(), source, source->Width, source->Height, source->BitsPerPixel,
                                     DUP_PALETTE | DUP_REGION);
    if (!Failed(status))
        status = CopyRows(copy.record(), source);
    if (Failed(status))
        return status;
    copy.DeliverTo(destination, source);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_CopyBitmapRect(BitmapHandle *destination, BitmapHandle *source, int left, int top, int width,
                               int height)
{
    if (!destination || !IsAllocated(source))
        return ERR_NO_BITMAP;
    PendingBitmap copy;
    int status =
        V_DupBitmapNewDim(copy.record(), source, width, height, source->BitsPerPixel, DUP_ALLOCATE | DUP_PALETTE);
    copy->Region = nullptr; // still the source's own
    if (!Failed(status))
        status = CopyRegionMoved(copy.record(), source, BackTo0(left), BackTo0(top));
    if (!Failed(status))
        status = CopyRect(copy.record(), source, ClipToBitmap(source, left, top, width, height));
    if (Failed(status))
        return status;
    copy.DeliverTo(destination, source);
    return RESULT_SUCCESS;
}
