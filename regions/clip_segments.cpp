// Clip segments, and the write of a row inside them. Rows in memory and compressed rows are copied as ranges of bits;
// on disk whole bytes go out in one write, and only the bytes that a segment shares with its neighbours are read.
#include "regions/segments.h"

#include "core/bit_copy.h"
#include "core/compressed_rows.h"

namespace vexo {

namespace {

// Calls write(start, end) for the part of each segment that lies in the row and in the bitmap, until one fails.
template <class Write>
int ForEachSpan(const BitmapHandle *bitmap, int columnOffset, std::span<const int> segments, Write &&write)
{
    const auto nearest = [](int64_t column) { return int(std::min<int64_t>(column, INT32_MAX)); };
    const int first = nearest(std::max<int64_t>(0, -int64_t(columnOffset)));
    const int last = nearest(int64_t(bitmap->Width) - columnOffset);
    for (size_t i = 0; i + 1 < segments.size(); i += 2) {
        const int start = std::max(segments[i], first), end = std::min(segments[i + 1], last);
        if (start >= end)
            continue;
        const int status = write(start, end);
        if (Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

// Moves whole bytes from bit `fromBit` on, through a buffer where they have to be shifted.
int PutFileBytes(BitmapHandle *bitmap, int row, int64_t firstByte, const uint8_t *from, int64_t fromBit, int64_t bytes)
{
    if (fromBit % 8 == 0) {
        const int moved = PutRowBytes(bitmap, from + fromBit / 8, row, unsigned(firstByte), int(bytes));
        return TransferFailed(moved) ? moved : RESULT_SUCCESS;
    }
    uint8_t shifted[1024];
    for (int64_t done = 0; done < bytes; done += int64_t(sizeof shifted)) {
        const int64_t size = std::min<int64_t>(bytes - done, sizeof shifted);
        CopyBits(shifted, 0, from, uint64_t(fromBit + done * 8), uint64_t(size) * 8);
        const int moved = PutRowBytes(bitmap, shifted, row, unsigned(firstByte + done), int(size));
        if (TransferFailed(moved))
            return moved;
    }
    return RESULT_SUCCESS;
}

// Replaces `count` <= 8 bits of one byte.
int MergeFileByte(BitmapHandle *bitmap, int row, int64_t toBit, const uint8_t *from, int64_t fromBit, int64_t count)
{
    uint8_t byte;
    int moved = GetRowBytes(bitmap, &byte, row, unsigned(toBit / 8), 1);
    if (TransferFailed(moved))
        return moved;
    CopyBits(&byte, uint64_t(toBit % 8), from, uint64_t(fromBit), uint64_t(count));
    moved = PutRowBytes(bitmap, &byte, row, unsigned(toBit / 8), 1);
    return TransferFailed(moved) ? moved : RESULT_SUCCESS;
}

int PutFileBits(BitmapHandle *bitmap, int row, int64_t toBit, const uint8_t *from, int64_t fromBit, int64_t count)
{
    while (count > 0) {
        const bool whole = toBit % 8 == 0 && count >= 8;
        const int64_t bits = whole ? count / 8 * 8 : std::min(count, 8 - toBit % 8);
        const int status = whole ? PutFileBytes(bitmap, row, toBit / 8, from, fromBit, bits / 8)
                                 : MergeFileByte(bitmap, row, toBit, from, fromBit, bits);
        if (Failed(status))
            return status;
        toBit += bits;
        fromBit += bits;
        count -= bits;
    }
    return RESULT_SUCCESS;
}

} // namespace

int PutRowSegments(BitmapHandle *bitmap, const uint8_t *pixels, int row, int columnOffset,
                   std::span<const int> segments)
{
    const int bits = bitmap->BitsPerPixel;
    const bool compressed = IsCompressed(bitmap);
    uint8_t *memory = nullptr; // the row, where it is or is made to be in memory
    if (compressed)
        memory = OpenCompressedRow(bitmap, row);
    else if (uint8_t *rows = DirectRows(bitmap))
        memory = rows + RowOffset(bitmap, row);
    const int status = ForEachSpan(bitmap, columnOffset, segments, [&](int start, int end) {
        if (memory) {
            CopyPixels(memory, start + columnOffset, pixels, start, end - start, bits);
            return RESULT_SUCCESS;
        }
        return PutFileBits(bitmap, row, (int64_t(start) + columnOffset) * bits, pixels, int64_t(start) * bits,
                           (int64_t(end) - start) * bits);
    });
    return compressed ? StoreOpenRow(bitmap, row) : status;
}

} // namespace vexo

using namespace vexo;

int VEXO_CALL V_GetBitmapClipSegmentsMax(const BitmapHandle *bitmap, unsigned *maximum)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!maximum)
        return ERR_INV_PARAMETER;
    const BitmapRegion *region = bitmap->Region;
    *maximum = region ? (unsigned(region->Bounds.right) - unsigned(region->Bounds.left) + 1) & ~1u : 2;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_GetBitmapClipSegments(const BitmapHandle *bitmap, int row, int *segments, unsigned *count)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!count)
        return ERR_INV_PARAMETER;
    int whole[2];
    const std::span<const int> values = ClipSegments(bitmap, row, whole);
    if (!values.empty() && !segments)
        return ERR_INV_PARAMETER;
    std::copy(values.begin(), values.end(), segments);
    *count = unsigned(values.size());
    return RESULT_SUCCESS;
}

int VEXO_CALL V_PutBitmapRowSegments(BitmapHandle *bitmap, const void *buffer, int row, int columnOffset,
                                     const int *segments, unsigned count)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (count == 0)
        return RESULT_SUCCESS;
    if (!IsAllocated(bitmap))
        return ERR_NO_MEMORY;
    if (!buffer || !segments || count % 2 != 0 || row < 0 || row >= bitmap->Height)
        return ERR_INV_PARAMETER;
    return PutRowSegments(bitmap, static_cast<const uint8_t *>(buffer), row, columnOffset, {segments, count});
}
