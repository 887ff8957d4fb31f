// Compressed 1-bit storage: reads expand a row's runs, writes code the row again. Whatever is not a whole row is merged
// as bits, so that the runs stored are always those of the picture. All work space is in the table's scratch buffer:
// once a bitmap is made, only the pool can run out of memory.
#include "core/compressed_rows.h"

#include "core/bit_copy.h"
#include "core/row_pool.h"

#include <algorithm>
#include <cstring>

namespace vexo {

namespace {

constexpr uint32_t BitBytes(int pixels) { return (uint32_t(pixels) + 7) / 8; }

// Bytes of a table, or 0 when it is too large.
unsigned TableBytes(int height)
{
    const uint64_t bytes = offsetof(CompressedRows, rows) + uint64_t(height) * sizeof(CompressedRows::Entry);
    return bytes <= UINT32_MAX ? unsigned(bytes) : 0;
}

// ---- The work space -------------------------------------------------------------------------------------------

// The runs of a row are coded at the front of the scratch buffer, and its bits wait at the end. Coding may overwrite
// bits that it has read: 8 n pixels make at most 16 n bytes of runs before the last one, and the buffer holds 2 bytes a
// pixel and more, so the runs never reach the bits that are still to be read.
uint8_t *RowBits(const CompressedRows *rows, int width)
{
    return reinterpret_cast<uint8_t *>(rows->scratch) + rows->scratchSize - BitBytes(width);
}

// ---- Rows -----------------------------------------------------------------------------------------------------

const uint16_t *StoredRuns(const CompressedRows *rows, int row)
{
    const uint32_t block = rows->rows[row].block;
    return block ? static_cast<const uint16_t *>(BlockData(rows->pool, block)) : nullptr;
}

// Stores runs, which do not lie in the bitmap's own pool, as a row.
int StoreRuns(BitmapHandle *bitmap, int row, const uint16_t *runs, uint32_t runCount)
{
    CompressedRows *rows = CompressedRowsOf(bitmap);
    CompressedRows::Entry &entry = rows->rows[row];
    const uint32_t bytes = runCount * uint32_t(sizeof(uint16_t));
    const uint32_t block = entry.block ? ResizeBlock(rows->pool, entry.block, bytes) : AllocateBlock(rows->pool, bytes);
    if (!block)
        return ERR_NO_MEMORY;
    memcpy(BlockData(rows->pool, block), runs, bytes);
    entry = {block, runCount};
    bitmap->Size = rows->pool->size;
    return RESULT_SUCCESS;
}

// Appends a run, in parts when it is longer than a word can say. Returns the new end.
uint16_t *AppendRun(uint16_t *end, int64_t length)
{
    constexpr int kMaxRun = 65535;
    for (; length > kMaxRun; length -= kMaxRun) {
        *end++ = kMaxRun;
        *end++ = 0;
    }
    *end++ = uint16_t(length);
    return end;
}

// Codes the bits of a whole row, which may lie in the place of RowBits.
int CodeRow(BitmapHandle *bitmap, int row, const uint8_t *bits)
{
    const CompressedRows *rows = CompressedRowsOf(bitmap);
    const int runCount = CodeRuns(rows->scratch, bits, 0, bitmap->Width);
    return StoreRuns(bitmap, row, rows->scratch, uint32_t(runCount));
}

// Writes bits to a row from a column on. They may lie in the scratch buffer: at its front for a part of a row, in the
// place of RowBits for a whole one.
int WriteBits(BitmapHandle *bitmap, int row, int column, const uint8_t *bits, int count)
{
    if (column != 0 || count != bitmap->Width) {
        uint8_t *const rowBits = OpenCompressedRow(bitmap, row);
        CopyBits(rowBits, unsigned(column), bits, 0, unsigned(count));
        bits = rowBits;
    }
    return CodeRow(bitmap, row, bits);
}

// Expands a caller's runs, which need not cover all of the `count` pixels. False when they go beyond them.
bool ExpandCallersRuns(uint8_t *bits, const WORD *runs, int runCount, int count)
{
    int64_t covered = 0;
    for (int i = 0; i < runCount; ++i)
        covered += runs[i];
    if (covered > count)
        return false;
    V_ExpandRow(runs, bits, 0, int(covered));
    const uint32_t written = BitBytes(int(covered));
    memset(bits + written, 0, BitBytes(count) - written);
    return true;
}

// ---- Transfers ------------------------------------------------------------------------------------------------

bool IsPixel(const BitmapHandle *bitmap, int row, int column)
{
    return row >= 0 && row < bitmap->Height && column >= 0 && column < bitmap->Width;
}

// Walks a transfer row by row: step(row, column, pixels, done, bytes) moves `pixels` pixels and stands for `bytes`
// bytes of the buffer from `done` on. Returns the bytes moved, or the first error.
template <class Step>
int ForEachRow(const BitmapHandle *bitmap, int row, int column, int byteCount, Step &&step)
{
    if (!IsPixel(bitmap, row, column))
        return ERR_INV_PARAMETER;
    column = column / 8 * 8;
    int done = 0;
    for (; done < byteCount && row < bitmap->Height; ++row, column = 0) {
        const int bytes = std::min(bitmap->BytesPerLine - column / 8, byteCount - done);
        const int pixels = int(std::min<int64_t>(bitmap->Width - column, int64_t(bytes) * 8));
        const int status = step(row, column, pixels, done, bytes);
        if (Failed(status))
            return status;
        done += bytes;
    }
    return done;
}

// What both directions of the transfer of runs check. RESULT_SUCCESS to go on.
int CheckRunTransfer(const BitmapHandle *bitmap, const void *expanded, const WORD *runs, int row, int column,
                     int pixelCount)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (!IsCompressed(bitmap) || (!expanded && !runs) || !IsPixel(bitmap, row, column))
        return ERR_INV_PARAMETER;
    return pixelCount >= 0 && pixelCount <= bitmap->Width - column ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

} // namespace

// ---- The table ------------------------------------------------------------------------------------------------

CompressedRows *CreateCompressedRows(int width, int height)
{
    const uint64_t scratchBytes = uint64_t(width) * 2 + 2;
    const unsigned tableBytes = TableBytes(height);
    if (scratchBytes > UINT32_MAX || tableBytes == 0)
        return nullptr;
    auto *rows = static_cast<CompressedRows *>(V_OsAllocInit(tableBytes, 1));
    if (!rows)
        return nullptr;
    rows->scratchSize = uint32_t(scratchBytes);
    rows->scratch = static_cast<uint16_t *>(V_OsAlloc(rows->scratchSize));
    if (rows->scratch)
        rows->pool = CreateRowPool();
    if (!rows->pool) {
        FreeCompressedRows(rows);
        return nullptr;
    }
    return rows;
}

void FreeCompressedRows(CompressedRows *rows)
{
    FreeRowPool(rows->pool);
    V_OsFree(rows->scratch);
    V_OsFree(rows);
}

CompressedRows *ResizeCompressedRows(CompressedRows *rows, int oldHeight, int newHeight)
{
    for (int row = newHeight; row < oldHeight; ++row) {
        if (rows->rows[row].block)
            FreeBlock(rows->pool, rows->rows[row].block);
        rows->rows[row] = {};
    }
    const unsigned bytes = TableBytes(newHeight);
    auto *resized = bytes ? static_cast<CompressedRows *>(ReAllocKeepingLock(rows, bytes)) : nullptr;
    if (!resized)
        return nullptr;
    for (int row = oldHeight; row < newHeight; ++row)
        resized->rows[row] = {};
    return resized;
}

int CopyCompressedRow(BitmapHandle *destination, const BitmapHandle *source, int row)
{
    const CompressedRows *from = CompressedRowsOf(source);
    if (const uint16_t *runs = StoredRuns(from, row))
        return StoreRuns(destination, row, runs, from->rows[row].runCount);
    CompressedRows *to = CompressedRowsOf(destination);
    if (to->rows[row].block)
        FreeBlock(to->pool, to->rows[row].block);
    to->rows[row] = {};
    destination->Size = to->pool->size;
    return RESULT_SUCCESS;
}

// ---- Rows as bits ---------------------------------------------------------------------------------------------

int GetCompressedRowCol(BitmapHandle *bitmap, void *buffer, int row, int column, int byteCount)
{
    const CompressedRows *rows = CompressedRowsOf(bitmap);
    return ForEachRow(bitmap, row, column, byteCount, [&](int r, int start, int pixels, int done, int bytes) {
        uint8_t *output = static_cast<uint8_t *>(buffer) + done;
        V_ExpandRow(StoredRuns(rows, r), output, start, pixels);
        memset(output + BitBytes(pixels), 0, uint32_t(bytes) - BitBytes(pixels)); // padding
        return RESULT_SUCCESS;
    });
}

int PutCompressedRowCol(BitmapHandle *bitmap, const void *buffer, int row, int column, int byteCount)
{
    return ForEachRow(bitmap, row, column, byteCount, [&](int r, int start, int pixels, int done, int) {
        return WriteBits(bitmap, r, start, static_cast<const uint8_t *>(buffer) + done, pixels);
    });
}

uint8_t *OpenCompressedRow(BitmapHandle *bitmap, int row)
{
    const CompressedRows *rows = CompressedRowsOf(bitmap);
    uint8_t *const rowBits = RowBits(rows, bitmap->Width);
    V_ExpandRow(StoredRuns(rows, row), rowBits, 0, bitmap->Width);
    return rowBits;
}

int StoreOpenRow(BitmapHandle *bitmap, int row)
{
    return CodeRow(bitmap, row, RowBits(CompressedRowsOf(bitmap), bitmap->Width));
}

// ---- Mirroring ------------------------------------------------------------------------------------------------

void ExchangeCompressedRows(BitmapHandle *bitmap, int row, int other)
{
    CompressedRows *rows = CompressedRowsOf(bitmap);
    std::swap(rows->rows[row], rows->rows[other]);
}

int ReverseCompressedRow(BitmapHandle *bitmap, int row)
{
    CompressedRows *rows = CompressedRowsOf(bitmap);
    const uint16_t *stored = StoredRuns(rows, row);
    if (!stored)
        return RESULT_SUCCESS;
    // A row that ends with pixels of value 1 gets an empty run in front, and the one of a row that begins with them
    // goes. Empty runs between others only join the parts of one that is longer than a word can say.
    const int count = int(rows->rows[row].runCount);
    uint16_t *end = rows->scratch;
    if (count % 2 == 0)
        *end++ = 0;
    for (int i = count - 1; i >= 0; --i) {
        int64_t length = stored[i];
        for (; i >= 2 && stored[i - 1] == 0; i -= 2)
            length += stored[i - 2];
        if (i > 0 || length > 0)
            end = AppendRun(end, length);
    }
    const int written = int(end - rows->scratch);
    if (written > count)
        return StoreRuns(bitmap, row, rows->scratch, uint32_t(written));
    // The block keeps its size, so that the row it held before finds room in it again.
    memcpy(BlockData(rows->pool, rows->rows[row].block), rows->scratch, size_t(written) * sizeof(uint16_t));
    rows->rows[row].runCount = uint32_t(written);
    return RESULT_SUCCESS;
}

} // namespace vexo

