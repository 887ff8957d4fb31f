// The run kernels of every processor level against a coder that looks at one pixel at a time, with buffers that end at
// unreadable pages and hold not a byte more than is used.
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/random.h"

#include "core/compressed_rows.h"
#include "core/run_kernels.h"

#include <cstring>
#include <string>
#include <vector>

namespace vexo::test {
namespace {

using Pixels = std::vector<bool>;
using Runs = std::vector<uint16_t>;

Runs ModelRuns(const Pixels &pixels)
{
    Runs runs = {0};
    bool color = false;
    for (const bool pixel : pixels) {
        if (pixel != color) {
            runs.push_back(0);
            color = pixel;
        } else if (runs.back() == 65535) {
            runs.insert(runs.end(), {0, 0});
        }
        ++runs.back();
    }
    return runs;
}

// Runs of random lengths around `typical`, with single pixels and whole bytes among them.
Pixels RandomPixels(Random &random, int count, int typical)
{
    Pixels pixels;
    bool color = random.OneIn(2);
    while (int(pixels.size()) < count) {
        const int length = random.OneIn(4) ? random.Between(1, 2) : random.Between(1, typical);
        pixels.insert(pixels.end(), size_t(length), color);
        color = !color;
    }
    pixels.resize(size_t(count));
    return pixels;
}

void PutPixels(uint8_t *bits, size_t at, const Pixels &pixels)
{
    for (const bool pixel : pixels) {
        const auto mask = uint8_t(0x80 >> at % 8);
        bits[at / 8] = uint8_t((bits[at / 8] & ~mask) | (pixel ? mask : 0));
        ++at;
    }
}

template <class Kernel>
Runs Code(Kernel &&kernel, const Pixels &pixels, int startBit, Random &random)
{
    const size_t bytes = (pixels.size() + size_t(startBit) + 7) / 8;
    GuardedBuffer input(bytes);
    random.Fill(input.data(), bytes); // the bits around the pixels are to be ignored
    PutPixels(input.data(), size_t(startBit), pixels);
    const std::vector<uint8_t> before(input.data(), input.data() + bytes);
    const size_t expected = ModelRuns(pixels).size();
    GuardedBuffer runs(expected * sizeof(uint16_t));
    const int count = kernel(runs.as<uint16_t>(), input.data(), startBit, int(pixels.size()));
    EXPECT_EQ(0, memcmp(before.data(), input.data(), bytes)) << "the input was changed";
    EXPECT_EQ(int(expected), count);
    return Runs(runs.as<uint16_t>(), runs.as<uint16_t>() + expected);
}

int CompressRow(uint16_t *runs, const uint8_t *input, int startBit, int count)
{
    EXPECT_EQ(count, V_CompressRow(runs, input, startBit, count));
    int runCount = 0;
    for (int covered = 0; covered < count; ++runCount)
        covered += runs[runCount];
    return runCount;
}

// What expansion of pixels from `start` on must give, bits behind the last pixel cleared.
std::vector<uint8_t> ModelBits(const Pixels &pixels, int start, int count)
{
    std::vector<uint8_t> bits((size_t(count) + 7) / 8);
    PutPixels(bits.data(), 0, Pixels(pixels.begin() + start, pixels.begin() + start + count));
    return bits;
}

void CheckExpansion(const RunKernels *kernels, const Runs &runs, const Pixels &pixels, int start, int count)
{
    GuardedBuffer input(runs.size() * sizeof(uint16_t));
    memcpy(input.data(), runs.data(), input.size());
    GuardedBuffer output((size_t(count) + 7) / 8);
    if (kernels)
        kernels->expandRuns(input.as<uint16_t>(), output.data(), start, count);
    else
        EXPECT_EQ(1, V_ExpandRow(input.as<WORD>(), output.data(), start, count));
    const std::vector<uint8_t> bits = ModelBits(pixels, start, count);
    EXPECT_EQ(0, memcmp(bits.data(), output.data(), bits.size())) << "from " << start << ", " << count << " pixels";
}

class RunCoding : public LibraryTest {
protected:
    RunCoding() : m_random(20)
    {
        for (int width = 1; width <= 70; ++width)
            m_widths.push_back(width);
        for (const int width : {255, 256, 257, 511, 512, 2480, 4095, 4096, 4097, 8200, 65535, 65536, 70001, 200000})
            m_widths.push_back(width);
    }
    ~RunCoding() override { SelectRunKernels(DetectCpuLevel()); }

    // Calls work(kernels or null) with the plain kernels, and with each level that this processor has in place.
    template <class Work>
    void AtEachLevel(Work &&work)
    {
        {
            SCOPED_TRACE("plain");
            work(&plainRunKernels);
        }
        for (int level = 0; level <= int(DetectCpuLevel()); ++level) {
            SCOPED_TRACE("level " + std::to_string(level));
            SelectRunKernels(CpuLevel(level));
            work(static_cast<const RunKernels *>(nullptr));
        }
    }

