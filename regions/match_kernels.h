// The inner loops of colour regions: which pixels of a row are equal to one, as a mask of bits, and where the mask
// changes. The comparisons have a plain form, which defines them, and vector forms, chosen once for the processor.
#ifndef VEXO_REGIONS_MATCH_KERNELS_H
#define VEXO_REGIONS_MATCH_KERNELS_H

#include "core/core.h"

namespace vexo {

// Each writes (count + 31) / 32 words: bit i % 32 of word i / 32 is set when pixel i is equal to the key; bits behind
// the last pixel are 0. No byte outside the pixels is read.
struct MatchKernels {
    void (*match8)(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key);
    void (*match16)(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key); // bit 15 does not count
    void (*match24)(uint32_t *mask, const uint8_t *pixels, size_t count, uint32_t key); // first byte lowest
    void (*match32)(uint32_t *mask, const uint8_t *pixels, size_t count,
                    uint32_t key); // the fourth byte does not count
};

// What the vector forms must match.
extern const MatchKernels plainMatchKernels;

// The kernels in use: the plain ones until SelectMatchKernels has been called, at process attach.
extern MatchKernels matchKernels;
void SelectMatchKernels(CpuLevel level);

// The same for indices of 1 bit; bits behind the last pixel may hold anything.
void MatchBits(uint32_t *mask, const uint8_t *row, size_t count, bool value);

// Writes the numbers, plus `first`, of the bits that differ from the one before them, and returns the end of what it
// wrote: at most 32 values a word. `last` is the bit before the mask and becomes its last one.
int *EdgesOf(const uint32_t *mask, size_t words, int first, uint32_t *last, int *edges);

} // namespace vexo

#endif
