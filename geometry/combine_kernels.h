// The inner loops of combining two rows. There are two families: functions of single bits, which serve the logical
// operations at any depth, and operations on channels, which are bytes or the five-bit fields of 16-bit pixels.
#ifndef VEXO_GEOMETRY_COMBINE_KERNELS_H
#define VEXO_GEOMETRY_COMBINE_KERNELS_H

#include "core/core.h"

namespace vexo {

// A function of a destination bit d and a source bit s, as the polynomial c0 ^ (d & c1) ^ (s & c2) ^ (d & s & c3) that
// every such function is. Each byte is 0 or 0xFF.
struct BitFunction {
    uint8_t c0, c1, c2, c3;

    // From a truth table whose bit 2 s + d is the result.
    static constexpr BitFunction FromTable(unsigned table)
    {
        const unsigned f00 = table & 1, f01 = table >> 1 & 1, f10 = table >> 2 & 1, f11 = table >> 3 & 1;
        return {uint8_t(0 - f00), uint8_t(0 - (f00 ^ f01)), uint8_t(0 - (f00 ^ f10)),
                uint8_t(0 - (f00 ^ f01 ^ f10 ^ f11))};
    }
};

enum ChannelOperation {
    kAdd,
    kSubtractSource,
    kSubtractDestination,
    kMultiply,
    kDivideBySource,
    kDivideByDestination,
    kAverage,
    kMinimum,
    kMaximum,
    kChannelOperationCount
};

// How channels of `bits` bits enter an operation and leave it: each operand becomes (x & keep) ^ flip, the result
// x ^ flip. `top` is the largest channel value, 2^bits - 1, so that x ^ top is top - x.
struct ChannelTreatment {
    uint8_t destinationKeep, destinationFlip;
    uint8_t sourceKeep, sourceFlip;
    uint8_t resultFlip;
    uint8_t top;
    int bits;
};

// The result goes where the destination was. Source and destination are the same or do not overlap; no kernel touches a
// byte outside them.
struct CombineKernels {
    using Channels = void (*)(uint8_t *destination, const uint8_t *source, size_t count, const ChannelTreatment &how);

    void (*bits)(uint8_t *destination, const uint8_t *source, size_t bytes, BitFunction function);
    Channels bytes[kChannelOperationCount];  // one channel a byte, none above `top`
    Channels fields[kChannelOperationCount]; // 16-bit pixels of three five-bit channels; bit 15 stays
};

// What the vector forms must match.
extern const CombineKernels plainCombineKernels;

// The kernels in use: the plain ones until SelectCombineKernels has been called, at process attach.
extern CombineKernels combineKernels;
void SelectCombineKernels(CpuLevel level);

// Replaces the kernels that have a vector form for the level (combine_kernels_x86.cpp).
void UseVectorKernels(CombineKernels *kernels, CpuLevel level);

} // namespace vexo

#endif
