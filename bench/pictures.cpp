// The pictures of the workloads.
#include "bench/bench.h"

#include <algorithm>

namespace vexo::bench {

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

void Picture::Make(int width, int height, int bits, const Bytes &rows)
{
    V_FreeBitmap(this);
    V_CreateBitmap(this, STORAGE_MEMORY, width, height, bits, COLOR_ORDER_BGR, nullptr, ORIENT_TOP_DOWN);
    memcpy(Data, rows.data(), std::min(rows.size(), size_t(Size)));
}

} // namespace vexo::bench