// ---- Rows as runs ---------------------------------------------------------------------------------------------

using namespace vexo;

int VEXO_CALL V_GetBitmapRowColCompressed(BitmapHandle *bitmap, void *expanded, WORD *runs, int row, int column,
                                          int pixelCount, int *runCount)
{
    const int status = CheckRunTransfer(bitmap, expanded, runs, row, column, pixelCount);
    if (Failed(status))
        return status;
    const CompressedRows *rows = CompressedRowsOf(bitmap);
    const uint16_t *stored = StoredRuns(rows, row);
    const bool asStored = runs && stored && pixelCount == bitmap->Width;
    // Without a buffer for the bits, and with runs to be coded anew, the scratch buffer takes them.
    uint8_t *bits = static_cast<uint8_t *>(expanded);
    if (!bits && !asStored)
        bits = reinterpret_cast<uint8_t *>(rows->scratch);
    if (bits)
        V_ExpandRow(stored, bits, column, pixelCount);

    int count = 0;
    if (asStored) {
        count = int(rows->rows[row].runCount);
        memcpy(runs, stored, size_t(count) * sizeof(WORD));
    } else if (runs) {
        count = CodeRuns(runs, bits, 0, pixelCount);
    }
    if (runCount)
        *runCount = count;
    return pixelCount;
}

int VEXO_CALL V_PutBitmapRowColCompressed(BitmapHandle *bitmap, const void *expanded, const WORD *runs, int row,
                                          int column, int pixelCount, int runCount)
{
    const int status = CheckRunTransfer(bitmap, expanded, runs, row, column, pixelCount);
    if (Failed(status))
        return status;
    if (runs && runCount < 0)
        return ERR_INV_PARAMETER;
    auto *bits = static_cast<const uint8_t *>(expanded);
    if (runs) {
        const CompressedRows *rows = CompressedRowsOf(bitmap);
        const bool whole = pixelCount == bitmap->Width;
        uint8_t *place = whole ? RowBits(rows, bitmap->Width) : reinterpret_cast<uint8_t *>(rows->scratch);
        if (!ExpandCallersRuns(place, runs, runCount, pixelCount))
            return ERR_INV_PARAMETER;
        bits = place;
    }
    if (pixelCount == 0)
        return 0;
    const int written = WriteBits(bitmap, row, column, bits, pixelCount);
    return Failed(written) ? written : pixelCount;
}
