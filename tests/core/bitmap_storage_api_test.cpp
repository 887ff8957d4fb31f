// The record and its storage: made, freed, locked, re-sized and duplicated, in every kind of storage.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

#include "vexokit.h"

#include <algorithm>
#include <cstring>

namespace vexo::test {

namespace {

class Storage : public LibraryTest {};

BitmapHandle Rubbish()
{
    BitmapHandle record;
    memset(&record, 0xCD, sizeof record);
    return record;
}

} // namespace

TEST_F(Storage, InitFillsTheRecord)
{
    for (int bits = -1; bits <= 40; ++bits)
        for (const int width : {0, 1, 3, 10, 31, 32, 33, 1000}) {
            const bool isDepth = std::ranges::count(kAllDepths, bits) != 0;
            BitmapHandle record = Rubbish(), expected = {};
            if (isDepth) {
                expected.Width = width;
                expected.Height = 7;
                expected.BitsPerPixel = bits;
                expected.BytesPerLine = (width * bits + 31) / 32 * 4;
                expected.Size = unsigned(expected.BytesPerLine) * 7;
                expected.Orientation = ORIENT_BOTTOM_UP;
                expected.ColorOrder = bits > 8 ? COLOR_ORDER_BGR : 0;
                expected.ColorCount = bits > 8 ? 0 : 1 << bits;
                expected.DitherMode = 7;
                expected.XResolution = expected.YResolution = 150;
            }
            EXPECT_EQ(isDepth ? RESULT_SUCCESS : ERR_BAD_BITS_PER_PIXEL, V_InitBitmap(&record, width, 7, bits)) << bits;
            EXPECT_TRUE(SameRecord(expected, record)) << Describe(expected) << "\n" << Describe(record);
        }
    EXPECT_EQ(ERR_NO_BITMAP, V_InitBitmap(nullptr, 1, 1, 1));
}

TEST_F(Storage, AllocationChecksSizeAndType)
{
    const SIZE refused[] = {{0, 5}, {5, 0}, {-5, -5}, {65536, 65536}, {0x40000001, 1}, {1, 0x40000000}};
    for (const auto &[width, height] : refused)
        for (const int type : {STORAGE_MEMORY, STORAGE_DISK, STORAGE_COMPRESSED | STORAGE_MEMORY}) {
            BitmapHandle record;
            ASSERT_EQ(RESULT_SUCCESS, V_InitBitmap(&record, width, height, 32));
            const BitmapHandle before = record;
            EXPECT_EQ(ERR_INV_RANGE, V_AllocateBitmap(&record, type)) << width << " x " << height;
            EXPECT_TRUE(SameRecord(before, record));
        }
    for (const int bits : {1, 8})
        for (const int type : {0, 2, 3, 64, 129, 257, 0x202, 0x203, 0x281, 0x400, 0x401, -1, // no types
                               0x001, 0x080, 0x100, 0x200, 0x201, 0x280, 0x300}) {
            BitmapHandle record;
            V_InitBitmap(&record, 10, 10, bits);
            const unsigned left = FLAG_COMPRESSED | FLAG_LOCKED; // by an earlier allocation
            record.Flags = left;
            const bool isCompressed = bits == 1 && (type & 0x200);
            const bool isGood = type == 1 || type == 0x80 || type == 0x100 || type == 0x201 || type == 0x280 ||
                                type == 0x300 || (type == 0x200 && isCompressed);
            EXPECT_EQ(isGood ? RESULT_SUCCESS : ERR_INV_PARAMETER, V_AllocateBitmap(&record, type)) << type;
            const unsigned flags = FLAG_ALLOCATED | FLAG_MEMORY | (type & 0x200 ? FLAG_COMPRESSED : 0);
            EXPECT_EQ(isGood ? flags : left, record.Flags) << bits << " bits, type " << type;
            if (isGood)
                EXPECT_EQ(Image(10, 10, bits), Load(&record));
            V_FreeBitmap(&record);
        }
}

TEST_F(Storage, EveryKindHoldsPixelsUntilItIsFreed)
{
    Random random(4);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        const StorageKind kind = variant.kind;
        const Image image = Image::Random(random, random.Between(1, 67), random.Between(1, 40), variant.bits);
        TestBitmap bitmap(kind, image.width, image.height, variant.bits);
        const bool isDisk = kind == StorageKind::TemporaryFile, isCompressed = kind == StorageKind::Compressed;
        EXPECT_EQ(FLAG_ALLOCATED | (isDisk ? FLAG_DISK : FLAG_MEMORY) | (isCompressed ? FLAG_COMPRESSED : 0u),
                  bitmap->Flags);
        if (kind != StorageKind::GlobalMemory)
            EXPECT_EQ(Image(image.width, image.height, variant.bits), Load(bitmap.get())) << "new storage is zero";
        Store(bitmap.get(), image);
        EXPECT_EQ(image, Load(bitmap.get()));
        if (isDisk)
            EXPECT_EQ(bitmap->Size + 1, GetFileSize(reinterpret_cast<HANDLE>(bitmap->Handle), nullptr));

        V_FreeBitmap(bitmap.get());
        EXPECT_EQ(isCompressed ? FLAG_MEMORY : 0u, bitmap->Flags);
        EXPECT_EQ(nullptr, bitmap->Palette);
        const BitmapHandle freed = *bitmap.get();
        V_FreeBitmap(bitmap.get());
        EXPECT_EQ(RESULT_SUCCESS, V_FreeImage(bitmap.get(), 1));
        EXPECT_TRUE(SameRecord(freed, *bitmap.get()));
        EXPECT_EQ(COLOR_INVALID, V_GetPixelColor(bitmap.get(), 0, 0));
        EXPECT_EQ(ERR_NO_BITMAP, V_PutPixelColor(bitmap.get(), 0, 0, 0));
        EXPECT_EQ(ERR_NO_BITMAP, V_ChangeBitmapHeight(bitmap.get(), 3));
    });
}

