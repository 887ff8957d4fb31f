// The run kernels of every processor level against a coder that looks at one pixel at a time, with buffers that end at
// unreadable pages and hold not a byte more than is used.
#include "core/compressed_rows.h"
#include "core/run_kernels.h"
#include "tests/support/kernels.h"
#include "tests/support/runs.h"

#include <cstring>
#include <numeric>

namespace vexo::test {
namespace {

using Runs = std::vector<WORD>;

// One row of runs of random lengths up to `longest`, with single pixels and pairs among them.
Image RandomRow(Random &random, int width, int longest)
{
    Image row(width, 1, 1);
    uint32_t color = uint32_t(random.Below(2));
    for (int x = 0; x < width; color ^= 1)
        for (int n = random.Between(1, longest > 2 && random.OneIn(4) ? 2 : longest); n > 0 && x < width; --n)
            row.At(0, x++) = color;
    return row;
}

// By the plain kernel and by those in use.
void ExpectExpansion(const Image &row, const Runs &runs, int start, int count)
{
    GuardedBuffer input(runs.size() * sizeof(WORD));
    GuardedBuffer plain((size_t(count) + 7) / 8), output(plain.size());
    memcpy(input.data(), runs.data(), input.size());
    plainRunKernels.expandRuns(input.as<WORD>(), plain.data(), start, count);
    EXPECT_EQ(1, V_ExpandRow(input.as<WORD>(), output.data(), start, count));
    const std::vector<uint8_t> expected = BitsOf(row, 0, start, count);
    EXPECT_TRUE(std::ranges::equal(expected, plain.span())) << "from " << start << ", " << count << " pixels";
    EXPECT_TRUE(std::ranges::equal(expected, output.span())) << "from " << start << ", " << count << " pixels";
}

class RunCoding : public KernelTest<SelectRunKernels> {
protected:
    // Runs test(row, its runs) at each level with rows of many widths; the shortest runs alternate.
    template <class Test>
    void ForEachRow(Test &&test)
    {
        std::vector<int> widths(70);
        std::iota(widths.begin(), widths.end(), 1);
        widths.insert(widths.end(), {255, 256, 257, 511, 512, 2480, 4095, 4097, 8200, 65535, 65536, 70001, 200000});
        ForEachLevel([&] {
            for (const int width : widths)
                for (const int longest : {1, 3, 40, 300, 150000}) {
                    SCOPED_TRACE(testing::Message() << "width " << width << ", runs up to " << longest);
                    const Image row = RandomRow(m_random, width, longest);
                    test(row, RunsOf(row, 0, 0, width));
                    ASSERT_FALSE(HasFailure());
                }
        });
    }

    Random m_random{20};
};

TEST_F(RunCoding, CodesWhatThePixelsSay)
{
    ForEachRow([&](const Image &row, const Runs &expected) {
        const int width = row.width;
        const auto check = [&](auto *code, int startBit, int result) {
            GuardedBuffer input(size_t(width + startBit + 7) / 8), runs(expected.size() * sizeof(WORD));
            m_random.Fill(input.data(), input.size()); // the bits around the pixels are to be ignored
            for (int x = 0; x < width; ++x)
                SetPixelOf(input.data(), size_t(startBit + x), 1, row.At(0, x));
            EXPECT_EQ(result, code(runs.as<WORD>(), input.data(), startBit, width));
            EXPECT_EQ(0, memcmp(expected.data(), runs.data(), runs.size()));
        };
        check(&CodeRuns, m_random.Below(8), int(expected.size()));
        check(&V_CompressRow, m_random.Below(24), width); // counts pixels, and knows bits beyond the first byte

        // Rows are merged in one buffer: bits at its end, runs from its start on.
        GuardedBuffer scratch(size_t(width) * 2 + 2);
        const std::vector<uint8_t> packed = BitsOf(row, 0, 0, width);
        uint8_t *bits = scratch.data() + scratch.size() - packed.size();
        std::ranges::copy(packed, bits);
        const int count = CodeRuns(scratch.as<WORD>(), bits, 0, width);
        EXPECT_EQ(expected, Runs(scratch.as<WORD>(), scratch.as<WORD>() + count)) << "in place";
    });
}

TEST_F(RunCoding, ExpandsAnyPartOfARow)
{
    ForEachRow([&](const Image &row, const Runs &runs) {
        ExpectExpansion(row, runs, 0, row.width);
        for (int i = 0; i < 4; ++i) {
            const int start = m_random.Below(row.width);
            ExpectExpansion(row, runs, start, m_random.Between(1, row.width - start));
        }
    });
}

// Runs of a caller's own making: empty ones anywhere, and more pixels than are asked for.
TEST_F(RunCoding, ExpandsRunsThatNoCoderMakes)
{
    ForEachLevel([&] {
        for (int round = 0; round < 500; ++round) {
            Runs runs;
            Image row(0, 1, 1);
            const int count = m_random.Between(1, 400), start = m_random.Below(count);
            while (int(row.pixels.size()) < count) {
                const int kind = m_random.Below(10);
                const int length = kind < 3 ? 0 : kind == 3 ? 65535 : m_random.Below(30);
                row.pixels.insert(row.pixels.end(), size_t(length), runs.size() % 2);
                runs.push_back(WORD(length));
            }
            ExpectExpansion(row, runs, 0, count);
            ExpectExpansion(row, runs, start, count - start);
        }
    });
}

TEST_F(RunCoding, TakesNothingFromEmptyRequests)
{
    uint8_t bits[3] = {0xAA, 0xAA, 0xAA};
    WORD runs[2] = {7, 9};
    EXPECT_EQ(1, V_ExpandRow(nullptr, bits, 5, 9)) << "a row of zeros";
    EXPECT_EQ(0, bits[0] | bits[1]);
    for (const int none : {0, -1}) {
        EXPECT_EQ(1, V_ExpandRow(runs, bits + 2, 0, none));
        EXPECT_EQ(0, V_CompressRow(runs, bits, 0, none));
    }
    EXPECT_EQ(0xAA, bits[2]);
    EXPECT_EQ(7, runs[0]);
}

} // namespace
} // namespace vexo::test
