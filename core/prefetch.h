// Reading ahead for loops that wait for memory.
#ifndef VEXO_CORE_PREFETCH_H
#define VEXO_CORE_PREFETCH_H

#include <cstddef>
#include <cstdint>
#include <xmmintrin.h>

namespace vexo {

// The bytes that go into a cache together.
inline constexpr size_t kCacheLine = 64;

// Asks for the line with the byte `ahead` of p. That there is none is not an error.
inline void Prefetch(const uint8_t *p, ptrdiff_t ahead)
{
    _mm_prefetch(reinterpret_cast<const char *>(reinterpret_cast<uintptr_t>(p) + uintptr_t(ahead)), _MM_HINT_T0);
}

// For loops that read on and on, once for each line: the processor's own look-ahead stops at the end of each page.
inline void PrefetchOnward(const uint8_t *p) { Prefetch(p, 2048); }

} // namespace vexo

#endif
