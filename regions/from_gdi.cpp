// GDI regions as segments. The rectangles that GetRegionData lists are read where they prove to be what GDI documents:
// bands from top to bottom, from left to right in each. Some implementations leave rows of an ellipse without values,
// and then the list cannot be trusted; the set operations agree with each other on every region, so the rows are taken
// apart with them instead, one at a time.
#include "regions/shape_builder.h"

namespace vexo {

namespace {

// ---- The list of rectangles -----------------------------------------------------------------------------------

std::span<const RECT> RectsOf(const RGNDATA *data)
{
    return {reinterpret_cast<const RECT *>(data->Buffer), data->rdh.nCount};
}

// The x values that the rows of the list come to, or 0 unless every set operation must agree with it: the rectangles
// lie in the region's box, are not empty, and form bands that do not overlap.
uint64_t CountBandedValues(std::span<const RECT> rects, const RECT &box)
{
    const RECT before = {box.left, box.top, box.left, box.top};
    const RECT *last = &before;
    uint64_t rows = 0;
    bool isGood = true; // gathered without a branch: lists are nearly always good
    for (const RECT &rect : rects) {
        const bool sameBand = (rect.top == last->top) & (rect.bottom == last->bottom);
        isGood &= sameBand ? rect.left >= last->right : rect.top >= last->bottom;
        isGood &= (rect.left < rect.right) & (rect.top < rect.bottom);
        isGood &= (rect.left >= box.left) & (rect.right <= box.right) & (rect.bottom <= box.bottom);
        rows += unsigned(rect.bottom) - unsigned(rect.top);
        last = &rect;
    }
    return isGood ? 2 * rows : 0;
}

// The rows of a list that nothing is done to.
BitmapRegion *FromPlainRects(std::span<const RECT> rects, const RECT &box, uint64_t values)
{
    RegionBuilder builder(box.top, box.bottom - box.top);
    builder.MakeRows(box.bottom - box.top, values,
                     [band = rects.data(), end = rects.data() + rects.size()](int row, int *out) mutable {
                         while (band != end && band->bottom <= row)
                             ++band;
                         int *const start = out;
                         for (const RECT *rect = band; rect != end && rect->top <= row; ++rect) {
                             if (out != start && rect->left == out[-1]) {
                                 out[-1] = rect->right;
                                 continue;
                             }
                             out[0] = rect->left;
                             out[1] = rect->right;
                             out += 2;
                         }
                         return out;
                     });
    return builder.Finish();
}

BitmapRegion *FromRects(std::span<const RECT> rects, const RECT &box, const Scaling &scaling, const RECT &window)
{
    ShapeBuilder builder(box.top, box.bottom, scaling, window);
    for (size_t i = 0; i < rects.size();) {
        const LONG top = rects[i].top;
        const bool isMade = builder.BeginRows(top, rects[i].bottom);
        for (; i < rects.size() && rects[i].top == top; ++i)
            if (isMade)
                builder.Add(rects[i].left, rects[i].right);
        if (isMade)
            builder.EndRows();
    }
    return builder.Finish();
}

// ---- Row by row -----------------------------------------------------------------------------------------------

// Taking a region apart by set operations. After a failure it stays failed.
class RowCutter {
public:
    RowCutter(HRGN region, const RECT &box)
        : m_region(region), m_right(box.right), m_strip(::CreateRectRgn(0, 0, 0, 0)),
          m_row(::CreateRectRgn(0, 0, 0, 0)), m_part(::CreateRectRgn(0, 0, 0, 0)),
          m_failed(!m_strip || !m_row || !m_part)
    {
    }
    bool failed() const { return m_failed; }

    // Adds the segments of row y between the sides of the box.
    void AddRow(ShapeBuilder &builder, int left, int y)
    {
        RECT box;
        const int kind = Cut(m_row.get(), m_region, left, y, RGN_AND, &box);
        if (kind == SIMPLEREGION) {
            builder.Add(box.left, box.right);
        } else if (kind == COMPLEXREGION) {
            for (int x = box.left; x < box.right && !m_failed;) {
                const int end = FirstColumn(x, y, RGN_DIFF);
                builder.Add(x, end);
                x = FirstColumn(end, y, RGN_AND);
            }
        }
    }

private:
    // The first column of row y from x on that is in the row (RGN_AND) or outside it (RGN_DIFF), or the right side.
    int FirstColumn(int x, int y, int operation)
    {
        RECT box;
        return x < m_right && Cut(m_part.get(), m_row.get(), x, y, operation, &box) > NULLREGION ? int(box.left)
                                                                                                 : m_right;
    }

    // result = the pixels of row y from x to the right side of the box, combined with `other`. Returns its kind.
    int Cut(HRGN result, HRGN other, int x, int y, int operation, RECT *box)
    {
        int kind = ERROR;
        if (!m_failed && ::SetRectRgn(m_strip.get(), x, y, m_right, y + 1))
            kind = ::CombineRgn(result, m_strip.get(), other, operation);
        if (kind > NULLREGION && ::GetRgnBox(result, box) == ERROR)
            kind = ERROR;
        m_failed = m_failed || kind == ERROR;
        return kind;
    }

    HRGN m_region;
    int m_right;
    gdi::Region m_strip, m_row, m_part;
    bool m_failed;
};

BitmapRegion *FromRows(HRGN region, const RECT &box, const Scaling &scaling, const RECT &window)
{
    RowCutter cutter(region, box);
    ShapeBuilder builder(box.top, box.bottom, scaling, window);
    for (int y = box.top; y < box.bottom && !cutter.failed(); ++y) {
        if (!builder.BeginRows(y, y + 1))
            continue;
        cutter.AddRow(builder, box.left, y);
        builder.EndRows();
    }
    return cutter.failed() ? nullptr : builder.Finish();
}

} // namespace

BitmapRegion *RegionFromGdi(HRGN region, const Scaling &scaling, const RECT &window)
{
    RECT box;
    const int kind = ::GetRgnBox(region, &box);
    if (kind == ERROR)
        return nullptr;
    if (kind == NULLREGION)
        return EmptyRegion();
    const DWORD bytes = ::GetRegionData(region, 0, nullptr);
    const Buffer<BYTE> block(bytes);
    auto *data = reinterpret_cast<RGNDATA *>(block.data());
    const uint64_t values = block && ::GetRegionData(region, bytes, data) ? CountBandedValues(RectsOf(data), box) : 0;
    if (values > 0)
        return scaling.IsIdentity() && IsInside(box, window) ? FromPlainRects(RectsOf(data), box, values)
                                                             : FromRects(RectsOf(data), box, scaling, window);
    return FromRows(region, box, scaling, window);
}

} // namespace vexo
