// Page-file mappings, the memory of uncompressed bitmaps, made and taken back.
#ifndef VEXO_CORE_MAPPINGS_H
#define VEXO_CORE_MAPPINGS_H

#include "core/core.h"

namespace vexo {

struct Mapping {
    HANDLE handle = nullptr;
    void *view = nullptr;
};

// What the caller of AcquireMapping finds in the first `size` bytes.
enum class Contents {
    Zeros,
    Anything // maybe what a freed bitmap held: every byte is to be written before anyone sees it
};

// RESULT_SUCCESS or ERR_NO_MEMORY.
int AcquireMapping(unsigned size, Contents contents, Mapping *mapping);
// Keeps the mapping for the next AcquireMapping of the calling thread, or closes it.
void ReleaseMapping(const Mapping &mapping);

} // namespace vexo

#endif
