// Writing a row inside segments, for the operations that do it row by row.
#ifndef VEXO_REGIONS_SEGMENTS_H
#define VEXO_REGIONS_SEGMENTS_H

#include "regions/region.h"

namespace vexo {

// The clip segments of a row: those of the region, or the whole row, for which `whole` gives the room.
inline std::span<const int> ClipSegments(const BitmapHandle *bitmap, int row, int (&whole)[2])
{
    if (bitmap->Region)
        return RowSegments(*bitmap->Region, row);
    whole[0] = 0;
    whole[1] = bitmap->Width;
    return whole;
}

// V_PutBitmapRowSegments for an allocated bitmap. Pixels outside the bitmap are left out.
int PutRowSegments(BitmapHandle *bitmap, const uint8_t *pixels, int row, int columnOffset,
                   std::span<const int> segments);

} // namespace vexo

#endif
