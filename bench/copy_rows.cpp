// Rows of copies and of the alpha channel.
#include "bench/bench.h"

#include <algorithm>

namespace vexo::bench {

namespace {

// A bitmap of the photo's size that holds the rows given, each as long as the bitmap's own.
struct Picture {
    BitmapHandle bitmap;

    Picture(const Bytes &rows, int bits)
    {
        V_CreateBitmap(&bitmap, STORAGE_MEMORY, PhotoSize, PhotoSize, bits, COLOR_ORDER_BGR, nullptr, ORIENT_BOTTOM_UP);
        memcpy(bitmap.Data, rows.data(), rows.size());
    }
    ~Picture() { V_FreeBitmap(&bitmap); }
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;
};

uint64_t HashOf(const BitmapHandle &bitmap)
{
    return testimg::hash(static_cast<const uint8_t *>(bitmap.Data), bitmap.Size);
}

void Copy24()
{
    const Bytes photo = Photo24();
    Picture source(photo, 24), destination(photo, 24);
    memset(destination.bitmap.Data, 0, destination.bitmap.Size);
    Report(
        "copy24", kPhotoPixels, [&] { V_CopyBitmapData(&destination.bitmap, &source.bitmap); },
        [&] { return HashOf(destination.bitmap); });
}

// The result is a new bitmap each time; the last one goes outside the clock.
void GetAlpha32()
{
    Picture source(Photo32(), 32);
    BitmapHandle alpha = {};
    Report(
        "alpha_get_32", kPhotoPixels, [&] { V_FreeBitmap(&alpha); }, [&] { V_GetBitmapAlpha(&source.bitmap, &alpha); },
        [&] { return HashOf(alpha); });
    V_FreeBitmap(&alpha);
}

void SetAlpha32()
{
    Bytes turned = Gray8();
    std::reverse(turned.begin(), turned.end());
    Picture bitmap(Photo32(), 32);
    BitmapHandle levels;
    V_CreateBitmap(&levels, STORAGE_MEMORY, PhotoSize, PhotoSize, 0, 0, nullptr, ORIENT_BOTTOM_UP);
    memcpy(levels.Data, turned.data(), turned.size());
    Report(
        "alpha_set_32", kPhotoPixels, [&] { V_SetBitmapAlpha(&bitmap.bitmap, &levels); },
        [&] { return HashOf(bitmap.bitmap); });
    V_FreeBitmap(&levels);
}

constexpr Workload kRows[] = {
    {"copy24", Copy24},
    {"alpha_get_32", GetAlpha32},
    {"alpha_set_32", SetAlpha32},
};

} // namespace

std::span<const Workload> CopyRows() { return kRows; }

} // namespace vexo::bench
