// Frames of regions of every kind under every kind of transform against a plain model, and how often their masks are
// made.
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/memory_device.h"
#include "tests/support/regions.h"

namespace vexo::test {

namespace {

constexpr int kWidth = 90, kHeight = 70;

class Frames : public LibraryTest {
protected:
    Frames() : device(kWidth, kHeight, 32) {}

    // Frames on a device of random pixels: those of the frame must be stripes, the others as before.
    void ExpectFrame(Random &random, BitmapHandle *bitmap, const RegionTransform *transform, unsigned type)
    {
        HRGN region = nullptr;
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap, transform, &region));
        std::vector<uint32_t> expected;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                device.SetPixelAt(x, y, uint32_t(random.Next()) & 0xFFFFFF);
                const bool framed = PtInRegion(region, x, y) && HasNeighbourOutside(region, x, y);
                expected.push_back(framed ? Stripe(x, y, type) : device.PixelAt(x, y));
            }
        }
        DeleteObject(region);
        ASSERT_EQ(RESULT_SUCCESS, V_FrameBitmapRgn(device.dc(), bitmap, transform, type));
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                ASSERT_EQ(expected[size_t(y * kWidth + x)], device.PixelAt(x, y) & 0xFFFFFF) << x << ", " << y;
    }

    MemoryDevice device;

private:
    static bool HasNeighbourOutside(HRGN region, int x, int y)
    {
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if (!PtInRegion(region, x + dx, y + dy))
                    return true;
        return false;
    }
    static uint32_t Stripe(int x, int y, unsigned type)
    {
        static constexpr int kRows[8] = {0x0F, 0x1E, 0x3C, 0x78, 0xF0, 0xE1, 0xC3, 0x87};
        return kRows[(y + int(type)) % 8] >> (7 - x % 8) & 1 ? 0xFFFFFF : 0;
    }
};

} // namespace

TEST_F(Frames, AreThePixelsWithANeighbourOutside)
{
    Random random(90);
    for (int round = 0; round < 120; ++round) {
        const int width = random.Between(1, 40), height = random.Between(1, 30);
        const int orientation = random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
        TestBitmap bitmap(StorageKind::PageFile, width, height, 1, {COLOR_ORDER_BGR, orientation, {}});
        Image mask = RandomMask(random, width, height);
        if (round % 2) { // blots with an inside
            mask = Image(width, height, 1);
            for (int i = 0; i < 5; ++i) {
                const int left = random.Below(width), top = random.Below(height);
                for (int y = top; y < std::min(top + random.Between(1, 16), height); ++y)
                    for (int x = left; x < std::min(left + 20, width); ++x)
                        mask.At(y, x) = 1;
            }
        }
        if (!random.OneIn(8)) // else the whole bitmap
            SetMask(bitmap.get(), mask);
        RegionTransform transform = RandomTransform(random);
        SCOPED_TRACE(testing::Message() << "round " << round << ", " << width << " x " << height);
        SetTextColor(device.dc(), RGB(200, 10, round)); // a caller's colours change nothing
        SetBkColor(device.dc(), RGB(3, 120, 250));
        ExpectFrame(random, bitmap.get(), nullptr, unsigned(random.Below(8)));
        ExpectFrame(random, bitmap.get(), &transform, unsigned(random.Below(8)));
        transform.XOffset -= random.Between(1, 9); // the same mask elsewhere
        transform.YOffset += random.Between(0, 9);
        ExpectFrame(random, bitmap.get(), &transform, unsigned(random.Below(8)));
        EXPECT_EQ(RGB(200, 10, round), GetTextColor(device.dc()));
        EXPECT_EQ(RGB(3, 120, 250), GetBkColor(device.dc()));
        EXPECT_EQ(GetStockObject(WHITE_BRUSH), GetCurrentObject(device.dc(), OBJ_BRUSH));
        if (HasFatalFailure())
            return;
    }
}

