// GDI draws into bitmaps: the same calls on a DIB section of the same picture give the same pixels.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/page_heap.h"
#include "tests/support/status_recorder.h"

#include <cstring>

namespace vexo::test {

namespace {

// A section over a mapping begins where the mapping does, which the page heap's stand-ins do not allow for.
class BitmapDC : public LibraryTest {
private:
    const PageHeapScope m_pageHeap{false};
};

// Rectangles, points and text in colours of all sorts.
void Draw(HDC dc, uint64_t seed, int width, int height)
{
    Random random(seed);
    for (int i = 0; i < 6; ++i) {
        const COLORREF color = RGB(random.Byte(), random.Byte(), random.Byte());
        const HBRUSH brush = CreateSolidBrush(color);
        const int x = random.Between(-3, width), y = random.Between(-3, height);
        const RECT rect = {x, y, x + random.Below(width) + 1, y + random.Below(height) + 1};
        FillRect(dc, &rect, brush);
        DeleteObject(brush);
        SetPixel(dc, random.Below(width), 0, color);
    }
    SetTextColor(dc, RGB(random.Byte(), 0, random.Byte()));
    TextOutA(dc, 2, 1, "Vexo", 4);
    GdiFlush();
}

// Depths that DIB sections have, in the storage of today.
template <class Test>
void ForEachCase(Test &&test)
{
    Random random(71);
    constexpr int kDepths[] = {1, 4, 8, 16, 24, 32};
    ForEachVariant(
        random, 4,
        [&](const Variant &variant) {
            if (variant.kind == StorageKind::PageFile || variant.kind == StorageKind::Compressed)
                test(variant, Image::Random(random, random.Between(3, 60), random.Between(3, 40), variant.bits));
        },
        kDepths);
}

} // namespace

TEST_F(BitmapDC, DrawsWhatADibSectionShows)
{
    ForEachCase([](const Variant &c, const Image &image) {
        TestBitmap bitmap(c.kind, image, c.options);
        const HPALETTE palette = bitmap->Palette;
        const std::vector<COLORREF> colors = ColorsFromTop(bitmap.get());
        MemoryDevice device(image.width, image.height, c.bits, c.options.palette);
        for (int i = 0; i < int(colors.size()); ++i)
            SetPixel(device.dc(), i % image.width, i / image.width, colors[size_t(i)]);
        GdiFlush();
        ASSERT_EQ(colors, device.ColorsFromTop());

        const HDC dc = V_CreateVexoDC(bitmap.get());
        ASSERT_NE(nullptr, dc);
        EXPECT_EQ(colors, ColorsFromTop(bitmap.get())) << "the picture before anything is drawn";
        EXPECT_EQ(ORIENT_BOTTOM_UP, bitmap->Orientation);
        EXPECT_EQ(0u, bitmap->Flags & FLAG_COMPRESSED);
        EXPECT_EQ(palette, bitmap->Palette);
        EXPECT_TRUE(c.bits <= 8 || bitmap->ColorOrder == COLOR_ORDER_BGR);

        Draw(dc, 5, image.width, image.height);
        Draw(device.dc(), 5, image.width, image.height);
        const std::vector<COLORREF> drawn = device.ColorsFromTop();
        EXPECT_EQ(drawn, ColorsFromTop(bitmap.get()));
        V_PutPixelColor(bitmap.get(), 0, 0, RGB(255, 0, 0)); // and the other way
        EXPECT_EQ(V_GetPixelColor(bitmap.get(), 0, 0), GetPixel(dc, 0, image.height - 1));
        EXPECT_TRUE(V_DeleteVexoDC(dc));
        EXPECT_EQ(0u, GetObjectType(dc));
        EXPECT_EQ(drawn[0], V_GetPixelColor(bitmap.get(), image.height - 1, 0));
    });
}

TEST_F(BitmapDC, RegionIsTheClip)
{
    ForEachCase([](const Variant &c, const Image &image) {
        TestBitmap bitmap(c.kind, image, c.options);
        const int width = image.width, height = image.height;
        const RECT ellipse = {1, 0, width - 1, height / 2 + 2}; // not the same when turned over
        ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnEllipse(bitmap.get(), nullptr, &ellipse, COMBINE_REPLACE));
        const HDC dc = V_CreateVexoDC(bitmap.get());
        ASSERT_NE(nullptr, dc);
        const Image before = Load(bitmap.get());
        RECT whole = {0, 0, width, height};
        InvertRect(dc, &whole);
        EXPECT_TRUE(V_DeleteVexoDC(dc));
        const Image after = Load(bitmap.get());
        for (int row = 0; row < height; ++row)
            for (int x = 0; x < width; ++x)
                EXPECT_EQ(V_IsPtInBitmapRgn(bitmap.get(), row, x) == 0, before.At(row, x) == after.At(row, x))
                    << row << ", " << x;
    });
    TestBitmap bitmap(StorageKind::PageFile, 5, 5, 24);
    const RECT nothing = {2, 2, 2, 2};
    ASSERT_EQ(RESULT_SUCCESS, V_SetBitmapRgnRect(bitmap.get(), nullptr, &nothing, COMBINE_REPLACE));
    const HDC dc = V_CreateVexoDC(bitmap.get());
    PatBlt(dc, 0, 0, 5, 5, WHITENESS);
    V_DeleteVexoDC(dc);
    EXPECT_EQ(std::vector<COLORREF>(25), ColorsFromTop(bitmap.get())) << "an empty region is not the same as none";
}

