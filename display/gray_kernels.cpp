// The plain gray kernels, and the choice of those in use.
#include "display/gray_kernels.h"

#include <bit>

namespace vexo {

GrayScale::GrayScale(int total, bool blackIsOne) : total(total), blackIsOne(blackIsOne), level()
{
    const unsigned count = unsigned(total);
    reciprocal = (65536 + count - 1) / count;
    for (unsigned ones = 0; ones <= count; ++ones) {
        const unsigned weighted = (blackIsOne ? ones : count - ones) * 255;
        level[ones] = uint8_t(255 - weighted / count);
        if (reciprocal > 0xFFFF || weighted * reciprocal >> 16 != weighted / count)
            reciprocal = 0;
    }
}

namespace {

struct BitCounts {
    uint8_t ones[256] = {};
    constexpr BitCounts()
    {
        for (unsigned i = 0; i < 256; ++i)
            ones[i] = uint8_t(std::popcount(i));
    }
};
constexpr BitCounts kBitCounts;

template <int Group>
void AddOnes(uint8_t *counts, const uint8_t *bits, size_t count)
{
    constexpr int kPerByte = 8 / Group;
    constexpr unsigned kMask = (1u << Group) - 1;
    for (size_t i = 0; i < count; ++i) {
        const unsigned group = unsigned(bits[i / kPerByte]) >> (8 - Group - int(i % kPerByte) * Group) & kMask;
        counts[i] = uint8_t(counts[i] + kBitCounts.ones[group]);
    }
}

void ToLevels(uint8_t *levels, const uint8_t *counts, size_t count, const GrayScale &scale)
{
    for (size_t i = 0; i < count; ++i)
        levels[i] = scale.level[counts[i]];
}

void Expand(uint8_t *bytes, const uint8_t *bits, size_t count, uint8_t flip)
{
    for (size_t i = 0; i < count; ++i)
        bytes[i] = uint8_t((bits[i / 8] >> (7 - i % 8) & 1 ? 255 : 0) ^ flip);
}

} // namespace

const GrayKernels plainGrayKernels = {{AddOnes<1>, AddOnes<2>, AddOnes<4>, AddOnes<8>}, ToLevels, Expand};

GrayKernels grayKernels = plainGrayKernels;

void SelectGrayKernels(CpuLevel level)
{
    GrayKernels kernels = plainGrayKernels;
    UseVectorKernels(&kernels, level);
    grayKernels = kernels;
}

} // namespace vexo
