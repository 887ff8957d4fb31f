// The combining kernels of every processor level against the plain ones, over all treatments of the operands and on
// rows that end at unreadable pages.
#include "geometry/combine_kernels.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/random.h"

#include <algorithm>

namespace vexo::test {

namespace {

class CombineKernelsTest : public LibraryTest {
protected:
    ~CombineKernelsTest() override { SelectCombineKernels(DetectCpuLevel()); }
};

// Runs one kernel of both tables on equal rows of bytes up to `top` and compares the results.
template <class Kernel>
void Compare(Random &random, size_t bytes, uint8_t top, Kernel &&kernel)
{
    GuardedBuffer destination(bytes), expected(bytes), source(bytes);
    for (size_t i = 0; i < bytes; ++i) {
        expected[i] = destination[i] = random.Byte() & top;
        source[i] = random.OneIn(8) ? 0 : random.Byte() & top;
    }
    kernel(plainCombineKernels, expected.data(), source.data());
    kernel(combineKernels, destination.data(), source.data());
    ASSERT_TRUE(std::ranges::equal(expected.span(), destination.span())) << bytes << " bytes, top " << int(top);
}

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
    for (int level = 1; level <= int(DetectCpuLevel()); ++level) {
        SelectCombineKernels(CpuLevel(level));
        for (int i = 0; i < 150 && !HasFatalFailure(); ++i) {
            const size_t count = size_t(random.Below(150));
            const BitFunction function = BitFunction::FromTable(unsigned(i % 16));
            Compare(random, count, 0xFF,
                    [&](const CombineKernels &k, uint8_t *d, const uint8_t *s) { k.bits(d, s, count, function); });
            for (int operation = 0; operation < kChannelOperationCount; ++operation) {
                SCOPED_TRACE(operation);
                const ChannelTreatment bytes = RandomTreatment(random, i % 2 ? 8 : random.Between(2, 7));
                Compare(random, count, bytes.top, [&](const CombineKernels &k, uint8_t *d, const uint8_t *s) {
                    k.bytes[operation](d, s, count, bytes);
                });
                const ChannelTreatment fields = RandomTreatment(random, 5);
                Compare(random, count * 2, 0xFF, [&](const CombineKernels &k, uint8_t *d, const uint8_t *s) {
                    k.fields[operation](d, s, count, fields);
                });
            }
        }
    }
}

// Every pair of channels once, for each width of a channel: the divisions and products are exact.
TEST_F(CombineKernelsTest, AllPairsOfChannelsAgree)
{
    for (int bits = 2; bits <= 8; ++bits) {
        const unsigned size = 1u << bits;
        const ChannelTreatment how = {0xFF, 0, 0xFF, 0, 0, uint8_t(size - 1), bits};
        GuardedBuffer destination(size), expected(size), source(size);
        for (int operation = 0; operation < kChannelOperationCount; ++operation)
            for (unsigned d = 0; d < size; ++d) {
                for (unsigned s = 0; s < size; ++s) {
                    expected[s] = destination[s] = uint8_t(d);
                    source[s] = uint8_t(s);
                }
                plainCombineKernels.bytes[operation](expected.data(), source.data(), size, how);
                combineKernels.bytes[operation](destination.data(), source.data(), size, how);
                ASSERT_TRUE(std::ranges::equal(expected.span(), destination.span()))
                    << "operation " << operation << ", " << bits << " bits, d = " << d;
            }
    }
}

} // namespace vexo::test
