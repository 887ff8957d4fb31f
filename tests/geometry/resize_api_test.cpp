// Resizing by nearest sampling against the formula, for bitmaps of all depths and storages and for streamed rows.
#include "tests/geometry/turned_images.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"
#include "tests/support/status_recorder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
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
        ASSERT_EQ(Oriented(expected, source->Orientation), Oriented(result, destination->Orientation));

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

TEST_F(Resize, StreamedRowsAreThoseOfTheBitmapInAnyOrder)
{
    Random random(322);
    for (int i = 0; i < 900; ++i) {
        const int bits = kAllDepths[size_t(i) % kAllDepths.size()];
        const Image image = Image::Random(random, random.Between(1, 60), random.Between(1, 40), bits);
        const int width = random.Between(1, 60);
        const int height = random.OneIn(8) ? image.height : random.Between(1, 100);
        SCOPED_TRACE(testing::Message() << bits << " bits, " << image.width << " x " << image.height << " to " << width
                                        << " x " << height);
        std::vector<int> rows(size_t(image.height));
        std::iota(rows.begin(), rows.end(), 0);
        for (int turns = random.Below(10); turns > 0; --turns) // runs of rows both ways
            std::reverse(rows.begin() + random.Below(image.height), rows.end());
        for (int more = random.Below(10); more > 0; --more) // and back and forth
            rows.push_back(std::clamp(rows.back() + random.Between(-1, 1), 0, image.height - 1));
        ResizeContext *context = nullptr;
        ASSERT_EQ(RESULT_SUCCESS, V_StartResize(image.width, image.height, width, height, &context));
        for (const int row : rows) {
            const std::vector<uint8_t> source = image.PackedRow(row);
            GuardedBuffer buffer((size_t(std::max(image.width, width)) * size_t(bits) + 7) / 8);
            std::copy_n(source.begin(), (image.width * bits + 7) / 8, buffer.data());
            int newWidth = 0, count = 0;
            ASSERT_EQ(V_Resize(buffer.data(), row, bits, &newWidth, &count, context), count);
            ASSERT_EQ(width, newWidth);
            ASSERT_EQ((row + 1) * height / image.height - row * height / image.height, count);
            for (int x = 0; x < (count ? width : image.width); ++x)
                ASSERT_EQ(image.At(row, count ? SourceOf(x, image.width, width) : x),
                          PixelOf(buffer.data(), size_t(x), bits))
                    << "pixel " << x;
        }
        V_StopResize(context);
    }
}

TEST_F(Resize, StreamedRowsRefuseBadArgumentsAndHaveNoLargestSize)
{
    ResizeContext *context = nullptr;
    ASSERT_EQ(RESULT_SUCCESS, V_StartResize(3, 1, 6, 1, &context));
    EXPECT_TRUE(context->LastRow == -1 && context->XStep == 0 && context->XFraction == 3 && context->YRepeat == 1);
    uint8_t row[6] = {1, 2, 3};
    int width = 0, count = 0;
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

    for (const auto &[oldWidth, oldHeight, newWidth, newHeight] :
         {std::array{3, 1, 0, 1}, {3, 1, 1, -1}, {0, 1, 1, 1}, {3, 0, 1, 1}})
        EXPECT_EQ(ERR_INV_PARAMETER, V_StartResize(oldWidth, oldHeight, newWidth, newHeight, &context));
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
    before.ExpectUnchanged();
}

} // namespace vexo::test
