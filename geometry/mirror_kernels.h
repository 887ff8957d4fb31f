// The inner loops of mirroring. What moves as one is a unit: a pixel of 1 to 4 bytes, or a byte whose pixels of 1, 2 or
// 4 bits are mirrored within it.
#ifndef VEXO_GEOMETRY_MIRROR_KERNELS_H
#define VEXO_GEOMETRY_MIRROR_KERNELS_H

#include "core/core.h"

namespace vexo {

enum MirrorUnit { kBits1, kBits2, kBits4, kBytes1, kBytes2, kBytes3, kBytes4, kMirrorUnitCount };

// A byte with the order of its pixels of `Bits` bits reversed; 8 leaves it alone.
template <int Bits>
constexpr uint8_t MirrorByte(unsigned byte)
{
    if (Bits <= 4)
        byte = (byte << 4 & 0xF0) | (byte >> 4 & 0x0F);
    if (Bits <= 2)
        byte = (byte << 2 & 0xCC) | (byte >> 2 & 0x33);
    if (Bits <= 1)
        byte = (byte << 1 & 0xAA) | (byte >> 1 & 0x55);
    return uint8_t(byte);
}

// No kernel touches a byte outside the rows it is given. `bytes` are whole units.
struct MirrorKernels {
    struct Unit {
        // Reverses the order of a row's units.
        void (*reverse)(uint8_t *row, size_t bytes);
        // Exchanges two separate rows and reverses both.
        void (*exchangeReversed)(uint8_t *row, uint8_t *other, size_t bytes);
    } units[kMirrorUnitCount];
    // Exchanges two separate rows.
    void (*exchange)(uint8_t *row, uint8_t *other, size_t bytes);
    // Moves a row towards its start by 1 to 7 bits; zero bits come in behind.
    void (*shiftBits)(uint8_t *row, size_t bytes, int bits);
};

// What the vector forms must match.
extern const MirrorKernels plainMirrorKernels;

// The kernels in use: the plain ones until SelectMirrorKernels has been called.
extern MirrorKernels mirrorKernels;

// Chooses the kernels for a processor, at process attach.
void SelectMirrorKernels(CpuLevel level);

// Replaces the kernels that have a vector form for the level (mirror_kernels_x86.cpp).
void UseVectorKernels(MirrorKernels *kernels, CpuLevel level);

} // namespace vexo

#endif
