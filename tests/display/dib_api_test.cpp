// Packed DIBs out of bitmaps of every depth and storage and back, and hostile headers.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <cstring>

namespace vexo::test {

namespace {

class Dib : public LibraryTest {};

int DibBits(int bits) { return bits <= 1 ? 1 : bits <= 4 ? 4 : bits <= 8 ? 8 : 24; }

// Holds a block against the bitmap it was made from.
void CheckDib(HGLOBAL dib, const Image &image, const BitmapHandle &record, const std::vector<RGBQUAD> &palette,
              DWORD colorsUsed, int tableEntries)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(GlobalLock(dib));
    ASSERT_NE(nullptr, bytes);
    BITMAPINFOHEADER header;
    memcpy(&header, bytes, sizeof header);
    const int bits = DibBits(image.bits);
    const size_t lineBytes = size_t((image.width * bits + 31) / 32 * 4);
    const BITMAPINFOHEADER expected = {40,
                                       image.width,
                                       image.height,
                                       1,
                                       WORD(bits),
                                       BI_RGB,
                                       DWORD(lineBytes) * DWORD(image.height),
                                       5906,
                                       5906, // 150 dots per inch
                                       colorsUsed,
                                       0};
    EXPECT_EQ(0, memcmp(&expected, &header, sizeof header));
    const uint8_t *rows = bytes + 40 + 4 * tableEntries;
    ASSERT_GE(GlobalSize(dib), size_t(rows - bytes) + lineBytes * size_t(image.height));
    for (int i = 0; i < tableEntries && i < int(palette.size()); ++i)
        EXPECT_EQ(0, memcmp(bytes + 40 + 4 * i, &palette[size_t(i)], 3)) << "entry " << i;
    for (int y = 0; y < image.height; ++y) {
        const int row = record.Orientation == ORIENT_BOTTOM_UP ? y : image.height - 1 - y;
        for (int x = 0; x < image.width; ++x) {
            uint32_t expected = image.At(row, x);
            if (image.bits > 8) {
                const COLORREF color = ColorOfPixel(expected, image.bits, record.ColorOrder, {});
                expected = GetRValue(color) << 16 | GetGValue(color) << 8 | GetBValue(color);
            }
            ASSERT_EQ(expected, PixelOf(rows + size_t(y) * lineBytes, size_t(x), bits)) << x << ", " << y;
        }
    }
    GlobalUnlock(dib);
}

struct DibWriter {
    std::vector<uint8_t> bytes;

    template <class T>
    void Add(const T &value)
    {
        const auto *p = reinterpret_cast<const uint8_t *>(&value);
        bytes.insert(bytes.end(), p, p + sizeof value);
    }
    HGLOBAL Block() const
    {
        const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
        memcpy(GlobalLock(block), bytes.data(), bytes.size());
        GlobalUnlock(block);
        return block;
    }
    // The pixels, row by row as they are stored, of the bitmap that this becomes.
    std::vector<uint32_t> Pixels() const
    {
        TestBitmap bitmap;
        EXPECT_EQ(RESULT_SUCCESS, V_ChangeFromDIB(bitmap.get(), Block()));
        return Load(bitmap.get()).pixels;
    }
};

BITMAPINFOHEADER Header(LONG width, LONG height, WORD bits)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bits;
    header.biXPelsPerMeter = header.biYPelsPerMeter = 3937;
    return header;
}

} // namespace

TEST_F(Dib, HoldsThePictureAtEveryDepthOrderAndStorage)
{
    Random random(31);
    ForEachVariant(random, 4, [&](const Variant &variant) {
        const int bits = variant.bits;
        const Image image = Image::Random(random, random.Between(1, 40), random.Between(1, 9), bits);
        TestBitmap bitmap(variant.kind, image, variant.options);
        const BitmapSnapshot snapshot(bitmap.get());
        const int ownColors = bits <= 8 ? 1 << bits : 0, dibColors = bits <= 8 ? 1 << DibBits(bits) : 0;
        const HGLOBAL converted = V_ConvertToDIB(bitmap.get());
        ASSERT_NE(nullptr, converted);
        CheckDib(converted, image, *bitmap.get(), variant.options.palette, 0, dibColors);
        snapshot.ExpectUnchanged();
        TestBitmap back;
        ASSERT_EQ(RESULT_SUCCESS, V_ChangeFromDIB(back.get(), converted));
        EXPECT_EQ(ColorsFromTop(bitmap.get()), ColorsFromTop(back.get()));
        EXPECT_EQ(150, back->XResolution);
        EXPECT_EQ(ORIENT_BOTTOM_UP, back->Orientation);
        EXPECT_EQ(bits > 8 ? COLOR_ORDER_BGR : 0, back->ColorOrder);

        const BitmapHandle record = *bitmap.get();
        const HGLOBAL changed = V_ChangeToDIB(bitmap.get());
        ASSERT_NE(nullptr, changed);
        EXPECT_FALSE(bitmap->Flags & FLAG_ALLOCATED);
        CheckDib(changed, image, record, variant.options.palette, DWORD(ownColors), ownColors);
        const auto *header = static_cast<const BITMAPINFOHEADER *>(GlobalLock(changed));
        TestBitmap second;
        ASSERT_EQ(RESULT_SUCCESS,
                  V_ConvertFromDIB(second.get(), header, reinterpret_cast<const RGBQUAD *>(header + 1) + ownColors));
        EXPECT_EQ(ColorsFromTop(back.get()), ColorsFromTop(second.get()));
        GlobalUnlock(changed);
        GlobalFree(changed);
    });
}

