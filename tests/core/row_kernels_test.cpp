// The row kernels of every processor level against the plain ones, and copies of bit ranges against single bits, on
// buffers that end at unreadable pages.
#include "core/row_kernels.h"

#include "core/bit_copy.h"
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <algorithm>

namespace vexo::test {

namespace {

class RowKernelsTest : public LibraryTest {
protected:
    ~RowKernelsTest() override { SelectRowKernels(DetectCpuLevel()); }

    template <class Body>
    void ForEachLevel(Body &&body)
    {
        for (int level = 0; level <= int(DetectCpuLevel()) && !HasFatalFailure(); ++level) {
            SCOPED_TRACE(level);
            SelectRowKernels(CpuLevel(level));
            body();
        }
    }
};

using AlphaKernel = void (*RowKernels::*)(uint8_t *, const uint8_t *, size_t);

struct NamedKernel {
    const char *name;
    AlphaKernel kernel;
    size_t inputBytes, outputBytes; // of a pixel
};
constexpr NamedKernel kKernels[] = {
    {"streamBytes", &RowKernels::streamBytes, 1, 1}, {"getAlpha32", &RowKernels::getAlpha32, 4, 1},
    {"getAlpha16", &RowKernels::getAlpha16, 2, 1},   {"setAlpha32", &RowKernels::setAlpha32, 1, 4},
    {"setAlpha16", &RowKernels::setAlpha16, 1, 2},
};

void Compare(Random &random, const NamedKernel &named, size_t count)
{
    // In front of the page end by some bytes, so that neither end keeps to an alignment.
    const size_t spare = size_t(random.Below(33));
    GuardedBuffer input(count * named.inputBytes), output(count * named.outputBytes + spare);
    random.Fill(input.data(), input.size());
    random.Fill(output.data(), output.size());
    std::vector<uint8_t> expected(output.data(), output.data() + output.size());
    (plainRowKernels.*named.kernel)(expected.data(), input.data(), count);
    (rowKernels.*named.kernel)(output.data(), input.data(), count);
    ASSERT_TRUE(std::ranges::equal(expected, output.span())) << named.name << ", " << count;
}

} // namespace

TEST_F(RowKernelsTest, EveryLevelGivesThePlainResult)
{
    Random random(91);
    ForEachLevel([&] {
        for (const NamedKernel &named : kKernels)
            for (size_t count = 0; count < 300; count += count < 100 ? 1 : 37)
                Compare(random, named, count);
        for (size_t count = 0; count < 120; ++count)
            for (int shift = 1; shift < 8; ++shift) {
                GuardedBuffer input(count + 1), output(count);
                random.Fill(input.data(), input.size());
                std::vector<uint8_t> expected(count);
                plainRowKernels.shiftBits(expected.data(), input.data(), count, shift);
                rowKernels.shiftBits(output.data(), input.data(), count, shift);
                ASSERT_TRUE(std::ranges::equal(expected, output.span())) << "shift " << shift << ", " << count;
            }
        for (size_t count = 0; count < 120; ++count) {
            GuardedBuffer input(count), output(count);
            for (uint8_t &pixel : input.span())
                pixel = uint8_t(random.Below(3) ? 200 : 7);
            random.Fill(output.data(), count);
            std::vector<uint8_t> expected(output.data(), output.data() + count);
            plainRowKernels.copyOthers(expected.data(), input.data(), count, 200);
            rowKernels.copyOthers(output.data(), input.data(), count, 200);
            ASSERT_TRUE(std::ranges::equal(expected, output.span())) << count << " others";
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
