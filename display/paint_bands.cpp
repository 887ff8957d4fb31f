// The header of a paint, and the one call that draws a band.
#include "display/paint_bands.h"

namespace vexo {

BandHeader::BandHeader(const Device &device, const BandFormat &format, unsigned displayMode)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return;
    const bool modeWantsIndices = (displayMode & DISPLAYMODE_PALETTE_INDICES) != 0;
    const bool indices = IsPalettised(format.bits) && modeWantsIndices && !format.inRgb;
    m_usage = indices ? DIB_PAL_COLORS : DIB_RGB_COLORS;
    m_header = &thread->paintHeader;
    if (device.IsRasterPrinter() || (modeWantsIndices && !indices && format.colorCount > 0)) {
        thread->printPaintHeader = thread->paintHeader;
        m_header = &thread->printPaintHeader;
    }
    m_header->header.biBitCount = WORD(format.bits);
    m_header->header.biClrUsed = DWORD(format.colorCount);
    if (!indices)
        for (int i = 0; i < format.colorCount; ++i) {
            m_header->colors[i] = format.colors[i];
            m_header->colors[i].rgbReserved = 0;
        }
}

void BandHeader::Draw(HDC dc, const void *rows, int x, int y, int width, int height, DWORD rop) const
{
    BITMAPINFOHEADER &header = m_header->header;
    header.biWidth = width;
    header.biHeight = height;
    header.biSizeImage = DWORD(PaddedRowBytes(width, header.biBitCount) * height);
    ::StretchDIBits(dc, x, y, width, height, 0, 0, width, height, rows, reinterpret_cast<const BITMAPINFO *>(m_header),
                    m_usage, rop);
}

} // namespace vexo