TEST_F(BitmapDC, RefusesWhatHasNoDibForm)
{
    Random random(72);
    for (const int bits : {2, 3, 5, 6, 7}) {
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 9, 9, bits),
                          {COLOR_ORDER_RGB, ORIENT_TOP_DOWN, {}});
        const BitmapSnapshot snapshot(bitmap.get());
        EXPECT_EQ(nullptr, V_CreateVexoDC(bitmap.get()));
        snapshot.ExpectUnchanged();
    }
    BitmapHandle unallocated;
    V_InitBitmap(&unallocated, 8, 8, 8);
    EXPECT_EQ(nullptr, V_CreateVexoDC(&unallocated));
    EXPECT_EQ(nullptr, V_CreateVexoDC(nullptr));
    EXPECT_FALSE(V_DeleteVexoDC(nullptr));
}

namespace {

HBITMAP WINAPI FailToMake(HDC, const BITMAPINFO *, UINT, void **, HANDLE, DWORD) { return nullptr; }

} // namespace

TEST_F(BitmapDC, KeepsThePictureWhenItFails)
{
    ForEachCase([](const Variant &c, const Image &image) {
        const auto attempt = [&](auto create) {
            TestBitmap bitmap(c.kind, image, c.options);
            const RECT rect = {1, 1, 9, 2};
            V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
            const std::vector<COLORREF> colors = ColorsFromTop(bitmap.get());
            const HDC dc = create(bitmap.get());
            EXPECT_EQ(colors, ColorsFromTop(bitmap.get()));
            if (dc)
                V_DeleteVexoDC(dc);
            EXPECT_EQ(1, V_BitmapHasRgn(bitmap.get()));
            return dc != nullptr;
        };
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            EXPECT_TRUE(attempt([&](auto *bitmap) { return faults.Run([&] { return V_CreateVexoDC(bitmap); }); }) ||
                        faults.struck());
        });
        // The library looks the function up, which is missing or fails.
        for (const bool isMissing : {false, true}) {
            const auto noDibSections = Replace<decltype(GetProcAddress)>(
                "kernel32.dll", "GetProcAddress", [=](auto next, HMODULE module, LPCSTR name) {
                    if (strcmp(name, "CreateDIBSection") != 0)
                        return next(module, name);
                    return isMissing ? nullptr : reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(FailToMake));
                });
            EXPECT_FALSE(attempt([](auto *bitmap) { return V_CreateVexoDC(bitmap); }));
        }
        const StatusRecorder stop(1);
        EXPECT_EQ(c.options.orientation == ORIENT_BOTTOM_UP,
                  attempt([](auto *bitmap) { return V_CreateVexoDC(bitmap); }));
    });
}

TEST_F(BitmapDC, ThousandsLeaveNothingBehind) // the fixture counts
{
    TestBitmap bitmap(StorageKind::PageFile, 20, 10, 8);
    const RECT rect = {1, 1, 9, 5};
    V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
    for (int i = 0; i < 10000; ++i) {
        const HDC dc = V_CreateVexoDC(bitmap.get());
        ASSERT_NE(nullptr, dc);
        SetPixel(dc, i % 20, 2, RGB(255, 255, 255));
        ASSERT_TRUE(V_DeleteVexoDC(dc));
    }
}

} // namespace vexo::test
