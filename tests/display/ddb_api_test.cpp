// Bitmaps of every depth and storage to GDI bitmaps and back, and rectangles of a device captured.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"

namespace vexo::test {

namespace {

class Ddb : public LibraryTest {};

// Deletes a GDI object at the end of a test.
struct ObjectDeleter {
    HGDIOBJ object;
    ~ObjectDeleter() { DeleteObject(object); }
};

bool IsLive(HGDIOBJ object) { return GetObjectType(object) != 0; }

void FillDevice(MemoryDevice &device, Random &random, int width, int height, int bits)
{
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            device.SetPixelAt(x, y, bits == 32 ? uint32_t(random.Next()) : uint32_t(random.Below(1 << bits)));
}

} // namespace

TEST_F(Ddb, KeepsThePictureThereAndBack)
{
    Random random(51);
    ForEachVariant(random, 4, [&](const Variant &variant) {
        TestBitmap bitmap(variant.kind,
                          Image::Random(random, random.Between(1, 40), random.Between(1, 9), variant.bits),
                          variant.options);
        const BitmapSnapshot snapshot(bitmap.get());
        const std::vector<COLORREF> colors = ColorsFromTop(bitmap.get());
        const ObjectDeleter converted = {V_ConvertToDDB(nullptr, bitmap.get())};
        ASSERT_NE(nullptr, converted.object);
        snapshot.ExpectUnchanged();
        EXPECT_EQ(12u, V_GetDisplayMode());
        const HDC screen = GetDC(nullptr);
        TestBitmap back, second;
        EXPECT_EQ(RESULT_SUCCESS,
                  V_ConvertFromDDB(screen, back.get(), static_cast<HBITMAP>(converted.object), nullptr));
        EXPECT_EQ(24, back->BitsPerPixel);
        EXPECT_EQ(colors, ColorsFromTop(back.get()));

        const HBITMAP changed = V_ChangeToDDB(screen, bitmap.get());
        EXPECT_NE(nullptr, changed);
        EXPECT_FALSE(bitmap->Flags & FLAG_ALLOCATED);
        const HPALETTE palette = V_CreateFixedPalette(4);
        EXPECT_EQ(RESULT_SUCCESS, V_ChangeFromDDB(screen, second.get(), changed, palette));
        EXPECT_EQ(colors, ColorsFromTop(second.get()));
        EXPECT_FALSE(IsLive(changed) || IsLive(palette));
        ReleaseDC(nullptr, screen);
    });
}

TEST_F(Ddb, BecomesABitmapOfTheNextDepth)
{
    Random random(52);
    const HDC screen = GetDC(nullptr);
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        const std::vector<RGBQUAD> palette = bits <= 8 ? RandomPalette(random, 1 << bits) : std::vector<RGBQUAD>();
        MemoryDevice device(21, 7, bits, palette);
        FillDevice(device, random, 21, 7, bits);
        device.Deselect();
        TestBitmap bitmap;
        ASSERT_EQ(RESULT_SUCCESS, V_ConvertFromDDB(screen, bitmap.get(), device.section(), nullptr)) << bits;
        EXPECT_EQ(bits > 8 ? 24 : bits, bitmap->BitsPerPixel);
        EXPECT_EQ(device.ColorsFromTop(), ColorsFromTop(bitmap.get())) << bits;
        EXPECT_EQ((GetDeviceCaps(screen, HORZRES) * 254 + 5000) / 10000, bitmap->XResolution);
        EXPECT_EQ((GetDeviceCaps(screen, VERTRES) * 254 + 5000) / 10000, bitmap->YResolution);
        EXPECT_EQ(ORIENT_BOTTOM_UP, bitmap->Orientation);
        EXPECT_TRUE(bitmap->Flags & FLAG_MEMORY);
    }
    ReleaseDC(nullptr, screen);
}

TEST_F(Ddb, IsMadeForTheDeviceAsked)
{
    const HDC monochrome = CreateCompatibleDC(nullptr); // its own bitmap has one bit
    Random random(53);
    TestBitmap page(StorageKind::PageFile, Image::Random(random, 70, 20, 1));
    const ObjectDeleter ddb = {V_ConvertToDDB(monochrome, page.get())};
    BITMAP description;
    ASSERT_EQ(int(sizeof description), GetObject(ddb.object, sizeof description, &description));
    EXPECT_EQ(1, description.bmBitsPixel);
    TestBitmap back;
    EXPECT_EQ(RESULT_SUCCESS, V_ConvertFromDDB(monochrome, back.get(), static_cast<HBITMAP>(ddb.object), nullptr));
    EXPECT_EQ(1, back->BitsPerPixel);
    EXPECT_EQ(ColorsFromTop(page.get()), ColorsFromTop(back.get()));
    DeleteDC(monochrome);

    const HDC metafile = CreateMetaFileA(nullptr); // a device without bitmaps
    EXPECT_EQ(nullptr, V_ConvertToDDB(metafile, page.get()));
    EXPECT_EQ(nullptr, V_ChangeToDDB(metafile, page.get()));
    EXPECT_TRUE(page->Flags & FLAG_ALLOCATED);
    const RECT rect = {0, 0, 5, 5};
    EXPECT_EQ(ERR_INV_PARAMETER, V_ScreenCaptureBitmap(metafile, back.get(), &rect));
    DeleteMetaFile(CloseMetaFile(metafile));
}

