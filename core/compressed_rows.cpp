// Rows kept as run lengths: transfers expand them into the caller's bytes and code the caller's bytes back. Partial
// writes expand the row, replace the pixels and code it again, so the runs of a row depend on its pixels alone.
#include "core/compressed_rows.h"

#include "core/packed_pixels.h"
#include "core/row_pool.h"

#include <cstring>

namespace vexo {

namespace {

using Entry = CompressedRows::Entry;

// The runs of a row, or null for one that holds no data.
const uint16_t *RunsOf(const CompressedRows *rows, int row)
{
    const Entry &entry = rows->rows[row];
    return entry.block ? reinterpret_cast<const uint16_t *>(PayloadOf(rows->pool, entry.block)) : nullptr;
}

int StoreRuns(BitmapHandle *bitmap, int row, const uint16_t *runs, int count)
{
    CompressedRows *rows = CompressedRowsOf(bitmap);
    const uint32_t bytes = uint32_t(count) * 2;
    const uint32_t block = ResizeRowBlock(&rows->pool, rows->rows[row].block, bytes);
    if (!block)
        return ERR_NO_MEMORY;
    memcpy(PayloadOf(rows->pool, block), runs, bytes);
    rows->rows[row] = {block, uint32_t(count)};
    bitmap->Size = rows->pool->totalSize;
    return RESULT_SUCCESS;
}

// Codes a whole row of bits and stores it.
int StoreRow(BitmapHandle *bitmap, int row, const uint8_t *bits)
{
    CompressedRows *rows = CompressedRowsOf(bitmap);
    return StoreRuns(bitmap, row, rows->scratch, CodeRuns(rows->scratch, bits, 0, bitmap->Width));
}

// Replaces `count` pixels of a row from `column` on with bits from the first bit of `bits` on.
int StorePart(BitmapHandle *bitmap, int row, int column, const uint8_t *bits, int count)
{
    if (column == 0 && count == bitmap->Width)
        return StoreRow(bitmap, row, bits);
    Buffer<uint8_t> whole(size_t(PackedBytes(bitmap->Width, 1)));
    if (!whole)
        return ERR_NO_MEMORY;
    V_ExpandRow(RunsOf(CompressedRowsOf(bitmap), row), whole.data(), 0, bitmap->Width);
    int done = 0;
    if (column % 8 == 0) {
        done = count & ~7;
        memcpy(whole.data() + column / 8, bits, size_t(done) / 8);
    }
    for (; done < count; ++done)
        PackedPixels<1>::Put(whole.data(), size_t(column + done), PackedPixels<1>::Get(bits, size_t(done)));
    return StoreRow(bitmap, row, whole.data());
}

// One row's share of a transfer: 8 pixels a byte up to the end of the row, and the padding behind it.
struct Step {
    int pixels;
    int bytes;
};

Step StepOf(const BitmapHandle *bitmap, int column, int remaining)
{
    const int rest = bitmap->BytesPerLine - column / 8;
    const int bytes = remaining < rest ? remaining : rest;
    const int64_t pixels = int64_t(bytes) * 8;
    return {pixels < bitmap->Width - column ? int(pixels) : bitmap->Width - column, bytes};
}

bool IsRow(const BitmapHandle *bitmap, int row) { return row >= 0 && row < bitmap->Height; }

// Runs transferStep(row, column, done, step) for the rows of a transfer. Returns the bytes moved or the first error.
template <class TransferStep>
int ForEachStep(BitmapHandle *bitmap, int row, int column, int byteCount, TransferStep transferStep)
{
    if (!IsRow(bitmap, row) || column < 0 || column >= bitmap->Width)
        return ERR_INV_PARAMETER;
    int done = 0;
    for (column &= ~7; done < byteCount && row < bitmap->Height; ++row, column = 0) {
        const Step step = StepOf(bitmap, column, byteCount - done);
        const int status = transferStep(row, column, done, step);
        if (Failed(status))
            return status;
        done += step.bytes;
    }
    return done;
}

// What the run functions check. RESULT_SUCCESS to go on.
int CheckRunTransfer(const BitmapHandle *bitmap, int row, int column, int pixelCount)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (!IsCompressed(bitmap) || !IsRow(bitmap, row) || column < 0 || column >= bitmap->Width || pixelCount < 0 ||
        pixelCount > bitmap->Width - column)
        return ERR_INV_PARAMETER;
    return RESULT_SUCCESS;
}

// Expands a caller's list of runs, which need not cover all pixels, to `bits`. False when it covers more.
bool ExpandList(const uint16_t *runs, int runCount, Buffer<uint8_t> &bits, int pixelCount)
{
    int64_t covered = 0;
    for (int i = 0; i < runCount; ++i)
        covered += runs[i];
    if (covered > pixelCount)
        return false;
    if (covered > 0)
        V_ExpandRow(runs, bits.data(), 0, int(covered));
    return true;
}

} // namespace

// ---- Storage --------------------------------------------------------------------------------------------------

