// From the rectangles of a paint to its mapping.
#include "display/paint_mapping.h"

#include "display/rectangles.h"

namespace vexo {

namespace {

// A range of source pixels, which may begin far outside the bitmap.
struct SourceRange {
    int64_t first, end;

    int64_t count() const { return end - first; }
};
SourceRange operator&(SourceRange a, SourceRange b) { return {std::max(a.first, b.first), std::min(a.end, b.end)}; }

// Stored rows as lines of the picture.
SourceRange LinesOf(const BitmapHandle *bitmap, int64_t firstRow, int64_t endRow)
{
    if (bitmap->Orientation != ORIENT_BOTTOM_UP)
        return {firstRow, endRow};
    return {bitmap->Height - endRow, bitmap->Height - firstRow};
}

struct AxisRanges {
    SourceRange whole, available, clipped; // the axis, what of it exists, and what the source clip leaves of that
    int to;
};

// Fills in one direction. Returns false when nothing is left.
bool MapAxis(PaintAxis *axis, Span *all, Span *shown, const AxisRanges &ranges)
{
    *axis = {ranges.whole.first, int(ranges.whole.count()), ranges.to};
    *all = axis->PixelsFrom(ranges.available.first, ranges.available.end);
    *shown = axis->PixelsFrom(ranges.clipped.first, ranges.clipped.end);
    return !shown->isEmpty();
}

} // namespace

int MapPaint(PaintMapping *mapping, const BitmapHandle *bitmap, const PaintArea &area, Span rows)
{
    *mapping = {};
    RECT target = *area.destination;
    mapping->mirrored = target.bottom < target.top;
    if (mapping->mirrored)
        std::swap(target.top, target.bottom);
    const RECT source = area.source ? *area.source : MakeRect(0, 0, bitmap->Width, bitmap->Height);
    if (IsEmptyRect(target) || IsEmptyRect(source))
        return RESULT_SUCCESS;
    if (!HasMeasures(target) || !HasMeasures(source))
        return ERR_INV_RANGE;
    const SourceRange columns = {source.left, source.right}, lines = LinesOf(bitmap, source.top, source.bottom);

    RECT sourceClip = source, targetClip = target;
    if (area.sourceClip && !Intersect(&sourceClip, source, *area.sourceClip))
        return RESULT_SUCCESS;
    if (area.destinationClip && !Intersect(&targetClip, target, *area.destinationClip))
        return RESULT_SUCCESS;
    const SourceRange bitmapColumns = {0, bitmap->Width}, bitmapLines = LinesOf(bitmap, rows.first, rows.end);
    const SourceRange clipColumns = {sourceClip.left, sourceClip.right};
    const SourceRange clipLines = LinesOf(bitmap, sourceClip.top, sourceClip.bottom);
    if ((clipColumns & bitmapColumns).count() < 1 || (clipLines & bitmapLines).count() < 1)
        return RESULT_SUCCESS;
    if (!MapAxis(&mapping->x, &mapping->allColumns, &mapping->columns,
                 {columns, columns & bitmapColumns, clipColumns & bitmapColumns, target.right - target.left}) ||
        !MapAxis(&mapping->y, &mapping->allLines, &mapping->lines,
                 {lines, lines & bitmapLines, clipLines & bitmapLines, target.bottom - target.top})) {
        mapping->columns = {};
        return RESULT_SUCCESS;
    }

    mapping->left = target.left;
    mapping->top = mapping->mirrored ? target.bottom - 1 : target.top;
    mapping->columns = mapping->columns & Span{targetClip.left - target.left, targetClip.right - target.left};
    mapping->lines =
        mapping->lines & (mapping->mirrored ? Span{target.bottom - targetClip.bottom, target.bottom - targetClip.top}
                                            : Span{targetClip.top - target.top, targetClip.bottom - target.top});
    return RESULT_SUCCESS;
}

} // namespace vexo
