// The plain combining kernels, which define the operations, and the choice of the kernels in use.
#include "geometry/combine_kernels.h"

#include <algorithm>
#include <utility>

namespace vexo {

namespace {

void CombineBitsPlain(uint8_t *destination, const uint8_t *source, size_t bytes, BitFunction f)
{
    for (size_t i = 0; i < bytes; ++i) {
        const unsigned d = destination[i], s = source[i];
        destination[i] = uint8_t(f.c0 ^ (d & f.c1) ^ (s & (f.c2 ^ (d & f.c3))));
    }
}

template <ChannelOperation Operation>
unsigned CombineChannel(unsigned d, unsigned s, unsigned top)
{
    if constexpr (Operation == kAdd)
        return std::min(d + s, top);
    else if constexpr (Operation == kSubtractSource)
        return d > s ? d - s : 0;
    else if constexpr (Operation == kSubtractDestination)
        return s > d ? s - d : 0;
    else if constexpr (Operation == kMultiply)
        return d * s / top;
    else if constexpr (Operation == kDivideBySource)
        return d >= s ? top : d * top / s;
    else if constexpr (Operation == kDivideByDestination)
        return s >= d ? top : s * top / d;
    else if constexpr (Operation == kAverage)
        return (d + s) >> 1;
    else if constexpr (Operation == kMinimum)
        return std::min(d, s);
    else
        return std::max(d, s);
}

template <ChannelOperation Operation>
unsigned CombineTreated(unsigned d, unsigned s, const ChannelTreatment &how)
{
    d = (d & how.destinationKeep) ^ how.destinationFlip;
    s = (s & how.sourceKeep) ^ how.sourceFlip;
    return CombineChannel<Operation>(d, s, how.top) ^ how.resultFlip;
}

template <ChannelOperation Operation>
void CombineBytesPlain(uint8_t *destination, const uint8_t *source, size_t count, const ChannelTreatment &how)
{
    const ChannelTreatment local = how; // which the stores cannot change
    for (size_t i = 0; i < count; ++i)
        destination[i] = uint8_t(CombineTreated<Operation>(destination[i], source[i], local));
}

template <ChannelOperation Operation>
void CombineFieldsPlain(uint8_t *destination, const uint8_t *source, size_t count, const ChannelTreatment &how)
{
    for (; count > 0; --count, destination += 2, source += 2) {
        const unsigned d = destination[0] | unsigned(destination[1]) << 8, s = source[0] | unsigned(source[1]) << 8;
        unsigned result = d & 0x8000;
        for (int shift = 0; shift < 15; shift += 5)
            result |= CombineTreated<Operation>(d >> shift & 31, s >> shift & 31, how) << shift;
        destination[0] = uint8_t(result);
        destination[1] = uint8_t(result >> 8);
    }
}

template <size_t... Operations>
constexpr CombineKernels MakePlainKernels(std::index_sequence<Operations...>)
{
    return {CombineBitsPlain,
            {CombineBytesPlain<ChannelOperation(Operations)>...},
            {CombineFieldsPlain<ChannelOperation(Operations)>...}};
}

constexpr CombineKernels kPlainKernels = MakePlainKernels(std::make_index_sequence<kChannelOperationCount>());

} // namespace

const CombineKernels plainCombineKernels = kPlainKernels;
CombineKernels combineKernels = kPlainKernels;

void SelectCombineKernels(CpuLevel level)
{
    CombineKernels kernels = kPlainKernels;
    UseVectorKernels(&kernels, level);
    combineKernels = kernels;
}

} // namespace vexo
