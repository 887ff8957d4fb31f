// What lies behind a compressed bitmap: the table of rows and the blocks it points to.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

#include "core/compressed_rows.h"
#include "core/row_pool.h"

#include <algorithm>
#include <vector>

namespace vexo::test {
namespace {

class CompressedTable : public LibraryTest {};

TEST_F(CompressedTable, EntriesPointToBlockHeaders)
{
    TestBitmap bitmap(StorageKind::Compressed, 1000, 4, 1);
    CompressedRows *rows = CompressedRowsOf(bitmap.get());
    EXPECT_EQ(2002u, rows->scratchSize);
    EXPECT_EQ(0u, rows->rows[3].block);

    std::vector<uint8_t> bytes(size_t(bitmap->BytesPerLine), 0x0F);
    const auto put = [&](int row) { V_PutBitmapRow(bitmap.get(), bytes.data(), row, bitmap->BytesPerLine); };
    put(2);
    EXPECT_EQ(12u, rows->rows[2].block);
    EXPECT_EQ(250u, rows->rows[2].runCount); // 1000 pixels in runs of four
    const auto payload = [&](uint32_t block) {
        return reinterpret_cast<PoolBlock *>(reinterpret_cast<char *>(rows->pool) + block)->payload;
    };
    EXPECT_EQ(500u, payload(12));
    put(0);
    EXPECT_EQ(536u, rows->rows[0].block);
    std::ranges::fill(bytes, uint8_t(0));
    put(2); // shrinks where it is
    EXPECT_EQ(12u, rows->rows[2].block);
    EXPECT_EQ(1u, rows->rows[2].runCount);
    EXPECT_EQ(4u, payload(12));

    // Rows that a smaller height cuts off give their blocks back.
    EXPECT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(bitmap.get(), 2));
    rows = CompressedRowsOf(bitmap.get());
    EXPECT_EQ(12u, rows->pool->firstFree);
    EXPECT_EQ(500u, payload(12));
}

} // namespace
} // namespace vexo::test