CompressedRows *CreateCompressedRows(int width, int height)
{
    const uint64_t tableBytes = offsetof(CompressedRows, rows) + sizeof(Entry) * uint64_t(height);
    const uint64_t scratchBytes = uint64_t(width) * 2 + 2;
    if (tableBytes > 0xFFFFFF00u || scratchBytes > 0xFFFFFF00u)
        return nullptr;
    auto *rows = static_cast<CompressedRows *>(V_OsAllocInit(unsigned(tableBytes), 1));
    if (!rows)
        return nullptr;
    rows->scratchSize = uint32_t(scratchBytes);
    rows->scratch = static_cast<uint16_t *>(V_OsAlloc(rows->scratchSize));
    rows->pool = rows->scratch ? CreateRowPool() : nullptr;
    if (!rows->pool) {
        FreeCompressedRows(rows);
        return nullptr;
    }
    return rows;
}

void FreeCompressedRows(CompressedRows *rows)
{
    V_OsFree(rows->pool);
    V_OsFree(rows->scratch);
    V_OsFree(rows);
}

CompressedRows *ResizeCompressedRows(CompressedRows *rows, int oldHeight, int newHeight)
{
    for (int row = newHeight; row < oldHeight; ++row) {
        if (rows->rows[row].block)
            FreeRowBlock(rows->pool, rows->rows[row].block);
        rows->rows[row] = {};
    }
    // Shrinking keeps the table's size, so that it holds entries for both heights at every moment.
    const uint64_t entries = uint64_t(oldHeight > newHeight ? oldHeight : newHeight);
    const uint64_t bytes = offsetof(CompressedRows, rows) + sizeof(Entry) * entries;
    if (bytes > 0xFFFFFF00u)
        return nullptr;
    auto *resized = static_cast<CompressedRows *>(ReAllocKeepingLock(rows, unsigned(bytes)));
    for (int row = oldHeight; resized && row < newHeight; ++row)
        resized->rows[row] = {};
    return resized;
}

// ---- Transfers of bytes ---------------------------------------------------------------------------------------

int GetCompressedRowCol(BitmapHandle *bitmap, void *buffer, int row, int column, int byteCount)
{
    uint8_t *bytes = static_cast<uint8_t *>(buffer);
    const CompressedRows *rows = CompressedRowsOf(bitmap);
    return ForEachStep(bitmap, row, column, byteCount, [&](int r, int c, int done, const Step &step) {
        V_ExpandRow(RunsOf(rows, r), bytes + done, c, step.pixels);
        const int expanded = (step.pixels + 7) / 8;
        memset(bytes + done + expanded, 0, size_t(step.bytes - expanded));
        return RESULT_SUCCESS;
    });
}

int PutCompressedRowCol(BitmapHandle *bitmap, const void *buffer, int row, int column, int byteCount)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(buffer);
    return ForEachStep(bitmap, row, column, byteCount, [&](int r, int c, int done, const Step &step) {
        return StorePart(bitmap, r, c, bytes + done, step.pixels);
    });
}

} // namespace vexo

using namespace vexo;

// ---- Transfers of runs ----------------------------------------------------------------------------------------

int VEXO_CALL V_GetBitmapRowColCompressed(BitmapHandle *bitmap, void *expanded, WORD *runs, int row, int column,
                                          int pixelCount, int *runCount)
{
    const int status = CheckRunTransfer(bitmap, row, column, pixelCount);
    if (Failed(status))
        return status;
    if ((!expanded && !runs) || (runs && !runCount))
        return ERR_INV_PARAMETER;
    Buffer<uint8_t> work(expanded ? 1 : size_t(PackedBytes(pixelCount, 1)) + 1);
    if (!work)
        return ERR_NO_MEMORY;
    uint8_t *bits = expanded ? static_cast<uint8_t *>(expanded) : work.data();
    V_ExpandRow(RunsOf(CompressedRowsOf(bitmap), row), bits, column, pixelCount);
    if (runs)
        *runCount = CodeRuns(runs, bits, 0, pixelCount);
    return pixelCount;
}

int VEXO_CALL V_PutBitmapRowColCompressed(BitmapHandle *bitmap, const void *expanded, const WORD *runs, int row,
                                          int column, int pixelCount, int runCount)
{
    const int status = CheckRunTransfer(bitmap, row, column, pixelCount);
    if (Failed(status))
        return status;
    if ((!expanded && !runs) || (runs && runCount < 0))
        return ERR_INV_PARAMETER;
    if (pixelCount == 0)
        return 0;
    int stored;
    if (runs) {
        Buffer<uint8_t> bits(size_t(PackedBytes(pixelCount, 1)), Buffer<uint8_t>::Fill::Zero);
        if (!bits)
            return ERR_NO_MEMORY;
        if (!ExpandList(runs, runCount, bits, pixelCount))
            return ERR_INV_PARAMETER;
        stored = StorePart(bitmap, row, column, bits.data(), pixelCount);
    } else {
        stored = StorePart(bitmap, row, column, static_cast<const uint8_t *>(expanded), pixelCount);
    }
    return Failed(stored) ? stored : pixelCount;
}
