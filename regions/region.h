// What other folders use of the regions folder. A region is a table of rows, each a sorted list of pixel runs
// (segments) in stored rows and columns; everything that touches it works row by row in time proportional to the
// segments.
#ifndef VEXO_REGIONS_REGION_H
#define VEXO_REGIONS_REGION_H

#include "core/core.h"

#include <algorithm>

// ---- The record -----------------------------------------------------------------------------------------------

struct RegionRow {
    unsigned Count;  // x values of the row, always even
    unsigned Offset; // byte offset of the first one in the segment data
};

// What BitmapHandle::Region points to. The row table has an entry for each row from Bounds.top to Bounds.bottom - 1;
// the first and the last are not empty, those between may be. A row's x values are pairs (start, end), start < end, and
// each start is above the end before it. An empty region has neither table nor segments, and bounds of (0, 0, 0, 0).
//
// Both GDI objects are made from the segments for one transform each and go when the segments change.
struct BitmapRegion {
    HRGN GdiRegion; // the region in the space of GdiTransform, or null
    RegionTransform GdiTransform;
    HGDIOBJ GdiRegion2; // what framing keeps for GdiTransform2, or null
    RegionTransform GdiTransform2;
    RECT Bounds;
    unsigned RowTableSize; // bytes in use
    RegionRow *RowTable;
    unsigned SegmentDataSize; // bytes in use
    int *SegmentData;
};
static_assert(sizeof(RegionTransform) == 28 && sizeof(RegionRow) == 8);
static_assert(sizeof(void *) != 4 || sizeof(BitmapRegion) == 96);

namespace vexo {

// ---- Reading --------------------------------------------------------------------------------------------------

inline bool IsEmptyRegion(const BitmapRegion &region) { return region.RowTableSize == 0; }

// The x values of a row, (start, end) by (start, end); none for a row outside the bounds.
inline std::span<const int> RowSegments(const BitmapRegion &region, int row)
{
    if (row < region.Bounds.top || row >= region.Bounds.bottom)
        return {};
    const RegionRow &entry = region.RowTable[row - region.Bounds.top];
    return {region.SegmentData + entry.Offset / sizeof(int), entry.Count};
}

// Calls visit(start, end) for the parts of a row of the bitmap's region that lie in columns left to right - 1. Without
// a region the row is one segment from 0 to Width.
template <class Visit>
void ForEachSegment(const BitmapHandle *bitmap, int row, int left, int right, Visit &&visit)
{
    const int whole[2] = {0, bitmap->Width};
    const std::span<const int> segments =
        bitmap->Region ? RowSegments(*bitmap->Region, row) : std::span<const int>(whole);
    // Of the values at or before the left side, all but the start of a segment that it cuts are of segments before it.
    const size_t before = size_t(std::upper_bound(segments.begin(), segments.end(), left) - segments.begin());
    for (size_t i = before / 2 * 2; i < segments.size() && segments[i] < right; i += 2) {
        const int start = std::max(segments[i], left), end = std::min(segments[i + 1], right);
        if (start < end)
            visit(start, end);
    }
}

// ---- Building -------------------------------------------------------------------------------------------------

// Makes a region row by row, from `top` on. Memory that runs out is remembered: the calls go on doing nothing and
// Finish gives null.
class RegionBuilder {
public:
    // `rows` is the number of rows, from `top` on, that may get segments.
    RegionBuilder(int top, int rows);
    ~RegionBuilder();
    RegionBuilder(const RegionBuilder &) = delete;
    RegionBuilder &operator=(const RegionBuilder &) = delete;

    // Appends a segment to the current row. Empty ones are dropped; one that begins at or before the end of the last
    // is joined to it. Starts must not descend within a row.
    void Add(int start, int end)
    {
        if (start >= end)
            return;
        if (m_next != m_rowStart && start <= m_next[-1]) {
            m_next[-1] = std::max(m_next[-1], end);
        } else if (int *values = Reserve(2)) {
            values[0] = start;
            values[1] = end;
            Commit(2);
        }
    }
    // For those that write x values themselves: room for `values` of them behind the current row's, or null; and the
    // number written, which obeys the rules of the record.
    int *Reserve(size_t values) { return size_t(m_limit - m_next) >= values && m_next ? m_next : Grow(values); }
    void Commit(size_t values) { m_next += values; }
    // The current row is complete, maybe without a segment; the next one begins.
    void EndRow()
    {
        if (m_next != m_rowStart)
            CloseRow();
        ++m_row;
    }
    // The current row, which is empty so far, and those below it, `count` in all: make(row, out) writes the x values of
    // one at `out` and returns their end. `mostValues` is the most that all rows and one more write may come to. The
    // quick way for many short rows: what changes from one to the next stays in registers.
    template <class Make>
    void MakeRows(int count, uint64_t mostValues, Make make)
    {
        int *start = count > 0 ? Reserve(size_t(std::min<uint64_t>(mostValues, SIZE_MAX))) : nullptr;
        if (!start)
            return;
        RegionRow *entry = m_rows + (m_row - m_top);
        int *const values = m_values;
        int left = m_left, right = m_right, first = INT32_MAX, last = INT32_MIN;
        for (int row = m_row; row < m_row + count; ++row, ++entry) {
            int *const end = make(row, start);
            if (end == start)
                continue;
            *entry = {unsigned(end - start), unsigned((start - values) * sizeof(int))};
            left = std::min(left, *start);
            right = std::max(right, end[-1]);
            first = std::min(first, row);
            last = row;
            start = end;
        }
        m_next = m_rowStart = start;
        m_left = left;
        m_right = right;
        m_firstRow = std::min(m_firstRow, first);
        m_lastRow = std::max(m_lastRow, last);
        m_row += count;
    }
    // The current row, which is empty so far, and those below it, `count` in all, become the same as the last one that
    // has segments.
    void RepeatRows(int count);
    // Goes on with a row further down; those between are empty.
    void SkipTo(int row) { m_row = row; }

