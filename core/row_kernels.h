// The inner loops of copies: bytes by the bitmap, bits across byte boundaries, the alpha of pixels, and all but one
// index. Each has a plain form, which defines it, and vector forms, which are chosen once for the processor.
#ifndef VEXO_CORE_ROW_KERNELS_H
#define VEXO_CORE_ROW_KERNELS_H

#include "core/core.h"

#include <cstring>

namespace vexo {

// No kernel touches a byte outside what it is given, and input and output never overlap.
struct RowKernels {
    // memcpy for long rows, which stay in the caches, and for blocks that do not: these are not read into them first.
    void (*moveBytes)(uint8_t *output, const uint8_t *input, size_t count);
    void (*streamBytes)(uint8_t *output, const uint8_t *input, size_t count);
    // Output byte i = the 8 bits of the input from bit 8 i + `shift` on, most significant first. `shift` is 1 to 7, so
    // count + 1 bytes are read; a count of 0 reads nothing.
    void (*shiftBits)(uint8_t *output, const uint8_t *input, size_t count, int shift);

    // Alpha as levels: the fourth byte of 32-bit pixels; 255 or 0 for bit 15 of 16-bit ones.
    void (*getAlpha32)(uint8_t *levels, const uint8_t *pixels, size_t count);
    void (*getAlpha16)(uint8_t *levels, const uint8_t *pixels, size_t count);
    // Levels as alpha: bit 15 is set from 128 on. The rest of the pixels stays.
    void (*setAlpha32)(uint8_t *pixels, const uint8_t *levels, size_t count);
    void (*setAlpha16)(uint8_t *pixels, const uint8_t *levels, size_t count);

    // The bytes that are not `key` go to the output; where they are, it stays.
    void (*copyOthers)(uint8_t *output, const uint8_t *input, size_t count, uint8_t key);
};

// What the vector forms must match.
extern const RowKernels plainRowKernels;

// The kernels in use: the plain ones until SelectRowKernels has been called, at process attach.
extern RowKernels rowKernels;
void SelectRowKernels(CpuLevel level);

// Below this what is written is likely to be in a cache when its user comes to it.
inline constexpr size_t kStreamFrom = size_t(8) << 20;

// From here on a copy is long enough to look for the fastest way.
inline constexpr size_t kMoveFrom = 2048;

// Copies a block of any size that does not overlap its copy.
inline void CopyBytes(uint8_t *output, const uint8_t *input, size_t count)
{
    if (count < kMoveFrom)
        memcpy(output, input, count);
    else if (count < kStreamFrom)
        rowKernels.moveBytes(output, input, count);
    else
        rowKernels.streamBytes(output, input, count);
}

} // namespace vexo

#endif
