// The gray kernels of every processor level held to the plain ones.
#include "display/gray_kernels.h"
#include "tests/support/kernels.h"

namespace vexo::test {

using GrayKernelsTest = KernelTest<SelectGrayKernels>;

TEST_F(GrayKernelsTest, EveryLevelGivesThePlainResult)
{
    Random random(81);
    const auto kernels = [](bool isPlain) -> const GrayKernels & { return isPlain ? plainGrayKernels : grayKernels; };
    ForEachLevel([&] {
        for (int round = 0; round < 400 && !HasFatalFailure(); ++round) {
            const size_t n = size_t(round < 200 ? round : random.Below(2000));
            for (int kind = 0; kind < 4; ++kind)
                ExpectPlainResult(
                    random, n, (n * (size_t(1) << kind) + 7) / 8,
                    [&](bool isPlain, auto *sums, auto *bits) { kernels(isPlain).addOnes[kind](sums, bits, n); });
            ExpectPlainResult(random, n, (n + 7) / 8, [&](bool isPlain, auto *bytes, auto *bits) {
                kernels(isPlain).expand(bytes, bits, n, uint8_t(round % 2 ? 255 : 0));
            });
        }
    });
}

TEST_F(GrayKernelsTest, LevelsAreTheWholeShareOfBlack)
{
    for (int total = 1; total <= 255; ++total)
        for (const bool blackIsOne : {false, true}) {
            const GrayScale scale(total, blackIsOne);
            const size_t count = size_t(total) + 33;
            const GuardedBuffer counts(count), levels(count);
            for (size_t i = 0; i < count; ++i)
                counts[i] = uint8_t(i % size_t(total + 1));
            ForEachLevel([&] {
                grayKernels.toLevels(levels.data(), counts.data(), count, scale);
                for (size_t i = 0; i < count; ++i) {
                    const int black = blackIsOne ? counts[i] : total - counts[i];
                    ASSERT_EQ(255 - black * 255 / total, levels[i]) << black << " of " << total;
                }
            });
        }
}

} // namespace vexo::test