    // The region, which the caller owns; null when memory ran out. The builder is spent then.
    BitmapRegion *Finish();

private:
    int *Grow(size_t values);
    void Fail();
    void CloseRow()
    {
        m_rows[m_row - m_top] = {unsigned(m_next - m_rowStart), unsigned((m_rowStart - m_values) * sizeof(int))};
        m_left = std::min(m_left, *m_rowStart);
        m_right = std::max(m_right, m_next[-1]);
        m_firstRow = std::min(m_firstRow, m_row);
        m_lastRow = m_row;
        m_rowStart = m_next;
    }

    // The lists: the table of rows from m_top on, and the x values. After a failure there are none.
    RegionRow *m_rows = nullptr;
    int *m_values = nullptr;
    int *m_rowStart = nullptr; // first value of the current row
    int *m_next = nullptr;     // place of the next value
    int *m_limit = nullptr;    // end of the room there is
    bool m_failed = false;
    int m_top;
    int m_row;
    int m_firstRow = INT32_MAX, m_lastRow = INT32_MIN; // those with segments
    int m_left = INT32_MAX, m_right = INT32_MIN;
};

// Functions that return a region give it to the caller, who frees it or stores it in a bitmap; null: no memory.

BitmapRegion *EmptyRegion();
BitmapRegion *DupRegion(const BitmapRegion &region);
// Frees the record, its lists and its GDI objects; null is accepted.
void FreeRegion(BitmapRegion *region);
// Deletes the GDI objects. To be called whenever segments change.
void DropGdiObjects(BitmapRegion &region);
// Gives the bitmap a region (null: none) and frees the one it had.
void ReplaceRegion(BitmapHandle *bitmap, BitmapRegion *region);

// ---- Changing -------------------------------------------------------------------------------------------------

// These change a region in place and cannot fail.
void FlipRegion(BitmapRegion &region, int height);   // rows mirrored within a height
void ReverseRegion(BitmapRegion &region, int width); // columns mirrored within a width
void CutRegion(BitmapRegion &region, int height);    // drops the rows from `height` on

// What a transform makes of coordinates: (value + offset) * num / den, truncated. The denominators are not 0.
struct Scaling {
    int xNum = 1, xDen = 1, yNum = 1, yDen = 1;
    int xOffset = 0, yOffset = 0;

    bool IsIdentity() const { return xNum == xDen && yNum == yDen && xOffset == 0 && yOffset == 0; }
};
// A new region: the part inside `window` of one that is moved and scaled. The factors decide the rows and columns that
// a pixel fills: from its scaled place up to its neighbour's.
BitmapRegion *ScaledRegion(const BitmapRegion &region, const Scaling &scaling, const RECT &window);
// The part of a region in a rectangle; the region itself changes. RESULT_SUCCESS or ERR_NO_MEMORY (nothing changes).
int ClipRegion(BitmapRegion &region, const RECT &rect);

inline RECT WholeRect(const BitmapHandle *bitmap) { return {0, 0, bitmap->Width, bitmap->Height}; }

// ---- Regions of bitmaps ---------------------------------------------------------------------------------------

// Give `destination` a copy of the region of `source`, moved by (dx, dy) and clipped to the destination, or scaled from
// the source's width and height to the destination's. What the destination had is freed, unless it is the source's own.
// A source without a region leaves the destination as it is. RESULT_SUCCESS or ERR_NO_MEMORY.
int CopyRegionMoved(BitmapHandle *destination, const BitmapHandle *source, int dx, int dy);
int CopyRegionScaled(BitmapHandle *destination, const BitmapHandle *source);

// The index that V_SetBitmapRgnColor takes a colour for in a palettised bitmap; -1 when no pixel can be of the colour.
int IndexOfColor(const BitmapHandle *bitmap, COLORREF color);

// ---- Transforms and GDI ---------------------------------------------------------------------------------------

// RESULT_SUCCESS, or ERR_INV_PARAMETER for an orientation other than 0 and 2 or a denominator of 0. Null is good.
int CheckTransform(const RegionTransform *transform);
// A rectangle of the bitmap in the space of a transform that has been checked.
RECT TransformRect(const BitmapHandle *bitmap, const RegionTransform &transform, const RECT &rect);
// The transform that a null pointer stands for.
RegionTransform IdentityTransform(const BitmapHandle *bitmap);

// The bitmap's region, or its whole rectangle, as a GDI region in the space of a transform (null: the identity).
// `owned` tells whether the caller deletes it; otherwise it is the record's and must not be changed.
// RESULT_SUCCESS, ERR_INV_PARAMETER for a bad transform, or ERR_NO_MEMORY.
int RegionToGdi(const BitmapHandle *bitmap, const RegionTransform *transform, HRGN *region, bool *owned);

} // namespace vexo

#endif
