// Rows of resizing and resampling.
#include "bench/bench.h"

namespace vexo::bench {

namespace {

// A bitmap with the rows of a picture, or empty; freed at the end of the scope.
class BenchBitmap {
public:
    BenchBitmap(int width, int height, int bits, const uint8_t *pixels = nullptr)
    {
        V_CreateBitmap(&m_record, STORAGE_MEMORY, width, height, bits, COLOR_ORDER_BGR, nullptr, ORIENT_TOP_DOWN);
        if (pixels)
            memcpy(m_record.Data, pixels, m_record.Size);
    }
    ~BenchBitmap() { V_FreeBitmap(&m_record); }
    BenchBitmap(const BenchBitmap &) = delete;
    BenchBitmap &operator=(const BenchBitmap &) = delete;

    BitmapHandle *get() { return &m_record; }
    uint64_t Hash() const { return testimg::hash(m_record.Data, m_record.Size); }

private:
    BitmapHandle m_record = {};
};

constexpr int kSmallSize = testimg::SmallSize;

Bytes SmallPhoto24()
{
    Bytes photo(size_t(kSmallSize) * kSmallSize * 3);
    testimg::photo24(photo.data(), size_t(kSmallSize) * 3, kSmallSize);
    return photo;
}

void MeasureNearest(const char *workload, BenchBitmap &source, int width, int height)
{
    BenchBitmap result(width, height, source.get()->BitsPerPixel);
    Report(
        workload, double(width) * height, [&] { V_ResizeBitmap(source.get(), result.get()); },
        [&] { return result.Hash(); });
}

// The picture is copied afresh outside the clock.
void MeasureResample(const char *workload, int oldSize, const uint8_t *pixels, int newSize)
{
    BitmapHandle bitmap = {};
    Report(
        workload, double(newSize) * newSize,
        [&] {
            V_FreeBitmap(&bitmap);
            V_CreateBitmap(&bitmap, STORAGE_MEMORY, oldSize, oldSize, 24, COLOR_ORDER_BGR, nullptr, ORIENT_TOP_DOWN);
            memcpy(bitmap.Data, pixels, bitmap.Size);
        },
        [&] { V_ResampleBitmap(&bitmap, newSize, newSize); }, [&] { return testimg::hash(bitmap.Data, bitmap.Size); });
    V_FreeBitmap(&bitmap);
}

void NearestDown24()
{
    BenchBitmap photo(PhotoSize, PhotoSize, 24, Photo24().data());
    MeasureNearest("resize_nearest_24_down", photo, 1500, 1500);
}

void NearestUp24()
{
    BenchBitmap photo(kSmallSize, kSmallSize, 24, SmallPhoto24().data());
    MeasureNearest("resize_nearest_24_up", photo, PhotoSize, PhotoSize);
}

void NearestDown1()
{
    BenchBitmap page(PageWidth, PageHeight, 1, Page1().data());
    MeasureNearest("resize_nearest_1_down", page, PageWidth / 2, PageHeight / 2);
}

void ResampleDown24() { MeasureResample("resample_24_down", PhotoSize, Photo24().data(), 1000); }
void ResampleUp24() { MeasureResample("resample_24_up", kSmallSize, SmallPhoto24().data(), PhotoSize); }

constexpr Workload kRows[] = {
    {"resize_nearest_24_down", NearestDown24}, {"resize_nearest_24_up", NearestUp24},
    {"resize_nearest_1_down", NearestDown1},   {"resample_24_down", ResampleDown24},
    {"resample_24_up", ResampleUp24},
};

} // namespace

std::span<const Workload> SizeRows() { return kRows; }

} // namespace vexo::bench