TEST_F(Storage, CreateGivesPaletteOrderAndOrientation)
{
    EXPECT_EQ(ERR_INV_PARAMETER, V_CreateBitmap(nullptr, STORAGE_MEMORY, 1, 1, 1, 0, nullptr, 0));
    BitmapHandle record = Rubbish();
    EXPECT_EQ(ERR_BAD_BITS_PER_PIXEL, V_CreateBitmap(&record, STORAGE_MEMORY, 1, 1, 9, 0, nullptr, 0));
    EXPECT_TRUE(SameRecord(BitmapHandle{}, record));

    Random random(5);
    for (const int bits : {0, 1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32})
        for (int variant = 0; variant < 8; ++variant) {
            SCOPED_TRACE(testing::Message() << bits << " bits, variant " << variant);
            const int order = variant & 1, orientation = variant & 2, depth = bits ? bits : 8;
            const int colorCount = depth <= 8 ? 1 << depth : 0;
            std::vector<RGBQUAD> colors = RandomPalette(random, 256);
            ASSERT_EQ(RESULT_SUCCESS, V_CreateBitmap(&record, STORAGE_MEMORY, 3, 3, bits, order,
                                                     variant & 4 ? colors.data() : nullptr, orientation));
            EXPECT_EQ(depth, record.BitsPerPixel);
            EXPECT_EQ(depth > 8 ? order : 0, record.ColorOrder);
            EXPECT_EQ(orientation, record.Orientation);
            EXPECT_EQ(colorCount, V_GetPaletteSize(record.Palette));
            if (!(variant & 4) || !bits)
                V_GetFixedPalette(colors.data(), depth <= 8 ? bits : 0); // the grays for depth 0
            EXPECT_EQ(1, V_CompareHandleToPalette(record.Palette, colors.data(), colorCount));
            const HPALETTE kept = record.Palette;
            EXPECT_EQ(RESULT_SUCCESS, V_FreeImage(&record, 0));
            EXPECT_EQ(nullptr, record.Palette);
            EXPECT_EQ(colorCount, V_GetPaletteSize(kept)) << "the caller's palette is alive";
            DeleteObject(kept);
        }
}

