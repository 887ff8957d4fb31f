// The row kernels of every processor level against the plain ones, and copies of bit ranges against single bits, on
// buffers that end at unreadable pages.
#include "core/row_kernels.h"

#include "core/bit_copy.h"
#include "tests/support/bitmaps.h"
#include "tests/support/kernels.h"

namespace vexo::test {

using RowKernelsTest = KernelTest<SelectRowKernels>;

TEST_F(RowKernelsTest, EveryLevelGivesThePlainResult)
{
    using Kernel = void (*RowKernels::*)(uint8_t *, const uint8_t *, size_t);
    const struct {
        Kernel kernel;
        size_t inputBytes, outputBytes; // of a pixel
    } kKernels[] = {{&RowKernels::moveBytes, 1, 1},  {&RowKernels::streamBytes, 1, 1}, {&RowKernels::getAlpha32, 4, 1},
                    {&RowKernels::getAlpha16, 2, 1}, {&RowKernels::setAlpha32, 1, 4},  {&RowKernels::setAlpha16, 1, 2}};
    Random random(91);
    const auto kernels = [](bool isPlain) -> const RowKernels & { return isPlain ? plainRowKernels : rowKernels; };
    ForEachLevel([&] {
        for (size_t n = 0; n < 300 && !HasFatalFailure(); n += n < 100 ? 1 : 37) {
            for (const auto &named : kKernels) {
                // In front of the page end by some bytes, so that neither end keeps to an alignment.
                const size_t spare = size_t(random.Below(33));
                ExpectPlainResult(
                    random, n * named.outputBytes + spare, n * named.inputBytes,
                    [&](bool isPlain, auto *out, auto *in) { (kernels(isPlain).*named.kernel)(out, in, n); });
            }
            for (int shift = 1; shift < 8; ++shift)
                ExpectPlainResult(random, n, n + 1, [&](bool isPlain, auto *out, auto *in) {
                    kernels(isPlain).shiftBits(out, in, n, shift);
                });
            ExpectPlainResult(
                random, n, n, [&](bool isPlain, auto *out, auto *in) { kernels(isPlain).copyOthers(out, in, n, 2); },
                3);
        }
    });
}

TEST_F(RowKernelsTest, LargeBlocksAreCopiedWhole)
{
    const size_t size = (size_t(9) << 20) + 77;
    GuardedBuffer input(size), output(size);
    for (size_t i = 0; i < size; ++i)
        input[i] = uint8_t(i ^ i >> 8 ^ i >> 16);
    CopyBytes(output.data(), input.data(), size);
    EXPECT_TRUE(std::ranges::equal(input.span(), output.span()));
}

TEST_F(RowKernelsTest, BitRangesAreThoseOfABitByBitCopy)
{
    Random random(92);
    ForEachLevel([&] {
        for (int round = 0; round < 1500; ++round) {
            const int from = random.Below(20), to = random.Below(20);
            const int count = random.Below(random.OneIn(3) ? 700 : 40);
            // No longer than the bits need: a byte more would be read or written at the unreadable page.
            GuardedBuffer input(size_t(from + count + 7) / 8), output(size_t(to + count + 7) / 8);
            random.Fill(input.data(), input.size());
            random.Fill(output.data(), output.size());
            std::vector<uint8_t> expected(output.data(), output.data() + output.size());
            for (int i = 0; i < count; ++i)
                SetPixelOf(expected.data(), size_t(to + i), 1, PixelOf(input.data(), size_t(from + i), 1));
            CopyBits(output.data(), unsigned(to), input.data(), unsigned(from), unsigned(count));
            ASSERT_TRUE(std::ranges::equal(expected, output.span())) << from << " to " << to << ", " << count;
        }
    });
}

} // namespace vexo::test
