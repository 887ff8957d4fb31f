// The shapes a region can be set to. Each is made in the bitmap's own coordinates, clipped, and combined with the
// region there is; only a complete result takes its place.
#include "regions/shape_builder.h"

using namespace vexo;

namespace {

int CheckShape(const BitmapHandle *bitmap, const RegionTransform *transform, bool hasShape, unsigned combine)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    return hasShape && combine <= COMBINE_COMPLEMENT_NEW ? CheckTransform(transform) : ERR_INV_PARAMETER;
}

BitmapRegion *RectShape(const RECT &rect, const Scaling &scaling, const RECT &window)
{
    ShapeBuilder builder(rect.top, rect.bottom, scaling, window);
    if (rect.left < rect.right && rect.top < rect.bottom && builder.BeginRows(rect.top, rect.bottom)) {
        builder.Add(rect.left, rect.right);
        builder.EndRows();
    }
    return builder.Finish();
}

// Sets the region to what make(scaling, window) gives: a region, or null for no memory.
template <class Make>
int SetShape(BitmapHandle *bitmap, const RegionTransform *transform, unsigned combine, Make &&make)
{
    Scaling scaling;
    if (transform)
        scaling = {transform->XScaleNum, transform->XScaleDen, transform->YScaleNum,
                   transform->YScaleDen, transform->XOffset,   transform->YOffset};
    BitmapRegion *shape = make(scaling, WholeRect(bitmap));
    if (shape && transform && transform->TransformOrientation != bitmap->Orientation)
        FlipRegion(*shape, bitmap->Height);
    return CombineWithRegion(bitmap, shape, combine);
}

// The same for a GDI region made for the call, which is deleted; null: it could not be made.
int SetGdiShape(BitmapHandle *bitmap, const RegionTransform *transform, unsigned combine, HRGN shape)
{
    const gdi::Region owned(shape);
    if (!owned)
        return ERR_NO_MEMORY;
    return V_SetBitmapRgnHandle(bitmap, transform, shape, combine);
}

} // namespace

int VEXO_CALL V_SetBitmapRgnRect(BitmapHandle *bitmap, const RegionTransform *transform, const RECT *rect,
                                 unsigned combine)
{
    const int status = CheckShape(bitmap, transform, rect != nullptr, combine);
    if (Failed(status))
        return status;
    return SetShape(bitmap, transform, combine,
                    [&](const Scaling &scaling, const RECT &window) { return RectShape(*rect, scaling, window); });
}

int VEXO_CALL V_SetBitmapRgnEllipse(BitmapHandle *bitmap, const RegionTransform *transform, const RECT *rect,
                                    unsigned combine)
{
    const int status = CheckShape(bitmap, transform, rect != nullptr, combine);
    if (Failed(status))
        return status;
    return SetGdiShape(bitmap, transform, combine, ::CreateEllipticRgnIndirect(rect));
}

int VEXO_CALL V_SetBitmapRgnRoundRect(BitmapHandle *bitmap, const RegionTransform *transform, const RECT *rect,
                                      int ellipseWidth, int ellipseHeight, unsigned combine)
{
    const int status = CheckShape(bitmap, transform, rect != nullptr, combine);
    if (Failed(status))
        return status;
    return SetGdiShape(
        bitmap, transform, combine,
        ::CreateRoundRectRgn(rect->left, rect->top, rect->right, rect->bottom, ellipseWidth, ellipseHeight));
}

int VEXO_CALL V_SetBitmapRgnPolygon(BitmapHandle *bitmap, const RegionTransform *transform, const POINT *points,
                                    int pointCount, unsigned fillMode, unsigned combine)
{
    const int status = CheckShape(bitmap, transform, points && fillMode <= 1, combine);
    if (Failed(status))
        return status;
    // Deliberate: 0 is the winding rule here, which is not GDI's number for it.
    return SetGdiShape(bitmap, transform, combine,
                       ::CreatePolygonRgn(points, pointCount, fillMode == 0 ? WINDING : ALTERNATE));
}

int VEXO_CALL V_SetBitmapRgnHandle(BitmapHandle *bitmap, const RegionTransform *transform, HRGN region,
                                   unsigned combine)
{
    const int status = CheckShape(bitmap, transform, ::GetObjectType(region) == OBJ_REGION, combine);
    if (Failed(status))
        return status;
    return SetShape(bitmap, transform, combine,
                    [&](const Scaling &scaling, const RECT &window) { return RegionFromGdi(region, scaling, window); });
}

int VEXO_CALL V_OffsetBitmapRgn(BitmapHandle *bitmap, int rowOffset, int columnOffset)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    const Scaling move = {.xOffset = columnOffset, .yOffset = rowOffset};
    const RECT whole = WholeRect(bitmap);
    BitmapRegion *moved = bitmap->Region ? ScaledRegion(*bitmap->Region, move, whole) : RectShape(whole, move, whole);
    if (!moved)
        return ERR_NO_MEMORY;
    ReplaceRegion(bitmap, moved);
    return RESULT_SUCCESS;
}
