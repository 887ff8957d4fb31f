// Rows of gray scale, halftone, colour spaces and colour reduction.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

// ---- Operations that replace a bitmap ---------------------------------------------------------------------------

void MakePhoto(BitmapHandle *bitmap)
{
    V_FreeBitmap(bitmap);
    V_CreateBitmap(bitmap, STORAGE_MEMORY, PhotoSize, PhotoSize, 24, COLOR_ORDER_BGR, nullptr, ORIENT_TOP_DOWN);
    memcpy(bitmap->Data, Photo24().data(), Photo24().size());
}

uint64_t HashRows(const BitmapHandle &bitmap)
{
    return testimg::hash(bitmap.Data, size_t(bitmap.BytesPerLine) * size_t(bitmap.Height));
}

template <class Operation>
void MeasureReplacing(const char *workload, Operation operation)
{
    BitmapHandle bitmap = {};
    Report(
        workload, kPhotoPixels, [&] { MakePhoto(&bitmap); }, [&] { operation(&bitmap); },
        [&] { return HashRows(bitmap); });
    V_FreeBitmap(&bitmap);
}

void Gray24() { MeasureReplacing("gray_24", V_GrayScaleBitmap); }

void Halftone24()
{
    MeasureReplacing("halftone_24_to_1", [](BitmapHandle *b) { return V_HalfToneBitmap(b, HALFTONE_DISPERSED); });
}

void Quantize24()
{
    MeasureReplacing("quantize_24_to_8", [](BitmapHandle *bitmap) {
        bitmap->DitherMode = 1; // Floyd-Steinberg
        return V_ColorResBitmap(bitmap, 8, COLORRES_OPTIMIZED_PALETTE, nullptr, 0);
    });
}

// ---- Colour spaces ----------------------------------------------------------------------------------------------

// The whole picture from one buffer to another in one call.
void MeasureSpace(const char *workload, const Bytes &source, int from, int to, size_t resultBytes)
{
    Bytes result(size_t(kPhotoPixels) * resultBytes);
    Report(
        workload, kPhotoPixels, [&] { V_ConvertColorSpace(source.data(), result.data(), int(kPhotoPixels), from, to); },
        [&] { return testimg::hash(result.data(), result.size()); });
}

void BgrToHsv() { MeasureSpace("space_bgr_to_hsv", Photo24(), SPACE_BGR, SPACE_HSV, 3); }

void HsvToBgr()
{
    Bytes hsv(Photo24().size());
    V_ConvertColorSpace(Photo24().data(), hsv.data(), PhotoSize * PhotoSize, SPACE_BGR, SPACE_HSV);
    MeasureSpace("space_hsv_to_bgr", hsv, SPACE_HSV, SPACE_BGR, 3);
}

void BgrToYuv() { MeasureSpace("space_bgr_to_yuv", Photo24(), SPACE_BGR, SPACE_YUV, 6); }

void BgrToCmyk() { MeasureSpace("space_bgr_to_cmyk", Photo24(), SPACE_BGR, SPACE_CMYK, 4); }

constexpr Workload kRows[] = {
    {"gray_24", Gray24},
    {"halftone_24_to_1", Halftone24},
    {"quantize_24_to_8", Quantize24},
    {"space_bgr_to_hsv", BgrToHsv},
    {"space_hsv_to_bgr", HsvToBgr},
    {"space_bgr_to_yuv", BgrToYuv},
    {"space_bgr_to_cmyk", BgrToCmyk},
};

} // namespace

std::span<const Workload> ColourRows() { return kRows; }

} // namespace vexo::bench