TEST_F(Storage, LockPairsNest)
{
    EXPECT_EQ(0, V_LockBitmap(nullptr));
    V_UnlockBitmap(nullptr, 0);
    for (StorageKind kind : StorageKinds(1)) {
        SCOPED_TRACE(kind);
        const StorageScope scope(kind);
        TestBitmap bitmap(kind, 100, 10, 1);
        const bool locks = kind == StorageKind::GlobalMemory;
        const BitmapHandle unlocked = *bitmap.get();
        EXPECT_EQ(!locks, bitmap->Data != nullptr);
        const int outer = V_LockBitmap(bitmap.get());
        EXPECT_EQ(0, outer);
        EXPECT_EQ(locks, (bitmap->Flags & FLAG_LOCKED) != 0);
        EXPECT_NE(nullptr, bitmap->Data);
        const BitmapHandle locked = *bitmap.get();
        const int inner = V_LockBitmap(bitmap.get());
        EXPECT_EQ(locks ? 1 : 0, inner);
        EXPECT_EQ(locks ? ERR_INV_PARAMETER : RESULT_SUCCESS, V_ChangeBitmapHeight(bitmap.get(), 10));
        V_UnlockBitmap(bitmap.get(), inner);
        EXPECT_TRUE(SameRecord(locked, *bitmap.get()));
        V_UnlockBitmap(bitmap.get(), outer);
        EXPECT_TRUE(SameRecord(unlocked, *bitmap.get()));
        V_AccessBitmap(bitmap.get());
        V_AccessBitmap(bitmap.get());
        EXPECT_TRUE(SameRecord(locked, *bitmap.get()));
        V_ReleaseBitmap(bitmap.get());
        EXPECT_TRUE(SameRecord(unlocked, *bitmap.get()));
        V_AccessBitmap(bitmap.get()); // freed while locked
    }
}

TEST_F(Storage, HeightChangesKeepTheStoredRows)
{
    Random random(6);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        const bool isCompressed = variant.kind == StorageKind::Compressed;
        Image image = Image::RandomRuns(random, random.Between(1, 300), random.Between(1, 30), variant.bits);
        TestBitmap bitmap(variant.kind, image);
        for (int step = 0; step < 12; ++step) {
            const int height = random.OneIn(3) ? random.Between(1, 400) : random.Between(1, 30);
            const unsigned size = isCompressed ? bitmap->Size : unsigned(bitmap->BytesPerLine * height);
            ASSERT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(bitmap.get(), height));
            ASSERT_EQ(height, bitmap->Height);
            if (height != image.height)
                EXPECT_EQ(0, bitmap->CachedRow);
            EXPECT_EQ(size, bitmap->Size);
            const Image resized = Load(bitmap.get());
            const auto added = resized.pixels.begin() + std::min(height, image.height) * image.width;
            ASSERT_TRUE(std::equal(resized.pixels.begin(), added, image.pixels.begin()));
            if (isCompressed || variant.kind == StorageKind::PageFile)
                ASSERT_EQ(resized.pixels.end() - added, std::count(added, resized.pixels.end(), 0u));
            // Write every row once, so that the storage of the new ones is used.
            image = Image::RandomRuns(random, image.width, height, variant.bits);
            Store(bitmap.get(), image);
            ASSERT_EQ(image, Load(bitmap.get()));
        }
        const BitmapSnapshot before(bitmap.get());
        for (const int refused : {0, -1000, 0x7FFFFFFF})
            if (refused < 1 || bitmap->BytesPerLine > 4)
                EXPECT_EQ(ERR_INV_RANGE, V_ChangeBitmapHeight(bitmap.get(), refused)) << refused;
        before.ExpectUnchanged();
    });
    EXPECT_EQ(ERR_NO_BITMAP, V_ChangeBitmapHeight(nullptr, 5));
}