    Random m_random;
    std::vector<int> m_widths;
};

TEST_F(RunCoding, CodesWhatThePixelsSay)
{
    AtEachLevel([&](const RunKernels *kernels) {
        for (const int width : m_widths) {
            for (const int typical : {1, 3, 40, 300, 150000}) {
                SCOPED_TRACE("width " + std::to_string(width) + ", runs of " + std::to_string(typical));
                const Pixels pixels = RandomPixels(m_random, width, typical);
                const int startBit = m_random.Below(8);
                ASSERT_EQ(ModelRuns(pixels), Code(kernels ? kernels->codeRuns : CodeRuns, pixels, startBit, m_random));
                if (!kernels) { // the exported function counts pixels, and takes start bits beyond the first byte
                    const int farBit = startBit + 8 * m_random.Below(3);
                    ASSERT_EQ(ModelRuns(pixels), Code(CompressRow, pixels, farBit, m_random));
                }
            }
        }
    });
}

// Rows are merged in one buffer: bits at its end, runs from its start on. Alternating pixels make the most runs.
TEST_F(RunCoding, RunsMayTakeThePlaceOfBitsThatAreRead)
{
    AtEachLevel([&](const RunKernels *kernels) {
        for (const int width : m_widths) {
            for (const int typical : {1, 2, 40}) {
                Pixels pixels = RandomPixels(m_random, width, typical);
                if (typical == 1)
                    for (size_t i = 0; i < pixels.size(); ++i)
                        pixels[i] = i % 2 == 0;
                GuardedBuffer scratch(size_t(width) * 2 + 2);
                uint8_t *bits = scratch.data() + scratch.size() - (size_t(width) + 7) / 8;
                PutPixels(bits, 0, pixels);
                const int count = (kernels ? kernels->codeRuns : CodeRuns)(scratch.as<uint16_t>(), bits, 0, width);
                ASSERT_EQ(ModelRuns(pixels), Runs(scratch.as<uint16_t>(), scratch.as<uint16_t>() + count))
                    << "width " << width;
            }
        }
    });
}

TEST_F(RunCoding, ExpandsAnyPartOfARow)
{
    AtEachLevel([&](const RunKernels *kernels) {
        for (const int width : m_widths) {
            for (const int typical : {1, 3, 40, 300, 150000}) {
                SCOPED_TRACE("width " + std::to_string(width) + ", runs of " + std::to_string(typical));
                const Pixels pixels = RandomPixels(m_random, width, typical);
                const Runs runs = ModelRuns(pixels);
                CheckExpansion(kernels, runs, pixels, 0, width);
                for (int i = 0; i < 4; ++i) {
                    const int start = m_random.Below(width);
                    CheckExpansion(kernels, runs, pixels, start, m_random.Between(1, width - start));
                }
                if (HasFailure())
                    return;
            }
        }
    });
}

// Runs of a caller's own making: empty ones anywhere, and more pixels than are asked for.
TEST_F(RunCoding, ExpandsRunsThatNoCoderMakes)
{
    AtEachLevel([&](const RunKernels *kernels) {
        for (int round = 0; round < 500; ++round) {
            Runs runs;
            Pixels pixels;
            const int count = m_random.Between(1, 400);
            while (int(pixels.size()) < count) {
                const int kind = m_random.Below(10);
                const int length = kind < 3 ? 0 : kind == 3 ? 65535 : m_random.Below(30);
                pixels.insert(pixels.end(), size_t(length), runs.size() % 2 == 1);
                runs.push_back(uint16_t(length));
            }
            CheckExpansion(kernels, runs, pixels, 0, count);
            const int start = m_random.Below(count);
            CheckExpansion(kernels, runs, pixels, start, count - start);
        }
    });
}

TEST_F(RunCoding, TakesNothingFromEmptyRequests)
{
    AtEachLevel([&](const RunKernels *) {
        uint8_t bits[3] = {0xAA, 0xAA, 0xAA};
        WORD runs[2] = {7, 9};
        EXPECT_EQ(1, V_ExpandRow(nullptr, bits, 5, 9));
        EXPECT_EQ(0, bits[0] | bits[1]);
        EXPECT_EQ(0xAA, bits[2]);
        EXPECT_EQ(1, V_ExpandRow(runs, bits + 2, 0, 0));
        EXPECT_EQ(1, V_ExpandRow(runs, bits + 2, 0, -1));
        EXPECT_EQ(0, V_CompressRow(runs, bits, 0, 0));
        EXPECT_EQ(0, V_CompressRow(runs, bits, 0, -1));
        EXPECT_EQ(0xAA, bits[2]);
        EXPECT_EQ(7, runs[0]);
    });
}

} // namespace
} // namespace vexo::test
