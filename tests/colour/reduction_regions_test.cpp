// The region of a bitmap that is converted in place goes along as it is, and stays where it is when the call fails.
#include "regions/region.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/library_test.h"

namespace vexo::test {

namespace {

class ReductionRegions : public LibraryTest {};

using Operation = int (*)(BitmapHandle *);
constexpr Operation kOperations[] = {
    [](BitmapHandle *b) { return V_GrayScaleBitmap(b); },
    [](BitmapHandle *b) { return V_HalfToneBitmap(b, HALFTONE_CLUSTERED); },
    [](BitmapHandle *b) { return V_ColorResBitmap(b, 4, COLORRES_OPTIMIZED_PALETTE, nullptr, 0); },
    [](BitmapHandle *b) { return V_ColorResBitmap(b, 16, 0, nullptr, 0); },
};

} // namespace

TEST_F(ReductionRegions, GoAlongOrStay)
{
    for (const Operation operation : kOperations)
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            Random random(71);
            TestBitmap bitmap(StorageKind::PageFile, Image::Random(random, 20, 10, 24));
            RegionBuilder builder(0, 10);
            for (int y = 0; y < 10; ++y) {
                builder.Add(y, 2 * y + 1);
                builder.EndRow();
            }
            BitmapRegion *region = builder.Finish();
            ASSERT_NE(nullptr, region);
            ReplaceRegion(bitmap.get(), region);
            faults.Run([&] { return operation(bitmap.get()); });
            EXPECT_EQ(region, bitmap->Region);
            EXPECT_EQ(1, V_IsPtInBitmapRgn(bitmap.get(), 5, 10));
            EXPECT_EQ(0, V_IsPtInBitmapRgn(bitmap.get(), 5, 11));
        });
}

} // namespace vexo::test
