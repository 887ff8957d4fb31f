// Asks the processor once which vector instructions it and the system support.
#include "core/core.h"

#if defined(_MSC_VER) && !defined(__clang__)
#include <immintrin.h>
#include <intrin.h>
#else
#include <cpuid.h>
#endif

namespace vexo {

namespace {

struct CpuRegisters {
    unsigned a, b, c, d;
};

CpuRegisters QueryCpu(unsigned leaf)
{
    CpuRegisters r = {};
#if defined(_MSC_VER) && !defined(__clang__)
    int values[4];
    __cpuidex(values, int(leaf), 0);
    r = {unsigned(values[0]), unsigned(values[1]), unsigned(values[2]), unsigned(values[3])};
#else
    __cpuid_count(leaf, 0, r.a, r.b, r.c, r.d);
#endif
    return r;
}

// The register sets that the system saves at a task switch.
unsigned SavedStates()
{
#if defined(_MSC_VER) && !defined(__clang__)
    return unsigned(_xgetbv(0));
#else
    unsigned low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
#endif
}

constexpr bool HasAll(unsigned value, unsigned bits) { return (value & bits) == bits; }

} // namespace

CpuLevel DetectCpuLevel()
{
    constexpr unsigned kSsse3 = 1u << 9, kPopcnt = 1u << 23, kOsXsave = 1u << 27, kAvx = 1u << 28; // leaf 1, ecx
    constexpr unsigned kBmi1 = 1u << 3, kAvx2 = 1u << 5, kBmi2 = 1u << 8;                          // leaf 7, ebx
    constexpr unsigned kGfni = 1u << 8;                                                            // leaf 7, ecx
    constexpr unsigned kLzcnt = 1u << 5; // leaf 0x80000001, ecx
    constexpr unsigned kSseAndAvxStates = 6;

    const unsigned highest = QueryCpu(0).a;
    const unsigned basic = QueryCpu(1).c;
    if (!HasAll(basic, kSsse3))
        return CpuLevel::Baseline;
    if (highest < 7 || !HasAll(basic, kPopcnt | kOsXsave | kAvx) || !HasAll(SavedStates(), kSseAndAvxStates))
        return CpuLevel::Ssse3;
    const CpuRegisters extended = QueryCpu(7);
    if (!HasAll(extended.b, kBmi1 | kAvx2 | kBmi2) || !HasAll(QueryCpu(0x80000001u).c, kLzcnt))
        return CpuLevel::Ssse3;
    return HasAll(extended.c, kGfni) ? CpuLevel::Gfni : CpuLevel::Avx2;
}

bool HasFastStringMoves()
{
    constexpr unsigned kEnhancedMoves = 1u << 9; // leaf 7, ebx
    return QueryCpu(0).a >= 7 && HasAll(QueryCpu(7).b, kEnhancedMoves);
}

} // namespace vexo
