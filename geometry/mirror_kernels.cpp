// The plain mirroring kernels, one unit a step, and the choice of the kernels in use. The vector forms must match these
// bit for bit.
#include "geometry/mirror_kernels.h"

#include <utility>

namespace vexo {

namespace {

// Exchanges the mirrored forms of two units, which may be the same one.
template <int Bits, int Bytes>
void ExchangeUnits(uint8_t *unit, uint8_t *other)
{
    for (int i = 0; i < Bytes; ++i) {
        const uint8_t a = unit[i], b = other[i];
        unit[i] = MirrorByte<Bits>(b);
        other[i] = MirrorByte<Bits>(a);
    }
}

template <int Bits, int Bytes>
void ReversePlain(uint8_t *row, size_t bytes)
{
    uint8_t *low = row, *high = row + bytes;
    // A unit in the middle is exchanged with itself.
    for (; high - low >= Bytes; low += Bytes, high -= Bytes)
        ExchangeUnits<Bits, Bytes>(low, high - Bytes);
}

template <int Bits, int Bytes>
void ExchangeReversedPlain(uint8_t *row, uint8_t *other, size_t bytes)
{
    uint8_t *high = other + bytes;
    for (size_t i = 0; i < bytes; i += Bytes)
        ExchangeUnits<Bits, Bytes>(row + i, high - i - Bytes);
}

void ExchangePlain(uint8_t *row, uint8_t *other, size_t bytes)
{
    for (size_t i = 0; i < bytes; ++i)
        std::swap(row[i], other[i]);
}

void ShiftBitsPlain(uint8_t *row, size_t bytes, int bits)
{
    if (bytes == 0)
        return;
    for (size_t i = 0; i + 1 < bytes; ++i)
        row[i] = uint8_t(row[i] << bits | row[i + 1] >> (8 - bits));
    row[bytes - 1] = uint8_t(row[bytes - 1] << bits);
}

constexpr MirrorKernels kPlainKernels = {
    {
        {ReversePlain<1, 1>, ExchangeReversedPlain<1, 1>},
        {ReversePlain<2, 1>, ExchangeReversedPlain<2, 1>},
        {ReversePlain<4, 1>, ExchangeReversedPlain<4, 1>},
        {ReversePlain<8, 1>, ExchangeReversedPlain<8, 1>},
        {ReversePlain<8, 2>, ExchangeReversedPlain<8, 2>},
        {ReversePlain<8, 3>, ExchangeReversedPlain<8, 3>},
        {ReversePlain<8, 4>, ExchangeReversedPlain<8, 4>},
    },
    ExchangePlain,
    ShiftBitsPlain,
};

} // namespace

const MirrorKernels plainMirrorKernels = kPlainKernels;
MirrorKernels mirrorKernels = kPlainKernels;

void SelectMirrorKernels(CpuLevel level)
{
    MirrorKernels kernels = kPlainKernels;
    UseVectorKernels(&kernels, level);
    mirrorKernels = kernels;
}

} // namespace vexo
