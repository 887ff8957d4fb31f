// Builds the region of a shape that goes through a transform and a window on its way: whatever lies outside the window
// is never made, so that no scale costs more than what remains.
#ifndef VEXO_REGIONS_SHAPE_BUILDER_H
#define VEXO_REGIONS_SHAPE_BUILDER_H

#include "core/gdi.h"
#include "regions/region.h"

namespace vexo {

// Frees a region at the end of a scope.
using RegionOwner = gdi::Owner<BitmapRegion *, FreeRegion>;

inline bool IsInside(const RECT &inner, const RECT &outer)
{
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
           inner.bottom <= outer.bottom;
}

constexpr int Clamp32(int64_t value) { return int(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX)); }

// A coordinate through (value + offset) * num / den, truncated. The order of coordinates is kept, or reversed as a
// whole.
class CoordinateScale {
public:
    CoordinateScale(int num, int den, int offset)
        : m_num(num), m_den(den), m_offset(offset), m_scales(num != den), m_changes(m_scales || offset != 0)
    {
    }
    int operator()(int value) const { return m_changes ? Changed(value) : value; }

private:
    int Changed(int value) const
    {
        const int moved = Clamp32(int64_t(value) + m_offset);
        return m_scales ? Clamp32(int64_t(moved) * m_num / m_den) : moved;
    }

    int m_num, m_den, m_offset;
    bool m_scales, m_changes;
};

class ShapeBuilder {
public:
    // The shape has rows from `top` to `bottom` - 1.
    ShapeBuilder(int top, int bottom, const Scaling &scaling, const RECT &window)
        : m_xScale(scaling.xNum, scaling.xDen, scaling.xOffset), m_yScale(scaling.yNum, scaling.yDen, scaling.yOffset),
          m_window(window),
          m_builder(FirstRow(top), FirstRow(top) < EndRow(bottom) ? EndRow(bottom) - FirstRow(top) : 0)
    {
    }

    // Rows `top` to `bottom` - 1 of the shape, all below those before them, hold what is added up to EndRows. False:
    // none of them is made, and nothing may be added.
    bool BeginRows(int top, int bottom)
    {
        m_first = FirstRow(top);
        m_end = EndRow(bottom);
        if (m_first >= m_end)
            return false;
        m_builder.SkipTo(m_first);
        m_any = false;
        return true;
    }
    // Starts ascend; a segment begins where the last one ends or behind it.
    void Add(int start, int end)
    {
        const int left = std::max<int>(m_xScale(start), m_window.left);
        const int right = std::min<int>(m_xScale(end), m_window.right);
        m_any |= left < right;
        m_builder.Add(left, right);
    }
    void EndRows()
    {
        m_builder.EndRow();
        if (m_any && m_end - m_first > 1)
            m_builder.RepeatRows(m_end - m_first - 1);
    }

    BitmapRegion *Finish() { return m_builder.Finish(); }

private:
    int FirstRow(int row) const { return std::max<int>(m_yScale(row), m_window.top); }
    int EndRow(int row) const { return std::min<int>(m_yScale(row), m_window.bottom); }

    CoordinateScale m_xScale, m_yScale;
    RECT m_window;
    RegionBuilder m_builder;
    int m_first = 0, m_end = 0; // rows of the result
    bool m_any = false;         // the current rows have a segment
};

// ---- Out of the bitmap ----------------------------------------------------------------------------------------

inline RECT Ordered(const RECT &rect)
{
    return {std::min(rect.left, rect.right), std::min(rect.top, rect.bottom), std::max(rect.left, rect.right),
            std::max(rect.top, rect.bottom)};
}

// Whether what is made for one transform serves the other after a move.
inline bool SameButOffsets(const RegionTransform &a, const RegionTransform &b)
{
    return a.TransformOrientation == b.TransformOrientation && a.XScaleNum == b.XScaleNum &&
           a.XScaleDen == b.XScaleDen && a.YScaleNum == b.YScaleNum && a.YScaleDen == b.YScaleDen;
}

// Calls visit(rect) for rectangles that make up the bitmap's region in the space of a transform, from top to bottom,
// none of them empty. Rows that are the same become one rectangle a segment: what they become apart would lie side by
// side.
template <class Visit>
void ForEachTransformedRect(const BitmapHandle *bitmap, const RegionTransform &transform, Visit visit)
{
    const BitmapRegion &region = *bitmap->Region;
    const bool mirrored = transform.TransformOrientation != bitmap->Orientation;
    const bool upwards = mirrored != ((transform.YScaleNum < 0) != (transform.YScaleDen < 0));
    const int rows = region.Bounds.bottom - region.Bounds.top;
    for (int done = 0, more; done < rows; done += more) {
        const int row = upwards ? region.Bounds.bottom - 1 - done : region.Bounds.top + done;
        const std::span<const int> segments = RowSegments(region, row);
        for (more = 1; done + more < rows; ++more)
            if (!std::ranges::equal(segments, RowSegments(region, upwards ? row - more : row + more)))
                break;
        const int top = upwards ? row - more + 1 : row;
        for (size_t i = 0; i < segments.size(); i += 2) {
            const RECT rect =
                Ordered(TransformRect(bitmap, transform, {segments[i], top, segments[i + 1], top + more}));
            if (rect.left < rect.right && rect.top < rect.bottom)
                visit(rect);
        }
    }
}

// ---- Services of the files of this folder ---------------------------------------------------------------------

// A GDI region as segments. Null: no memory.
BitmapRegion *RegionFromGdi(HRGN region, const Scaling &scaling, const RECT &window);

// Combines a shape, which is taken over (null: it could not be made), with the region of the bitmap and stores the
// result. The caller has checked the mode. RESULT_SUCCESS, or ERR_NO_MEMORY with the old region in place.
int CombineWithRegion(BitmapHandle *bitmap, BitmapRegion *shape, unsigned mode);

} // namespace vexo

#endif
