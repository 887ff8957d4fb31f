// Compressed 1-bit storage: a table of rows, each a list of run lengths in one growable pool.
#ifndef VEXO_CORE_COMPRESSED_ROWS_H
#define VEXO_CORE_COMPRESSED_ROWS_H

#include "core/core.h"

namespace vexo {

struct RowPool; // row_pool.h

// What BitmapHandle::Data points to for compressed storage: 16 + 8 x Height bytes in the 32-bit library.
struct CompressedRows {
    struct Entry {
        uint32_t block;    // offset of the row's block header in the pool, 0 for a row that holds no data
        uint32_t runCount; // 16-bit run lengths in that block
    };

    uint16_t *scratch;    // the row coder's work space: room for the runs of a row, at most Width + 1
    uint32_t scratchSize; // in bytes: Width x 2 + 2
    RowPool *pool;
    uint32_t reserved; // 0
    Entry rows[1];     // Height entries
};
static_assert(sizeof(void *) != 4 || offsetof(CompressedRows, rows) == 16);

inline CompressedRows *CompressedRowsOf(const BitmapHandle *bitmap)
{
    return static_cast<CompressedRows *>(bitmap->Data);
}

// Make, free and re-size the storage behind a record. Sizes come from the record's Width and Height; nothing else of
// it is looked at or changed.
CompressedRows *CreateCompressedRows(int width, int height); // null: no memory
void FreeCompressedRows(CompressedRows *rows);
// Frees the blocks of rows beyond newHeight, then re-sizes the table. New rows hold no data. Null: no memory; the table
// passed in is then still good for min(oldHeight, newHeight) rows.
CompressedRows *ResizeCompressedRows(CompressedRows *rows, int oldHeight, int newHeight);

// The compressed half of V_GetBitmapRowCol and V_PutBitmapRowCol.
int GetCompressedRowCol(BitmapHandle *bitmap, void *buffer, int row, int column, int byteCount);
int PutCompressedRowCol(BitmapHandle *bitmap, const void *buffer, int row, int column, int byteCount);

// Replaces a row by that of another compressed bitmap of the same width. The runs are copied as they are.
int CopyCompressedRow(BitmapHandle *destination, const BitmapHandle *source, int row);
// Exchange two rows, which cannot fail, and mirror one left to right as runs. The second gives RESULT_SUCCESS or
// ERR_NO_MEMORY; mirroring the row once more brings back what it was without needing memory.
void ExchangeCompressedRows(BitmapHandle *bitmap, int row, int other);
int ReverseCompressedRow(BitmapHandle *bitmap, int row);

// The bits of a row, for changing some of them in place, and the coding of what they became. They are good until the
// next call with the same bitmap; the row must exist.
uint8_t *OpenCompressedRow(BitmapHandle *bitmap, int row);
int StoreOpenRow(BitmapHandle *bitmap, int row);

// V_CompressRow with the number of runs as its result: at most count + 1, 0 for a count of 0.
int CodeRuns(uint16_t *runs, const uint8_t *input, int startBit, int count);

} // namespace vexo

#endif
