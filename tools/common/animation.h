// Animated GIF files as lists of bitmaps, ready for the library's playback.
#ifndef VEXO_TOOLS_ANIMATION_H
#define VEXO_TOOLS_ANIMATION_H

#include "common/bitmap.h"

#include <string>

namespace vexo::tools {

// Owns a bitmap list.
class BitmapList {
public:
    BitmapList() = default;
    BitmapList(BitmapList &&other) noexcept : m_list(std::exchange(other.m_list, nullptr)) {}
    ~BitmapList()
    {
        if (m_list)
            V_DestroyBitmapList(m_list);
    }

    HGLOBAL get() const { return m_list; }
    HGLOBAL *Receive() { return &m_list; } // of an owner that has none yet

    unsigned Count() const
    {
        unsigned count = 0;
        V_GetBitmapListCount(m_list, &count);
        return count;
    }
    // The record of a frame; what it describes stays the list's.
    BitmapHandle Item(unsigned index) const
    {
        BitmapHandle record = {};
        V_GetBitmapListItem(m_list, index, &record);
        return record;
    }

private:
    HGLOBAL m_list = nullptr;
};

struct Animation {
    int width, height; // of the canvas
    BitmapList frames; // with place, delay, disposal, transparent colour and wait in their records
};

// Reads all frames of a file. One that is no GIF gives frames at the top left, without delay. Throws FileError.
Animation ReadAnimation(const std::wstring &path);

} // namespace vexo::tools

#endif
