// The record and its storage: made, freed, locked, re-sized and duplicated, in every kind of storage.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

#include "vexokit.h"

#include <algorithm>
#include <cstring>

namespace vexo::test {

namespace {

class Storage : public LibraryTest {};

bool IsZero(const BitmapHandle &record) { return SameRecord(record, BitmapHandle{}); }

BitmapHandle Rubbish()
{
    BitmapHandle record;
    memset(&record, 0xCD, sizeof record);
    return record;
}

} // namespace

TEST_F(Storage, InitFillsTheRecord)
{
    for (int bits = -1; bits <= 40; ++bits) {
        for (int width : {0, 1, 2, 3, 5, 10, 31, 32, 33, 67, 1000}) {
            BitmapHandle record = Rubbish();
            const int status = V_InitBitmap(&record, width, 7, bits);
            if (std::find(kAllDepths.begin(), kAllDepths.end(), bits) == kAllDepths.end()) {
                ASSERT_EQ(ERR_BAD_BITS_PER_PIXEL, status) << bits;
                ASSERT_TRUE(IsZero(record)) << bits;
                continue;
            }
            ASSERT_EQ(RESULT_SUCCESS, status);
            int bytesPerLine = 0;
            while (bytesPerLine * 8 < width * bits)
                bytesPerLine += 4;
            BitmapHandle expected = {};
            expected.Width = width;
            expected.Height = 7;
            expected.BitsPerPixel = bits;
            expected.BytesPerLine = bytesPerLine;
            expected.Size = unsigned(bytesPerLine) * 7;
            expected.Orientation = ORIENT_BOTTOM_UP;
            expected.ColorOrder = bits > 8 ? COLOR_ORDER_BGR : 0;
            expected.ColorCount = bits > 8 ? 0 : 1 << bits;
            expected.DitherMode = 7;
            expected.XResolution = expected.YResolution = 150;
            ASSERT_TRUE(SameRecord(expected, record)) << Describe(expected) << "\n" << Describe(record);
        }
    }
    EXPECT_EQ(ERR_NO_BITMAP, V_InitBitmap(nullptr, 1, 1, 1));
}

TEST_F(Storage, AllocationChecksSizeAndType)
{
    const SIZE refused[] = {{0, 5},         {5, 0},       {-5, 5},         {5, -5},         {-5, -5},
                            {65536, 65536}, {1 << 30, 4}, {0x7FFFFFFF, 1}, {0x40000001, 1}, {1, 0x40000000}};
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
            const bool isCompressed = bits == 1 && (type & 0x200);
            const bool isGood = type == 1 || type == 0x80 || type == 0x100 || type == 0x201 || type == 0x280 ||
                                type == 0x300 || (type == 0x200 && isCompressed);
            EXPECT_EQ(isGood ? RESULT_SUCCESS : ERR_INV_PARAMETER, V_AllocateBitmap(&record, type)) << type;
            const unsigned flags = FLAG_ALLOCATED | FLAG_MEMORY | (isCompressed ? FLAG_COMPRESSED : 0);
            EXPECT_EQ(isGood ? flags : 0, record.Flags) << bits << " bits, type " << type;
            V_FreeBitmap(&record);
        }
    // Types without the bit take the flag away that an earlier allocation left.
    BitmapHandle record;
    V_InitBitmap(&record, 10, 10, 1);
    record.Flags = FLAG_COMPRESSED | FLAG_LOCKED;
    EXPECT_EQ(RESULT_SUCCESS, V_AllocateBitmap(&record, STORAGE_MEMORY));
    EXPECT_EQ(FLAG_ALLOCATED | FLAG_MEMORY, record.Flags);
    V_FreeBitmap(&record);
}

