// Painting rows from a buffer: bands at their places, the direct drawing with its fixed left edge, runs.
#include "tests/support/fake_device.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/page_heap.h"
#include "tests/support/paint_model.h"
#include "tests/support/stretch_recorder.h"

#include <algorithm>

namespace vexo::test {

namespace {

class PaintBuffer : public LibraryTest {};

// The stored rows of an image in a buffer that ends at an unreadable page.
struct Rows {
    GuardedBuffer buffer;
    std::vector<uint8_t> before;

    Rows(const Image &image, int first, int count) : buffer(image.PackedRow(0).size() * size_t(count))
    {
        for (int i = 0; i < count; ++i) {
            const std::vector<uint8_t> row = image.PackedRow(first + i);
            std::copy(row.begin(), row.end(), buffer.data() + size_t(i) * row.size());
        }
        before.assign(buffer.data(), buffer.data() + buffer.size());
    }
    bool IsUnchanged() const { return std::equal(before.begin(), before.end(), buffer.data()); }
};

} // namespace

// Bands from any number of rows, in any order, put the picture together that one paint shows.
TEST_F(PaintBuffer, BandsMakeTheWholePicture)
{
    Random random(101);
    for (const int bits : kAllDepths)
        for (int round = 0; round < 8; ++round) {
            const FakeDevice fake(round % 4 == 3 ? 8 : 24);
            V_SetDisplayMode(~0u, round % 4 == 3 ? DISPLAYMODE_DITHER | DISPLAYMODE_BIT0 : 0);
            const Image image = Image::Random(random, random.Between(1, 50), random.Between(1, 40), bits);
            const BitmapOptions options = RandomOptions(random, bits);
            TestBitmap bitmap(StorageKind::PageFile, image, options);
            TestBitmap record(StorageKind::PageFile, image.width, image.height, bits, options); // with other rows
            // Unscaled bands go to x 0, all of them; scaled ones to where they belong.
            const bool scaled = round % 2, mirrored = random.OneIn(3);
            const int left = scaled ? random.Between(-5, 20) : 0, top = random.Between(-5, 20);
            RECT target = {left, top, left + (scaled ? random.Between(1, 70) : image.width),
                           top + (scaled ? random.Between(1, 60) : image.height)};
            if (mirrored)
                std::swap(target.top, target.bottom);
            const RECT clip = {random.Between(0, 20), 0, 80, random.Between(20, 70)};

            MemoryDevice whole(80, 70, 32), bands(80, 70, 32);
            ASSERT_EQ(RESULT_SUCCESS, V_PaintDC(whole.dc(), bitmap.get(), nullptr, nullptr, &target,
                                                scaled ? &clip : nullptr, SRCCOPY));
            V_SetDisplayMode(DISPLAYMODE_KEEP_BLACK, DISPLAYMODE_KEEP_BLACK); // does not apply to buffers
            for (int row = 0; row < image.height;) {
                const bool isRuns = bits == 1 && random.OneIn(2); // of a single row
                const int count = isRuns ? 1 : std::min(random.Between(1, 12), image.height - row);
                const Rows rows(image, row, count);
                WORD runs[51];
                V_CompressRow(runs, rows.buffer.data(), 0, isRuns ? image.width : 0);
                ASSERT_EQ(RESULT_SUCCESS,
                          V_PaintDCBuffer(bands.dc(), record.get(), nullptr, nullptr, &target, scaled ? &clip : nullptr,
                                          SRCCOPY, isRuns ? static_cast<void *>(runs) : rows.buffer.data(), row,
                                          isRuns ? -1 : count));
                EXPECT_TRUE(rows.IsUnchanged());
                row += count;
            }
            ASSERT_EQ(whole.ColorsFromTop(), bands.ColorsFromTop())
                << bits << " bits, round " << round << ", orientation " << options.orientation << ", mirrored "
                << mirrored;
        }
}

TEST_F(PaintBuffer, DrawsUnscaledRowsInFullWidthAtTheLeftEdge)
{
    Random random(102);
    for (const int bits : {1, 4, 8, 24})
        for (const int orientation : {ORIENT_BOTTOM_UP, ORIENT_TOP_DOWN}) {
            V_SetDisplayMode(~0u, 0);
            const Image image = Image::Random(random, 20, 30, bits);
            BitmapHandle record; // which needs no rows of its own
            V_InitBitmap(&record, 20, 30, bits);
            record.Orientation = orientation;
            const Rows rows(image, 6, 5);
            const RECT source = {2, 0, 17, 30}, target = {40, 100, 55, 130};
            const HDC dc = CreateCompatibleDC(nullptr);
            StretchRecorder recorder(false);
            ASSERT_EQ(RESULT_SUCCESS, V_PaintDCBuffer(dc, &record, &source, nullptr, &target, nullptr, SRCPAINT,
                                                      rows.buffer.data(), 6, 5));
            DeleteDC(dc);
            ASSERT_EQ(1u, recorder.calls.size());
            const StretchCall &call = recorder.calls[0];
            EXPECT_EQ(0, call.x);
            EXPECT_EQ(orientation == ORIENT_BOTTOM_UP ? 100 + 30 - 11 : 106, call.y);
            EXPECT_EQ(20, call.width);
            EXPECT_EQ(5, call.height);
            EXPECT_TRUE(call.header.biWidth == 20 && call.header.biHeight == 5);
            EXPECT_EQ(bits <= 8 ? DWORD(1) << bits : 0, call.header.biClrUsed);
            EXPECT_EQ(DWORD(SRCPAINT), call.rop);
            EXPECT_TRUE(rows.IsUnchanged());
        }
}

TEST_F(PaintBuffer, LeavesOutRowsThatThereAreNot)
{
    BitmapHandle record;
    V_InitBitmap(&record, 10, 10, 8);
    uint8_t rows[120] = {};
    const RECT target = {0, 0, 10, 10};
    MemoryDevice device(10, 10, 32);
    StretchRecorder recorder(false);
    const auto paint = [&](uint8_t *given, int first, int count) {
        return V_PaintDCBuffer(device.dc(), &record, nullptr, nullptr, &target, nullptr, SRCCOPY, given, first, count);
    };
    for (const int first : {10, 500, -10, 0x7FFFFFFF})
        EXPECT_EQ(RESULT_SUCCESS, paint(rows, first, 10));
    for (const int count : {0, -2, int(0x80000000)})
        for (const int first : {0, int(0x80000000)})
            EXPECT_EQ(RESULT_SUCCESS, paint(rows, first, count));
    EXPECT_EQ(ERR_NO_BITMAP, paint(nullptr, 0, 10));
    EXPECT_EQ(ERR_NO_BITMAP,
              V_PaintRgnDCBuffer(device.dc(), &record, nullptr, nullptr, &target, nullptr, SRCCOPY, nullptr, 0, 10));
    record.BitsPerPixel = 9;
    EXPECT_EQ(ERR_BAD_BITS_PER_PIXEL, paint(rows, 0, 10));
    EXPECT_TRUE(recorder.calls.empty());
}

} // namespace vexo::test
