// Rectangles of a bitmap in the space of a caller's transform.
#include "regions/shape_builder.h"

namespace vexo {

namespace {

// value * num / den rounded up for positive values, or truncated; both before the offset.
int ScaledUp(LONG value, int num, int den, int offset)
{
    return Clamp32((int64_t(value) * num + den - 1) / den + offset);
}
int ScaledDown(LONG value, int num, int den, int offset) { return Clamp32(int64_t(value) * num / den + offset); }

} // namespace

int CheckTransform(const RegionTransform *transform)
{
    if (!transform)
        return RESULT_SUCCESS;
    const int orientation = transform->TransformOrientation;
    const bool known = orientation == ORIENT_TOP_DOWN || orientation == ORIENT_BOTTOM_UP;
    return known && transform->XScaleDen != 0 && transform->YScaleDen != 0 ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

RegionTransform IdentityTransform(const BitmapHandle *bitmap) { return {bitmap->Orientation, 1, 1, 1, 1, 0, 0}; }

RECT TransformRect(const BitmapHandle *bitmap, const RegionTransform &transform, const RECT &rect)
{
    LONG top = rect.top, bottom = rect.bottom;
    if (transform.TransformOrientation != bitmap->Orientation) {
        top = bitmap->Height - rect.bottom;
        bottom = bitmap->Height - rect.top;
    }
    // Deliberate: rows are rounded up for the bottom-up view and truncated for the other one; columns are rounded up.
    const auto scaleRow = transform.TransformOrientation == ORIENT_BOTTOM_UP ? ScaledUp : ScaledDown;
    return {ScaledUp(rect.left, transform.XScaleNum, transform.XScaleDen, transform.XOffset),
            scaleRow(top, transform.YScaleNum, transform.YScaleDen, transform.YOffset),
            ScaledUp(rect.right, transform.XScaleNum, transform.XScaleDen, transform.XOffset),
            scaleRow(bottom, transform.YScaleNum, transform.YScaleDen, transform.YOffset)};
}

} // namespace vexo
