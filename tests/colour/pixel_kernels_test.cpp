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

template <auto Member>
void Swap(const PixelKernels &kernels, uint8_t *output, const uint8_t *input, size_t count, size_t bytes)
{
    std::copy(input, input + count * bytes, output);
    (kernels.*Member)(output, count);
}

const Kernel kKernels[] = {
    {"unpack16", 2, 4, false,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.unpack16(out, in, n, false); }},
    {"unpack16 swapped", 2, 4, false,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.unpack16(out, in, n, true); }},
    {"unpack24", 3, 4, false,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.unpack24(out, in, n, false); }},
    {"unpack24 swapped", 3, 4, false,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.unpack24(out, in, n, true); }},
    {"lookUp", 1, 4, false,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.lookUp(out, in, n, kTable.quads); }},
    {"pack16", 4, 2, true, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.pack16(out, in, n); }},
    {"pack24", 4, 3, true, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.pack24(out, in, n); }},
    {"luminance", 4, 1, true, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.luminance(out, in, n); }},
    // Eight levels a byte; the test counts bytes.
    {"threshold", 8, 1, true,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.threshold(out, in, 8 * n, kThresholds); }},
    {"threshold short", 7, 1, true,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) {
         if (n > 0)
             k.threshold(out, in, 7 * n, kThresholds);
         std::fill(out + (7 * n + 7) / 8, out + n, uint8_t(0));
     }},
    {"hsvFromBgr", 3, 3, true, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.hsvFromBgr(out, in, n); }},
    {"bgrFromHsv", 3, 3, true, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.bgrFromHsv(out, in, n); }},
    {"yuvFromBgr", 3, 6, false, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.yuvFromBgr(out, in, n); }},
    {"cmykFromBgr", 3, 4, false, [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { k.cmykFromBgr(out, in, n); }},
    {"swap16", 2, 2, true,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { Swap<&PixelKernels::swap16>(k, out, in, n, 2); }},
    {"swap24", 3, 3, true,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { Swap<&PixelKernels::swap24>(k, out, in, n, 3); }},
    {"swap32", 4, 4, true,
     [](auto &k, uint8_t *out, const uint8_t *in, size_t n) { Swap<&PixelKernels::swap32>(k, out, in, n, 4); }},
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
