// Row transfers and single pixels in every kind of storage, held against plain images.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include "vexokit.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace vexo::test {

namespace {

class Rows : public LibraryTest {
private:
    const PageHeapScope m_pageHeap; // storage ends at unreadable pages in every build
};

} // namespace

TEST_F(Rows, TransfersMatchOneArrayOfBytes)
{
    Random random(10);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        if (variant.kind == StorageKind::Compressed)
            return;
        const int height = random.Between(2, 50);
        TestBitmap bitmap(variant.kind, Image(random.Between(1, 67), height, variant.bits));
        const int bytesPerLine = bitmap->BytesPerLine, size = int(bitmap->Size);
        std::vector<uint8_t> model(bitmap->Size);
        const int previous = V_LockBitmap(bitmap.get());
        int row = 0;
        for (int i = 0; i < 300; ++i) {
            // Mostly one row up, one down or the same, as the row cache likes it.
            row = random.OneIn(4) ? random.Below(height) : std::clamp(row + random.Between(-1, 1), 0, height - 1);
            const bool isWholeRow = random.OneIn(3);
            const int column = isWholeRow ? 0 : random.Below(bitmap->Width);
            const int place = row * bytesPerLine + column * variant.bits / 8;
            const int limit = random.OneIn(4) ? size - place : std::min(size - place, bytesPerLine);
            const int count = isWholeRow ? bytesPerLine : random.Between(0, limit);
            GuardedBuffer buffer(static_cast<size_t>(count));
            random.Fill(buffer.data(), buffer.size());
            int moved;
            if (random.OneIn(2)) {
                std::ranges::copy(buffer.span(), model.begin() + place);
                moved = isWholeRow ? V_PutBitmapRow(bitmap.get(), buffer.data(), row, count)
                                   : V_PutBitmapRowCol(bitmap.get(), buffer.data(), row, column, count);
            } else {
                moved = isWholeRow ? V_GetBitmapRow(bitmap.get(), buffer.data(), row, count)
                                   : V_GetBitmapRowCol(bitmap.get(), buffer.data(), row, column, count);
            }
            ASSERT_EQ(count, moved);
            ASSERT_EQ(0, memcmp(model.data() + place, buffer.data(), buffer.size()))
                << "row " << row << ", column " << column << ", " << count << " bytes";
        }
        GuardedBuffer all(bitmap->Size);
        ASSERT_EQ(size, V_GetBitmapRow(bitmap.get(), all.data(), 0, size));
        EXPECT_TRUE(std::ranges::equal(model, all.span()));
        V_UnlockBitmap(bitmap.get(), previous);
    });
}

TEST_F(Rows, RefusedTransfers)
{
    uint8_t buffer[16] = {};
    const auto expect = [&](int status, BitmapHandle *bitmap, void *bytes, int row, int column, int count) {
        EXPECT_EQ(status, V_GetBitmapRowCol(bitmap, bytes, row, column, count)) << row << ", " << column;
        EXPECT_EQ(status, V_PutBitmapRowCol(bitmap, bytes, row, column, count)) << row << ", " << column;
        if (column == 0) {
            EXPECT_EQ(status, V_GetBitmapRow(bitmap, bytes, row, count)) << row;
            EXPECT_EQ(status, V_PutBitmapRow(bitmap, bytes, row, count)) << row;
        }
    };
    BitmapHandle empty;
    V_InitBitmap(&empty, 8, 8, 8);
    expect(ERR_NO_BITMAP, nullptr, buffer, 0, 0, 4);
    expect(ERR_NO_MEMORY, &empty, buffer, 0, 0, 4);
    for (StorageKind kind : StorageKinds(1)) {
        SCOPED_TRACE(kind);
        const StorageScope scope(kind);
        TestBitmap bitmap(kind, 30, 4, 1);
        const BitmapHandle before = *bitmap.get();
        const int previous = V_LockBitmap(bitmap.get());
        expect(ERR_INV_PARAMETER, bitmap.get(), nullptr, 0, 0, 4);
        expect(ERR_INV_PARAMETER, bitmap.get(), buffer, 0, 0, -1);
        const POINT outside[] = {{0, 30}, {0, 1000}, {0, -1}, {4, 0}, {-1, 0}, {INT_MAX, 0}};
        if (kind == StorageKind::Compressed)
            for (const auto &[row, column] : outside)
                expect(ERR_INV_PARAMETER, bitmap.get(), buffer, row, column, 1);
        V_UnlockBitmap(bitmap.get(), previous);
        EXPECT_TRUE(SameRecord(before, *bitmap.get()));
    }
}

