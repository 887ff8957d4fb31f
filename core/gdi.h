// Owners for GDI objects: one template, one line for each kind of thing and what closes it.
#ifndef VEXO_CORE_GDI_H
#define VEXO_CORE_GDI_H

#include <windows.h>

namespace vexo::gdi {

template <class Handle, auto Close>
class Owner {
public:
    explicit Owner(Handle handle = nullptr) : m_handle(handle) {}
    ~Owner()
    {
        if (m_handle)
            Close(m_handle);
    }
    Owner(const Owner &) = delete;
    Owner &operator=(const Owner &) = delete;

    explicit operator bool() const { return m_handle != nullptr; }
    Handle get() const { return m_handle; }
    Handle Release()
    {
        const Handle handle = m_handle;
        m_handle = nullptr;
        return handle;
    }
    // Closes what is held and takes over another handle.
    void Reset(Handle handle)
    {
        if (m_handle)
            Close(m_handle);
        m_handle = handle;
    }

private:
    Handle m_handle;
};

inline void CloseObject(HGDIOBJ object) { ::DeleteObject(object); }
inline void CloseScreenDC(HDC dc) { ::ReleaseDC(nullptr, dc); }
inline void CloseMemoryDC(HDC dc) { ::DeleteDC(dc); }

using Bitmap = Owner<HBITMAP, CloseObject>;
using Brush = Owner<HBRUSH, CloseObject>;
using Palette = Owner<HPALETTE, CloseObject>;
using Region = Owner<HRGN, CloseObject>;

// The DC of the whole screen.
struct ScreenDC : Owner<HDC, CloseScreenDC> {
    ScreenDC() : Owner(::GetDC(nullptr)) {}
};

// The DC of a window's client area; of the whole screen for null.
class WindowDC {
public:
    explicit WindowDC(HWND window) : m_window(window), m_dc(::GetDC(window)) {}
    ~WindowDC()
    {
        if (m_dc)
            ::ReleaseDC(m_window, m_dc);
    }
    WindowDC(const WindowDC &) = delete;
    WindowDC &operator=(const WindowDC &) = delete;

    explicit operator bool() const { return m_dc != nullptr; }
    HDC get() const { return m_dc; }

private:
    HWND m_window;
    HDC m_dc;
};

// A DC in memory that takes bitmaps of another DC's device.
struct MemoryDC : Owner<HDC, CloseMemoryDC> {
    explicit MemoryDC(HDC compatibleWith) : Owner(::CreateCompatibleDC(compatibleWith)) {}
};

// An object in a DC for a scope. Regions are not selected this way.
class Selection {
public:
    Selection(HDC dc, HGDIOBJ object) : m_dc(dc), m_former(::SelectObject(dc, object)) {}
    ~Selection()
    {
        if (m_former)
            ::SelectObject(m_dc, m_former);
    }
    Selection(const Selection &) = delete;
    Selection &operator=(const Selection &) = delete;

    explicit operator bool() const { return m_former != nullptr; }

private:
    HDC m_dc;
    HGDIOBJ m_former;
};

// A palette in a DC for a scope, realised in the foreground unless it is forced into the background; null selects
// nothing.
class PaletteSelection {
public:
    PaletteSelection(HDC dc, HPALETTE palette, BOOL inBackground = FALSE)
        : m_dc(dc), m_inBackground(inBackground),
          m_former(palette ? ::SelectPalette(dc, palette, inBackground) : nullptr)
    {
        if (m_former)
            ::RealizePalette(dc);
    }
    ~PaletteSelection()
    {
        if (m_former)
            ::SelectPalette(m_dc, m_former, m_inBackground);
    }
    PaletteSelection(const PaletteSelection &) = delete;
    PaletteSelection &operator=(const PaletteSelection &) = delete;

private:
    HDC m_dc;
    BOOL m_inBackground;
    HPALETTE m_former;
};

} // namespace vexo::gdi

#endif
