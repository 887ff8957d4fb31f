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
    explicit StretchRecorder(bool drawing = true);
    ~StretchRecorder();
    StretchRecorder(const StretchRecorder &) = delete;
    StretchRecorder &operator=(const StretchRecorder &) = delete;

    std::vector<StretchCall> calls;

private:
    static int WINAPI Record(HDC dc, int x, int y, int width, int height, int sourceX, int sourceY, int sourceWidth,
                             int sourceHeight, const void *bits, const BITMAPINFO *info, UINT usage, DWORD rop);
    static StretchRecorder *s_current;

    const bool m_drawing;
    ImportHook<decltype(Record)> m_hook;
};

} // namespace vexo::test

#endif
