#include "tests/support/memory_device.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vexo::test {

MemoryDevice::MemoryDevice(int width, int height, int bits, const std::vector<RGBQUAD> &palette)
    : m_width(width), m_height(height), m_bits(bits), m_palette(palette), m_dc(CreateCompatibleDC(nullptr))
{
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD colors[256];
    } info = {};
    info.header = {sizeof info.header, width, height, 1, WORD(bits), BI_RGB, 0, 0, 0, 0, 0};
    for (size_t i = 0; i < palette.size() && i < 256; ++i)
        info.colors[i] = palette[i];
    m_section =
        CreateDIBSection(m_dc, reinterpret_cast<const BITMAPINFO *>(&info), DIB_RGB_COLORS, &m_rows, nullptr, 0);
    EXPECT_NE(nullptr, m_section);
    m_former = SelectObject(m_dc, m_section);
}

MemoryDevice::~MemoryDevice()
{
    Deselect();
    DeleteDC(m_dc);
    DeleteObject(m_section);
}

void MemoryDevice::Deselect() { SelectObject(m_dc, m_former); }

uint8_t *MemoryDevice::Row(int y) const
{
    GdiFlush();
    return static_cast<uint8_t *>(m_rows) + (m_height - 1 - y) * ((m_width * m_bits + 31) / 32 * 4);
}

uint32_t MemoryDevice::PixelAt(int x, int y) const { return PixelOf(Row(y), size_t(x), m_bits); }
void MemoryDevice::SetPixelAt(int x, int y, uint32_t value) { SetPixelOf(Row(y), size_t(x), m_bits, value); }

COLORREF MemoryDevice::ColorAt(int x, int y) const
{
    return ColorOfPixel(PixelAt(x, y), m_bits, COLOR_ORDER_BGR, m_palette);
}

std::vector<COLORREF> MemoryDevice::ColorsFromTop() const
{
    std::vector<COLORREF> colors;
    for (int y = 0; y < m_height; ++y)
        for (int x = 0; x < m_width; ++x)
            colors.push_back(ColorAt(x, y));
    return colors;
}

} // namespace vexo::test
