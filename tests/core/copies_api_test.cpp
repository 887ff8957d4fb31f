// Copies of bitmaps against plain images: every depth, storage and orientation, rectangles that lie anywhere.
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"

#include <algorithm>
#include <climits>

namespace vexo::test {

namespace {

class Copies : public LibraryTest {
private:
    const PageHeapScope m_pageHeap; // new memory is full of rubbish, which must not show
};

// Gives everything that a copy takes over besides pixels values that nothing has by default.
void SetAttributes(BitmapHandle *bitmap)
{
    bitmap->XResolution = 72;
    bitmap->YResolution = 96;
    bitmap->Flags |= FLAG_BIT5 | FLAG_WAIT_INPUT;
    bitmap->AnimLeft = 5;
    bitmap->AnimTop = -6;
    bitmap->AnimDelay = 70;
    bitmap->AnimDisposal = 3;
}

void ExpectAttributesOf(BitmapHandle *source, BitmapHandle &copy)
{
    BitmapHandle expected = *source;
    for (const auto own : {&BitmapHandle::Width, &BitmapHandle::Height, &BitmapHandle::BytesPerLine})
        expected.*own = copy.*own;
    expected.Handle = copy.Handle;
    expected.Data = copy.Data;
    expected.Size = copy.Size;
    expected.Palette = copy.Palette;
    expected.Region = copy.Region;
    constexpr unsigned kKinds = FLAG_MEMORY | FLAG_DISK; // may be another
    expected.Flags = (source->Flags & ~kKinds) | (copy.Flags & kKinds);
    expected.CachedRow = copy.CachedRow;
    expected.CachedRowOffset = copy.CachedRowOffset;
    expected.AnimBackground = V_TranslateBitmapColor(&copy, source, source->AnimBackground);
    expected.AnimTransparent = V_TranslateBitmapColor(&copy, source, source->AnimTransparent);
    EXPECT_TRUE(SameRecord(expected, copy)) << Describe(expected) << "\n" << Describe(copy);
    ASSERT_EQ(source->Palette != nullptr, copy.Palette != nullptr);
    if (!copy.Palette)
        return;
    EXPECT_NE(source->Palette, copy.Palette);
    EXPECT_EQ(1, V_CompareHandleToPalette(copy.Palette, PaletteOf(*source).data(), source->ColorCount));
}

// Compares the stored bytes, the padding included.
void ExpectRows(const Image &expected, BitmapHandle *bitmap)
{
    const int previous = V_LockBitmap(bitmap);
    std::vector<uint8_t> rows(size_t(bitmap->BytesPerLine) * size_t(bitmap->Height));
    EXPECT_EQ(int(rows.size()), V_GetBitmapRow(bitmap, rows.data(), 0, int(rows.size())));
    EXPECT_EQ(expected.PackedRows(), rows);
    V_UnlockBitmap(bitmap, previous);
}

Image RectOf(const Image &image, int left, int top, int width, int height)
{
    Image part(width, height, image.bits);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (y + top >= 0 && y + top < image.height && x + left >= 0 && x + left < image.width)
                part.At(y, x) = image.At(y + top, x + left);
    return part;
}

} // namespace

TEST_F(Copies, RectanglesAreThoseOfTheImage)
{
    Random random(71);
    ForEachVariant(random, 8, [&](const Variant &variant) {
        const Image image = Image::Random(random, random.Between(1, 90), random.Between(1, 6), variant.bits);
        TestBitmap source(variant.kind, image, variant.options), copy;
        SetAttributes(source.get());
        const bool hasRegion = random.OneIn(2);
        if (hasRegion)
            SetMask(source.get(), RandomMask(random, image.width, image.height));
        const Image mask = MaskOf(source.get());
        const BitmapSnapshot before(source.get());
        const int left = random.Between(-20, image.width + 3), top = random.Between(-3, image.height + 1);
        const int width = random.Between(1, 100), height = random.Between(1, 8);
        SCOPED_TRACE(testing::Message() << left << ", " << top << ", " << width << " x " << height);
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapRect(copy.get(), source.get(), left, top, width, height));
        ExpectAttributesOf(source.get(), *copy.get());
        before.ExpectUnchanged();
        // The same in the bitmap's own record.
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapRect(source.get(), source.get(), left, top, width, height));
        for (BitmapHandle *made : {source.get(), copy.get()}) {
            ExpectRows(RectOf(image, left, top, width, height), made);
            EXPECT_EQ(hasRegion, V_BitmapHasRgn(made) == 1);
            if (hasRegion)
                EXPECT_EQ(RectOf(mask, left, top, width, height), MaskOf(made));
        }
    });
}

