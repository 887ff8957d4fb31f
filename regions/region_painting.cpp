// Painting within a region: the paint of the whole, with the region as the clip of the device context.
#include "core/gdi.h"
#include "display/rectangles.h"
#include "regions/region.h"

using namespace vexo;

namespace {

// The state of a DC for a scope.
class SavedState {
public:
    explicit SavedState(HDC dc) : m_dc(dc), m_saved(::SaveDC(dc) != 0) {}
    ~SavedState()
    {
        if (m_saved)
            ::RestoreDC(m_dc, -1);
    }
    SavedState(const SavedState &) = delete;
    SavedState &operator=(const SavedState &) = delete;

    explicit operator bool() const { return m_saved; }

private:
    HDC m_dc;
    bool m_saved;
};

// How the region lies where V_PaintDC puts the whole bitmap.
int TransformTo(RegionTransform *transform, const BitmapHandle *bitmap, const RECT &destination)
{
    if (!HasMeasures(destination))
        return ERR_INV_RANGE;
    *transform = {ORIENT_TOP_DOWN, destination.right - destination.left,
                  bitmap->Width,   destination.bottom - destination.top,
                  bitmap->Height,  destination.left,
                  destination.top};
    return RESULT_SUCCESS;
}

// Calls paint() with the region as the clip.
template <class Paint>
int PaintWithinRegion(HDC dc, BitmapHandle *bitmap, const RECT *destination, Paint paint)
{
    if (!bitmap)
        return ERR_NO_BITMAP;
    if (!destination || !dc)
        return ERR_INV_PARAMETER;
    RegionTransform transform;
    int status = TransformTo(&transform, bitmap, *destination);
    if (Failed(status))
        return status;
    HRGN region;
    bool owned;
    status = RegionToGdi(bitmap, &transform, &region, &owned);
    if (Failed(status))
        return status;
    const gdi::Region owner(owned ? region : nullptr);
    const SavedState state(dc);
    if (!state || ::SelectClipRgn(dc, region) == ERROR)
        return ERR_NO_MEMORY;
    return paint();
}

} // namespace

int VEXO_CALL V_PaintRgnDC(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip, const RECT *dstRect,
                           const RECT *dstClip, DWORD rop)
{
    return PaintWithinRegion(hdc, bitmap, dstRect,
                             [&] { return V_PaintDC(hdc, bitmap, srcRect, srcClip, dstRect, dstClip, rop); });
}

int VEXO_CALL V_PaintRgnDCBuffer(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                 const RECT *dstRect, const RECT *dstClip, DWORD rop, void *buffer, int firstRow,
                                 int rowCount)
{
    return PaintWithinRegion(hdc, bitmap, dstRect, [&] {
        return V_PaintDCBuffer(hdc, bitmap, srcRect, srcClip, dstRect, dstClip, rop, buffer, firstRow, rowCount);
    });
}

int VEXO_CALL V_PaintRgnDCEffect(HDC hdc, BitmapHandle *bitmap, const RECT *srcRect, const RECT *srcClip,
                                 const RECT *dstRect, const RECT *dstClip, DWORD rop, unsigned effect)
{
    return PaintWithinRegion(hdc, bitmap, dstRect, [&] {
        return V_PaintDCEffect(hdc, bitmap, srcRect, srcClip, dstRect, dstClip, rop, effect);
    });
}
