// Questions about a bitmap's region, and its end.
#include "regions/region.h"

using namespace vexo;

namespace {

bool Contains(const BitmapRegion &region, int row, int column)
{
    const std::span<const int> values = RowSegments(region, row);
    // The number of values at or before the column is odd inside a segment.
    return (std::upper_bound(values.begin(), values.end(), column) - values.begin()) % 2 != 0;
}

} // namespace

int VEXO_CALL V_FreeBitmapRgn(BitmapHandle *bitmap)
{
    if (!bitmap)
        return ERR_INV_PARAMETER; // Deliberate: not ERR_NO_BITMAP
    ReplaceRegion(bitmap, nullptr);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_BitmapHasRgn(const BitmapHandle *bitmap) { return bitmap && bitmap->Region; }

int VEXO_CALL V_GetBitmapRgnBounds(const BitmapHandle *bitmap, const RegionTransform *transform, RECT *bounds)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!bounds)
        return ERR_INV_PARAMETER;
    const int status = CheckTransform(transform);
    if (Failed(status))
        return status;
    const BitmapRegion *region = bitmap->Region;
    const RECT own = region ? region->Bounds : WholeRect(bitmap);
    *bounds = !transform || (region && IsEmptyRegion(*region)) ? own : TransformRect(bitmap, *transform, own);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_IsPtInBitmapRgn(const BitmapHandle *bitmap, int row, int column)
{
    if (!bitmap)
        return 0;
    if (bitmap->Region)
        return Contains(*bitmap->Region, row, column);
    return column >= 0 && column < bitmap->Width && row >= 0 && row < bitmap->Height;
}

int VEXO_CALL V_GetBitmapRgnArea(const BitmapHandle *bitmap, unsigned *area)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!area)
        return ERR_INV_PARAMETER;
    if (!bitmap->Region) {
        *area = unsigned(bitmap->Width) * unsigned(bitmap->Height);
        return RESULT_SUCCESS;
    }
    const BitmapRegion &region = *bitmap->Region;
    unsigned sum = 0;
    for (size_t i = 0; i < region.SegmentDataSize / sizeof(int); i += 2)
        sum += unsigned(region.SegmentData[i + 1]) - unsigned(region.SegmentData[i]);
    *area = sum;
    return RESULT_SUCCESS;
}
