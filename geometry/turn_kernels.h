// The inner loops of quarter turns: blocks of pixels with rows and columns exchanged. A turn is such a transposition
// with the rows of either side taken from the last one up, which is what negative strides are for.
#ifndef VEXO_GEOMETRY_TURN_KERNELS_H
#define VEXO_GEOMETRY_TURN_KERNELS_H

#include "core/core.h"

namespace vexo {

struct TurnKernels {
    // Writes pixel c of row r to row c, pixel r. Bits begin at the start of a byte on both sides; those behind the last
    // pixel of a written row become 0 within its byte.
    using Transpose = void (*)(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                               int rows);

    Transpose bits;
    Transpose bytes[4]; // pixels of 1 to 4 bytes
    // Copies `rows` rows of a few cache lines each, for which a call of memcpy takes longer than the copy.
    void (*copyRows)(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, size_t bytes,
                     int rows);
};

// What the vector forms must match.
extern const TurnKernels plainTurnKernels;

// The kernels in use: the plain ones until SelectTurnKernels has been called, at process attach.
extern TurnKernels turnKernels;
void SelectTurnKernels(CpuLevel level);

// Replaces the kernels that have a vector form for the level (turn_kernels_x86.cpp).
void UseVectorKernels(TurnKernels *kernels, CpuLevel level);

} // namespace vexo

#endif
