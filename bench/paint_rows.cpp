// Rows of painting. The device is a memory DC with a DIB section; every mapping of pixels to it is the library's.
#include "bench/bench.h"

#include <cstdio>

namespace vexo::bench {

namespace {

// A DIB section in a memory DC. At 8 bits its colours are grays.
class Surface {
public:
    Surface(int width, int height, int bits) : m_dc(CreateCompatibleDC(nullptr))
    {
        struct {
            BITMAPINFOHEADER header;
            RGBQUAD colors[256];
        } info = {};
        info.header = {sizeof info.header, width, height, 1, WORD(bits), BI_RGB, 0, 0, 0, 0, 0};
        for (int i = 0; i < 256; ++i)
            info.colors[i] = {BYTE(i), BYTE(i), BYTE(i), 0};
        m_bitmap =
            CreateDIBSection(m_dc, reinterpret_cast<const BITMAPINFO *>(&info), DIB_RGB_COLORS, &m_pixels, nullptr, 0);
        m_former = SelectObject(m_dc, m_bitmap);
        m_bytes = size_t((width * bits + 31) / 32 * 4) * size_t(height);
    }
    ~Surface()
    {
        SelectObject(m_dc, m_former);
        DeleteObject(m_bitmap);
        DeleteDC(m_dc);
    }
    Surface(const Surface &) = delete;
    Surface &operator=(const Surface &) = delete;

    HDC dc() const { return m_dc; }
    uint64_t Sum() const
    {
        GdiFlush();
        return testimg::hash(m_pixels, m_bytes);
    }

private:
    HDC m_dc;
    HBITMAP m_bitmap;
    HGDIOBJ m_former;
    void *m_pixels = nullptr;
    size_t m_bytes;
};

void MeasurePaint(const char *workload, Picture &picture, int width, int height, int bits, unsigned displayMode)
{
    V_SetDisplayMode(~0u, displayMode);
    const Surface surface(width, height, bits);
    const RECT target = {0, 0, width, height};
    Report(
        workload, double(width) * height,
        [&] {
            V_PaintDC(surface.dc(), &picture, nullptr, nullptr, &target, nullptr, SRCCOPY);
            GdiFlush();
        },
        [&] { return surface.Sum(); });
}

void ScaleToGray()
{
    Picture page(PageWidth, PageHeight, 1, Page1());
    MeasurePaint("scale_to_gray_1", page, PageWidth / 4, PageHeight / 4, 8, DISPLAYMODE_SCALE_TO_GRAY);
}

void PaintScaled()
{
    Picture photo(PhotoSize, PhotoSize, 24, Photo24());
    MeasurePaint("paint_24_scaled", photo, 1920, 1080, 32, 0);
}

// Beside it, as a comment, the time of one StretchDIBits of the same rows: what painting may not be far from.
void PaintUnscaled()
{
    Picture photo(PhotoSize, PhotoSize, 24, Photo24());
    MeasurePaint("paint_24_1to1", photo, PhotoSize, PhotoSize, 32, 0);
    const Surface surface(PhotoSize, PhotoSize, 32);
    const BITMAPINFO info = {{sizeof(BITMAPINFOHEADER), PhotoSize, PhotoSize, 1, 24, BI_RGB, 0, 0, 0, 0, 0}, {}};
    const auto draw = [&] {
        StretchDIBits(surface.dc(), 0, 0, PhotoSize, PhotoSize, 0, 0, PhotoSize, PhotoSize, Photo24().data(), &info,
                      DIB_RGB_COLORS, SRCCOPY);
        GdiFlush();
    };
    printf("# paint_24_1to1 beside one StretchDIBits: %.4f\n", MedianSeconds([] {}, draw) / kPhotoPixels * 1e9);
}

constexpr Workload kRows[] = {
    {"scale_to_gray_1", ScaleToGray},
    {"paint_24_scaled", PaintScaled},
    {"paint_24_1to1", PaintUnscaled},
};

} // namespace

std::span<const Workload> PaintRows() { return kRows; }

} // namespace vexo::bench
