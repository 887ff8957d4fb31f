// A bitmap record that frees itself, and its lines counted from the top of the picture.
#ifndef VEXO_TOOLS_BITMAP_H
#define VEXO_TOOLS_BITMAP_H

#include "vexokit.h"

#include <utility>
#include <vector>

namespace vexo::tools {

// Owns one record and everything behind it.
class Bitmap {
public:
    Bitmap() = default;
    Bitmap(Bitmap &&other) noexcept : m_record(std::exchange(other.m_record, {})) {}
    Bitmap &operator=(Bitmap &&other) noexcept
    {
        std::swap(m_record, other.m_record);
        return *this;
    }
    ~Bitmap() { V_FreeBitmap(&m_record); }

    BitmapHandle *get() { return &m_record; }
    const BitmapHandle *get() const { return &m_record; }
    BitmapHandle *operator->() { return &m_record; }
    const BitmapHandle *operator->() const { return &m_record; }

    // The palette's quads, ColorCount of them; none above 8 bits.
    std::vector<RGBQUAD> Colors() const
    {
        std::vector<RGBQUAD> colors(size_t(m_record.ColorCount));
        if (!colors.empty())
            V_GetBitmapColors(&m_record, 0, m_record.ColorCount, colors.data());
        return colors;
    }

    // The palette index that is transparent, or -1.
    int TransparentIndex() const
    {
        const bool isIndex = (m_record.Flags & FLAG_TRANSPARENT) && m_record.AnimTransparent >> 24 == 1;
        const int index = int(m_record.AnimTransparent & 0xFFFF);
        return isIndex && index < m_record.ColorCount ? index : -1;
    }

private:
    BitmapHandle m_record = {};
};

// 1 << bits evenly spaced grays from black to white.
inline std::vector<RGBQUAD> GrayColors(int bits)
{
    std::vector<RGBQUAD> colors(size_t(1) << bits);
    for (size_t i = 0; i < colors.size(); ++i) {
        const BYTE level = BYTE(i * 255 / (colors.size() - 1));
        colors[i] = {level, level, level, 0};
    }
    return colors;
}

// Locks a bitmap for a scope and moves whole lines, y counted from the top. Both calls return whether it worked.
class Lines {
public:
    explicit Lines(Bitmap &bitmap) : m_bitmap(bitmap.get()), m_previousLock(V_LockBitmap(m_bitmap)) {}
    ~Lines() { V_UnlockBitmap(m_bitmap, m_previousLock); }
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;

    bool Get(int y, void *line) { return V_GetBitmapRow(m_bitmap, line, StoredRow(y), Bytes()) == Bytes(); }
    bool Put(int y, const void *line) { return V_PutBitmapRow(m_bitmap, line, StoredRow(y), Bytes()) == Bytes(); }

private:
    int Bytes() const { return m_bitmap->BytesPerLine; }
    int StoredRow(int y) const { return m_bitmap->Orientation == ORIENT_BOTTOM_UP ? m_bitmap->Height - 1 - y : y; }

    BitmapHandle *m_bitmap;
    int m_previousLock;
};

} // namespace vexo::tools

#endif
