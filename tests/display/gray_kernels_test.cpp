// The gray kernels of every processor level held to the plain ones.
#include "display/gray_kernels.h"
#include "tests/support/page_heap.h"
#include "tests/support/random.h"

#include <gtest/gtest.h>

namespace vexo::test {

namespace {

GrayKernels KernelsFor(CpuLevel level)
{
    GrayKernels kernels = plainGrayKernels;
    UseVectorKernels(&kernels, level);
    return kernels;
}

} // namespace

TEST(GrayKernels, AgreeAtEveryLevel)
{
    Random random(81);
    for (const CpuLevel level : {CpuLevel::Ssse3, CpuLevel::Avx2}) {
        if (level > DetectCpuLevel())
            continue;
        const GrayKernels kernels = KernelsFor(level);
        for (int round = 0; round < 400; ++round) {
            const size_t count = size_t(round < 200 ? round : random.Below(2000));
            for (int kind = 0; kind < 4; ++kind) {
                const GuardedBuffer bits((count * (size_t(1) << kind) + 7) / 8), sums(count), plainSums(count);
                random.Fill(bits.data(), bits.size());
                random.Fill(sums.data(), count);
                std::copy(sums.data(), sums.data() + count, plainSums.data());
                kernels.addOnes[kind](sums.data(), bits.data(), count);
                plainGrayKernels.addOnes[kind](plainSums.data(), bits.data(), count);
                ASSERT_TRUE(std::equal(sums.data(), sums.data() + count, plainSums.data())) << count << ", " << kind;
            }
            const GuardedBuffer bits((count + 7) / 8), bytes(count), plainBytes(count);
            random.Fill(bits.data(), bits.size());
            const uint8_t flip = random.OneIn(2) ? 255 : 0;
            kernels.expand(bytes.data(), bits.data(), count, flip);
            plainGrayKernels.expand(plainBytes.data(), bits.data(), count, flip);
            ASSERT_TRUE(std::equal(bytes.data(), bytes.data() + count, plainBytes.data())) << count;
        }
    }
}

TEST(GrayKernels, LevelsAreTheWholeShareOfBlack)
{
    for (int total = 1; total <= 255; ++total)
        for (const bool blackIsOne : {false, true}) {
            const GrayScale scale(total, blackIsOne);
            const size_t count = size_t(total) + 33;
            const GuardedBuffer counts(count), levels(count);
            for (size_t i = 0; i < count; ++i)
                counts[i] = uint8_t(i % size_t(total + 1));
            for (const CpuLevel level : {CpuLevel::Baseline, CpuLevel::Avx2}) {
                if (level > DetectCpuLevel())
                    continue;
                KernelsFor(level).toLevels(levels.data(), counts.data(), count, scale);
                for (size_t i = 0; i < count; ++i) {
                    const int black = blackIsOne ? counts[i] : total - counts[i];
                    ASSERT_EQ(255 - black * 255 / total, levels[i]) << black << " of " << total;
                }
            }
        }
}

} // namespace vexo::test