TEST_F(Ddb, CapturesWhatTheDeviceShows)
{
    Random random(54);
    MemoryDevice device(60, 40, 32);
    FillDevice(device, random, 60, 40, 32);
    const auto expect = [&](RECT rect, int top) {
        TestBitmap bitmap;
        ASSERT_EQ(RESULT_SUCCESS, V_ScreenCaptureBitmap(device.dc(), bitmap.get(), &rect));
        ASSERT_EQ(rect.right - rect.left, bitmap->Width);
        ASSERT_EQ(abs(rect.bottom - rect.top), bitmap->Height);
        std::vector<COLORREF> colors;
        for (int y = top; y < top + bitmap->Height; ++y)
            for (int x = rect.left; x < rect.right; ++x)
                colors.push_back(device.ColorAt(x, y));
        EXPECT_EQ(colors, ColorsFromTop(bitmap.get()));
    };
    expect({0, 0, 60, 40}, 0);
    expect({59, 39, 60, 40}, 39);
    expect({7, 3, 30, 21}, 3);
    expect({7, 21, 30, 3}, 3); // upside down: the same pixels
}

TEST_F(Ddb, RefusesWhatIsNoBitmapAndNoRectangle)
{
    MemoryDevice device(4, 4, 24);
    const HDC dc = device.dc();
    const HGDIOBJ font = GetStockObject(SYSTEM_FONT);
    const ObjectDeleter palette = {V_CreateFixedPalette(4)};
    const HPALETTE handle = static_cast<HPALETTE>(palette.object);
    TestBitmap bitmap;
    const BitmapHandle before = *bitmap.get();
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertFromDDB(dc, bitmap.get(), nullptr, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ConvertFromDDB(dc, nullptr, device.section(), nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ChangeFromDDB(dc, bitmap.get(), static_cast<HBITMAP>(font), nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ChangeFromDDB(nullptr, bitmap.get(), device.section(), handle));
    EXPECT_TRUE(IsLive(handle) && IsLive(device.section()));
    EXPECT_EQ(nullptr, V_ConvertToDDB(dc, nullptr));
    EXPECT_EQ(nullptr, V_ConvertToDDB(dc, bitmap.get()));
    for (const RECT &empty : {RECT{5, 5, 5, 9}, RECT{5, 5, 9, 5}, RECT{9, 5, 5, 9},
                              RECT{LONG(0x80000000), 0, 0x7FFFFFFF, 5}, RECT{0, LONG(0x80000000), 5, 0x7FFFFFFF}})
        EXPECT_EQ(ERR_INV_PARAMETER, V_ScreenCaptureBitmap(dc, bitmap.get(), &empty));
    const RECT rect = {0, 0, 5, 5}, huge = {0, 0, 0x7FFFFFFF, 0x7FFFFFFF};
    EXPECT_EQ(ERR_NO_MEMORY, V_ScreenCaptureBitmap(dc, bitmap.get(), &huge));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ScreenCaptureBitmap(dc, nullptr, &rect));
    EXPECT_EQ(ERR_INV_PARAMETER, V_ScreenCaptureBitmap(dc, bitmap.get(), nullptr));
    EXPECT_TRUE(SameRecord(before, *bitmap.get()));
}

TEST_F(Ddb, LosesNothingWhenSomethingFails)
{
    Random random(55);
    MemoryDevice device(12, 10, 8, RandomPalette(random, 256));
    FillDevice(device, random, 12, 10, 8);
    const RECT rect = {0, 0, 12, 10};
    for (const bool isCapture : {false, true})
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            TestBitmap bitmap;
            const BitmapHandle before = *bitmap.get();
            const ObjectDeleter palette = {V_CreateFixedPalette(8)};
            const int status = faults.Run([&] {
                return isCapture ? V_ScreenCaptureBitmap(device.dc(), bitmap.get(), &rect)
                                 : V_ConvertFromDDB(device.dc(), bitmap.get(), device.section(),
                                                    static_cast<HPALETTE>(palette.object));
            });
            if (status == RESULT_SUCCESS)
                EXPECT_EQ(device.ColorsFromTop(), ColorsFromTop(bitmap.get()));
            else
                EXPECT_TRUE(SameRecord(before, *bitmap.get()));
            EXPECT_NE(palette.object, GetCurrentObject(device.dc(), OBJ_PAL));
        });
}

TEST_F(Ddb, ThousandsLeaveNothingBehind) // the fixture counts
{
    const HDC screen = GetDC(nullptr);
    Random random(56);
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 9, 4, 8));
    MemoryDevice device(8, 8, 32);
    const RECT rect = {0, 0, 8, 8};
    for (int i = 0; i < 10000; ++i) {
        TestBitmap back, captured;
        if (i % 5 == 0)
            ASSERT_EQ(RESULT_SUCCESS,
                      V_ChangeFromDDB(screen, back.get(), V_ConvertToDDB(screen, bitmap.get()), nullptr));
        ASSERT_EQ(RESULT_SUCCESS, V_ScreenCaptureBitmap(device.dc(), captured.get(), &rect));
    }
    ReleaseDC(nullptr, screen);
}

} // namespace vexo::test
