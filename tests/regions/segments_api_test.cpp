// Segment writes, fills and clears against images, for every depth, orientation and kind of storage; and their
// progress.
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

#include <climits>

namespace vexo::test {

namespace {

class Segments : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

// Runs a test on random pixels of every kind.
template <class Test>
void ForEachBitmap(Random &random, Test &&test)
{
    ForEachVariant(random, 8, [&](const Variant &variant) {
        const Image image = Image::Random(random, random.Between(1, 67), random.Between(1, 6), variant.bits);
        TestBitmap bitmap(variant.kind, image, variant.options);
        test(bitmap.get(), image);
    });
}

// The bytes of a bitmap's rows, padding included.
std::vector<uint8_t> BytesOf(BitmapHandle *bitmap)
{
    std::vector<uint8_t> bytes(size_t(bitmap->BytesPerLine) * size_t(bitmap->Height));
    const int previous = V_LockBitmap(bitmap);
    EXPECT_EQ(int(bytes.size()), V_GetBitmapRow(bitmap, bytes.data(), 0, int(bytes.size())));
    V_UnlockBitmap(bitmap, previous);
    return bytes;
}

// Changes the pixels of an image where a mask says so, and the bits of the rows that it makes, nothing else.
template <class Pixel>
void ExpectWritten(BitmapHandle *bitmap, std::vector<uint8_t> expected, const Image &mask, Pixel &&pixel)
{
    for (int row = 0; row < bitmap->Height; ++row)
        for (int x = 0; x < bitmap->Width; ++x)
            if (mask.At(row, x))
                SetPixelOf(expected.data() + size_t(row) * size_t(bitmap->BytesPerLine), size_t(x),
                           bitmap->BitsPerPixel, pixel(x));
    ASSERT_EQ(expected, BytesOf(bitmap));
}

} // namespace

TEST_F(Segments, WritesTouchTheirPixelsOnly)
{
    Random random(60);
    ForEachBitmap(random, [&](BitmapHandle *bitmap, const Image &image) {
        const int bits = image.bits, width = image.width;
        // A row of another width than the bitmap's, whose block ends with its last pixel.
        const Image source = Image::Random(random, random.Between(1, 80), 1, bits);
        GuardedBuffer row((size_t(source.width) * size_t(bits) + 7) / 8);
        memcpy(row.data(), source.PackedRow(0).data(), row.size());
        const Image runs = RandomMask(random, source.width, 1);
        std::vector<int> segments;
        for (int x = 0; x <= source.width; ++x)
            if ((x < source.width && runs.At(0, x)) != (x > 0 && runs.At(0, x - 1)))
                segments.push_back(x);
        const int y = random.Below(image.height), offset = random.OneIn(2) ? 0 : random.Between(-20, 20);
        Image mask(width, image.height, 1);
        for (int x = 0; x < source.width; ++x)
            if (runs.At(0, x) && x + offset >= 0 && x + offset < width)
                mask.At(y, x + offset) = 1;
        const std::vector<uint8_t> before = BytesOf(bitmap);
        const int previous = V_LockBitmap(bitmap);
        ASSERT_EQ(RESULT_SUCCESS,
                  V_PutBitmapRowSegments(bitmap, row.data(), y, offset, segments.data(), unsigned(segments.size())));
        V_UnlockBitmap(bitmap, previous);
        ExpectWritten(bitmap, before, mask, [&](int x) { return source.At(0, x - offset); });
    });
}

TEST_F(Segments, FillsClearsAndPixelsStayInTheRegion)
{
    Random random(61);
    ForEachBitmap(random, [&](BitmapHandle *bitmap, const Image &image) {
        const bool hasRegion = !random.OneIn(4);
        if (hasRegion)
            SetMask(bitmap, RandomMask(random, image.width, image.height));
        const Image mask = MaskOf(bitmap);
        const std::vector<uint8_t> before = BytesOf(bitmap);
        const unsigned flags = bitmap->Flags;
        const COLORREF color = COLORREF(random.Next()) & 0xFFFFFF;
        TestBitmap one(StorageKind::PageFile, 1, 1, image.bits, {bitmap->ColorOrder, ORIENT_TOP_DOWN, {}});
        const bool isDeep = image.bits > 8, clears = random.OneIn(3);
        const COLORREF exact = isDeep ? color : COLOR_INDEX(GetNearestPaletteIndex(bitmap->Palette, color));
        V_PutPixelColor(one.get(), 0, 0, exact);
        const uint32_t pixel = clears ? 0 : Load(one.get()).At(0, 0);
        const bool atOnce = clears || random.OneIn(2);
        if (atOnce)
            ASSERT_EQ(RESULT_SUCCESS, clears ? V_ClearBitmap(bitmap) : V_FillBitmap(bitmap, color));
        for (int row = 0; row < image.height && !atOnce; ++row)
            for (int x = 0; x < image.width; ++x)
                EXPECT_EQ(mask.At(row, x) ? RESULT_SUCCESS : ERR_INV_RANGE, V_PutPixelColor(bitmap, row, x, exact));
        ExpectWritten(bitmap, before, mask, [&](int) { return pixel; });
        EXPECT_EQ(flags, bitmap->Flags) << "unlocked again";
    });
}

// Progress: 0, then 100 at once; on disk the percentage of the region's rows.
TEST_F(Segments, ProgressOfFills)
{
    for (const StorageKind kind : StorageKinds(8)) {
        SCOPED_TRACE(kind);
        const StorageScope scope(kind);
        const bool perRow = kind == StorageKind::TemporaryFile;
        for (const int rows : {0, 1, 3, 7, 250}) {
            std::vector<int> expected = {0};
            for (int i = 1; perRow && i <= rows; ++i)
                if (const int percent = i * (100 / rows) + i * (100 % rows) / rows; percent != expected.back())
                    expected.push_back(percent);
            if (expected.back() != 100)
                expected.push_back(100);
            // A stop at the start touches nothing; one on the way leaves the rows so far.
            for (int stop = -1; stop < std::min(int(expected.size()), 8); ++stop) {
                TestBitmap bitmap(kind, Image(5, 260, 8));
                const RECT rect = {1, 4, 3, 4 + rows};
                V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
                const StatusRecorder recorder(stop);
                const int status = V_FillBitmap(bitmap.get(), COLOR_INDEX(1));
                ASSERT_EQ(stop < 0 ? RESULT_SUCCESS : StatusRecorder::kStopped, status);
                const auto filled = std::ranges::count(Load(bitmap.get()).pixels, 1u);
                if (stop < 0)
                    EXPECT_EQ(expected, recorder.percentages()) << rows << " rows";
                if (stop < 0 || expected[size_t(stop)] == 100)
                    EXPECT_EQ(rows * 2, filled);
                EXPECT_EQ(stop == 0 || rows == 0, filled == 0) << stop << " of " << rows;
            }
        }
    }
}

TEST_F(Segments, ListsAndTheirLimits)
{
    TestBitmap bitmap(StorageKind::PageFile, 10, 4, 8);
    unsigned maximum = 0, count = 99;
    int buffer[4] = {7, 7, 7, 7};
    for (int row : {0, 3, 4, -1, INT_MAX}) {
        EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapClipSegments(bitmap.get(), row, buffer, &count));
        EXPECT_TRUE(count == 2 && buffer[0] == 0 && buffer[1] == 10) << "any row of a bitmap without a region";
    }
    EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapClipSegmentsMax(bitmap.get(), &maximum));
    EXPECT_EQ(2u, maximum);
    for (int width = 0; width <= 6; ++width) {
        const RECT rect = {2, 1, 2 + width, 3};
        V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
        EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapClipSegmentsMax(bitmap.get(), &maximum));
        EXPECT_EQ(unsigned(width + 1) / 2 * 2, maximum);
    }
    buffer[0] = 7;
    for (int row : {0, 3, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapClipSegments(bitmap.get(), row, buffer, &count));
        EXPECT_TRUE(count == 0 && buffer[0] == 7) << row;
    }
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapClipSegmentsMax(nullptr, &maximum));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapClipSegmentsMax(bitmap.get(), nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_GetBitmapClipSegments(nullptr, 0, buffer, &count));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapClipSegments(bitmap.get(), 0, buffer, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapClipSegments(bitmap.get(), 1, nullptr, &count));

    const std::vector<uint8_t> before = BytesOf(bitmap.get());
    const int wild[] = {INT_MIN, -3, 11, INT_MAX};
    uint8_t row[12] = {};
    EXPECT_EQ(RESULT_SUCCESS, V_PutBitmapRowSegments(bitmap.get(), row, 0, 0, wild, 4)) << "outside is left out";
    EXPECT_EQ(RESULT_SUCCESS, V_PutBitmapRowSegments(bitmap.get(), row, 0, INT_MAX, wild, 4));
    EXPECT_EQ(RESULT_SUCCESS, V_PutBitmapRowSegments(bitmap.get(), nullptr, 0, 0, nullptr, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_PutBitmapRowSegments(nullptr, row, 0, 0, wild, 4));
    EXPECT_EQ(ERR_INV_PARAMETER, V_PutBitmapRowSegments(bitmap.get(), nullptr, 0, 0, wild, 4));
    EXPECT_EQ(ERR_INV_PARAMETER, V_PutBitmapRowSegments(bitmap.get(), row, 0, 0, nullptr, 4));
    EXPECT_EQ(ERR_INV_PARAMETER, V_PutBitmapRowSegments(bitmap.get(), row, 0, 0, wild, 3));
    for (int y : {-1, 4, INT_MAX, INT_MIN})
        EXPECT_EQ(ERR_INV_PARAMETER, V_PutBitmapRowSegments(bitmap.get(), row, y, 0, wild, 4));
    EXPECT_EQ(before, BytesOf(bitmap.get()));
    BitmapHandle bare;
    V_InitBitmap(&bare, 8, 8, 8);
    EXPECT_EQ(ERR_NO_MEMORY, V_PutBitmapRowSegments(&bare, row, 0, 0, wild, 4));
    EXPECT_EQ(ERR_NO_BITMAP, V_FillBitmap(&bare, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_FillBitmap(nullptr, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_ClearBitmap(nullptr));
}

// On disk each transfer may fail; compressed rows may find no memory. The rest of the row stays as it was.
TEST_F(Segments, FailingStorage)
{
    Random random(62);
    for (const StorageKind kind : StorageKinds(1)) {
        if (kind != StorageKind::TemporaryFile && kind != StorageKind::Compressed)
            continue;
        SCOPED_TRACE(kind);
        const StorageScope scope(kind);
        const int bits = kind == StorageKind::Compressed ? 1 : 8;
        const int width = kind == StorageKind::Compressed ? 40000 : 60; // rows that need the pool to grow
        const Image source = Image::Random(random, width, 1, bits);
        const int segments[] = {3, 5, 9, width - 2};
        ForEachFault(kFaultMemory | kFaultFiles, [&](FaultInjector &faults) {
            TestBitmap bitmap(kind, Image(width, 2, bits));
            const int status = faults.Run(
                [&] { return V_PutBitmapRowSegments(bitmap.get(), source.PackedRow(0).data(), 1, 0, segments, 4); });
            EXPECT_EQ(faults.struck(), status != RESULT_SUCCESS);
            if (kind == StorageKind::Compressed && faults.struck())
                EXPECT_EQ(ERR_NO_MEMORY, status);
            const Image after = Load(bitmap.get());
            for (int x = 0; x < width; ++x) {
                const bool inside = (x >= 3 && x < 5) || (x >= 9 && x < width - 2);
                EXPECT_EQ(0u, after.At(0, x));
                if (status == RESULT_SUCCESS || !inside)
                    ASSERT_EQ(inside ? source.At(0, x) : 0u, after.At(1, x)) << x;
                else
                    ASSERT_TRUE(after.At(1, x) == 0 || after.At(1, x) == source.At(0, x)) << x;
            }
        });
    }
}

} // namespace vexo::test
