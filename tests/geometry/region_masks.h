// Regions in tests of the geometry: made at random, and read back as one flag for each pixel.
#ifndef VEXO_TESTS_GEOMETRY_REGION_MASKS_H
#define VEXO_TESTS_GEOMETRY_REGION_MASKS_H

#include "tests/support/bitmaps.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vexo::test {

// Some rectangles over each other, each turning inside to outside.
inline void SetRandomRegion(BitmapHandle *bitmap, Random &random)
{
    for (int i = random.Between(1, 5); i >= 0; --i) {
        const int x = random.Below(bitmap->Width + 1), y = random.Below(bitmap->Height + 1);
        const RECT rect = {std::min<LONG>(x, random.Below(bitmap->Width + 1)), std::min<LONG>(y, random.Below(y + 1)),
                           x, std::max<LONG>(y, random.Below(bitmap->Height + 1))};
        ASSERT_EQ(RESULT_SUCCESS,
                  V_SetBitmapRgnRect(bitmap, nullptr, &rect, bitmap->Region ? COMBINE_XOR : COMBINE_REPLACE));
    }
}

// An image of one bit for each pixel: 1 inside the region, everywhere without one.
inline Image RegionMask(BitmapHandle *bitmap)
{
    Image mask(bitmap->Width, bitmap->Height, 1);
    for (int row = 0; row < mask.height; ++row)
        for (int x = 0; x < mask.width; ++x)
            mask.At(row, x) = uint32_t(V_IsPtInBitmapRgn(bitmap, row, x));
    return mask;
}

} // namespace vexo::test

#endif