TEST_F(Frames, MakeOneMaskAScale)
{
    Random random(91);
    TestBitmap bitmap(StorageKind::PageFile, 30, 20, 8);
    const RECT ellipse = {3, 2, 25, 19};
    V_SetBitmapRgnEllipse(bitmap.get(), nullptr, &ellipse, COMBINE_REPLACE);
    int masks = 0; // are the bitmaps made of bits
    const auto counter =
        Replace<decltype(CreateBitmap)>("gdi32.dll", "CreateBitmap", [&](auto next, auto... arguments) {
            ++masks;
            return next(arguments...);
        });
    RegionTransform transform = {ORIENT_BOTTOM_UP, 1, 1, 1, 1, 0, 0};
    for (unsigned type = 0; type < 8; ++type) {
        ExpectFrame(random, bitmap.get(), type % 2 ? nullptr : &transform, type);
        ++transform.XOffset;
        transform.YOffset += 2;
    }
    EXPECT_EQ(1, masks);
    for (int RegionTransform::*const key :
         {&RegionTransform::XScaleNum, &RegionTransform::YScaleDen, &RegionTransform::TransformOrientation}) {
        transform.*key = key == &RegionTransform::TransformOrientation ? ORIENT_TOP_DOWN : 2;
        const int before = masks;
        ExpectFrame(random, bitmap.get(), &transform, 0);
        ExpectFrame(random, bitmap.get(), &transform, 1);
        EXPECT_EQ(before + 1, masks);
    }
    V_OffsetBitmapRgn(bitmap.get(), 1, 1);
    ExpectFrame(random, bitmap.get(), &transform, 3);
    EXPECT_EQ(5, masks) << "the region has changed";
}

TEST_F(Frames, RefuseBadArguments)
{
    TestBitmap bitmap(StorageKind::PageFile, 31, 17, 4);
    const std::vector<COLORREF> before = device.ColorsFromTop();
    const RECT empty = {}, rect = {2, 3, 20, 9};
    EXPECT_EQ(ERR_NO_BITMAP, V_FrameBitmapRgn(device.dc(), nullptr, nullptr, 0));
    for (const RECT &region : {rect, empty}) {
        V_SetBitmapRgnRect(bitmap.get(), nullptr, &region, COMBINE_REPLACE);
        for (const unsigned type : {8u, ~0u})
            EXPECT_EQ(ERR_INV_PARAMETER, V_FrameBitmapRgn(device.dc(), bitmap.get(), nullptr, type));
        EXPECT_EQ(ERR_INV_PARAMETER, V_FrameBitmapRgn(nullptr, bitmap.get(), nullptr, 0));
        for (const RegionTransform &bad :
             {RegionTransform{1, 1, 1, 1, 1, 0, 0}, {0, 1, 0, 1, 1, 0, 0}, {0, 1, 1, 1, 0, 0, 0}})
            EXPECT_EQ(ERR_INV_PARAMETER, V_FrameBitmapRgn(device.dc(), bitmap.get(), &bad, 0));
    }
    EXPECT_EQ(before, device.ColorsFromTop());
}

// Without a mask the frame is drawn all the same, here of a rectangle, where both ways give the same.
TEST_F(Frames, GetAroundAMaskThatCannotBeHad)
{
    TestBitmap bitmap(StorageKind::PageFile, 31, 17, 4);
    V_FrameBitmapRgn(device.dc(), bitmap.get(), nullptr, 3);
    const std::vector<COLORREF> whole = device.ColorsFromTop();
    const RECT rect = {0, 0, 31, 17};
    ForEachFault(kFaultMemory | kFaultGdi, [&](FaultInjector &faults) {
        V_FreeBitmapRgn(bitmap.get());
        V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
        PatBlt(device.dc(), 0, 0, kWidth, kHeight, BLACKNESS);
        const int status = faults.Run([&] { return V_FrameBitmapRgn(device.dc(), bitmap.get(), nullptr, 3); });
        EXPECT_EQ(RESULT_SUCCESS, status);
        EXPECT_EQ(whole, device.ColorsFromTop());
    });

    const RegionTransform huge = {ORIENT_TOP_DOWN, 1000000, 1, 1000000, 1, 0, 0};
    EXPECT_EQ(RESULT_SUCCESS, V_FrameBitmapRgn(device.dc(), bitmap.get(), &huge, 0));
    const HDC metafile = CreateMetaFileA(nullptr);
    EXPECT_EQ(RESULT_SUCCESS, V_FrameBitmapRgn(metafile, bitmap.get(), nullptr, 0));
    DeleteMetaFile(CloseMetaFile(metafile));
}

} // namespace vexo::test
