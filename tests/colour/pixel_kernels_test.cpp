// The pixel kernels of every processor level against the plain ones, on buffers that end at unreadable pages.
#include "colour/pixel_kernels.h"
#include "tests/support/kernels.h"

#include <vector>

namespace vexo::test {

namespace {

// One kernel as a function from bytes to bytes.
struct Kernel {
    const char *name;
    size_t inputBytes, outputBytes; // of a pixel
    bool mayOverlap;                // the output may start at or before the input
    void (*run)(const PixelKernels &kernels, uint8_t *output, const uint8_t *input, size_t count);
};

constexpr struct Table {
    uint32_t quads[256];
    constexpr Table() : quads()
    {
        for (unsigned i = 0; i < 256; ++i)
            quads[i] = i * 0x00C9A3E5u & 0x00FFFFFF;
    }
} kTable;

constexpr uint8_t kThresholds[8] = {0, 128, 255, 31, 200, 64, 99, 254};

// Kernels from one buffer to another, with what they need besides.
template <auto Member, auto... More>
void Convert(const PixelKernels &kernels, uint8_t *output, const uint8_t *input, size_t count)
{
    (kernels.*Member)(output, input, count, More...);
}

// Those that work in place.
template <auto Member, size_t Bytes>
void Swap(const PixelKernels &kernels, uint8_t *output, const uint8_t *input, size_t count)
{
    std::copy(input, input + count * Bytes, output);
    (kernels.*Member)(output, count);
}

using K = PixelKernels;
const Kernel kKernels[] = {
    {"unpack16", 2, 4, false, Convert<&K::unpack16, false>},
    {"unpack16 swapped", 2, 4, false, Convert<&K::unpack16, true>},
    {"unpack24", 3, 4, false, Convert<&K::unpack24, false>},
    {"unpack24 swapped", 3, 4, false, Convert<&K::unpack24, true>},
    {"lookUp", 1, 4, false, [](auto &k, auto *out, auto *in, size_t n) { k.lookUp(out, in, n, kTable.quads); }},
    {"pack16", 4, 2, true, Convert<&K::pack16>},
    {"pack24", 4, 3, true, Convert<&K::pack24>},
    {"luminance", 4, 1, true, Convert<&K::luminance>},
    // Eight levels a byte; the test counts bytes.
    {"threshold", 8, 1, true, [](auto &k, auto *out, auto *in, size_t n) { k.threshold(out, in, 8 * n, kThresholds); }},
    {"threshold short", 7, 1, true,
     [](auto &k, auto *out, auto *in, size_t n) {
         if (n > 0)
             k.threshold(out, in, 7 * n, kThresholds);
         std::fill(out + (7 * n + 7) / 8, out + n, uint8_t(0));
     }},
    {"hsvFromBgr", 3, 3, true, Convert<&K::hsvFromBgr>},
    {"bgrFromHsv", 3, 3, true, Convert<&K::bgrFromHsv>},
    {"yuvFromBgr", 3, 6, false, Convert<&K::yuvFromBgr>},
    {"cmykFromBgr", 3, 4, false, Convert<&K::cmykFromBgr>},
    {"swap16", 2, 2, true, Swap<&K::swap16, 2>},
    {"swap24", 3, 3, true, Swap<&K::swap24, 3>},
    {"swap32", 4, 4, true, Swap<&K::swap32, 4>},
};

} // namespace

using PixelKernelsTest = KernelTest<SelectPixelKernels>;

TEST_F(PixelKernelsTest, EveryLevelGivesThePlainResult)
{
    Random random(5);
    ForEachLevel([&] {
        for (const Kernel &kernel : kKernels)
            for (size_t n = 0; n < 100 && !HasFatalFailure(); ++n) {
                SCOPED_TRACE(testing::Message() << kernel.name << ", " << n << " pixels");
                const size_t input = n * kernel.inputBytes, output = n * kernel.outputBytes;
                ExpectPlainResult(random, output, input, [&](bool isPlain, auto *out, auto *in) {
                    kernel.run(isPlain ? plainPixelKernels : pixelKernels, out, in, n);
                });
                if (!kernel.mayOverlap)
                    continue;
                const size_t before = size_t(random.Below(40));
                GuardedBuffer shared(before + input);
                random.Fill(shared.data(), shared.size());
                std::vector<uint8_t> expected(output);
                kernel.run(plainPixelKernels, expected.data(), shared.data() + before, n);
                kernel.run(pixelKernels, shared.data(), shared.data() + before, n);
                ASSERT_TRUE(std::ranges::equal(expected, shared.span().first(output))) << before << " bytes in front";
            }
    });
}

} // namespace vexo::test
