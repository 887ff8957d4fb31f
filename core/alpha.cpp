// Alpha to and from a gray bitmap. Each row is one call of a kernel, on the rows themselves where they lie in memory.
#include "colour/color_res.h"
#include "core/row_io.h"
#include "core/row_kernels.h"
#include "regions/region.h"

#include <algorithm>

using namespace vexo;

namespace {

bool HasAlpha(const BitmapHandle *bitmap) { return bitmap->BitsPerPixel == 16 || bitmap->BitsPerPixel == 32; }

// ---- Alpha to gray --------------------------------------------------------------------------------------------

int StartGray(BitmapHandle *gray, const BitmapHandle *source)
{
    V_InitBitmap(gray, source->Width, source->Height, 8);
    gray->Orientation = source->Orientation;
    gray->XResolution = source->XResolution;
    gray->YResolution = source->YResolution;
    int status = HasAlpha(source) ? AllocateForFilling(gray, STORAGE_MEMORY) : V_AllocateBitmap(gray, STORAGE_MEMORY);
    if (!Failed(status))
        status = CopyRegionMoved(gray, source, 0, 0);
    if (Failed(status))
        return status;
    gray->Palette = V_CreateGrayPalette(8);
    return gray->Palette ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

int ExtractRows(BitmapHandle *gray, BitmapHandle *source)
{
    const BitmapLock grayLock(gray), sourceLock(source);
    if (!HasAlpha(source)) {
        ClearNewStorage(gray);
        return RESULT_SUCCESS;
    }
    const auto kernel = source->BitsPerPixel == 32 ? rowKernels.getAlpha32 : rowKernels.getAlpha16;
    RowReader reader(source);
    RowWriter writer(gray);
    if (!reader || !writer)
        return ERR_NO_MEMORY;
    for (int y = 0; y < source->Height; ++y) {
        const uint8_t *pixels;
        if (const int status = reader.Read(y, &pixels); Failed(status))
            return status;
        kernel(writer.Row(y), pixels, size_t(source->Width));
        ClearRowPadding(writer.Row(y), source->Width, 8);
        if (const int status = writer.Write(y); Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

// ---- Gray to alpha --------------------------------------------------------------------------------------------

int ApplyRows(BitmapHandle *bitmap, BitmapHandle *gray)
{
    const BitmapLock bitmapLock(bitmap), grayLock(gray);
    const auto kernel = bitmap->BitsPerPixel == 32 ? rowKernels.setAlpha32 : rowKernels.setAlpha16;
    RowReader reader(gray);
    RowWriter writer(bitmap);
    if (!reader || !writer)
        return ERR_NO_MEMORY;
    const int width = std::min(bitmap->Width, gray->Width), height = std::min(bitmap->Height, gray->Height);
    for (int y = 0; y < height; ++y) {
        const int row = StoredRow(bitmap, y);
        const uint8_t *levels;
        uint8_t *pixels;
        if (const int status = reader.Read(StoredRow(gray, y), &levels); Failed(status))
            return status;
        if (const int status = writer.Edit(row, &pixels); Failed(status))
            return status;
        kernel(pixels, levels, size_t(width));
        if (const int status = writer.Write(row); Failed(status))
            return status;
    }
    return RESULT_SUCCESS;
}

// Converts the bitmap beside itself, so that it is replaced only when its alpha is there.
int ConvertAndApply(BitmapHandle *bitmap, BitmapHandle *gray)
{
    const bool redFirst = !IsPalettised(bitmap->BitsPerPixel) && bitmap->ColorOrder == COLOR_ORDER_RGB;
    PendingBitmap converted;
    int status = BuildReduced(&converted, bitmap, {32, redFirst ? 0 : COLORRES_ORDER_BGR, nullptr, 0});
    if (!Failed(status))
        status = ApplyRows(converted.record(), gray);
    if (Failed(status))
        return status;
    ReplaceByConverted(bitmap, &converted);
    return RESULT_SUCCESS;
}

int GrayCopy(PendingBitmap *gray, BitmapHandle *source)
{
    const int status = V_CopyBitmap(gray->record(), source);
    return Failed(status) ? status : V_GrayScaleBitmap(gray->record());
}

} // namespace

int VEXO_CALL V_GetBitmapAlpha(BitmapHandle *source, BitmapHandle *destination)
{
    if (!destination || !IsAllocated(source))
        return ERR_NO_BITMAP;
    PendingBitmap gray;
    int status = StartGray(gray.record(), source);
    if (!Failed(status))
        status = ExtractRows(gray.record(), source);
    if (Failed(status))
        return status;
    gray.DeliverTo(destination, source);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_SetBitmapAlpha(BitmapHandle *bitmap, BitmapHandle *alphaSource)
{
    if (!IsAllocated(alphaSource) || !IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    PendingBitmap copy;
    BitmapHandle *gray = alphaSource;
    if (alphaSource->BitsPerPixel != 8 || V_IsGrayScaleBitmap(alphaSource) != GRAYSCALE_BLACK_FIRST) {
        const int status = GrayCopy(&copy, alphaSource);
        if (Failed(status))
            return status;
        gray = copy.record();
    }
    return HasAlpha(bitmap) ? ApplyRows(bitmap, gray) : ConvertAndApply(bitmap, gray);
}
