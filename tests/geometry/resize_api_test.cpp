// Resizing by nearest sampling against the formula, for bitmaps of all depths and storages and for streamed rows.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace vexo::test {

namespace {

using Resize = LibraryTest;

int SourceOf(int i, int oldSize, int newSize) { return int(int64_t(i) * oldSize / newSize); }

Image Nearest(const Image &image, int width, int height)
{
    Image result(width, height, image.bits);
    for (int row = 0; row < height; ++row)
        for (int x = 0; x < width; ++x)
            result.At(row, x) = image.At(SourceOf(row, image.height, height), SourceOf(x, image.width, width));
    return result;
}

// A region keeps the pixels between the scaled places of its edges.
Image ScaledMask(const Image &mask, int width, int height)
{
    Image result(width, height, 1);
    for (int row = 0; row < mask.height; ++row)
        for (int x = 0; x < mask.width; ++x)
            if (mask.At(row, x))
                for (int y = row * height / mask.height; y < (row + 1) * height / mask.height; ++y)
                    for (int i = x * width / mask.width; i < (x + 1) * width / mask.width; ++i)
                        result.At(y, i) = 1;
    return result;
}

std::vector<uint8_t> RowBytes(int width, int bits) { return std::vector<uint8_t>(size_t((width * bits + 7) / 8)); }

// The counts that a context gives for rows in an order.
std::vector<int> Counts(int oldHeight, int newHeight, const std::vector<int> &rows)
{
    ResizeContext *context = nullptr;
    EXPECT_EQ(RESULT_SUCCESS, V_StartResize(2, oldHeight, 3, newHeight, &context));
    std::vector<int> counts;
    for (const int row : rows) {
        uint8_t buffer[3] = {1, 2, 3};
        int width = 0, count = -1;
        EXPECT_EQ(V_Resize(buffer, row, 8, &width, &count, context), count);
        EXPECT_EQ(3, width);
        if (count == 0)
            EXPECT_THAT(buffer, testing::ElementsAre(1, 2, 3));
        counts.push_back(count);
    }
    V_StopResize(context);
    return counts;
}

} // namespace

TEST_F(Resize, BitmapsTakeTheNearestPixelsAndScaleTheRegion)
{
    Random random(321);
    ForEachVariant(random, 12, [&](const Variant &variant) {
        const Image image = Image::Random(random, random.Between(1, 90), random.Between(1, 20), variant.bits);
        const int width = random.OneIn(4) ? image.width : random.Between(1, 100);
        const int height = random.OneIn(4) ? image.height : random.Between(1, 40);
        SCOPED_TRACE(testing::Message() << image.width << " x " << image.height << " to " << width << " x " << height);
        const Image expected = Nearest(image, width, height);
        TestBitmap source(variant.kind, image, variant.options);
        TestBitmap destination(variant.kind, width, height, variant.bits, RandomOptions(random, variant.bits));
        ASSERT_EQ(RESULT_SUCCESS, V_ResizeBitmap(source.get(), destination.get()));
        const Image result = Load(destination.get());
        const bool mirrored = source->Orientation != destination->Orientation;
        for (int row = 0; row < height; ++row)
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(expected.At(mirrored ? height - 1 - row : row, x), result.At(row, x));

        const bool hasRegion = random.OneIn(2);
        if (hasRegion)
            SetRandomRegion(source.get(), random);
        const Image mask = MaskOf(source.get());
        source->XResolution = 200;
        source->AnimDelay = 20;
        const BitmapHandle before = *source.get();
        ASSERT_EQ(RESULT_SUCCESS, V_SizeBitmap(source.get(), width, height));
        EXPECT_EQ(expected, Load(source.get()));
        EXPECT_EQ(before.Orientation, source->Orientation);
        EXPECT_EQ(before.Flags & FLAG_COMPRESSED, source->Flags & FLAG_COMPRESSED);
        EXPECT_EQ(200, source->XResolution);
        EXPECT_EQ(20u, source->AnimDelay);
        EXPECT_EQ(hasRegion, V_BitmapHasRgn(source.get()) == 1);
        if (hasRegion)
            EXPECT_EQ(ScaledMask(mask, width, height), MaskOf(source.get()));
    });
}

TEST_F(Resize, StreamedRowsAreThoseOfTheBitmap)
{
    Random random(322);
    for (int i = 0; i < 600; ++i) {
        const int bits = kAllDepths[size_t(i) % kAllDepths.size()];
        const Image image = Image::Random(random, random.Between(1, 60), random.Between(1, 9), bits);
        const int width = random.Between(1, 60), height = random.Between(1, 30);
        ResizeContext *context = nullptr;
        ASSERT_EQ(RESULT_SUCCESS, V_StartResize(image.width, image.height, width, height, &context));
        int made = 0;
        for (int row = 0; row < image.height; ++row) {
            const std::vector<uint8_t> source = image.PackedRow(row);
            GuardedBuffer buffer(std::max(RowBytes(image.width, bits).size(), RowBytes(width, bits).size()));
            std::copy_n(source.begin(), RowBytes(image.width, bits).size(), buffer.data());
            int newWidth = 0, count = 0;
            ASSERT_EQ(V_Resize(buffer.data(), row, bits, &newWidth, &count, context), count);
            ASSERT_EQ(width, newWidth);
            for (int x = 0; x < width && count > 0; ++x)
                ASSERT_EQ(image.At(row, SourceOf(x, image.width, width)), PixelOf(buffer.data(), size_t(x), bits))
                    << bits << " bits, " << image.width << " to " << width << ", pixel " << x;
            made += count;
        }
        EXPECT_EQ(height, made);
        V_StopResize(context);
    }
}