TEST_F(Storage, DuplicateTakesTheAttributes)
{
    Random random(7);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        TestBitmap source(variant.kind, Image::Random(random, 9, 9, variant.bits),
                          {COLOR_ORDER_RGB, ORIENT_TOP_DOWN, {}});
        source->Flags |= FLAG_BIT5 | FLAG_TRANSPARENT;
        source->XResolution = 72;
        source->AnimLeft = -3;
        source->AnimBackground = RGB(10, 200, 30);
        const BitmapSnapshot before(source.get());
        for (const int bits : {1, 4, 8, 16, 24, 32})
            for (unsigned flags = 0; flags < 8; ++flags) {
                BitmapHandle copy = Rubbish();
                ASSERT_EQ(RESULT_SUCCESS, V_DupBitmapNewDim(&copy, source.get(), 21, 12, bits, flags));
                const bool isCompressed = variant.kind == StorageKind::Compressed && bits == 1;
                EXPECT_EQ(FLAG_BIT5 | FLAG_TRANSPARENT | (isCompressed ? FLAG_COMPRESSED : 0u) |
                              (flags & DUP_ALLOCATE ? FLAG_ALLOCATED : 0u),
                          copy.Flags & ~(FLAG_MEMORY | FLAG_DISK));
                EXPECT_TRUE(copy.Width == 21 && copy.Height == 12 && copy.BitsPerPixel == bits);
                EXPECT_TRUE(copy.ColorOrder == source->ColorOrder && copy.Orientation == ORIENT_TOP_DOWN);
                EXPECT_TRUE(copy.XResolution == 72 && copy.AnimLeft == -3);
                if (bits > 8)
                    EXPECT_EQ(RGB(10, 200, 30), copy.AnimBackground);
                const bool isShared = !(flags & DUP_PALETTE);
                EXPECT_EQ(isShared || !source->Palette, copy.Palette == source->Palette);
                EXPECT_EQ(V_GetPaletteSize(source->Palette), V_GetPaletteSize(copy.Palette));
                if (isShared)
                    copy.Palette = nullptr;
                V_FreeBitmap(&copy);
            }
        before.ExpectUnchanged();
    });
    TestBitmap source(StorageKind::PageFile, 9, 9, 8);
    BitmapHandle freed = {}, copy = Rubbish();
    EXPECT_EQ(ERR_NO_BITMAP, V_DupBitmapNewDim(nullptr, source.get(), 1, 1, 1, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_DupBitmapNewDim(&copy, nullptr, 1, 1, 1, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_DupBitmapNewDim(&copy, &freed, 1, 1, 1, 0));
    EXPECT_EQ(ERR_INV_RANGE, V_DupBitmapNewDim(&copy, source.get(), 0, 1, 8, DUP_ALLOCATE));
    V_CopyBitmapHandle(&copy, source.get());
    EXPECT_TRUE(SameRecord(copy, *source.get()));
}

TEST_F(Storage, ColoursAreTranslatedBetweenBitmaps)
{
    Random random(8);
    std::vector<RGBQUAD> palette = RandomPalette(random, 256), other = RandomPalette(random, 256);
    other[5] = palette[5];
    TestBitmap source(StorageKind::PageFile, 1, 1, 8, {0, ORIENT_BOTTOM_UP, palette});
    TestBitmap indexed(StorageKind::PageFile, 1, 1, 8, {0, ORIENT_BOTTOM_UP, other});
    TestBitmap deep(StorageKind::PageFile, 1, 1, 24);
    const COLORREF plain = RGB(1, 2, 3);
    // What the colour that a value stands for becomes in either bitmap.
    const auto expect = [&](COLORREF color, BitmapHandle *from, COLORREF value) {
        EXPECT_EQ(color, V_TranslateBitmapColor(deep.get(), from, value));
        EXPECT_EQ(COLOR_INDEX(GetNearestPaletteIndex(indexed->Palette, color)),
                  V_TranslateBitmapColor(indexed.get(), from, value));
    };
    for (const int i : {0, 5, 6, 255, 0x306}) { // the low byte alone names the source's entry
        const RGBQUAD &entry = palette[size_t(i & 0xFF)];
        expect(RGB(entry.rgbRed, entry.rgbGreen, entry.rgbBlue), source.get(), COLOR_INDEX(i));
    }
    expect(0, nullptr, COLOR_INDEX(6));
    expect(0, deep.get(), COLOR_INDEX(6));
    expect(plain, source.get(), plain);
    EXPECT_EQ(COLOR_INDEX(7), V_TranslateBitmapColor(nullptr, source.get(), COLOR_INDEX(7)));

    source->Flags |= FLAG_WAIT_INPUT;
    source->AnimTop = 9;
    source->AnimBackground = COLOR_INDEX(6);
    source->AnimTransparent = plain;
    BitmapHandle expected = *deep.get();
    expected.Flags |= FLAG_WAIT_INPUT;
    expected.AnimTop = 9;
    expected.AnimBackground = V_TranslateBitmapColor(deep.get(), source.get(), COLOR_INDEX(6));
    expected.AnimTransparent = plain;
    deep->Flags |= FLAG_TRANSPARENT;
    EXPECT_EQ(RESULT_SUCCESS, V_CopyPlaybackParms(deep.get(), source.get()));
    EXPECT_TRUE(SameRecord(expected, *deep.get())) << Describe(*deep.get());
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyPlaybackParms(nullptr, source.get()));
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyPlaybackParms(deep.get(), nullptr));
}

} // namespace vexo::test
