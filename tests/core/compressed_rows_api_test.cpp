// Compressed bitmaps through the public header: random transfers of bits and of runs, of parts of rows and of several
// rows, against an array of pixels; and what is refused.
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/runs.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

namespace vexo::test {
namespace {

// One bitmap beside its image, and random transfers that keep the two alike.
class Pair {
public:
    Pair(Random &random, int width, int height)
        : m_random(random), m_image(width, height, 1), m_bitmap(StorageKind::Compressed, width, height, 1)
    {
    }

    // A part of row `m_row`; every third time all of it.
    void ChoosePart()
    {
        m_row = m_random.Below(m_image.height);
        m_column = m_random.OneIn(3) ? 0 : m_random.Below(m_image.width);
        const int rest = m_image.width - m_column;
        m_count = m_random.OneIn(3) ? rest : m_random.Between(1, rest);
    }

    void PutRows() { MoveRows(true); }
    void GetRows() { MoveRows(false); }

    void PutRuns()
    {
        ChoosePart();
        const Image drawn = Image::RandomRuns(m_random, m_image.width, m_image.height, 1);
        std::vector<WORD> runs = RunsOf(drawn, m_row, m_column, m_count);
        if (m_random.OneIn(3)) // zeros behind the last run need not be given
            runs.resize(size_t(m_random.Below(int(runs.size()) + 1)));
        if (m_random.OneIn(3) && !runs.empty() && runs[0] > 1) { // and runs may come in pieces
            --runs[0];
            runs.insert(runs.begin(), {1, 0});
        }
        int at = m_column;
        for (size_t i = 0; i < runs.size(); ++i)
            for (int n = runs[i]; n > 0; --n)
                m_image.At(m_row, at++) = i % 2;
        while (at < m_column + m_count)
            m_image.At(m_row, at++) = 0;

        GuardedBuffer input(runs.size() * sizeof(WORD));
        if (!runs.empty())
            memcpy(input.data(), runs.data(), input.size());
        GuardedBuffer ignored((size_t(m_count) + 7) / 8);
        const void *expanded = m_random.OneIn(2) ? ignored.data() : nullptr;
        EXPECT_EQ(m_count, V_PutBitmapRowColCompressed(m_bitmap.get(), expanded, input.as<WORD>(), m_row, m_column,
                                                       m_count, int(runs.size())));
    }

    void PutBits()
    {
        ChoosePart();
        GuardedBuffer bits((size_t(m_count) + 7) / 8);
        m_random.Fill(bits.data(), bits.size());
        for (int x = 0; x < m_count; ++x)
            m_image.At(m_row, m_column + x) = PixelOf(bits.data(), size_t(x), 1);
        EXPECT_EQ(m_count,
                  V_PutBitmapRowColCompressed(m_bitmap.get(), bits.data(), nullptr, m_row, m_column, m_count, 0));
    }

    void GetRuns()
    {
        ChoosePart();
        const std::vector<WORD> expected = RunsOf(m_image, m_row, m_column, m_count);
        const std::vector<uint8_t> expectedBits = BitsOf(m_image, m_row, m_column, m_count);
        GuardedBuffer runs(expected.size() * sizeof(WORD)), bits(expectedBits.size());
        const bool wantsRuns = m_random.OneIn(2), wantsBits = !wantsRuns || m_random.OneIn(2);
        int runCount = -1;
        EXPECT_EQ(m_count, V_GetBitmapRowColCompressed(m_bitmap.get(), wantsBits ? bits.data() : nullptr,
                                                       wantsRuns ? runs.as<WORD>() : nullptr, m_row, m_column, m_count,
                                                       &runCount));
        EXPECT_EQ(wantsRuns ? int(expected.size()) : 0, runCount);
        if (wantsRuns) {
            EXPECT_EQ(0, memcmp(expected.data(), runs.data(), runs.size()));
        }
        if (wantsBits) {
            EXPECT_EQ(0, memcmp(expectedBits.data(), bits.data(), bits.size()));
        }
    }

    void ChangeHeight()
    {
        const int height = m_random.Between(1, 12);
        EXPECT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(m_bitmap.get(), height));
        m_image.pixels.resize(size_t(m_image.width) * size_t(height));
        m_image.height = height;
    }

    void ExpectAlike() { EXPECT_EQ(m_image, Load(m_bitmap.get())); }

private:
    // Through the ordinary row functions, over any number of rows and beyond the last.
    void MoveRows(bool put)
    {
        ChoosePart();
        const int bytesPerLine = m_bitmap->BytesPerLine;
        const int first = m_column / 8 * 8; // where the transfer starts
        const int available = bytesPerLine * (m_image.height - m_row) - first / 8;
        const int byteCount = m_random.OneIn(3) ? bytesPerLine : m_random.Below(bytesPerLine * 3 + 1);
        const int moved = std::min(byteCount, available);
        GuardedBuffer buffer{size_t(moved)}; // what is too much of the count is never touched
        m_random.Fill(buffer.data(), buffer.size());
        std::vector<uint8_t> expected(size_t(moved), 0);
        for (int at = 0, row = m_row, x = first; at < moved; ++row, x = 0) {
            const int bytes = std::min(bytesPerLine - x / 8, moved - at);
            for (int i = 0; i < bytes * 8 && x + i < m_image.width; ++i) {
                if (put)
                    m_image.At(row, x + i) = PixelOf(&buffer[size_t(at)], size_t(i), 1);
                else
                    SetPixelOf(&expected[size_t(at)], size_t(i), 1, m_image.At(row, x + i));
            }
            at += bytes;
        }
        const int result = put ? V_PutBitmapRowCol(m_bitmap.get(), buffer.data(), m_row, m_column, byteCount)
                               : V_GetBitmapRowCol(m_bitmap.get(), buffer.data(), m_row, m_column, byteCount);
        EXPECT_EQ(moved, result);
        if (!put && moved > 0) {
            EXPECT_EQ(0, memcmp(expected.data(), buffer.data(), expected.size()));
        }
    }