TEST_F(Resize, RowCountsDoNotDependOnTheOrderOfRows)
{
    EXPECT_THAT(Counts(6, 3, {0, 1, 2, 3, 4, 5}), testing::ElementsAre(0, 1, 0, 1, 0, 1));
    EXPECT_THAT(Counts(6, 3, {5, 4, 3, 2, 1, 0}), testing::ElementsAre(1, 0, 1, 0, 1, 0));
    Random random(323);
    for (int i = 0; i < 300; ++i) {
        const int oldHeight = random.Between(1, 40), newHeight = random.Between(1, 100);
        std::vector<int> rows(static_cast<size_t>(oldHeight)), expected;
        std::iota(rows.begin(), rows.end(), 0);
        if (i % 3 == 1)
            std::reverse(rows.begin(), rows.end());
        for (int swaps = i % 3 == 2 ? 10 : 0; swaps > 0; --swaps) // runs of rows both ways
            std::reverse(rows.begin() + random.Below(oldHeight), rows.end());
        for (const int row : rows)
            expected.push_back((row + 1) * newHeight / oldHeight - row * newHeight / oldHeight);
        if (oldHeight == newHeight)
            expected.assign(rows.size(), 1);
        EXPECT_EQ(expected, Counts(oldHeight, newHeight, rows)) << oldHeight << " to " << newHeight;
    }
}

TEST_F(Resize, StreamedRowsInSmallAndWithBadArguments)
{
    ResizeContext *context = nullptr;
    ASSERT_EQ(RESULT_SUCCESS, V_StartResize(3, 1, 6, 1, &context));
    EXPECT_EQ(sizeof(ResizeContext), 56u);
    EXPECT_EQ(-1, context->LastRow);
    EXPECT_EQ(0, context->XStep);
    EXPECT_EQ(3, context->XFraction);
    EXPECT_EQ(1, context->YRepeat);
    uint8_t row[6] = {1, 2, 3};
    int width = 0, count = 0;
    EXPECT_EQ(1, V_Resize(row, 0, 8, &width, &count, context));
    EXPECT_THAT(row, testing::ElementsAre(1, 1, 2, 2, 3, 3));

    const ResizeContext before = *context;
    EXPECT_EQ(ERR_INV_PARAMETER, V_Resize(nullptr, 0, 8, &width, &count, context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_Resize(row, 0, 8, nullptr, &count, context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_Resize(row, 0, 8, &width, nullptr, context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_Resize(row, 0, 8, &width, &count, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_Resize(row, 0, 12, &width, &count, context));
    EXPECT_EQ(ERR_INV_RANGE, V_Resize(row, 1, 8, &width, &count, context));
    EXPECT_EQ(ERR_INV_RANGE, V_Resize(row, -1, 8, &width, &count, context));
    EXPECT_EQ(0, memcmp(&before, context, sizeof before));
    EXPECT_EQ(RESULT_SUCCESS, V_StopResize(context));
    EXPECT_EQ(RESULT_SUCCESS, V_StopResize(nullptr));

    EXPECT_EQ(ERR_INV_PARAMETER, V_StartResize(3, 1, 0, 1, &context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_StartResize(3, 1, 1, -1, &context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_StartResize(0, 1, 1, 1, &context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_StartResize(3, 0, 1, 1, &context));
    EXPECT_EQ(ERR_INV_PARAMETER, V_StartResize(3, 1, 1, 1, nullptr));

    // Products of sizes and rows go beyond 32 bits.
    ASSERT_EQ(RESULT_SUCCESS, V_StartResize(4, 2000000000, 2, 1500000000, &context));
    uint8_t wide[4] = {1, 2, 3, 4};
    EXPECT_EQ(0, V_Resize(wide, 0, 8, &width, &count, context));
    EXPECT_EQ(1, V_Resize(wide, 1999999999, 8, &width, &count, context));
    EXPECT_THAT(wide, testing::ElementsAre(1, 3, 3, 4));
    V_StopResize(context);
}

TEST_F(Resize, RefusesOtherDepthsAndLeavesItsOwnSize)
{
    TestBitmap bitmap(StorageKind::PageFile, 40, 30, 4), other(StorageKind::PageFile, 20, 130, 8);
    const BitmapSnapshot before(bitmap.get());
    BitmapHandle empty = {};
    EXPECT_EQ(ERR_NO_BITMAP, V_ResizeBitmap(nullptr, other.get()));
    EXPECT_EQ(ERR_NO_BITMAP, V_ResizeBitmap(bitmap.get(), nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_ResizeBitmap(&empty, other.get()));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ResizeBitmap(bitmap.get(), other.get()));
    const StatusRecorder status;
    EXPECT_EQ(RESULT_SUCCESS, V_SizeBitmap(bitmap.get(), 40, 30)) << "its own size";
    EXPECT_TRUE(status.percentages().empty());
    EXPECT_EQ(RESULT_SUCCESS, V_ResizeBitmap(bitmap.get(), bitmap.get()));
    before.ExpectUnchanged();
}

} // namespace vexo::test
