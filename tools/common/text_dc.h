// Text drawn by GDI into a bitmap's own pixels.
#ifndef VEXO_TOOLS_TEXT_DC_H
#define VEXO_TOOLS_TEXT_DC_H

#include "common/bitmap.h"
#include "common/errors.h"

#include <string>

namespace vexo::tools {

// A DC over a bitmap with a font in it, for a scope. Without font smoothing text has one colour, which small labels and
// few palette entries need. Throws FileError for a bitmap that GDI cannot draw on.
class TextDc {
public:
    TextDc(Bitmap &bitmap, const wchar_t *fontName, int pixels, bool smooth, const std::wstring &path)
        : m_dc(V_CreateVexoDC(bitmap.get()))
    {
        if (!m_dc)
            throw FileError(path, "cannot be drawn on");
        m_font = CreateFontW(-pixels, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                             CLIP_DEFAULT_PRECIS, smooth ? ANTIALIASED_QUALITY : NONANTIALIASED_QUALITY,
                             DEFAULT_PITCH | FF_SWISS, fontName);
        m_formerFont = SelectObject(m_dc, m_font);
        SetBkMode(m_dc, TRANSPARENT);
    }
    ~TextDc()
    {
        GdiFlush();
        SelectObject(m_dc, m_formerFont);
        DeleteObject(m_font);
        V_DeleteVexoDC(m_dc);
    }
    TextDc(const TextDc &) = delete;
    TextDc &operator=(const TextDc &) = delete;

    bool Write(int left, int top, const std::wstring &text, COLORREF color)
    {
        SetTextColor(m_dc, color);
        return TextOutW(m_dc, left, top, text.c_str(), int(text.size()));
    }

private:
    HDC m_dc;
    HFONT m_font;
    HGDIOBJ m_formerFont;
};

} // namespace vexo::tools

#endif
