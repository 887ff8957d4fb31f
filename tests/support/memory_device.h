// A device whose every pixel a test can see: a memory DC with a DIB section in it.
#ifndef VEXO_TESTS_SUPPORT_MEMORY_DEVICE_H
#define VEXO_TESTS_SUPPORT_MEMORY_DEVICE_H

#include "tests/support/bitmaps.h"

namespace vexo::test {

class MemoryDevice {
public:
    // Depths of DIB sections: 1, 4, 8, 16, 24 or 32 bits. The palette is that of the DIB section.
    MemoryDevice(int width, int height, int bits, const std::vector<RGBQUAD> &palette = {});
    ~MemoryDevice();
    MemoryDevice(const MemoryDevice &) = delete;
    MemoryDevice &operator=(const MemoryDevice &) = delete;

    HDC dc() const { return m_dc; }
    HBITMAP section() const { return m_section; }
    // Takes the DIB section out of the DC.
    void Deselect();

    // Pixels as plain numbers, top line first.
    uint32_t PixelAt(int x, int y) const;
    void SetPixelAt(int x, int y, uint32_t value);
    // The colour a pixel stands for.
    COLORREF ColorAt(int x, int y) const;
    std::vector<COLORREF> ColorsFromTop() const;

private:
    uint8_t *Row(int y) const;

    int m_width, m_height, m_bits;
    std::vector<RGBQUAD> m_palette;
    HDC m_dc;
    HBITMAP m_section;
    HGDIOBJ m_former;
    void *m_rows = nullptr;
};

} // namespace vexo::test

#endif
