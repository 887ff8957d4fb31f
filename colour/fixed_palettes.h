// The fixed palettes of depths 1 to 8, expanded at compile time from their rules.
#ifndef VEXO_COLOUR_FIXED_PALETTES_H
#define VEXO_COLOUR_FIXED_PALETTES_H

#include "core/core.h"

namespace vexo {

// The colours of a depth of 1 to 8, null for any other.
const RGBQUAD *FixedPalette(int depth);

// The other fixed palette of 256 colours: six even levels a channel, index = 36 red + 6 green + blue, then black.
const RGBQUAD *CubePalette();

// The levels of one channel and the way from a value to the nearest of them. No run of 16 values from a multiple of 16
// on holds more than one step between levels, so that its upper four bits say nearly all; a vector shuffle looks up
// tables of 16 bytes for many values at once.
struct ChannelLevels {
    int count;
    int shift;         // where the level's number stands in the index
    uint8_t value[16]; // by number
    uint8_t first[16]; // by the upper four bits: the lowest value's nearest level, the lower one of two
    uint8_t last[16];  // the highest value with that level
    uint8_t half[16];  // the value that is as near to the next level, or one with other upper bits
};

// A fixed palette whose channels are independent: index = red << shift | green << shift | blue << shift, in falling
// order of the shifts, so that the nearest entry has the nearest level in each channel.
struct ProductPalette {
    ChannelLevels red, green, blue;
};

// Describes the fixed palettes of 3 and 5 to 8 bits; null for the others.
const ProductPalette *FixedProductPalette(int depth);

} // namespace vexo

#endif
