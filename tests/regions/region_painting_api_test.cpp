// Painting within regions: what the plain paint shows inside the region, and the device as it was outside.
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/regions.h"

namespace vexo::test {

namespace {

constexpr int kWidth = 70, kHeight = 60;

class RegionPainting : public LibraryTest {
protected:
    RegionPainting() : random(97), device(kWidth, kHeight, 32), plain(kWidth, kHeight, 32) {}

    void FillBoth()
    {
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const uint32_t pixel = uint32_t(random.Next()) & 0xFFFFFF;
                device.SetPixelAt(x, y, pixel);
                plain.SetPixelAt(x, y, pixel);
            }
    }
    // paint() has drawn on the one device within the region and on the other one without.
    void ExpectOnlyInside(const std::vector<COLORREF> &before, BitmapHandle *bitmap, const RECT &destination)
    {
        const RegionTransform transform = {ORIENT_TOP_DOWN, int(destination.right - destination.left),
                                           bitmap->Width,   int(destination.bottom - destination.top),
                                           bitmap->Height,  destination.left,
                                           destination.top};
        HRGN region = nullptr;
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap, &transform, &region));
        std::vector<COLORREF> expected = plain.ColorsFromTop();
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                if (!PtInRegion(region, x, y))
                    expected[size_t(y * kWidth + x)] = before[size_t(y * kWidth + x)];
        DeleteObject(region);
        EXPECT_TRUE(expected == device.ColorsFromTop());
    }

    Random random;
    MemoryDevice device, plain;
};

} // namespace

TEST_F(RegionPainting, ShowsWhatThePlainPaintShowsInside)
{
    for (int round = 0; round < 60; ++round) {
        const int bits = kAllDepths[size_t(round) % kAllDepths.size()];
        const int orientation = random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
        const Image image = Image::Random(random, random.Between(1, 40), random.Between(1, 30), bits);
        TestBitmap bitmap(StorageKind::PageFile, image, {COLOR_ORDER_BGR, orientation, {}});
        if (round % 8)
            SetMask(bitmap.get(), RandomMask(random, image.width, image.height));
        const int left = random.Between(-5, 20), top = random.Between(0, 20);
        RECT destination = {left, top, left + image.width, top + image.height};
        if (random.OneIn(2))
            destination = {left, top, left + random.Between(1, 60), top + random.Between(1, 50)};
        if (random.OneIn(5))
            std::swap(destination.top, destination.bottom);
        const RECT clip = {5, 5, 40, 45}, part = {1, 0, 30, 20};
        const RECT *sourceClip = random.OneIn(3) ? &part : nullptr,
                   *destinationClip = random.OneIn(3) ? &clip : nullptr;
        std::vector<uint8_t> rows = image.PackedRows();
        FillBoth();
        const std::vector<COLORREF> before = device.ColorsFromTop();

        // The caller's clip does not count, and is back afterwards.
        const HRGN callers = CreateRectRgn(3, 4, 9, 8), found = CreateRectRgn(0, 0, 0, 0);
        SelectClipRgn(device.dc(), callers);
        const auto paint = [&](bool within, HDC dc) {
            if (round % 3 == 0)
                return (within ? V_PaintRgnDCBuffer : V_PaintDCBuffer)(dc, bitmap.get(), nullptr, sourceClip,
                                                                       &destination, destinationClip, SRCINVERT,
                                                                       rows.data(), 0, image.height);
            return (within ? V_PaintRgnDC : V_PaintDC)(dc, bitmap.get(), nullptr, sourceClip, &destination,
                                                       destinationClip, SRCINVERT);
        };
        ASSERT_EQ(RESULT_SUCCESS, paint(true, device.dc()));
        ASSERT_EQ(RESULT_SUCCESS, paint(false, plain.dc()));
        EXPECT_EQ(1, GetClipRgn(device.dc(), found));
        EXPECT_TRUE(EqualRgn(callers, found));
        SelectClipRgn(device.dc(), nullptr);
        DeleteObject(callers);
        DeleteObject(found);
        ExpectOnlyInside(before, bitmap.get(), destination);
        ASSERT_FALSE(HasFailure()) << "round " << round << ", " << bits << " bits";
    }
}

// Whatever way the picture comes in, it is the same in the end.
TEST_F(RegionPainting, EveryEffectEndsWithThePlainPicture)
{
    const Image image = Image::Random(random, 30, 20, 24);
    TestBitmap bitmap(StorageKind::PageFile, image);
    const RECT ellipse = {2, 1, 24, 19}, hole = {9, 7, 15, 11}, destination = {4, 5, 60, 48};
    V_SetBitmapRgnEllipse(bitmap.get(), nullptr, &ellipse, COMBINE_REPLACE);
    V_SetBitmapRgnRect(bitmap.get(), nullptr, &hole, COMBINE_OLD_MINUS_NEW);
    for (unsigned effect = 0; effect <= 32; ++effect) {
        FillBoth();
        const std::vector<COLORREF> before = device.ColorsFromTop();
        ASSERT_EQ(RESULT_SUCCESS, V_PaintRgnDCEffect(device.dc(), bitmap.get(), nullptr, nullptr, &destination, nullptr,
                                                     SRCCOPY, effect));
        V_PaintDC(plain.dc(), bitmap.get(), nullptr, nullptr, &destination, nullptr, SRCCOPY);
        ExpectOnlyInside(before, bitmap.get(), destination);
        ASSERT_FALSE(HasFailure()) << "effect " << effect;
    }
}

TEST_F(RegionPainting, PaintsNothingWhenItFails)
{
    TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 30, 20, 5));
    FillBoth();
    const std::vector<COLORREF> before = device.ColorsFromTop();
    const RECT destination = {2, 3, 42, 50}, ellipse = {3, 2, 25, 19};
    V_SetBitmapRgnEllipse(bitmap.get(), nullptr, &ellipse, COMBINE_REPLACE);
    const HRGN mask = CreateRectRgn(0, 0, 0, 0);
    ForEachFault(kFaultMemory | kFaultGdi, [&](FaultInjector &faults) {
        V_OffsetBitmapRgn(bitmap.get(), 0, 0); // so that its GDI region has to be made
        const int status = faults.Run(
            [&] { return V_PaintRgnDC(device.dc(), bitmap.get(), nullptr, nullptr, &destination, nullptr, SRCCOPY); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status) << faults.function();
        EXPECT_EQ(faults.struck(), before == device.ColorsFromTop());
        EXPECT_EQ(0, GetClipRgn(device.dc(), mask)) << "no clip is left behind";
    });
    DeleteObject(mask);
}

} // namespace vexo::test
