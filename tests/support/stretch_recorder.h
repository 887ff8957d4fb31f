// Watches what the library hands to StretchDIBits.
#ifndef VEXO_TESTS_SUPPORT_STRETCH_RECORDER_H
#define VEXO_TESTS_SUPPORT_STRETCH_RECORDER_H

#include "tests/support/import_hooks.h"

#include <cstdint>
#include <vector>

namespace vexo::test {

struct StretchCall {
    HDC dc;
    int x, y, width, height;
    int sourceX, sourceY, sourceWidth, sourceHeight;
    const BITMAPINFO *info; // where the header was
    BITMAPINFOHEADER header;
    std::vector<RGBQUAD> colors; // of RGB tables
    std::vector<WORD> indices;   // of tables of palette indices
    std::vector<uint8_t> bits;
    UINT usage;
    DWORD rop;
};

class StretchRecorder {
public:
    // Without drawing, nothing reaches the device.
    explicit StretchRecorder(bool drawing = true) : m_drawing(drawing), m_hook("gdi32.dll", "StretchDIBits", Record)
    {
        s_current = this;
    }
    ~StretchRecorder() { s_current = nullptr; }
    StretchRecorder(const StretchRecorder &) = delete;
    StretchRecorder &operator=(const StretchRecorder &) = delete;

    std::vector<StretchCall> calls;

private:
    static int WINAPI Record(HDC dc, int x, int y, int width, int height, int sourceX, int sourceY, int sourceWidth,
                             int sourceHeight, const void *bits, const BITMAPINFO *info, UINT usage, DWORD rop)
    {
        StretchCall call = {
            dc, x,  y,  width, height, sourceX, sourceY, sourceWidth, sourceHeight, info, info->bmiHeader,
            {}, {}, {}, usage, rop};
        const BITMAPINFOHEADER &header = call.header;
        if (usage == DIB_PAL_COLORS) {
            const WORD *indices = reinterpret_cast<const WORD *>(info->bmiColors);
            call.indices.assign(indices, indices + header.biClrUsed);
        } else {
            call.colors.assign(info->bmiColors, info->bmiColors + header.biClrUsed);
        }
        const auto *bytes = static_cast<const uint8_t *>(bits);
        const long high = header.biHeight < 0 ? -header.biHeight : header.biHeight;
        call.bits.assign(bytes, bytes + size_t((header.biWidth * header.biBitCount + 31) / 32 * 4) * size_t(high));
        s_current->calls.push_back(call);
        return s_current->m_drawing ? s_current->m_hook.Next()(dc, x, y, width, height, sourceX, sourceY, sourceWidth,
                                                               sourceHeight, bits, info, usage, rop)
                                    : height;
    }

    static inline StretchRecorder *s_current;
    const bool m_drawing;
    ImportHook<decltype(Record)> m_hook;
};

} // namespace vexo::test

#endif
