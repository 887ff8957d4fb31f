// Rows of the pixel buffer conversions.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

struct Conversion {
    int sourceBits, destinationBits, sourceOrder, destinationOrder;
    const RGBQUAD *sourcePalette, *destinationPalette;
};

// Rows come into a work buffer and are converted there.
void MeasureConversion(const char *workload, const Bytes &source, const Conversion &c)
{
    Picture picture(PhotoSize, PhotoSize, c.sourceBits, source);
    const size_t resultBytes = size_t(PhotoSize) * size_t(c.destinationBits) / 8;
    Bytes row(V_CalcConvertSize(PhotoSize, c.sourceBits, PhotoSize, c.destinationBits));
    const auto convertRow = [&](int y) {
        V_GetBitmapRow(&picture, row.data(), y, picture.BytesPerLine);
        V_ConvertBuffer(row.data(), PhotoSize, c.sourceBits, c.destinationBits, c.sourceOrder, c.destinationOrder,
                        c.sourcePalette, c.destinationPalette);
    };
    Report(
        workload, kPhotoPixels,
        [&] {
            for (int y = 0; y < PhotoSize; ++y)
                convertRow(y);
        },
        [&] {
            uint64_t h = testimg::hash(nullptr, 0);
            for (int y = 0; y < PhotoSize; ++y) {
                convertRow(y);
                h = testimg::hash(row.data(), resultBytes, h);
            }
            return h;
        });
}

void ConvertTo8Fixed()
{
    MeasureConversion("convert_24_to_8_fixed", Photo24(), {24, 8, COLOR_ORDER_BGR, 0, nullptr, nullptr});
}

void ConvertTo8Palette()
{
    const std::vector<RGBQUAD> palette = Palette256();
    MeasureConversion("convert_24_to_8_palette", Photo24(), {24, 8, COLOR_ORDER_BGR, 0, nullptr, palette.data()});
}

void Convert32To24()
{
    MeasureConversion("convert_32_to_24", Photo32(), {32, 24, COLOR_ORDER_BGR, COLOR_ORDER_BGR, nullptr, nullptr});
}

void Convert24To16()
{
    MeasureConversion("convert_24_to_16_555", Photo24(), {24, 16, COLOR_ORDER_BGR, COLOR_ORDER_BGR, nullptr, nullptr});
}

void Convert16To24()
{
    MeasureConversion("convert_16_555_to_24", Photo555(), {16, 24, COLOR_ORDER_BGR, COLOR_ORDER_BGR, nullptr, nullptr});
}

void Convert8To24()
{
    const std::vector<RGBQUAD> palette = Palette256();
    MeasureConversion("convert_8_to_24", Gray8(), {8, 24, 0, COLOR_ORDER_BGR, palette.data(), nullptr});
}

// In the picture itself, since the pixels keep their size. It is repeated on its own result.
void SwapRedBlue24()
{
    Picture picture(PhotoSize, PhotoSize, 24, Photo24());
    Report(
        "swap_rb_24", kPhotoPixels,
        [&] {
            uint8_t *row = static_cast<uint8_t *>(picture.Data);
            for (int y = 0; y < PhotoSize; ++y, row += kPhotoStride)
                V_ConvertBuffer(row, PhotoSize, 24, 24, COLOR_ORDER_BGR, COLOR_ORDER_RGB, nullptr, nullptr);
        },
        [&] { return picture.Hash(); });
}

constexpr Workload kRows[] = {
    {"convert_24_to_8_fixed", ConvertTo8Fixed},
    {"convert_24_to_8_palette", ConvertTo8Palette},
    {"convert_32_to_24", Convert32To24},
    {"convert_24_to_16_555", Convert24To16},
    {"convert_16_555_to_24", Convert16To24},
    {"convert_8_to_24", Convert8To24},
    {"swap_rb_24", SwapRedBlue24},
};

} // namespace

std::span<const Workload> ConversionRows() { return kRows; }

} // namespace vexo::bench
