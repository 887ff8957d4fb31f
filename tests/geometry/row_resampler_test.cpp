// Filtering along and between rows: every processor level against the plain way, on rows that end at unreadable pages,
// and the divisions behind them against division.
#include "geometry/row_resampler.h"
#include "tests/support/kernels.h"

#include <vector>

namespace vexo::test {

namespace {

using RowResamplerTest = KernelTest<SelectSizeKernels>;

// Rows in which the extreme values, where a division would go wrong first, are frequent.
void FillRow(Random &random, GuardedBuffer &row)
{
    for (uint8_t &byte : row.span())
        byte = random.OneIn(3) ? uint8_t(random.Below(2) * 255) : random.Byte();
}

void CompareAlongRow(Random &random, CpuLevel level, int oldWidth, int newWidth, int pixelBytes)
{
    GuardedBuffer source(size_t(oldWidth) * size_t(pixelBytes)), result(size_t(newWidth) * size_t(pixelBytes));
    FillRow(random, source);
    std::vector<uint8_t> expected(result.size());
    SelectSizeKernels(CpuLevel::Baseline);
    const RowResampler plain(oldWidth, newWidth, pixelBytes);
    plain.Resample(expected.data(), source.data());
    SelectSizeKernels(level);
    const RowResampler fast(oldWidth, newWidth, pixelBytes);
    fast.Resample(result.data(), source.data());
    ASSERT_TRUE(std::ranges::equal(expected, result.span()))
        << oldWidth << " to " << newWidth << " pixels of " << pixelBytes << " bytes, level " << int(level);
}

void CompareBetweenRows(Random &random, size_t bytes)
{
    GuardedBuffer a(bytes), b(bytes), result(bytes);
    FillRow(random, a);
    FillRow(random, b);
    std::vector<uint8_t> expected(bytes);
    const int steps = random.Between(2, kMostBlendSteps), step = random.Between(1, steps - 1);
    plainResampleKernels.blendRows(expected.data(), a.data(), b.data(), bytes, step, steps);
    resampleKernels.blendRows(result.data(), a.data(), b.data(), bytes, step, steps);
    ASSERT_TRUE(std::ranges::equal(expected, result.span())) << "step " << step << " of " << steps;

    const int count = random.Between(2, kMostMeanRows);
    const uint8_t *rows[kMostMeanRows];
    for (const uint8_t *&row : rows)
        row = random.OneIn(2) ? a.data() : b.data();
    plainResampleKernels.meanRows(expected.data(), rows, count, bytes);
    resampleKernels.meanRows(result.data(), rows, count, bytes);
    ASSERT_TRUE(std::ranges::equal(expected, result.span())) << count << " rows";
}

} // namespace

TEST_F(RowResamplerTest, EveryLevelGivesThePlainResult)
{
    Random random(351);
    for (int level = 0; level <= int(DetectCpuLevel()); ++level) {
        for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) {
            const int size = random.Between(1, 80), factor = random.OneIn(20) ? 140 : random.OneIn(4) ? 20 : 4;
            const int other = random.Between(size, size * factor);
            const bool enlarges = random.OneIn(2);
            CompareAlongRow(random, CpuLevel(level), enlarges ? size : other, enlarges ? other : size,
                            random.Between(3, 4));
        }
        SelectSizeKernels(CpuLevel(level));
        for (int i = 0; i < 500 && !HasFatalFailure(); ++i)
            CompareBetweenRows(random, size_t(random.Between(1, 120)));
    }
}

TEST_F(RowResamplerTest, MultiplicationsDivideExactly)
{
    int wrong = 0;
    for (int n = 2; n <= kMostBlendSteps; ++n)
        for (int shared = 0; shared < (n > 2 ? 2 : 1); ++shared) { // the shift of n - 1 serves n too
            const int shift = LaneDivision::Shift(n - shared);
            const unsigned multiplier = LaneDivision::Multiplier(n, shift);
            for (unsigned sum = 0; sum <= 255u * unsigned(n); ++sum)
                wrong += (sum * multiplier >> 16) >> shift != sum / unsigned(n);
        }
    EXPECT_EQ(0, wrong);

    // At the multiples of n and just below, where a quotient changes, up to the largest n.
    for (unsigned n : {1u, 2u, 3u, 7u, 255u, 256u, 257u, 65535u, 65537u, 99991u, 8388607u, 16777213u, 0xFFFFFFu}) {
        const MeanDivider divide(n);
        for (unsigned quotient = 0; quotient <= 255; ++quotient) {
            wrong += divide(quotient * n) != quotient;
            wrong += quotient > 0 && divide(quotient * n - 1) != quotient - 1;
        }
        EXPECT_EQ(0, wrong) << n;
    }
}

} // namespace vexo::test
