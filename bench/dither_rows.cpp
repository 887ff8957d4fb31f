// Rows of dithering.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

// The photo, row by row through the line interface, to a palette or, for null, to the fixed one.
void MeasureDithering(const char *workload, int method, const RGBQUAD *colors, int count)
{
    const Bytes &photo = Photo24();
    Bytes row(PhotoSize);
    const size_t resultBytes = count == 2 ? PhotoSize / 8 : PhotoSize;
    const auto dither = [&](auto use) {
        BitmapHandle bitmap;
        V_InitBitmap(&bitmap, PhotoSize, PhotoSize, 24);
        bitmap.DitherMode = method;
        V_StartDithering(&bitmap, colors, count);
        for (int y = 0; y < PhotoSize; ++y) {
            V_DitherLine(&bitmap, &photo[size_t(y) * kPhotoStride], row.data());
            use();
        }
        V_StopDithering(&bitmap);
    };
    Report(
        workload, kPhotoPixels, [&] { dither([] {}); },
        [&] {
            uint64_t h = testimg::hash(nullptr, 0);
            dither([&] { h = testimg::hash(row.data(), resultBytes, h); });
            return h;
        });
}

void FloydSteinbergTo1() { MeasureDithering("dither_fs_24_to_1", DITHER_FLOYD_STEINBERG, nullptr, 2); }

void FloydSteinbergTo8Palette()
{
    const std::vector<RGBQUAD> palette = Palette256();
    MeasureDithering("dither_fs_24_to_8_palette", DITHER_FLOYD_STEINBERG, palette.data(), 256);
}

void StuckiTo1() { MeasureDithering("dither_stucki_24_to_1", DITHER_STUCKI, nullptr, 2); }

void OrderedTo8() { MeasureDithering("dither_ordered_24_to_8", DITHER_DISPERSED, nullptr, 256); }

constexpr Workload kRows[] = {
    {"dither_fs_24_to_1", FloydSteinbergTo1},
    {"dither_fs_24_to_8_palette", FloydSteinbergTo8Palette},
    {"dither_stucki_24_to_1", StuckiTo1},
    {"dither_ordered_24_to_8", OrderedTo8},
};

} // namespace

std::span<const Workload> DitherRows() { return kRows; }

} // namespace vexo::bench
