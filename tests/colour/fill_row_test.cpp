// Rows of one colour at every depth and order.
#include "colour/colour.h"
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

namespace vexo::test {

namespace {

class FillRow : public LibraryTest {};

// Fills a row that ends at an unreadable page and checks every pixel and the bits behind the last one.
void ExpectFilled(const BitmapHandle *bitmap, COLORREF color, size_t count, uint32_t expected)
{
    const int bits = bitmap->BitsPerPixel;
    const size_t bytes = (count * size_t(bits) + 7) / 8;
    GuardedBuffer row(bytes);
    FillRowWithColor(bitmap, color, row.data(), count);
    for (size_t x = 0; x < bytes * 8 / size_t(bits); ++x)
        ASSERT_EQ(expected, PixelOf(row.data(), x, bits))
            << bits << " bits, order " << bitmap->ColorOrder << ", colour " << std::hex << color << ", pixel " << x;
}

} // namespace

TEST_F(FillRow, IndicesAreMaskedToTheDepth)
{
    Random random(9);
    for (int bits = 1; bits <= 8; ++bits) {
        TestBitmap bitmap(StorageKind::PageFile, 8, 1, bits);
        for (int round = 0; round < 40; ++round) {
            const unsigned index = unsigned(random.Below(1024));
            ExpectFilled(bitmap.get(), COLOR_INDEX(index), size_t(random.Between(1, 67)), index & ((1u << bits) - 1));
        }
    }
}

TEST_F(FillRow, ColoursGoThroughTheBitmapsPalette)
{
    for (int bits = 1; bits <= 8; ++bits) {
        TestBitmap bitmap(StorageKind::PageFile, 8, 1, bits);
        for (const COLORREF color : {RGB(0, 0, 0), RGB(255, 255, 255), RGB(250, 3, 1), RGB(1, 250, 254)}) {
            const UINT nearest = GetNearestPaletteIndex(bitmap->Palette, color);
            ExpectFilled(bitmap.get(), color, 19, nearest);
        }
    }
}

TEST_F(FillRow, DeepPixelsFollowTheOrder)
{
    const COLORREF color = RGB(0x12, 0x9A, 0xF7);
    const struct {
        int bits, order;
        uint32_t expected;
    } cases[] = {
        {16, COLOR_ORDER_BGR, 0x02 << 10 | 0x13 << 5 | 0x1E},
        {16, COLOR_ORDER_RGB, 0x1E << 10 | 0x13 << 5 | 0x02},
        {24, COLOR_ORDER_BGR, 0x129AF7},
        {24, COLOR_ORDER_RGB, 0xF79A12},
        {32, COLOR_ORDER_BGR, 0x00129AF7},
        {32, COLOR_ORDER_RGB, 0x00F79A12},
    };
    for (const auto &c : cases) {
        TestBitmap bitmap(StorageKind::PageFile, 8, 1, c.bits, {.colorOrder = c.order, .palette = {}});
        for (const size_t count : {1, 2, 5, 64, 67})
            ExpectFilled(bitmap.get(), color, count, c.expected);
        ExpectFilled(bitmap.get(), COLOR_INDEX(3), 5, 0); // an index names nothing: black
    }
}

} // namespace vexo::test
