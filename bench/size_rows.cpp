// Rows of resizing and resampling.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

constexpr int kSmallSize = testimg::SmallSize;

Bytes SmallPhoto24()
{
    Bytes photo(size_t(kSmallSize) * kSmallSize * 3);
    testimg::photo24(photo.data(), size_t(kSmallSize) * 3, kSmallSize);
    return photo;
}

void MeasureNearest(const char *workload, Picture &source, int width, int height)
{
    Picture result(width, height, source.BitsPerPixel);
    Report(
        workload, double(width) * height, [&] { V_ResizeBitmap(&source, &result); }, [&] { return result.Hash(); });
}

// The picture is copied afresh outside the clock.
void MeasureResample(const char *workload, int oldSize, const Bytes &rows, int newSize)
{
    Picture picture;
    Report(
        workload, double(newSize) * newSize, [&] { picture.Make(oldSize, oldSize, 24, rows); },
        [&] { V_ResampleBitmap(&picture, newSize, newSize); }, [&] { return picture.Hash(); });
}

void NearestDown24()
{
    Picture photo(PhotoSize, PhotoSize, 24, Photo24());
    MeasureNearest("resize_nearest_24_down", photo, 1500, 1500);
}

void NearestUp24()
{
    Picture photo(kSmallSize, kSmallSize, 24, SmallPhoto24());
    MeasureNearest("resize_nearest_24_up", photo, PhotoSize, PhotoSize);
}

void NearestDown1()
{
    Picture page(PageWidth, PageHeight, 1, Page1());
    MeasureNearest("resize_nearest_1_down", page, PageWidth / 2, PageHeight / 2);
}

void ResampleDown24() { MeasureResample("resample_24_down", PhotoSize, Photo24(), 1000); }
void ResampleUp24() { MeasureResample("resample_24_up", kSmallSize, SmallPhoto24(), PhotoSize); }

constexpr Workload kRows[] = {
    {"resize_nearest_24_down", NearestDown24}, {"resize_nearest_24_up", NearestUp24},
    {"resize_nearest_1_down", NearestDown1},   {"resample_24_down", ResampleDown24},
    {"resample_24_up", ResampleUp24},
};

} // namespace

std::span<const Workload> SizeRows() { return kRows; }

} // namespace vexo::bench
