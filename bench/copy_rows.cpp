// Rows of copies and of the alpha channel.
#include "bench/bench.h"

#include <algorithm>

namespace vexo::bench {

namespace {

void Copy24()
{
    Picture source(PhotoSize, PhotoSize, 24, Photo24()), destination(PhotoSize, PhotoSize, 24);
    Report(
        "copy24", kPhotoPixels, [&] { V_CopyBitmapData(&destination, &source); }, [&] { return destination.Hash(); });
}

// The result is a new bitmap each time; the last one goes outside the clock.
void GetAlpha32()
{
    Picture source(PhotoSize, PhotoSize, 32, Photo32()), alpha;
    Report(
        "alpha_get_32", kPhotoPixels, [&] { V_FreeBitmap(&alpha); }, [&] { V_GetBitmapAlpha(&source, &alpha); },
        [&] { return alpha.Hash(); });
}

void SetAlpha32()
{
    Bytes turned = Gray8();
    std::reverse(turned.begin(), turned.end());
    Picture picture(PhotoSize, PhotoSize, 32, Photo32()), levels(PhotoSize, PhotoSize, 0, turned);
    Report(
        "alpha_set_32", kPhotoPixels, [&] { V_SetBitmapAlpha(&picture, &levels); }, [&] { return picture.Hash(); });
}

constexpr Workload kRows[] = {
    {"copy24", Copy24},
    {"alpha_get_32", GetAlpha32},
    {"alpha_set_32", SetAlpha32},
};

} // namespace

std::span<const Workload> CopyRows() { return kRows; }

} // namespace vexo::bench
