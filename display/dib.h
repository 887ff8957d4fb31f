// What the display folder shares of packed DIBs: the global blocks they travel in, and the ways from and to a bitmap.
#ifndef VEXO_DISPLAY_DIB_H
#define VEXO_DISPLAY_DIB_H

#include "core/core.h"
#include "core/gdi.h"

namespace vexo {

// The depth a DIB carries a bitmap's pixels in.
constexpr int DibDepth(int bits)
{
    switch (bits) {
    case 2:
    case 3: return 4;
    case 5:
    case 6:
    case 7: return 8;
    case 16:
    case 32: return 24;
    default: return bits;
    }
}

inline constexpr int64_t kMaxDibBytes = 0xFFFFFFFFll;

// A movable global block, locked; the form in which DIBs travel.
class GlobalBlock {
public:
    explicit GlobalBlock(int64_t size)
        : m_handle(size <= kMaxDibBytes ? ::GlobalAlloc(GMEM_MOVEABLE | GMEM_SHARE, SIZE_T(size)) : nullptr),
          m_bytes(m_handle ? static_cast<uint8_t *>(::GlobalLock(m_handle)) : nullptr)
    {
    }
    ~GlobalBlock()
    {
        if (m_bytes)
            ::GlobalUnlock(m_handle);
        if (m_handle)
            ::GlobalFree(m_handle);
    }
    GlobalBlock(const GlobalBlock &) = delete;
    GlobalBlock &operator=(const GlobalBlock &) = delete;

    explicit operator bool() const { return m_bytes != nullptr; }
    uint8_t *bytes() const { return m_bytes; }

    // Unlocks the block and hands it over.
    HGLOBAL Release()
    {
        ::GlobalUnlock(m_handle);
        m_bytes = nullptr;
        const HGLOBAL handle = m_handle;
        m_handle = nullptr;
        return handle;
    }

private:
    HGLOBAL m_handle;
    uint8_t *m_bytes;
};

inline void FreeDib(HGLOBAL dib) { ::GlobalFree(dib); }
using Dib = gdi::Owner<HGLOBAL, FreeDib>;

// Makes a packed DIB of an allocated bitmap, with a table of its own colours and `colorsUsed` in the header. The bitmap
// stays as it is. Null: no memory, or the storage fails.
HGLOBAL MakeDib(BitmapHandle *bitmap, int colorsUsed);

// Fills a record from a packed DIB of `available` bytes, of which no other is read. Errors as for V_ChangeFromDIB.
int BitmapFromDib(BitmapHandle *bitmap, const uint8_t *dib, uint64_t available);

} // namespace vexo

#endif
