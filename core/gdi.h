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

private:
    Handle m_handle;
};

inline void CloseObject(HGDIOBJ object) { ::DeleteObject(object); }
inline void CloseScreenDC(HDC dc) { ::ReleaseDC(nullptr, dc); }

using Bitmap = Owner<HBITMAP, CloseObject>;
using Palette = Owner<HPALETTE, CloseObject>;
using Region = Owner<HRGN, CloseObject>;

// The DC of the whole screen.
struct ScreenDC : Owner<HDC, CloseScreenDC> {
    ScreenDC() : Owner(::GetDC(nullptr)) {}
};

} // namespace vexo::gdi

#endif
