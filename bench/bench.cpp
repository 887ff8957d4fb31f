// Measures the DLL through its public header. Prints rows workload <TAB> vexokit <TAB> ns_per_pixel, the median of at
// least five repeats and half a second after one unmeasured repeat, with a checksum of the result as a comment behind
// each. usage: vexokit_bench [--only TEXT]
#include "vexokit.h"

#include "bench/images.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using testimg::PageHeight;
using testimg::PageWidth;
using testimg::PhotoSize;
using Bytes = std::vector<uint8_t>;

constexpr size_t kPhotoStride = size_t(PhotoSize) * 3;
constexpr size_t kPageStride = (PageWidth + 31) / 32 * 4;
constexpr double kPhotoPixels = double(PhotoSize) * PhotoSize;
constexpr double kPagePixels = double(PageWidth) * PageHeight;

// ---- Pictures -------------------------------------------------------------------------------------------------

const Bytes &Photo24()
{
    static const Bytes photo = [] {
        Bytes p(kPhotoStride * PhotoSize);
        testimg::photo24(p.data(), kPhotoStride);
        return p;
    }();
    return photo;
}

Bytes Gray8()
{
    Bytes gray(size_t(PhotoSize) * PhotoSize);
    testimg::gray8(gray.data(), PhotoSize, Photo24().data(), kPhotoStride, PhotoSize, PhotoSize);
    return gray;
}

std::vector<RGBQUAD> Palette256()
{
    std::vector<RGBQUAD> palette(256);
    testimg::palette256(reinterpret_cast<uint8_t *>(palette.data()), Photo24().data(), kPhotoStride, PhotoSize);
    return palette;
}

Bytes Photo32()
{
    const Bytes gray = Gray8();
    Bytes photo(size_t(PhotoSize) * PhotoSize * 4);
    for (size_t i = 0; i < gray.size(); ++i) {
        memcpy(&photo[i * 4], &Photo24()[i * 3], 3);
        photo[i * 4 + 3] = gray[i];
    }
    return photo;
}

Bytes Photo555()
{
    Bytes photo(size_t(PhotoSize) * PhotoSize * 2);
    for (size_t i = 0; i < photo.size() / 2; ++i) {
        const uint8_t *p = &Photo24()[i * 3];
        const unsigned pixel = p[0] >> 3 | p[1] >> 3 << 5 | p[2] >> 3 << 10;
        photo[i * 2] = uint8_t(pixel);
        photo[i * 2 + 1] = uint8_t(pixel >> 8);
    }
    return photo;
}

Bytes Page1()
{
    Bytes page(kPageStride * PageHeight);
    testimg::page1(page.data(), kPageStride);
    return page;
}

// ---- Measuring ------------------------------------------------------------------------------------------------

double Seconds()
{
    LARGE_INTEGER now, frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return double(now.QuadPart) / double(frequency.QuadPart);
}

void Report(const char *workload, double pixels, const std::function<void()> &work, const std::function<uint64_t()> &sum)
{
    work();
    std::vector<double> times;
    for (double total = 0; total < 0.5 || times.size() < 5;) {
        const double start = Seconds();
        work();
        times.push_back(Seconds() - start);
        total += times.back();
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    printf("%s\tvexokit\t%.4f\n# %s checksum %016llx\n", workload, times[times.size() / 2] / pixels * 1e9, workload,
           static_cast<unsigned long long>(sum()));
    fflush(stdout);
}

struct Conversion {
    int sourceBits, destinationBits, sourceOrder, destinationOrder;
    const RGBQUAD *sourcePalette, *destinationPalette;
};

// Rows go through a work buffer, converted in place, as a caller of V_GetBitmapRow does it.
void MeasureConversion(const char *workload, const Bytes &source, const Conversion &c)
{
    const size_t rowBytes = source.size() / PhotoSize;
    const size_t resultBytes = size_t(PhotoSize) * size_t(c.destinationBits) / 8;
    Bytes row(V_CalcConvertSize(PhotoSize, c.sourceBits, PhotoSize, c.destinationBits));
    const auto convertRow = [&](int y) {
        memcpy(row.data(), &source[size_t(y) * rowBytes], rowBytes);
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

// ---- Workloads ------------------------------------------------------------------------------------------------

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

void SwapRedBlue24()
{
    MeasureConversion("swap_rb_24", Photo24(), {24, 24, COLOR_ORDER_BGR, COLOR_ORDER_RGB, nullptr, nullptr});
}

void CompressPage()
{
    const Bytes page = Page1();
    std::vector<WORD> runs(PageWidth + 1);
    const auto compressRow = [&](int y) { V_CompressRow(runs.data(), &page[size_t(y) * kPageStride], 0, PageWidth); };
    Report(
        "compress_1", kPagePixels,
        [&] {
            for (int y = 0; y < PageHeight; ++y)
                compressRow(y);
        },
        [&] {
            uint64_t count = 0;
            for (int y = 0; y < PageHeight; ++y) {
                compressRow(y);
                for (int x = 0, run = 0; x < PageWidth; ++run, ++count)
                    x += runs[size_t(run)];
            }
            return count;
        });
}

void ExpandPage()
{
    const Bytes page = Page1();
    std::vector<std::vector<WORD>> rows(PageHeight, std::vector<WORD>(PageWidth + 1));
    for (int y = 0; y < PageHeight; ++y)
        V_CompressRow(rows[size_t(y)].data(), &page[size_t(y) * kPageStride], 0, PageWidth);
    Bytes row(kPageStride);
    Report(
        "expand_1", kPagePixels,
        [&] {
            for (int y = 0; y < PageHeight; ++y)
                V_ExpandRow(rows[size_t(y)].data(), row.data(), 0, PageWidth);
        },
        [&] {
            uint64_t h = testimg::hash(nullptr, 0);
            for (int y = 0; y < PageHeight; ++y) {
                V_ExpandRow(rows[size_t(y)].data(), row.data(), 0, PageWidth);
                h = testimg::hash(row.data(), PageWidth / 8, h);
            }
            return h;
        });
}

struct Workload {
    const char *name;
    void (*measure)();
};

constexpr Workload kWorkloads[] = {
    {"compress_1", CompressPage},
    {"expand_1", ExpandPage},
    {"convert_24_to_8_fixed", ConvertTo8Fixed},
    {"convert_24_to_8_palette", ConvertTo8Palette},
    {"convert_32_to_24", Convert32To24},
    {"convert_24_to_16_555", Convert24To16},
    {"convert_16_555_to_24", Convert16To24},
    {"convert_8_to_24", Convert8To24},
    {"swap_rb_24", SwapRedBlue24},
};

} // namespace

int main(int argc, char **argv)
{
    const char *only = "";
    if (argc == 3 && strcmp(argv[1], "--only") == 0) {
        only = argv[2];
    } else if (argc != 1) {
        fprintf(stderr, "usage: vexokit_bench [--only TEXT]\n");
        return 2;
    }
    V_SetStorageCaching(1);
    for (const Workload &workload : kWorkloads)
        if (strstr(workload.name, only))
            workload.measure();
    return 0;
}
