#include "tests/support/stretch_recorder.h"

namespace vexo::test {

StretchRecorder *StretchRecorder::s_current;

StretchRecorder::StretchRecorder(bool drawing) : m_drawing(drawing), m_hook("gdi32.dll", "StretchDIBits", Record)
{
    s_current = this;
}

StretchRecorder::~StretchRecorder() { s_current = nullptr; }

int WINAPI StretchRecorder::Record(HDC dc, int x, int y, int width, int height, int sourceX, int sourceY,
                                   int sourceWidth, int sourceHeight, const void *bits, const BITMAPINFO *info,
                                   UINT usage, DWORD rop)
{
    StretchCall call = {dc, x,  y,  width, height, sourceX, sourceY, sourceWidth, sourceHeight, info, info->bmiHeader,
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

} // namespace vexo::test