TEST_F(Dib, ReadsTopDownRowsOtherHeadersAndOddColourTables)
{
    for (const DWORD size : {64u, 108u, 124u, 200u}) {
        BITMAPINFOHEADER header = Header(1, 1, 24);
        header.biSize = size;
        DibWriter longer;
        longer.Add(header);
        longer.bytes.resize(size, 0x55);
        longer.Add(0x00123456u);
        EXPECT_EQ((std::vector<uint32_t>{0x123456}), longer.Pixels());
    }

    DibWriter topDown;
    topDown.Add(Header(1, -3, 24));
    for (const uint32_t row : {0x00000001u, 0x00000002u, 0x00000003u})
        topDown.Add(row);
    EXPECT_EQ((std::vector<uint32_t>{3, 2, 1}), topDown.Pixels());

    DibWriter core;
    core.Add(BITMAPCOREHEADER{12, 2, 1, 1, 1});
    for (const uint8_t byte : {1, 2, 3, 4, 5, 6, 0x40, 0, 0, 0})
        core.Add(byte);
    TestBitmap old;
    ASSERT_EQ(RESULT_SUCCESS, V_ChangeFromDIB(old.get(), core.Block()));
    EXPECT_EQ(RGB(3, 2, 1), V_GetPixelColor(old.get(), 0, 0));
    EXPECT_EQ(RGB(6, 5, 4), V_GetPixelColor(old.get(), 0, 1));

    for (const DWORD used : {2u, 300u}) { // fewer than the depth allows, and more
        BITMAPINFOHEADER header = Header(4, 1, 8);
        header.biClrUsed = used;
        DibWriter dib;
        dib.Add(header);
        for (DWORD i = 0; i < used; ++i)
            dib.Add(RGBQUAD{9, 8, BYTE(i), 77});
        for (const uint8_t index : {0, 1, 2, 255})
            dib.Add(index);
        TestBitmap bitmap;
        ASSERT_EQ(RESULT_SUCCESS, V_ChangeFromDIB(bitmap.get(), dib.Block()));
        EXPECT_EQ(256, V_GetPaletteSize(bitmap->Palette));
        EXPECT_EQ(RGB(1, 8, 9), V_GetPixelColor(bitmap.get(), 0, 1));
        EXPECT_EQ(used == 2 ? RGB(0, 0, 0) : RGB(2, 8, 9), V_GetPixelColor(bitmap.get(), 0, 2));
    }
}

TEST_F(Dib, RefusesWhatTheHeaderOrTheBlockDoesNotAllow)
{
    const BITMAPINFOHEADER good = Header(4, 4, 8);
    const auto refuse = [&](int expected, auto field, auto value, size_t length = 2000) {
        BITMAPINFOHEADER header = good;
        header.*field = std::remove_reference_t<decltype(header.*field)>(value);
        DibWriter dib;
        dib.Add(header);
        dib.bytes.resize(length);
        TestBitmap bitmap;
        const HGLOBAL block = dib.Block();
        EXPECT_EQ(expected, V_ChangeFromDIB(bitmap.get(), block)) << value << ", " << length;
        EXPECT_EQ(nullptr, GlobalFree(block)) << "the caller keeps the block";
        EXPECT_TRUE(SameRecord(BitmapHandle{}, *bitmap.get()));
    };
    using H = BITMAPINFOHEADER;
    for (const int width : {0, -4})
        refuse(ERR_INV_PARAMETER, &H::biWidth, width);
    refuse(ERR_INV_PARAMETER, &H::biHeight, 0);
    refuse(ERR_INV_PARAMETER, &H::biHeight, 10000); // rows cut off
    refuse(ERR_INV_RANGE, &H::biWidth, 0x7FFFFFFF);
    refuse(ERR_INV_RANGE, &H::biHeight, 0x80000000u);
    for (const int bits : {0, 2, 3, 7, 9, 48, 0x8001})
        refuse(ERR_BAD_REQUEST, &H::biBitCount, bits);
    refuse(ERR_BAD_REQUEST, &H::biPlanes, 2);
    refuse(ERR_BAD_REQUEST, &H::biCompression, BI_RLE8);
    for (const DWORD size : {0u, 11u, 39u})
        refuse(ERR_BAD_REQUEST, &H::biSize, size);
    for (const DWORD size : {2000u, 0xFFFFFFFFu}) // beyond the block
        refuse(ERR_INV_PARAMETER, &H::biSize, size);
    for (const DWORD used : {1000u, 0x40000000u, 0xFFFFFFFFu})
        refuse(ERR_INV_PARAMETER, &H::biClrUsed, used);
    for (const size_t length : {1, 3, 4, 12, 39})
        refuse(ERR_INV_PARAMETER, &H::biWidth, 4, length);
    TestBitmap bitmap;
    EXPECT_EQ(ERR_INV_PARAMETER, V_ChangeFromDIB(bitmap.get(), nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_ConvertFromDIB(nullptr, &good, &good));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertFromDIB(bitmap.get(), &good, nullptr));
}

