// The combining kernels of every processor level against the plain ones, over all treatments of the operands.
#include "geometry/combine_kernels.h"
#include "tests/support/kernels.h"

namespace vexo::test {

namespace {

using CombineKernelsTest = KernelTest<SelectCombineKernels>;

const CombineKernels &Kernels(bool isPlain) { return isPlain ? plainCombineKernels : combineKernels; }

ChannelTreatment RandomTreatment(Random &random, int bits)
{
    const uint8_t top = uint8_t((1 << bits) - 1);
    const auto keep = [&] { return uint8_t(random.OneIn(4) ? 0 : 0xFF); };
    const auto flip = [&] { return random.OneIn(2) ? top : uint8_t(0); };
    return {keep(), flip(), keep(), flip(), flip(), top, bits};
}

} // namespace

TEST_F(CombineKernelsTest, EveryLevelGivesThePlainResult)
{
    Random random(70);
    ForEachLevel([&] {
        for (int i = 0; i < 150 && !HasFatalFailure(); ++i) {
            const size_t n = size_t(random.Below(150));
            const BitFunction function = BitFunction::FromTable(unsigned(i % 16));
            ExpectPlainResult(random, n, n,
                              [&](bool isPlain, auto *d, auto *s) { Kernels(isPlain).bits(d, s, n, function); });
            for (int operation = 0; operation < kChannelOperationCount; ++operation) {
                const ChannelTreatment bytes = RandomTreatment(random, i % 2 ? 8 : random.Between(2, 7));
                const ChannelTreatment fields = RandomTreatment(random, 5);
                SCOPED_TRACE(operation);
                ExpectPlainResult(
                    random, n, n,
                    [&](bool isPlain, auto *d, auto *s) { Kernels(isPlain).bytes[operation](d, s, n, bytes); },
                    bytes.top);
                ExpectPlainResult(random, 2 * n, 2 * n, [&](bool isPlain, auto *d, auto *s) {
                    Kernels(isPlain).fields[operation](d, s, n, fields);
                });
            }
        }
    });
}

// Every pair of channels once, for each width of a channel: the divisions and products are exact.
TEST_F(CombineKernelsTest, AllPairsOfChannelsAgree)
{
    for (int bits = 2; bits <= 8; ++bits) {
        const unsigned size = 1u << bits;
        const ChannelTreatment how = {0xFF, 0, 0xFF, 0, 0, uint8_t(size - 1), bits};
        std::vector<uint8_t> destination(size), expected(size), source(size);
        for (int operation = 0; operation < kChannelOperationCount; ++operation)
            for (unsigned d = 0; d < size; ++d) {
                for (unsigned s = 0; s < size; ++s) {
                    expected[s] = destination[s] = uint8_t(d);
                    source[s] = uint8_t(s);
                }
                plainCombineKernels.bytes[operation](expected.data(), source.data(), size, how);
                combineKernels.bytes[operation](destination.data(), source.data(), size, how);
                ASSERT_EQ(expected, destination) << "operation " << operation << ", " << bits << " bits, d = " << d;
            }
    }
}

} // namespace vexo::test
