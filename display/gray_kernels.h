// The inner loops of painting 1-bit bitmaps: counting the black pixels that a gray pixel covers, and turning counts and
// single bits into gray levels. Each has a plain form, which defines it, and a vector form chosen once for the
// processor.
#ifndef VEXO_DISPLAY_GRAY_KERNELS_H
#define VEXO_DISPLAY_GRAY_KERNELS_H

#include "core/core.h"

namespace vexo {

// How the number of 1 bits among `total` becomes a gray level: 255 - c * 255 / total for c black ones.
struct GrayScale {
    int total;           // 1 to 255
    bool blackIsOne;     // else the 0 bits are the black ones
    unsigned reciprocal; // c * 255 * reciprocal >> 16 is c * 255 / total for every c; 0 when no number does that
    uint8_t level[256];  // by the number of 1 bits

    GrayScale(int total, bool blackIsOne);
};

// No kernel touches a byte outside what it is given.
struct GrayKernels {
    // Adds to each of `count` bytes the number of 1 bits in a group of 1, 2, 4 or 8 (by index), from the start of a
    // byte.
    void (*addOnes[4])(uint8_t *counts, const uint8_t *bits, size_t count);
    // Counts of at most scale.total to levels, which lie somewhere else.
    void (*toLevels)(uint8_t *levels, const uint8_t *counts, size_t count, const GrayScale &scale);
    // Bits to bytes of 0 and 255; `flip` is 255 to turn these around, else 0.
    void (*expand)(uint8_t *bytes, const uint8_t *bits, size_t count, uint8_t flip);
};

// What the vector forms must match.
extern const GrayKernels plainGrayKernels;
// The kernels in use: the plain ones until SelectGrayKernels has been called.
extern GrayKernels grayKernels;

// Chooses the kernels for a processor, at process attach.
void SelectGrayKernels(CpuLevel level);

// Replaces the kernels that have a vector form for the level (gray_kernels_x86.cpp).
void UseVectorKernels(GrayKernels *kernels, CpuLevel level);

} // namespace vexo

#endif
