// Rows of gray scale, halftone, colour spaces and colour reduction.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

// ---- Operations that replace a bitmap ---------------------------------------------------------------------------

template <class Operation>
void MeasureReplacing(const char *workload, Operation operation)
{
    Picture picture;
    Report(
        workload, kPhotoPixels, [&] { picture.Make(PhotoSize, PhotoSize, 24, Photo24()); },
        [&] { operation(&picture); }, [&] { return picture.Hash(); });
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