// ---- Pixels ---------------------------------------------------------------------------------------------------

namespace {

// The number that stands for a colour, written out from the layout.
uint32_t PixelOfColor(COLORREF color, int bits, int order, const std::vector<RGBQUAD> &palette)
{
    const uint32_t red = GetRValue(color), green = GetGValue(color), blue = GetBValue(color);
    if (bits <= 8) {
        if (color >> 24 == 1)
            return color & ((1u << bits) - 1);
        return uint32_t(V_FindPaletteIndex(palette.data(), 1 << bits, int(red), int(green), int(blue)));
    }
    if (color >> 24 == 1)
        return 0;
    const uint32_t first = order == COLOR_ORDER_RGB ? red : blue, last = order == COLOR_ORDER_RGB ? blue : red;
    return bits == 16 ? first >> 3 | green >> 3 << 5 | last >> 3 << 10 : first | green << 8 | last << 16;
}

} // namespace

TEST_F(Rows, PixelsAreColours)
{
    Random random(13);
    ForEachVariant(random, 4, [&](const Variant &variant) {
        const auto &[order, orientation, palette] = variant.options;
        const int width = random.Between(1, 67), height = random.Between(1, 9);
        Image image = Image::Random(random, width, height, variant.bits);
        TestBitmap bitmap(variant.kind, image, variant.options);
        const unsigned flags = bitmap->Flags;
        for (int i = 0; i < 150; ++i) {
            const int row = random.Below(height), column = random.Below(width);
            ASSERT_EQ(ColorOfPixel(image.At(row, column), variant.bits, order, palette),
                      V_GetPixelColor(bitmap.get(), row, column))
                << row << ", " << column << " of " << width;
            const COLORREF color =
                random.OneIn(3) ? COLOR_INDEX(random.Below(0x10000)) : COLORREF(random.Next()) & 0xFFFFFF;
            ASSERT_EQ(RESULT_SUCCESS, V_PutPixelColor(bitmap.get(), row, column, color));
            image.At(row, column) = PixelOfColor(color, variant.bits, order, palette);
        }
        const POINT outside[] = {{-1, 0}, {0, -1}, {height, 0}, {0, width}, {INT_MIN, INT_MAX}};
        for (const auto &[row, column] : outside) {
            EXPECT_EQ(COLOR_INVALID, V_GetPixelColor(bitmap.get(), row, column));
            EXPECT_EQ(ERR_INV_RANGE, V_PutPixelColor(bitmap.get(), row, column, 0));
        }
        EXPECT_EQ(image, Load(bitmap.get())) << "no other pixel has changed";
        EXPECT_EQ(flags, bitmap->Flags) << "unlocked again";
    });
    EXPECT_EQ(COLOR_INVALID, V_GetPixelColor(nullptr, 0, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_PutPixelColor(nullptr, 0, 0, 0));
}

TEST_F(Rows, ReadingOneBitPixelsWrapsAt65536Columns)
{
    for (StorageKind kind : StorageKinds(1)) {
        SCOPED_TRACE(kind);
        const StorageScope scope(kind);
        TestBitmap bitmap(kind, Image(70000, 2, 1));
        EXPECT_EQ(RESULT_SUCCESS, V_PutPixelColor(bitmap.get(), 1, 5, COLOR_INDEX(1)));
        EXPECT_EQ(RGB(255, 255, 255), V_GetPixelColor(bitmap.get(), 1, 65541)) << "the pixel at column 5";
        EXPECT_EQ(RESULT_SUCCESS, V_PutPixelColor(bitmap.get(), 1, 65542, COLOR_INDEX(1)));
        EXPECT_EQ(RGB(0, 0, 0), V_GetPixelColor(bitmap.get(), 1, 65542)) << "the pixel at column 6";
        EXPECT_EQ(1u, Load(bitmap.get()).At(1, 65542)) << "writing does not wrap";
    }
}

} // namespace vexo::test
