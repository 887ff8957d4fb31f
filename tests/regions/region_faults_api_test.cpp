// Everything that setters of regions acquire fails once: the region that was there stays, and nothing is left behind.
#include "tests/regions/masks.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <functional>

namespace vexo::test {

namespace {

class RegionFaults : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

using Setter = std::function<int(BitmapHandle *)>;

// Runs a setter with failures. It fails and leaves the region alone, or finds another way to what it gives undisturbed.
void ExpectAllOrNothing(const Setter &setter, StorageKind kind, bool hasRegion)
{
    const StorageScope scope(kind);
    Random random(70);
    const Image image = Image::RandomRuns(random, 40, 30, 8), old = RandomMask(random, 40, 30);
    Image expected(40, 30, 1);
    {
        TestBitmap bitmap(kind, image);
        if (hasRegion)
            SetMask(bitmap.get(), old);
        ASSERT_EQ(RESULT_SUCCESS, setter(bitmap.get()));
        expected = MaskOf(bitmap.get());
    }
    ForEachFault(kFaultAll, [&](FaultInjector &faults) {
        TestBitmap bitmap(kind, image);
        if (hasRegion)
            SetMask(bitmap.get(), old);
        const BitmapSnapshot before(bitmap.get());
        const Image maskBefore = MaskOf(bitmap.get());
        const int status = faults.Run([&] { return setter(bitmap.get()); });
        if (status == RESULT_SUCCESS) {
            EXPECT_EQ(expected, MaskOf(bitmap.get()));
            return;
        }
        EXPECT_TRUE(faults.struck());
        EXPECT_TRUE(status == ERR_NO_MEMORY ||
                    (kind == StorageKind::TemporaryFile && (status == ERR_FILE_READ || status == ERR_FILE_SEEK)))
            << status;
        before.ExpectUnchanged();
        EXPECT_EQ(maskBefore, MaskOf(bitmap.get()));
    });
}

} // namespace

TEST_F(RegionFaults, SettersKeepTheOldRegion)
{
    static constexpr RECT kRect = {3, 2, 33, 28};
    static constexpr POINT kPoints[] = {{0, 0}, {39, 5}, {10, 29}, {30, 0}, {5, 20}};
    static constexpr RegionTransform kTransform = {ORIENT_TOP_DOWN, 3, 2, 4, 3, -2, 1};
    for (const unsigned mode : {COMBINE_REPLACE, COMBINE_XOR}) {
        const RegionTransform *const transform = mode == COMBINE_XOR ? &kTransform : nullptr;
        const Setter setters[] = {
            [&](BitmapHandle *b) { return V_SetBitmapRgnRect(b, transform, &kRect, mode); },
            [&](BitmapHandle *b) { return V_SetBitmapRgnEllipse(b, transform, &kRect, mode); },
            [&](BitmapHandle *b) { return V_SetBitmapRgnRoundRect(b, transform, &kRect, 9, 7, mode); },
            [&](BitmapHandle *b) { return V_SetBitmapRgnPolygon(b, transform, kPoints, 5, 1, mode); },
        };
        for (const Setter &setter : setters) {
            ExpectAllOrNothing(setter, StorageKind::PageFile, true);
            ExpectAllOrNothing(setter, StorageKind::PageFile, false);
        }
        for (const StorageKind kind : StorageKinds(8))
            ExpectAllOrNothing([&](BitmapHandle *b) { return V_SetBitmapRgnColor(b, COLOR_INDEX(3), mode); }, kind,
                               true);
    }
    for (const bool hasRegion : {false, true})
        ExpectAllOrNothing([](BitmapHandle *b) { return V_OffsetBitmapRgn(b, 5, -7); }, StorageKind::PageFile,
                           hasRegion);
}

TEST_F(RegionFaults, ConversionToGdi)
{
    Random random(71);
    const Image mask = Image::Random(random, 40, 10, 1); // more rectangles than GDI is given at a time
    for (const bool hasRegion : {true, false}) {
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            TestBitmap bitmap(StorageKind::PageFile, 40, 10, 8);
            if (hasRegion)
                SetMask(bitmap.get(), mask);
            HRGN region = nullptr;
            const int status = faults.Run([&] { return V_GetBitmapRgnHandle(bitmap.get(), nullptr, &region); });
            EXPECT_EQ(status == RESULT_SUCCESS, region != nullptr);
            EXPECT_EQ(faults.struck(), status != RESULT_SUCCESS);
            EXPECT_TRUE(status == RESULT_SUCCESS || status == RESULT_FAILURE || status == ERR_NO_MEMORY) << status;
            DeleteObject(region);
            EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap.get(), nullptr, &region)) << "asked again";
            V_FreeBitmapRgn(bitmap.get());
            EXPECT_EQ(RESULT_SUCCESS, V_SetBitmapRgnHandle(bitmap.get(), nullptr, region, COMBINE_REPLACE));
            DeleteObject(region);
            if (hasRegion)
                EXPECT_EQ(mask, MaskOf(bitmap.get()));
        });
    }
}

// A kept GDI region that cannot be moved is made anew.
TEST_F(RegionFaults, MovingTheKeptGdiRegion)
{
    ForEachFault(kFaultGdi, [&](FaultInjector &faults) {
        TestBitmap bitmap(StorageKind::PageFile, 20, 10, 8);
        const RECT rect = {2, 3, 9, 8};
        V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
        HRGN region = nullptr;
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(bitmap.get(), nullptr, &region));
        DeleteObject(region);
        region = nullptr;
        const RegionTransform moved = {ORIENT_BOTTOM_UP, 1, 1, 1, 1, 5, 6};
        const int status = faults.Run([&] { return V_GetBitmapRgnHandle(bitmap.get(), &moved, &region); });
        EXPECT_EQ(status == RESULT_SUCCESS, region != nullptr);
        RECT box;
        if (region)
            EXPECT_TRUE(GetRgnBox(region, &box) == SIMPLEREGION && box.left == 7 && box.top == 9);
        DeleteObject(region);
        EXPECT_TRUE(V_IsPtInBitmapRgn(bitmap.get(), 3, 2));
    });
}

TEST_F(RegionFaults, Fills)
{
    ForEachFault(kFaultMemory, [](FaultInjector &faults) {
        Random random(72);
        TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 30, 9, 4));
        const RECT rect = {2, 3, 9, 8};
        V_SetBitmapRgnRect(bitmap.get(), nullptr, &rect, COMBINE_REPLACE);
        const BitmapSnapshot before(bitmap.get());
        const int status = faults.Run([&] { return V_FillBitmap(bitmap.get(), COLOR_INDEX(1)); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        if (faults.struck())
            before.ExpectUnchanged();
    });
}

} // namespace vexo::test
