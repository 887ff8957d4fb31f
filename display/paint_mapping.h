// The geometry of a paint: which destination pixels show something and which source pixel each of them takes. Lines are
// counted from the top of the picture here, whatever the order of the stored rows.
#ifndef VEXO_DISPLAY_PAINT_MAPPING_H
#define VEXO_DISPLAY_PAINT_MAPPING_H

#include "display/paint.h"
#include "geometry/row_sampler.h"

#include <algorithm>

namespace vexo {

// Pixels `first` to `end` - 1 of a row or column.
struct Span {
    int first;
    int end;

    int count() const { return end - first; }
    bool isEmpty() const { return first >= end; }
};
inline Span operator&(Span a, Span b) { return {std::max(a.first, b.first), std::min(a.end, b.end)}; }

// One direction: `from` source pixels, the first of them `start`, become `to` destination pixels numbered from 0.
struct PaintAxis {
    int64_t start;
    int from;
    int to;

    bool IsScaled() const { return from != to; }
    // The source pixel of destination pixel i. Also for i = to: the one behind the last.
    int64_t SourceOf(int i) const { return start + int64_t(i) * from / to; }
    // The destination pixels that take their source from [sourceFirst, sourceEnd), part of the axis.
    Span PixelsFrom(int64_t sourceFirst, int64_t sourceEnd) const
    {
        return {PixelsBefore(sourceFirst), PixelsBefore(sourceEnd)};
    }
    // The walk from destination pixel i on, in source pixels counted from `origin`.
    Stepping WalkFrom(int i, int64_t origin) const
    {
        Stepping walk = Stepping::Across(from, to, i);
        walk.position = int(walk.position + start - origin);
        return walk;
    }

private:
    int PixelsBefore(int64_t source) const { return int(((source - start) * to + from - 1) / from); }
};

struct PaintMapping {
    PaintAxis x, y;
    int left, top;             // of destination pixel (0, 0) on the device, its last line when mirrored
    bool mirrored;             // the picture stands upside down: destination line 0 is the lowest
    Span columns, lines;       // what shows
    Span allColumns, allLines; // what would show without the clips

    bool IsEmpty() const { return columns.isEmpty() || lines.isEmpty(); }
    bool IsScaled() const { return x.IsScaled() || y.IsScaled(); }
    // The device line of the uppermost of some destination lines.
    int DeviceTop(Span part) const { return mirrored ? top - (part.end - 1) : top + part.first; }
};

// Works the mapping out. `rows` are the stored rows that can be painted at all. With nothing to show the mapping is
// empty. Returns RESULT_SUCCESS, or ERR_INV_RANGE for a rectangle wider or higher than 0x7FFFFFFF.
int MapPaint(PaintMapping *mapping, const BitmapHandle *bitmap, const PaintArea &area, Span rows);

} // namespace vexo

#endif
