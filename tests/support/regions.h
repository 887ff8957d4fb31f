// Regions in tests as masks: an image of one bit for each pixel, 1 inside. Reading a mask also checks everything that
// must hold for a region, so that every test that compares masks validates them.
#ifndef VEXO_TESTS_SUPPORT_REGIONS_H
#define VEXO_TESTS_SUPPORT_REGIONS_H

#include "regions/region.h"
#include "tests/support/bitmaps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace vexo::test {

// The record itself, whichever library made it.
inline void ExpectSoundRecord(const BitmapRegion &region)
{
    const RECT &bounds = region.Bounds;
    if (region.RowTableSize == 0) {
        EXPECT_TRUE(!region.RowTable && !region.SegmentData && region.SegmentDataSize == 0);
        EXPECT_TRUE(bounds.left == 0 && bounds.top == 0 && bounds.right == 0 && bounds.bottom == 0);
        return;
    }
    ASSERT_EQ(region.RowTableSize, unsigned(bounds.bottom - bounds.top) * sizeof(RegionRow));
    const std::span<const RegionRow> rows(region.RowTable, region.RowTableSize / sizeof(RegionRow));
    EXPECT_TRUE(rows.front().Count && rows.back().Count) << "empty rows at an end of the table";
    unsigned bytes = 0;
    for (const RegionRow &row : rows) {
        bytes += row.Count * unsigned(sizeof(int));
        ASSERT_TRUE(row.Count == 0 || row.Offset + row.Count * sizeof(int) <= region.SegmentDataSize);
    }
    EXPECT_EQ(bytes, region.SegmentDataSize);
}

// The pixels of a bitmap's region (all of them without one), and that the segments, bounds, area and points that the
// library tells of are those of one region inside the bitmap.
inline Image MaskOf(BitmapHandle *bitmap)
{
    if (bitmap->Region)
        ExpectSoundRecord(*bitmap->Region);
    Image mask(bitmap->Width, bitmap->Height, 1);
    unsigned maximum = 0, area = 0;
    EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapClipSegmentsMax(bitmap, &maximum));
    std::vector<int> segments(maximum);
    RECT box = {INT_MAX, INT_MAX, INT_MIN, INT_MIN};
    for (int row = 0; row < bitmap->Height; ++row) {
        unsigned count = 99;
        EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapClipSegments(bitmap, row, segments.data(), &count));
        EXPECT_TRUE(count % 2 == 0 && count <= maximum) << count << " of " << maximum;
        int last = -1;
        for (unsigned i = 0; i < std::min(count, maximum); i += 2) {
            const int start = segments[i], end = segments[i + 1];
            EXPECT_TRUE(last < start && start < end && end <= bitmap->Width)
                << "row " << row << ", " << start << ", " << end;
            for (int x = std::max(start, 0); x < std::min(end, bitmap->Width); ++x)
                mask.At(row, x) = 1;
            area += unsigned(end - start);
            box = {std::min<LONG>(box.left, start), std::min<LONG>(box.top, row), std::max<LONG>(box.right, end),
                   row + 1};
            last = end;
        }
    }
    if (area == 0)
        box = {};
    RECT bounds = {1, 2, 3, 4};
    EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapRgnBounds(bitmap, nullptr, &bounds));
    EXPECT_EQ(0, memcmp(&box, &bounds, sizeof box))
        << bounds.left << ", " << bounds.top << ", " << bounds.right << ", " << bounds.bottom;
    unsigned reported = 99;
    EXPECT_EQ(RESULT_SUCCESS, V_GetBitmapRgnArea(bitmap, &reported));
    EXPECT_EQ(area, reported);
    for (int row = -1; row <= bitmap->Height; ++row) {
        for (int x = -1; x <= bitmap->Width; ++x) {
            const bool inside = row >= 0 && row < mask.height && x >= 0 && x < mask.width && mask.At(row, x);
            if (inside != bool(V_IsPtInBitmapRgn(bitmap, row, x)))
                ADD_FAILURE() << "the point at row " << row << ", column " << x;
        }
    }
    return mask;
}

// The mask alone, for tests that are about something else.
inline Image RegionMask(BitmapHandle *bitmap)
{
    Image mask(bitmap->Width, bitmap->Height, 1);
    for (int row = 0; row < mask.height; ++row)
        for (int x = 0; x < mask.width; ++x)
            mask.At(row, x) = uint32_t(V_IsPtInBitmapRgn(bitmap, row, x));
    return mask;
}

// What a combine mode makes of a pixel.
inline bool Combined(bool old, bool made, unsigned mode)
{
    switch (mode) {
    case COMBINE_INTERSECT: return old && made;
    case COMBINE_REPLACE: return made;
    case COMBINE_NEW_MINUS_OLD: return made && !old;
    case COMBINE_OLD_MINUS_NEW: return old && !made;
    case COMBINE_UNION: return old || made;
    case COMBINE_XOR: return old != made;
    default: return !made;
    }
}

inline Image CombinedMask(Image old, const Image &made, unsigned mode)
{
    for (size_t i = 0; i < old.pixels.size(); ++i)
        old.pixels[i] = Combined(old.pixels[i], made.pixels[i], mode);
    return old;
}

// Any set of pixels: from noise to a few large blots, and nothing or everything now and then.
inline Image RandomMask(Random &random, int width, int height)
{
    const int kind = random.Below(10);
    if (kind == 0)
        return Image(width, height, 1);
    Image mask = kind < 4 ? Image::Random(random, width, height, 1) : Image::RandomRuns(random, width, height, 1);
    if (kind == 9)
        std::ranges::fill(mask.pixels, 1u);
    for (int row = 0; row < height; ++row)
        if (random.OneIn(4)) // rows without a segment, and rows like the one before
            for (int x = 0; x < width; ++x)
                mask.At(row, x) = row > 0 && kind % 2 ? mask.At(row - 1, x) : 0;
    return mask;
}

// Gives a bitmap the region of a mask of its size.
inline void SetMask(BitmapHandle *bitmap, const Image &mask, unsigned mode = COMBINE_REPLACE)
{
    TestBitmap shape(StorageKind::PageFile, mask);
    EXPECT_EQ(RESULT_SUCCESS, V_SetBitmapRgnColor(shape.get(), COLOR_INDEX(1), COMBINE_REPLACE));
    HRGN region = nullptr;
    ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapRgnHandle(shape.get(), nullptr, &region));
    EXPECT_EQ(RESULT_SUCCESS, V_SetBitmapRgnHandle(bitmap, nullptr, region, mode));
    DeleteObject(region);
}

// Scales of either sign, which may also be 0, and offsets.
inline RegionTransform RandomTransform(Random &random)
{
    const auto factor = [&] { return random.OneIn(8) ? random.Between(-2, 0) : random.Between(1, 5); };
    const auto divisor = [&] { return random.OneIn(8) ? random.Between(-3, -1) : random.Between(1, 4); };
    RegionTransform transform;
    transform.TransformOrientation = random.OneIn(2) ? ORIENT_TOP_DOWN : ORIENT_BOTTOM_UP;
    transform.XScaleNum = factor();
    transform.XScaleDen = divisor();
    transform.YScaleNum = factor();
    transform.YScaleDen = divisor();
    transform.XOffset = random.Between(-20, 20);
    transform.YOffset = random.Between(-20, 20);
    return transform;
}

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

} // namespace vexo::test

#endif
