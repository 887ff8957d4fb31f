// Nearest entries of one palette for many colours. The colour cube is divided into 32 x 64 x 32 cells; a cell that is
// asked for gets the list of the few entries that can be nearest to any of its colours, and a search looks at these.
#ifndef VEXO_COLOUR_PALETTE_MATCHER_H
#define VEXO_COLOUR_PALETTE_MATCHER_H

#include "core/core.h"

namespace vexo {

// The order of a colour's channels as ties see it: 4 for more blue than red, 2 for green least, 1 for green most.
constexpr unsigned HueClass(int red, int green, int blue)
{
    const int least = red < blue ? red : blue, most = red < blue ? blue : red;
    return (blue > red ? 4u : 0u) | (least > green ? 2u : 0u) | (green > most ? 1u : 0u);
}

// The colours of a palette of up to 256 entries as blue | green << 8 | red << 16, for comparing palettes.
struct PaletteKey {
    int count;
    uint32_t colors[256];

    PaletteKey(const RGBQUAD *quads, int quadCount);
    bool operator==(const PaletteKey &other) const;
};

// The colours between the lowest and the highest value of each channel.
struct ColorBox {
    uint32_t low, high;
};

// Gives what V_FindPaletteIndex gives. A plain block of memory without constructor: call Reset first.
class PaletteMatcher {
public:
    static constexpr int kMostEntries = 256;

    void Reset(const PaletteKey &key);
    const PaletteKey &key() const { return m_key; }

    // One colour, blue | green << 8 | red << 16. Leaves the cell unprepared: for colours that do not come again.
    int Find(uint32_t color);

private:
    friend void MatchCellsPlain(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher);
    friend void MatchCellsAvx2(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher);

    // A list of candidates, padded to whole groups with a colour that is never nearest: its place in the pool in the
    // low bits, the number of groups above, and on top whether the nearest candidate of the first group may not be the
    // answer. 0: not made yet.
    using List = uint32_t;
    static constexpr unsigned kGroup = 8; // candidates of one vector step
    static constexpr int kGroupsShift = 24;
    static constexpr List kNeedsCare = 0x80000000u;

    // A colour of the palette and where else it stands. Candidates carry the number of its first entry on top, which
    // is also the number of its slot.
    struct Slot {
        uint8_t exact; // the answer for the colour itself
        uint8_t last;  // the last entry of this colour
        uint8_t hueClass;
    };

    static constexpr unsigned kPoolGroups = 24576; // 768 KB
    static constexpr unsigned kKeptGroups = 4096;  // for the lists of coarse cells, which serve when the rest is full

    const uint32_t *Candidates(List list) const { return m_pool + (list & ((1u << kGroupsShift) - 1)); }
    static unsigned Length(List list) { return (list >> kGroupsShift & 63) * kGroup; }

    void MakeSlots();
    List CloseList(unsigned length, uint32_t filler);
    List MakeList(List from, const ColorBox &box, unsigned groupLimit);
    List CoarseList(unsigned cell);
    List FillCell(unsigned cell);
    int Resolve(List list, uint32_t color) const;
    int FindInGroups(List list, uint32_t color) const;
    size_t MatchFirstGroups(uint8_t *indices, const uint8_t *quads, size_t count, uint16_t *later);

    PaletteKey m_key;
    Slot m_slots[256];
    unsigned m_colorCount; // different colours
    List m_all;
    List m_coarse[8 * 8 * 8]; // of 4 x 8 x 4 cells each
    List m_cells[32 * 64 * 32];
    uint32_t *m_pool; // in m_poolSpace, where no group crosses a cache line
    unsigned m_usedGroups;
    uint32_t m_poolSpace[kPoolGroups * kGroup + kGroup - 1];
};

} // namespace vexo

#endif
