// Palettes made for pictures: counts the colours of one or more bitmaps and chooses the entries that come nearest to
// all of them on the average.
#ifndef VEXO_COLOUR_QUANTIZER_H
#define VEXO_COLOUR_QUANTIZER_H

#include "core/core.h"

namespace vexo {

// Variance-minimising boxes give the first entries (after X. Wu, "Efficient Statistical Computations for Optimal Color
// Quantization", Graphics Gems II, 1991): the box whose best cut gains most is cut next. k-means iterations (S. Lloyd,
// "Least Squares Quantization in PCM", IEEE Transactions on Information Theory 28, 1982) then move each entry to the
// mean of the colours nearest to it. Both see colours in cells of 8 x 8 x 8 by their exact means; the last iterations
// see a sample of the colours themselves.
//
// Pictures of no more colours than entries get exactly these.
class ColorQuantizer {
public:
    // For pictures of `pixels` pixels together, which may then be added in any order.
    explicit ColorQuantizer(uint64_t pixels);
    // False when memory failed.
    explicit operator bool() const { return bool(m_state); }

    // Pixels as quads: blue, green, red, anything. A million at a time at most.
    void AddPixels(const uint8_t *quads, size_t count);
    // So many pixels of one colour.
    void AddColor(const RGBQUAD &color, uint32_t count);

    // Whether there are no more than so many (at most 256) colours.
    bool HoldsAll(int count) const;
    // Writes up to `count` (at most 256) different colours from dark to light and returns their number.
    int MakePalette(RGBQUAD *colors, int count);

private:
    struct State;

    Buffer<State> m_state;
};

} // namespace vexo

#endif
