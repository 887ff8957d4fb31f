// Fills: one row of the colour, written inside the clip segments of every row of the region.
#include "colour/colour.h"
#include "core/row_kernels.h"
#include "regions/segments.h"

using namespace vexo;

namespace {

// Whether the bytes of a fill go past the caches: they would only push other things out of them.
bool IsStreamed(const BitmapHandle *bitmap, const RECT &bounds)
{
    constexpr int64_t kStreamFrom = int64_t(8) << 20;
    const int64_t pixels = int64_t(bounds.right - bounds.left) * (bounds.bottom - bounds.top);
    return bitmap->BitsPerPixel >= 8 && DirectRows(bitmap) && pixels * bitmap->BitsPerPixel / 8 >= kStreamFrom;
}

void StreamRow(BitmapHandle *bitmap, const uint8_t *pixels, int row)
{
    uint8_t *const rowPixels = DirectRows(bitmap) + RowOffset(bitmap, row);
    const size_t bytes = size_t(bitmap->BitsPerPixel) / 8;
    ForEachSegment(bitmap, row, 0, bitmap->Width, [&](int start, int end) {
        rowKernels.streamBytes(rowPixels + size_t(start) * bytes, pixels + size_t(start) * bytes,
                               size_t(end - start) * bytes);
    });
}

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
    const bool streamed = IsStreamed(bitmap, bounds);
    int status = progress.Start();
    for (int row = bounds.top; row < bounds.bottom && !Failed(status); ++row) {
        int whole[2];
        if (streamed)
            StreamRow(bitmap, pixels.data(), row);
        else // Deliberate: a row that cannot be written is left, and the fill goes on.
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
