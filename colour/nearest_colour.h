// The search for nearest palette entries, for one colour or for many, by the quickest way that the palette allows.
#ifndef VEXO_COLOUR_NEAREST_COLOUR_H
#define VEXO_COLOUR_NEAREST_COLOUR_H

#include "core/core.h"

namespace vexo {

class PaletteMatcher;
struct ProductPalette;

// Gives what V_FindPaletteIndex gives for a palette. Fixed palettes are matched channel by channel; others share a
// matcher that the calling thread keeps from call to call, so one search object may be alive for a palette at a time
// and no two for different palettes beyond kKeptMatchers. Without memory for a matcher every colour is searched for.
class PaletteSearch {
public:
    PaletteSearch(const RGBQUAD *colors, int count);

    int Find(int red, int green, int blue) const;
    // Many colours as quads (blue, green, red, anything) to indices beside them.
    void FindAll(uint8_t *indices, const uint8_t *quads, size_t count) const;
    // The same for up to kMostPixels packed pixels of 16, 24 or 32 bits; `swap` if red comes first.
    static constexpr size_t kMostPixels = 1024;
    void FindPixels(uint8_t *indices, const uint8_t *pixels, size_t count, int bits, bool swap) const;

private:
    const RGBQUAD *m_colors;
    int m_count;
    const ProductPalette *m_product = nullptr;
    PaletteMatcher *m_matcher = nullptr;
};

} // namespace vexo

#endif
