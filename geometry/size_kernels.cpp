// The plain kernels of resampling between rows, and the choice of the kernels in use.
#include "geometry/size_kernels.h"

namespace vexo {

namespace {

void MeanRowsPlain(uint8_t *destination, const uint8_t *const *rows, int count, size_t bytes)
{
    const MeanDivider divide{unsigned(count)};
    for (size_t i = 0; i < bytes; ++i) {
        uint32_t sum = 0;
        for (int row = 0; row < count; ++row)
            sum += rows[row][i];
        destination[i] = divide(sum);
    }
}

void BlendRowsPlain(uint8_t *destination, const uint8_t *a, const uint8_t *b, size_t bytes, int step, int steps)
{
    const MeanDivider divide{unsigned(steps)};
    const unsigned ofB = unsigned(step), ofA = unsigned(steps) - ofB;
    for (size_t i = 0; i < bytes; ++i)
        destination[i] = divide(a[i] * ofA + b[i] * ofB);
}

constexpr ResampleKernels kPlainResampleKernels = {nullptr, nullptr, MeanRowsPlain, BlendRowsPlain};

} // namespace

const ResampleKernels plainResampleKernels = kPlainResampleKernels;
SampleKernels sampleKernels;
ResampleKernels resampleKernels = kPlainResampleKernels;

void SelectSizeKernels(CpuLevel level)
{
    SampleKernels sample = {};
    ResampleKernels resample = kPlainResampleKernels;
    UseVectorKernels(&sample, level);
    UseVectorKernels(&resample, level);
    sampleKernels = sample;
    resampleKernels = resample;
}

} // namespace vexo