TEST_F(Storage, EveryKindHoldsPixelsUntilItIsFreed)
{
    Random random(4);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        const StorageKind kind = variant.kind;
        const int width = random.Between(1, 67), height = random.Between(1, 40);
        TestBitmap bitmap(kind, width, height, variant.bits);
        const bool isDisk = kind == StorageKind::TemporaryFile, isCompressed = kind == StorageKind::Compressed;
        EXPECT_EQ(FLAG_ALLOCATED | (isDisk ? FLAG_DISK : FLAG_MEMORY) | (isCompressed ? FLAG_COMPRESSED : 0u),
                  bitmap->Flags);
        if (kind != StorageKind::GlobalMemory)
            EXPECT_EQ(Image(width, height, variant.bits), Load(bitmap.get())) << "new storage is zero";
        const Image image = Image::Random(random, width, height, variant.bits);
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
        uint8_t byte = 0;
        EXPECT_EQ(ERR_NO_MEMORY, V_GetBitmapRow(bitmap.get(), &byte, 0, 1));
        EXPECT_EQ(ERR_NO_MEMORY, V_PutBitmapRow(bitmap.get(), &byte, 0, 1));
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
    EXPECT_TRUE(IsZero(record));

    Random random(5);
    for (const int bits : {0, 1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32})
        for (int variant = 0; variant < 8; ++variant) {
            SCOPED_TRACE(testing::Message() << bits << " bits, variant " << variant);
            const int order = variant & 1, orientation = variant & 2, depth = bits ? bits : 8;
            const int colorCount = depth <= 8 ? 1 << depth : 0;
            const std::vector<RGBQUAD> own = RandomPalette(random, 256);
            const RGBQUAD *palette = variant & 4 ? own.data() : nullptr;
            ASSERT_EQ(RESULT_SUCCESS, V_CreateBitmap(&record, STORAGE_MEMORY, 3, 3, bits, order, palette, orientation));
            EXPECT_EQ(depth, record.BitsPerPixel);
            EXPECT_EQ(depth > 8 ? order : 0, record.ColorOrder);
            EXPECT_EQ(orientation, record.Orientation);
            EXPECT_EQ(colorCount, V_GetPaletteSize(record.Palette));
            RGBQUAD expected[256];
            V_GetFixedPalette(expected, depth <= 8 ? bits : 0); // the grays for depth 0
            if (palette && bits)
                std::copy_n(palette, colorCount, expected);
            EXPECT_EQ(1, V_CompareHandleToPalette(record.Palette, expected, colorCount));
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
        const int width = random.Between(1, 300);
        Image image = Image::RandomRuns(random, width, random.Between(1, 30), variant.bits);
        TestBitmap bitmap(variant.kind, image);
        for (int step = 0; step < 12; ++step) {
            const int height = random.OneIn(3) ? random.Between(1, 400) : random.Between(1, 30);
            const int kept = std::min(height, image.height);
            const unsigned sizeBefore = bitmap->Size;
            const bool isCompressed = variant.kind == StorageKind::Compressed;
            ASSERT_EQ(RESULT_SUCCESS, V_ChangeBitmapHeight(bitmap.get(), height));
            ASSERT_EQ(height, bitmap->Height);
            if (height != image.height)
                EXPECT_EQ(0, bitmap->CachedRow);
            EXPECT_EQ(isCompressed ? sizeBefore : unsigned(bitmap->BytesPerLine * height), bitmap->Size);
            const Image resized = Load(bitmap.get());
            const auto added = resized.pixels.begin() + kept * width;
            ASSERT_TRUE(std::equal(resized.pixels.begin(), added, image.pixels.begin()));
            if (isCompressed || variant.kind == StorageKind::PageFile)
                ASSERT_EQ(0, resized.pixels.end() - added - std::count(added, resized.pixels.end(), 0u));
            // Write every row once, so that the storage of the new ones is used.
            image = Image::RandomRuns(random, width, height, variant.bits);
            Store(bitmap.get(), image);
            ASSERT_EQ(image, Load(bitmap.get()));
        }
        const BitmapSnapshot before(bitmap.get());
        for (const int refused : {0, -1, -1000, 0x7FFFFFFF})
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
        source->AnimDelay = 50;
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
                EXPECT_EQ(source->ColorOrder, copy.ColorOrder);
                EXPECT_EQ(ORIENT_TOP_DOWN, copy.Orientation);
                EXPECT_EQ(72, copy.XResolution);
                EXPECT_TRUE(copy.AnimLeft == -3 && copy.AnimDelay == 50);
                if (bits > 8)
                    EXPECT_EQ(RGB(10, 200, 30), copy.AnimBackground);
                const bool isShared = !(flags & DUP_PALETTE);
                EXPECT_EQ(isShared || !source->Palette, copy.Palette == source->Palette);
                EXPECT_EQ(V_GetPaletteSize(source->Palette), V_GetPaletteSize(copy.Palette));
                if (isShared)
                    copy.Palette = nullptr;
                if (flags & DUP_ALLOCATE) {
                    const Image image = Image::Random(random, 21, 12, bits);
                    Store(&copy, image);
                    EXPECT_EQ(image, Load(&copy));
                }
                V_FreeBitmap(&copy);
            }
        before.ExpectUnchanged();
    });
    TestBitmap source(StorageKind::PageFile, 9, 9, 8);
    BitmapHandle freed = {}, copy;
    EXPECT_EQ(ERR_NO_BITMAP, V_DupBitmapNewDim(nullptr, source.get(), 1, 1, 1, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_DupBitmapNewDim(&copy, nullptr, 1, 1, 1, 0));
    EXPECT_EQ(ERR_NO_BITMAP, V_DupBitmapNewDim(&copy, &freed, 1, 1, 1, 0));
    EXPECT_EQ(ERR_INV_RANGE, V_DupBitmapNewDim(&copy, source.get(), 0, 1, 8, DUP_ALLOCATE));
}