    Random &m_random;
    Image m_image;
    TestBitmap m_bitmap;
    int m_row = 0;
    int m_column = 0;
    int m_count = 0;
};

class CompressedRowsApi : public LibraryTest {};

TEST_F(CompressedRowsApi, AllTransfersMatchAnArrayOfPixels)
{
    Random random(14);
    for (const int width : {1, 2, 7, 8, 9, 31, 32, 33, 250, 2481, 140000}) {
        SCOPED_TRACE("width " + std::to_string(width));
        Pair pair(random, width, 8);
        pair.ExpectAlike(); // rows never written are 0
        for (int round = 0; round < (width > 10000 ? 60 : 400); ++round) {
            constexpr void (Pair::*kTransfers[])() = {&Pair::PutRows, &Pair::GetRows, &Pair::PutRuns,
                                                      &Pair::GetRuns, &Pair::PutBits, &Pair::ChangeHeight};
            (pair.*kTransfers[random.Below(6)])();
            if (round % 10 == 0)
                pair.ExpectAlike();
            ASSERT_FALSE(HasFailure()) << "round " << round;
        }
        pair.ExpectAlike();
    }
}

TEST_F(CompressedRowsApi, RefusedTransfersTouchNothing)
{
    Random random(15);
    const Image image = Image::Random(random, 100, 3, 1);
    TestBitmap compressed(StorageKind::Compressed, image), plain(StorageKind::PageFile, image);
    const BitmapSnapshot snapshot(compressed.get());
    WORD runs[101] = {40, 20, 41};
    uint8_t bits[16];
    int runCount = 77;
    const auto expect = [&](int expected, BitmapHandle *bitmap, int row, int column, int count) {
        EXPECT_EQ(expected, V_GetBitmapRowColCompressed(bitmap, bits, runs, row, column, count, &runCount));
        EXPECT_EQ(expected, V_PutBitmapRowColCompressed(bitmap, bits, nullptr, row, column, count, 0));
    };
    BitmapHandle empty = {};
    expect(ERR_NO_BITMAP, nullptr, 0, 0, 8);
    expect(ERR_NO_BITMAP, &empty, 0, 0, 8);
    expect(ERR_INV_PARAMETER, plain.get(), 0, 0, 8);
    for (const auto &[row, column, count] : {std::array{-1, 0, 8},
                                             {3, 0, 8},
                                             {0, -1, 8},
                                             {0, 100, 0},
                                             {0, 0, 101},
                                             {0, 93, 8},
                                             {0, 0, -1},
                                             {0, 1, INT_MAX}})
        expect(ERR_INV_PARAMETER, compressed.get(), row, column, count);
    expect(0, compressed.get(), 0, 0, 0);
    EXPECT_EQ(0, runCount);
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapRowColCompressed(compressed.get(), nullptr, nullptr, 0, 0, 8, &runCount));
    EXPECT_EQ(ERR_INV_PARAMETER, V_PutBitmapRowColCompressed(compressed.get(), nullptr, nullptr, 0, 0, 8, 0));
    // Too many pixels in the runs, too few runs for what they say, and more runs than a row can have.
    for (const auto &[column, count, given] : {std::array{0, 100, 3}, {1, 59, 2}, {0, 100, -1}, {0, 100, 101}})
        EXPECT_EQ(ERR_INV_PARAMETER,
                  V_PutBitmapRowColCompressed(compressed.get(), nullptr, runs, 1, column, count, given));
    snapshot.ExpectUnchanged();
}

// The pool's size is the bitmap's after each write; a row that becomes simpler gives room to others.
TEST_F(CompressedRowsApi, SizeFollowsThePool)
{
    constexpr int kWidth = 2000, kHeight = 20; // a row of alternating pixels takes 4000 bytes and a header
    TestBitmap bitmap(StorageKind::Compressed, kWidth, kHeight, 1);
    std::vector<uint8_t> busy(size_t(bitmap->BytesPerLine), 0x55), blank(busy.size(), 0);
    for (int row = 0; row < kHeight; ++row) {
        EXPECT_EQ(bitmap->BytesPerLine, V_PutBitmapRow(bitmap.get(), busy.data(), row, bitmap->BytesPerLine));
        const unsigned used = 12 + unsigned(row + 1) * (24 + 4000);
        EXPECT_EQ((used + 16383) / 16384 * 16384, bitmap->Size) << "row " << row;
    }
    const unsigned full = bitmap->Size;
    for (int round = 0; round < 5; ++round)
        for (const auto *bytes : {&blank, &busy})
            for (int row = 0; row < kHeight; ++row)
                V_PutBitmapRow(bitmap.get(), bytes->data(), row, bitmap->BytesPerLine);
    EXPECT_EQ(full, bitmap->Size);
}

} // namespace
} // namespace vexo::test
