// Regions moved, clipped, scaled and mirrored. Whatever can leave the bitmap is made inside a window at once, so that
// no transform costs more than what remains of the region.
#include "regions/shape_builder.h"

namespace vexo {

namespace {

// The smallest bounds of the rows of a region's table.
void RecomputeColumns(BitmapRegion &region)
{
    RECT &bounds = region.Bounds;
    bounds.left = INT32_MAX;
    bounds.right = INT32_MIN;
    for (int row = bounds.top; row < bounds.bottom; ++row) {
        const std::span<const int> segments = RowSegments(region, row);
        if (segments.empty())
            continue;
        bounds.left = std::min<LONG>(bounds.left, segments.front());
        bounds.right = std::max<LONG>(bounds.right, segments.back());
    }
}

// Moves the rows' values, which lie side by side somewhere in the list, to its front.
void CompactSegments(BitmapRegion &region)
{
    const std::span<RegionRow> rows(region.RowTable, region.RowTableSize / sizeof(RegionRow));
    unsigned first = region.SegmentDataSize, bytes = 0;
    for (const RegionRow &row : rows) {
        if (row.Count)
            first = std::min(first, row.Offset);
        bytes += row.Count * unsigned(sizeof(int));
    }
    memmove(region.SegmentData, region.SegmentData + first / sizeof(int), bytes);
    for (RegionRow &row : rows)
        if (row.Count)
            row.Offset -= first;
    region.SegmentDataSize = bytes;
}

void MakeEmpty(BitmapRegion &region)
{
    V_OsFree(region.RowTable);
    V_OsFree(region.SegmentData);
    region.RowTable = nullptr;
    region.SegmentData = nullptr;
    region.RowTableSize = 0;
    region.SegmentDataSize = 0;
    region.Bounds = {};
}

int StoreCopy(BitmapHandle *destination, const BitmapHandle *source, const Scaling &scaling)
{
    if (!source->Region)
        return RESULT_SUCCESS;
    BitmapRegion *copy = ScaledRegion(*source->Region, scaling, WholeRect(destination));
    if (!copy)
        return ERR_NO_MEMORY;
    if (destination->Region == source->Region)
        destination->Region = nullptr;
    ReplaceRegion(destination, copy);
    return RESULT_SUCCESS;
}

} // namespace

// ---- In place -------------------------------------------------------------------------------------------------

void FlipRegion(BitmapRegion &region, int height)
{
    DropGdiObjects(region);
    if (IsEmptyRegion(region))
        return;
    std::reverse(region.RowTable, region.RowTable + region.RowTableSize / sizeof(RegionRow));
    const int top = height - region.Bounds.bottom;
    region.Bounds.bottom = height - region.Bounds.top;
    region.Bounds.top = top;
}

void ReverseRegion(BitmapRegion &region, int width)
{
    DropGdiObjects(region);
    if (IsEmptyRegion(region))
        return;
    for (const RegionRow &row : std::span(region.RowTable, region.RowTableSize / sizeof(RegionRow))) {
        // Mirroring the values and their order makes starts of ends and keeps the pairs.
        const std::span<int> values(region.SegmentData + row.Offset / sizeof(int), row.Count);
        std::reverse(values.begin(), values.end());
        for (int &x : values)
            x = width - x;
    }
    const int left = width - region.Bounds.right;
    region.Bounds.right = width - region.Bounds.left;
    region.Bounds.left = left;
}

void CutRegion(BitmapRegion &region, int height)
{
    RECT &bounds = region.Bounds;
    if (bounds.bottom <= height)
        return;
    DropGdiObjects(region);
    int bottom = height;
    while (bottom > bounds.top && RowSegments(region, bottom - 1).empty())
        --bottom;
    if (bottom <= bounds.top) {
        MakeEmpty(region);
        return;
    }
    bounds.bottom = bottom;
    region.RowTableSize = unsigned(bottom - bounds.top) * sizeof(RegionRow);
    CompactSegments(region);
    RecomputeColumns(region);
}

// ---- Anew -----------------------------------------------------------------------------------------------------

BitmapRegion *ScaledRegion(const BitmapRegion &region, const Scaling &scaling, const RECT &window)
{
    ShapeBuilder builder(region.Bounds.top, region.Bounds.bottom, scaling, window);
    for (int row = region.Bounds.top; row < region.Bounds.bottom; ++row) {
        if (!builder.BeginRows(row, row + 1))
            continue;
        const std::span<const int> segments = RowSegments(region, row);
        for (size_t i = 0; i < segments.size(); i += 2)
            builder.Add(segments[i], segments[i + 1]);
        builder.EndRows();
    }
    return builder.Finish();
}

int ClipRegion(BitmapRegion &region, const RECT &rect)
{
    if (IsEmptyRegion(region) || IsInside(region.Bounds, rect))
        return RESULT_SUCCESS;
    BitmapRegion *clipped = ScaledRegion(region, {}, rect);
    if (!clipped)
        return ERR_NO_MEMORY;
    std::swap(region, *clipped);
    FreeRegion(clipped);
    return RESULT_SUCCESS;
}

// ---- Between bitmaps ------------------------------------------------------------------------------------------

int CopyRegionMoved(BitmapHandle *destination, const BitmapHandle *source, int dx, int dy)
{
    return StoreCopy(destination, source, {.xOffset = dx, .yOffset = dy});
}

int CopyRegionScaled(BitmapHandle *destination, const BitmapHandle *source)
{
    return StoreCopy(
        destination, source,
        {.xNum = destination->Width, .xDen = source->Width, .yNum = destination->Height, .yDen = source->Height});
}

} // namespace vexo