TEST_F(Storage, CopiedHandleSharesEverything)
{
    TestBitmap bitmap(StorageKind::PageFile, 5, 5, 8);
    bitmap->Reserved = 0x12345678;
    BitmapHandle copy = Rubbish();
    V_CopyBitmapHandle(&copy, bitmap.get());
    EXPECT_TRUE(SameRecord(copy, *bitmap.get()));
}

TEST_F(Storage, PlaybackParametersAndColours)
{
    Random random(8);
    std::vector<RGBQUAD> palette = RandomPalette(random, 256), other = RandomPalette(random, 256);
    other[5] = palette[5];
    TestBitmap source(StorageKind::PageFile, 1, 1, 8, {0, ORIENT_BOTTOM_UP, palette});
    TestBitmap indexed(StorageKind::PageFile, 1, 1, 8, {0, ORIENT_BOTTOM_UP, other});
    TestBitmap deep(StorageKind::PageFile, 1, 1, 24);
    const auto colorOf = [](const RGBQUAD &quad) { return RGB(quad.rgbRed, quad.rgbGreen, quad.rgbBlue); };
    const auto nearest = [&](COLORREF color) { return COLOR_INDEX(GetNearestPaletteIndex(indexed->Palette, color)); };
    const COLORREF plain = RGB(1, 2, 3);

    EXPECT_EQ(0x01000007u, V_TranslateBitmapColor(nullptr, source.get(), COLOR_INDEX(7)));
    EXPECT_EQ(COLOR_INDEX(5), V_TranslateBitmapColor(indexed.get(), source.get(), COLOR_INDEX(5)));
    for (int i : {0, 6, 100, 255}) {
        const COLORREF entry = colorOf(palette[size_t(i)]);
        EXPECT_EQ(nearest(entry), V_TranslateBitmapColor(indexed.get(), source.get(), COLOR_INDEX(i)));
        EXPECT_EQ(entry, V_TranslateBitmapColor(deep.get(), source.get(), COLOR_INDEX(i)));
        // The low byte alone names the source's entry.
        EXPECT_EQ(entry, V_TranslateBitmapColor(deep.get(), source.get(), COLOR_INDEX(i + 0x300)));
    }
    for (BitmapHandle *without : {static_cast<BitmapHandle *>(nullptr), deep.get()}) {
        EXPECT_EQ(nearest(0), V_TranslateBitmapColor(indexed.get(), without, COLOR_INDEX(6)));
        EXPECT_EQ(0u, V_TranslateBitmapColor(deep.get(), without, COLOR_INDEX(6)));
    }
    EXPECT_EQ(nearest(plain), V_TranslateBitmapColor(indexed.get(), source.get(), plain));
    EXPECT_EQ(plain, V_TranslateBitmapColor(deep.get(), source.get(), plain));

    source->Flags |= FLAG_WAIT_INPUT;
    source->AnimTop = 9;
    source->AnimBackground = COLOR_INDEX(6);
    source->AnimTransparent = plain;
    deep->Flags |= FLAG_TRANSPARENT;
    deep->XResolution = 7;
    EXPECT_EQ(RESULT_SUCCESS, V_CopyPlaybackParms(deep.get(), source.get()));
    EXPECT_EQ(FLAG_ALLOCATED | FLAG_MEMORY | FLAG_WAIT_INPUT, deep->Flags);
    EXPECT_EQ(9, deep->AnimTop);
    EXPECT_EQ(colorOf(palette[6]), deep->AnimBackground);
    EXPECT_EQ(plain, deep->AnimTransparent);
    EXPECT_EQ(7, deep->XResolution);
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyPlaybackParms(nullptr, source.get()));
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyPlaybackParms(deep.get(), nullptr));
}

} // namespace vexo::test
