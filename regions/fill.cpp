// Fills: one row of the colour, written inside the clip segments of every row of the region.
#include "colour/colour.h"
#include "regions/segments.h"

using namespace vexo;

namespace {

template <class MakeRow>
int FillRegion(BitmapHandle *bitmap, MakeRow &&makeRow)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    RECT bounds = bitmap->Region ? bitmap->Region->Bounds : WholeRect(bitmap);
    bounds.bottom = std::min<LONG>(bounds.bottom, bitmap->Height); // a region may be shared with a larger bitmap
    const Buffer<uint8_t> pixels(size_t(bitmap->BytesPerLine), Buffer<uint8_t>::Fill::Zero);
    if (!pixels)
        return ERR_NO_MEMORY;
    const BitmapLock lock(bitmap);
    makeRow(pixels.data());

    const bool reportsRows = bitmap->Flags & FLAG_DISK;
    Progress progress(reportsRows ? bounds.bottom - bounds.top : 1);
    int status = progress.Start();
    for (int row = bounds.top; row < bounds.bottom && !Failed(status); ++row) {
        int whole[2];
        // Deliberate: a row that cannot be written is left, and the fill goes on.
        PutRowSegments(bitmap, pixels.data(), row, 0, ClipSegments(bitmap, row, whole));
        if (reportsRows)
            status = progress.Step();
    }
    const bool hasReported = reportsRows && bounds.bottom > bounds.top;
    return Failed(status) || hasReported ? status : progress.Step();
}

} // namespace

int VEXO_CALL V_FillBitmap(BitmapHandle *bitmap, COLORREF color)
{
    return FillRegion(bitmap, [&](uint8_t *pixels) { FillRowWithColor(bitmap, color, pixels, size_t(bitmap->Width)); });
}

int VEXO_CALL V_ClearBitmap(BitmapHandle *bitmap)
{
    return FillRegion(bitmap, [](uint8_t *) {}); // the row starts as zeros
}
