// Resizing by nearest sampling: rows that a caller streams through his own buffer, and whole bitmaps, whose rows are
// sampled from storage to storage without a stop between when both lie in memory.
#include "core/row_io.h"
#include "geometry/new_size.h"
#include "geometry/row_sampler.h"
#include "regions/region.h"

#include <cstring>

using namespace vexo;

static_assert(sizeof(ResizeContext) == 56);

namespace {

// Count the destination rows of a source row: YRepeat, and one more whenever the remainder passes OldHeight. Row y
// leaves (YFraction x (y + 1)) mod OldHeight behind; upward the steps are undone.

int RemainderAt(const ResizeContext &context, int64_t row) { return int(context.YFraction * row % context.OldHeight); }

bool StepDown(ResizeContext *context)
{
    const int64_t sum = int64_t(context->YAccumulator) + context->YFraction;
    const bool reached = sum >= context->OldHeight;
    context->YAccumulator = int(reached ? sum - context->OldHeight : sum);
    return reached;
}

bool StepUp(ResizeContext *context)
{
    const bool passed = context->YAccumulator < context->YFraction;
    context->YAccumulator += (passed ? context->OldHeight : 0) - context->YFraction;
    return passed;
}

int CountRows(ResizeContext *context, int row)
{
    const int64_t step = int64_t(context->LastRow) - row;
    bool extra;
    if (step == 1) {
        if (!context->Backward)
            context->YAccumulator = RemainderAt(*context, int64_t(row) + 1);
        context->Backward = 1;
        extra = StepUp(context);
    } else {
        if (step != -1 || context->Backward)
            context->YAccumulator = RemainderAt(*context, row);
        context->Backward = 0;
        extra = StepDown(context);
    }
    context->LastRow = row;
    return context->YRepeat + extra;
}

void ScaleRowInPlace(uint8_t *row, int bits, const ResizeContext &context)
{
    if (context.NewWidth > context.OldWidth)
        EnlargeRowInPlace(bits, row, context.OldWidth, context.NewWidth);
    else if (context.NewWidth < context.OldWidth)
        SampleRow(bits, 0, Stepping::Across(context.OldWidth, context.NewWidth), row, row, context.NewWidth);
}

int CheckBitmaps(const BitmapHandle *source, const BitmapHandle *destination)
{
    if (!IsAllocated(source) || !IsAllocated(destination))
        return ERR_NO_BITMAP;
    return source->BitsPerPixel == destination->BitsPerPixel ? RESULT_SUCCESS : ERR_INV_PARAMETER;
}

// Fills the destination. A source row is read and sampled once, however often it is repeated.
int SampleRows(BitmapHandle *source, BitmapHandle *destination)
{
    const BitmapLock sourceLock(source), destinationLock(destination);
    RowReader from(source);
    RowWriter to(destination);
    const RowSampler sampler(source->BitsPerPixel, Stepping::Across(source->Width, destination->Width),
                             destination->Width);
    if (!from || !to || !sampler)
        return ERR_NO_MEMORY;
    const size_t rowBytes = size_t(destination->BytesPerLine);
    const bool mirrored = source->Orientation != destination->Orientation;
    Stepping down = Stepping::Across(source->Height, destination->Height);
    const uint8_t *sampled = nullptr;
    int lastRow = -1;
    Progress progress(destination->Height);
    int status = progress.Start();
    for (int y = 0; y < destination->Height && !Failed(status); ++y, down.Advance()) {
        const int row = mirrored ? destination->Height - 1 - y : y;
        uint8_t *const place = to.Row(row);
        if (down.position != lastRow) {
            const uint8_t *pixels;
            status = from.Read(down.position, &pixels);
            if (Failed(status))
                break;
            sampler.Sample(place, rowBytes, pixels);
            lastRow = down.position;
        } else if (place != sampled) {
            memcpy(place, sampled, rowBytes);
        }
        sampled = place;
        status = to.Write(row);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

} // namespace

// ---- The second record ----------------------------------------------------------------------------------------

int vexo::StartNewSize(PendingBitmap *made, const BitmapHandle *source, int width, int height)
{
    const int status = DuplicateForFilling(made->record(), source, width, height, source->BitsPerPixel, DUP_PALETTE);
    if (Failed(status))
        return status;
    (*made)->Region = nullptr; // still the source's
    (*made)->DitherMode = source->DitherMode;
    (*made)->Reserved = source->Reserved;
    return RESULT_SUCCESS;
}

int vexo::FinishNewSize(PendingBitmap *made, BitmapHandle *caller)
{
    const int status = CopyRegionScaled(made->record(), caller);
    if (!Failed(status))
        made->CommitTo(caller);
    return status;
}

// ---- Exports --------------------------------------------------------------------------------------------------

int VEXO_CALL V_StartResize(int oldWidth, int oldHeight, int newWidth, int newHeight, ResizeContext **context)
{
    if (!context || oldWidth < 1 || oldHeight < 1 || newWidth < 1 || newHeight < 1)
        return ERR_INV_PARAMETER;
    Buffer<ResizeContext> made(1, Buffer<ResizeContext>::Fill::Zero);
    if (!made)
        return ERR_NO_MEMORY;
    made[0].LastRow = -1;
    made[0].OldWidth = oldWidth;
    made[0].OldHeight = oldHeight;
    made[0].NewWidth = newWidth;
    made[0].NewHeight = newHeight;
    made[0].XStep = oldWidth / newWidth;
    made[0].XFraction = oldWidth % newWidth;
    made[0].YRepeat = newHeight / oldHeight;
    made[0].YFraction = newHeight % oldHeight;
    *context = made.Release();
    return RESULT_SUCCESS;
}

int VEXO_CALL V_Resize(void *buffer, int row, int bitsPerPixel, int *newWidth, int *rowCount, ResizeContext *context)
{
    if (!buffer || !newWidth || !rowCount || !context || !IsSupportedDepth(bitsPerPixel))
        return ERR_INV_PARAMETER;
    if (row < 0 || row >= context->OldHeight)
        return ERR_INV_RANGE;
    *newWidth = context->NewWidth;
    if (context->NewWidth == context->OldWidth && context->NewHeight == context->OldHeight) {
        *rowCount = 1;
        return 1;
    }
    *rowCount = CountRows(context, row);
    if (*rowCount > 0)
        ScaleRowInPlace(static_cast<uint8_t *>(buffer), bitsPerPixel, *context);
    return *rowCount;
}

int VEXO_CALL V_StopResize(ResizeContext *context)
{
    if (context)
        V_OsFree(context);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_ResizeBitmap(BitmapHandle *source, BitmapHandle *destination)
{
    const int status = CheckBitmaps(source, destination);
    if (Failed(status) || source == destination)
        return status;
    return SampleRows(source, destination);
}

int VEXO_CALL V_SizeBitmap(BitmapHandle *bitmap, int newWidth, int newHeight)
{
    // Deliberate: not ERR_NO_BITMAP, unlike the rest of the family.
    if (!IsAllocated(bitmap))
        return ERR_INV_PARAMETER;
    if (newWidth == bitmap->Width && newHeight == bitmap->Height)
        return RESULT_SUCCESS;
    PendingBitmap made;
    int status = StartNewSize(&made, bitmap, newWidth, newHeight);
    if (!Failed(status))
        status = SampleRows(bitmap, made.record());
    return Failed(status) ? status : FinishNewSize(&made, bitmap);
}
