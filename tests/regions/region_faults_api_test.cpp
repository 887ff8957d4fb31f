// Regions given to GDI while something fails: the region stays, and is given when it is asked for again.
#include "tests/support/faults.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/regions.h"

namespace vexo::test {

namespace {

class RegionFaults : public LibraryTest {
private:
    const PageHeapScope m_pageHeap;
};

} // namespace

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

} // namespace vexo::test
