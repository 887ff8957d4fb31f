// Rotation in place: which road an angle takes, and the region that turns with the picture. A region is turned as a
// bitmap of one bit for each pixel, by the same code as the picture, so that the two cannot come apart.
#include "core/compressed_rows.h"
#include "geometry/mirror.h"
#include "geometry/rotation.h"
#include "regions/region.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

using namespace vexo;

namespace {

// A rotation as it was asked for. The angle is positive for clockwise on the screen, 0 to 35999.
struct Rotation {
    int angle;
    COLORREF fill;
    int width, height; // of the result
    bool isExact;      // a quarter turn that moves pixels only

    // Whether a quarter turn is clockwise in stored rows, counted from row 0 down. From the other side it is seen to
    // go the other way.
    bool isClockwiseIn(int orientation) const { return (angle == kQuarterTurn) == (orientation != ORIENT_BOTTOM_UP); }
    SineCosine AngleIn(int orientation) const
    {
        return SineCosineOf(orientation == ORIENT_BOTTOM_UP ? kFullTurn - angle : angle);
    }
};

// The bounding box of the turned picture.
int64_t BoxSide(int64_t along, int cosine, int64_t across, int sine)
{
    return (along * std::abs(cosine) + across * std::abs(sine) + 16383) / 16384;
}

// RESULT_SUCCESS, or ERR_INV_RANGE for a result of more pixels a side than a bitmap can have.
int PlanRotation(const BitmapHandle *bitmap, int angle, bool resize, COLORREF fill, Rotation *rotation)
{
    const bool isQuarter = angle == kQuarterTurn || angle == kFullTurn - kQuarterTurn;
    *rotation = {angle, fill, bitmap->Width, bitmap->Height, isQuarter && (resize || bitmap->Width == bitmap->Height)};
    if (!resize)
        return RESULT_SUCCESS;
    const SineCosine s = SineCosineOf(angle);
    const int64_t width = BoxSide(bitmap->Width, s.cosine, bitmap->Height, s.sine);
    const int64_t height = BoxSide(bitmap->Height, s.cosine, bitmap->Width, s.sine);
    if (width > INT_MAX || height > INT_MAX)
        return ERR_INV_RANGE;
    rotation->width = int(width);
    rotation->height = int(height);
    return RESULT_SUCCESS;
}

// Makes an empty bitmap for the rotated rows of another.
int StartResult(PendingBitmap *result, const BitmapHandle *source, const Rotation &rotation)
{
    V_InitBitmap(result->record(), rotation.width, rotation.height, source->BitsPerPixel);
    return AllocateForFilling(result->record(),
                              IsCompressed(source) ? STORAGE_COMPRESSED | STORAGE_MEMORY : STORAGE_MEMORY);
}

// Rotates rows into `result`, counted as `orientation` tells.
int RotateInto(BitmapHandle *result, BitmapHandle *source, int orientation, const Rotation &rotation,
               Progress *progress)
{
    const BitmapLock lock(result);
    if (rotation.isExact)
        return TurnRows(result, source, rotation.isClockwiseIn(orientation), progress);
    return RotateRows(result, source, rotation.AngleIn(orientation), rotation.fill, progress);
}

// ---- The region -----------------------------------------------------------------------------------------------

void SetBits(uint8_t *row, int start, int end)
{
    for (; start < end && start % 8 != 0; ++start)
        row[start / 8] |= uint8_t(0x80 >> start % 8);
    memset(row + start / 8, 0xFF, size_t(std::max(end - start, 0) / 8));
    for (start += std::max(end - start, 0) / 8 * 8; start < end; ++start)
        row[start / 8] |= uint8_t(0x80 >> start % 8);
}

// Makes a 1-bit bitmap of a bitmap's region.
int MaskOfRegion(PendingBitmap *mask, const BitmapHandle *bitmap)
{
    V_InitBitmap(mask->record(), bitmap->Width, bitmap->Height, 1);
    int status = AllocateForFilling(mask->record(), STORAGE_MEMORY);
    if (Failed(status))
        return status;
    Buffer<uint8_t> row(size_t(mask->record()->BytesPerLine));
    if (!row)
        return ERR_NO_MEMORY;
    const BitmapLock lock(mask->record());
    for (int y = 0; y < bitmap->Height && !Failed(status); ++y) {
        memset(row.data(), 0, row.size());
        ForEachSegment(bitmap, y, 0, bitmap->Width, [&](int start, int end) { SetBits(row.data(), start, end); });
        status = WriteRow(mask->record(), row.data(), y);
    }
    return status;
}

// The region whose pixels are the 1 bits of a mask.
int RegionOfMask(BitmapHandle *mask, BitmapRegion **region)
{
    Buffer<uint8_t> row(size_t(mask->BytesPerLine));
    Buffer<uint16_t> runs(size_t(mask->Width) + 1);
    if (!row || !runs)
        return ERR_NO_MEMORY;
    const BitmapLock lock(mask);
    RegionBuilder builder(0, mask->Height);
    for (int y = 0; y < mask->Height; ++y) {
        const int status = ReadRow(mask, row.data(), y);
        if (Failed(status))
            return status;
        const int count = CodeRuns(runs.data(), row.data(), 0, mask->Width);
        int x = 0;
        for (int i = 0; i < count; x += runs[size_t(i++)])
            if (i % 2)
                builder.Add(x, x + runs[size_t(i)]);
        builder.EndRow();
    }
    *region = builder.Finish();
    return *region ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

// Makes the rotated region of a bitmap; null for one without.
int RotateRegion(const BitmapHandle *bitmap, const Rotation &rotation, BitmapRegion **region)
{
    *region = nullptr;
    if (!bitmap->Region)
        return RESULT_SUCCESS;
    Rotation outsideIsZero = rotation;
    outsideIsZero.fill = COLOR_INDEX(0);
    PendingBitmap mask, rotated;
    int status = MaskOfRegion(&mask, bitmap);
    if (!Failed(status))
        status = StartResult(&rotated, mask.record(), rotation);
    if (Failed(status))
        return status;
    const BitmapLock lock(mask.record());
    status = RotateInto(rotated.record(), mask.record(), bitmap->Orientation, outsideIsZero, nullptr);
    return Failed(status) ? status : RegionOfMask(rotated.record(), region);
}

// Frees a region that has not found its bitmap.
struct PendingRegion {
    BitmapRegion *region = nullptr;

    PendingRegion() = default;
    ~PendingRegion() { FreeRegion(region); }
    PendingRegion(const PendingRegion &) = delete;
    PendingRegion &operator=(const PendingRegion &) = delete;

    // Gives the region to a bitmap; none leaves it as it is.
    void CommitTo(BitmapHandle *bitmap)
    {
        if (region)
            ReplaceRegion(bitmap, region);
        region = nullptr;
    }
};

// ---- The picture ----------------------------------------------------------------------------------------------

int RotateBitmap(BitmapHandle *bitmap, const Rotation &rotation, int progressFrom, int progressTo)
{
    PendingRegion region;
    int status = RotateRegion(bitmap, rotation, &region.region);
    if (Failed(status))
        return status;
    if (rotation.isExact) {
        const BitmapLock lock(bitmap);
        if (CanTurnInPlace(bitmap)) {
            status = TurnInPlace(bitmap, rotation.isClockwiseIn(bitmap->Orientation), progressFrom, progressTo);
            if (!Failed(status))
                region.CommitTo(bitmap);
            return status;
        }
    }
    PendingBitmap result;
    status = StartResult(&result, bitmap, rotation);
    if (Failed(status))
        return status;
    {
        const BitmapLock lock(bitmap);
        const int steps = rotation.isExact ? TurnSteps(result.record(), bitmap) : RotateSteps(result.record(), bitmap);
        Progress progress(steps, progressFrom, progressTo);
        status = RotateInto(result.record(), bitmap, bitmap->Orientation, rotation, &progress);
    }
    if (Failed(status))
        return status;
    result.ExchangeStorage(bitmap);
    region.CommitTo(bitmap);
    return RESULT_SUCCESS;
}

} // namespace

int VEXO_CALL V_RotateBitmap(BitmapHandle *bitmap, int degrees, int resize)
{
    return V_RotateBitmapFine(bitmap, degrees % 360 * 100, resize, 0);
}

int VEXO_CALL V_RotateBitmapFine(BitmapHandle *bitmap, int angle, int resize, COLORREF fill)
{
    return V_IntRotateBitmapFine(bitmap, angle, resize, fill, 0, 100);
}

int VEXO_CALL V_IntRotateBitmapFine(BitmapHandle *bitmap, int angle, int resize, COLORREF fill, int progressStart,
                                    int progressEnd)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    angle %= kFullTurn;
    if (angle < 0)
        angle += kFullTurn;
    if (angle == 0) {
        Progress progress(1, progressStart, progressEnd);
        const int status = progress.Start();
        return Failed(status) ? status : progress.Step();
    }
    if (angle == kHalfTurn)
        return MirrorBitmap(bitmap, Mirroring::HalfTurn, progressStart, progressEnd);
    Rotation rotation;
    const int status = PlanRotation(bitmap, angle, resize != 0, fill, &rotation);
    return Failed(status) ? status : RotateBitmap(bitmap, rotation, progressStart, progressEnd);
}