TEST_F(Copies, RectanglesFarAwayAreEmpty)
{
    Random random(72);
    TestBitmap source(StorageKind::PageFile, Image::Random(random, 9, 9, 5));
    for (const int left : {INT_MIN, INT_MIN + 1, -8, 9, INT_MAX})
        for (const int top : {INT_MIN, -8, 0, INT_MAX}) {
            TestBitmap copy;
            ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapRect(copy.get(), source.get(), left, top, 8, 8));
            ExpectRows(Image(8, 8, 5), copy.get());
        }
    EXPECT_EQ(ERR_INV_RANGE, V_CopyBitmapRect(source.get(), source.get(), 0, 0, INT_MAX, INT_MAX));
}

TEST_F(Copies, WholeCopiesAreIndependent)
{
    Random random(73);
    ForEachVariant(random, 2, [&](const Variant &variant) {
        const Image image = Image::RandomRuns(random, random.Between(1, 300), random.Between(1, 9), variant.bits);
        const Image mask = RandomMask(random, image.width, image.height);
        TestBitmap copy;
        {
            TestBitmap source(variant.kind, image, variant.options);
            SetAttributes(source.get());
            SetMask(source.get(), mask);
            const BitmapSnapshot before(source.get());
            ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(copy.get(), source.get()));
            ExpectAttributesOf(source.get(), *copy.get());
            before.ExpectUnchanged();
            ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmap(source.get(), source.get()));
            EXPECT_EQ(image, Load(source.get()));
        }
        EXPECT_EQ(image, Load(copy.get()));
        EXPECT_EQ(mask, MaskOf(copy.get()));
    });
}

TEST_F(Copies, DataGoesBetweenSizesAndKindsOfStorage)
{
    Random random(75);
    ForEachVariant(random, 16, [&](const Variant &variant) {
        const int bits = variant.bits;
        // The other kinds of the same system.
        const bool isPlain = variant.kind == StorageKind::PageFile && bits == 1;
        const StorageKind kind = isPlain && random.OneIn(2)                   ? StorageKind::Compressed
                                 : variant.kind == StorageKind::TemporaryFile ? StorageKind::GlobalMemory
                                                                              : variant.kind;
        Image image = Image::Random(random, random.Between(1, 70), random.Between(1, 6), bits);
        const bool isSameSize = random.OneIn(2);
        const Image former = Image::Random(random, isSameSize ? image.width : random.Between(1, 70),
                                           isSameSize ? image.height : random.Between(1, 6), bits);
        TestBitmap source(variant.kind, image), destination(kind, former);
        if (variant.kind != StorageKind::GlobalMemory && random.OneIn(2)) { // rows never written
            V_FreeBitmap(source.get());
            V_CreateBitmap(source.get(), MemoryType(variant.kind), image.width, image.height, bits, COLOR_ORDER_BGR,
                           nullptr, ORIENT_BOTTOM_UP);
            std::ranges::fill(image.pixels, 0u);
        }
        const BitmapSnapshot before(source.get());
        ASSERT_EQ(RESULT_SUCCESS, V_CopyBitmapData(destination.get(), source.get()));
        before.ExpectUnchanged();
        const int bytes = std::min(source->BytesPerLine, destination->BytesPerLine);
        Image expected = former;
        for (int y = 0; y < std::min(former.height, image.height); ++y) {
            std::vector<uint8_t> row = former.PackedRow(y);
            std::ranges::copy_n(image.PackedRow(y).begin(), bytes, row.begin());
            for (int x = 0; x < former.width; ++x)
                expected.At(y, x) = PixelOf(row.data(), size_t(x), bits);
        }
        ASSERT_EQ(expected, Load(destination.get()));
    });
}

TEST_F(Copies, MissingBitmapsAreRefused)
{
    TestBitmap bitmap(StorageKind::PageFile, 4, 4, 8), copy;
    BitmapHandle empty;
    V_InitBitmap(&empty, 4, 4, 8);
    for (BitmapHandle *missing : {static_cast<BitmapHandle *>(nullptr), &empty}) {
        EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmapData(missing, bitmap.get()));
        EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmapData(bitmap.get(), missing));
        EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmap(copy.get(), missing));
        EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmapRect(copy.get(), missing, 0, 0, 1, 1));
    }
    EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmap(nullptr, bitmap.get()));
    EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmapRect(nullptr, bitmap.get(), 0, 0, 1, 1));
}

} // namespace vexo::test
