// The two inner loops of compressed rows, bits to runs and runs to bits, in their plain and vector forms.
#ifndef VEXO_CORE_RUN_KERNELS_H
#define VEXO_CORE_RUN_KERNELS_H

#include "core/core.h"

namespace vexo {

struct RunKernels {
    // Codes `count` > 0 bits from bit `startBit` (0 to 7) of `input` on and returns the number of runs. The runs may
    // be written over input that has been read: those of the first n bits are written when all of the n bits are read.
    int (*codeRuns)(uint16_t *runs, const uint8_t *input, int startBit, int count);
    // Expands pixels `start` to `start + count` - 1; `start` is not negative, `count` is above 0.
    void (*expandRuns)(const uint16_t *runs, uint8_t *output, int start, int count);
};

// A byte and a run at a time: what the vector forms must match bit for bit.
extern const RunKernels plainRunKernels;

// Chooses the fastest kernels for a processor; until then the plain ones work.
void SelectRunKernels(CpuLevel level);

} // namespace vexo

#endif