// A block is a picture or it is nothing, whatever its header says; what lies behind it cannot be read.
TEST_F(Dib, SurvivesDamagedHeaders)
{
    const PageHeapScope pageHeap;
    Random random(62);
    int good = 0;
    for (int i = 0; i < 4000 && !HasFailure(); ++i) {
        const WORD bits = WORD(1 << random.Below(6));
        DibWriter dib;
        dib.Add(Header(random.Between(1, 9), random.Between(-5, 5), bits));
        dib.bytes.resize(40 + (bits <= 8 ? size_t(4) << bits : 0) + size_t(random.Below(400)), 0x5A);
        static constexpr int kFields[] = {0, 4, 8, 12, 14, 16, 20, 24, 28, 32, 36};
        static constexpr uint32_t kValues[] = {0, 1, 2, 12, 64, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFE0};
        for (int changes = random.Below(3); changes > 0; --changes) {
            const uint32_t value = random.OneIn(2) ? kValues[random.Below(9)] : uint32_t(random.Next() & 0x1FF);
            memcpy(dib.bytes.data() + kFields[random.Below(11)], &value, 2 + size_t(random.Below(2)) * 2);
        }
        const HGLOBAL block = dib.Block();
        TestBitmap bitmap;
        if (V_ChangeFromDIB(bitmap.get(), block) == RESULT_SUCCESS) {
            ++good;
            EXPECT_EQ(size_t(bitmap->Width) * size_t(bitmap->Height), ColorsFromTop(bitmap.get()).size());
        } else {
            EXPECT_TRUE(SameRecord(BitmapHandle{}, *bitmap.get())) << "case " << i;
            EXPECT_EQ(nullptr, GlobalFree(block));
        }
    }
    EXPECT_GT(good, 400);
    EXPECT_LT(good, 3600);
}

// Every acquisition fails once: a bitmap from a DIB is whole, or its record and the DIB are as they were.
TEST_F(Dib, IsKeptWhenSomethingFails)
{
    Random random(41);
    BitmapHandle rubbish;
    memset(&rubbish, 0xCD, sizeof rubbish);
    ForEachVariant(random, 1, [&](const Variant &variant) {
        TestBitmap source(variant.kind, Image::RandomRuns(random, random.Between(1, 70), 5, variant.bits),
                          variant.options);
        const HGLOBAL block = V_ConvertToDIB(source.get());
        const auto *bytes = static_cast<const uint8_t *>(GlobalLock(block));
        const DibWriter dib = {{bytes, bytes + GlobalSize(block)}};
        GlobalUnlock(block);
        GlobalFree(block);
        const auto *header = reinterpret_cast<const BITMAPINFOHEADER *>(dib.bytes.data());
        const auto *rows =
            reinterpret_cast<const RGBQUAD *>(header + 1) + (variant.bits <= 8 ? 1 << DibBits(variant.bits) : 0);
        for (const bool isChange : {false, true})
            ForEachFault(kFaultAll | (isChange ? kFaultLocks : 0), [&](FaultInjector &faults) {
                BitmapHandle record = rubbish;
                const HGLOBAL given = dib.Block();
                const int status = faults.Run([&] {
                    return isChange ? V_ChangeFromDIB(&record, given) : V_ConvertFromDIB(&record, header, rows);
                });
                if (!isChange || status != RESULT_SUCCESS) {
                    EXPECT_EQ(0, memcmp(dib.bytes.data(), GlobalLock(given), dib.bytes.size()));
                    GlobalUnlock(given);
                    GlobalFree(given);
                }
                if (status == RESULT_SUCCESS) {
                    EXPECT_EQ(ColorsFromTop(source.get()), ColorsFromTop(&record));
                    V_FreeBitmap(&record);
                } else {
                    EXPECT_TRUE(faults.struck());
                    EXPECT_TRUE(SameRecord(rubbish, record)) << Describe(record);
                }
            });
    });
}

} // namespace vexo::test
