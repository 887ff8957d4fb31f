// The mirroring kernels of every processor level against the plain ones.
#include "geometry/mirror_kernels.h"
#include "tests/support/kernels.h"

namespace vexo::test {

using MirrorKernelsTest = KernelTest<SelectMirrorKernels>;

TEST_F(MirrorKernelsTest, EveryLevelGivesThePlainResult)
{
    constexpr size_t kUnitBytes[kMirrorUnitCount] = {1, 1, 1, 1, 2, 3, 4};
    Random random(63);
    const auto compare = [&](size_t bytes, auto kernel) { // of a row and another one behind it
        ExpectPlainResult(random, 2 * bytes, 0, [&](bool isPlain, uint8_t *rows, const uint8_t *) {
            kernel(isPlain ? plainMirrorKernels : mirrorKernels, rows, rows + bytes, bytes);
        });
    };
    ForEachLevel([&] {
        for (size_t n = 0; n < 140 && !HasFatalFailure(); ++n) {
            for (int unit = 0; unit < kMirrorUnitCount; ++unit)
                compare(n * kUnitBytes[unit], [&](const MirrorKernels &k, uint8_t *row, uint8_t *other, size_t bytes) {
                    k.units[unit].reverse(row, bytes);
                    k.units[unit].reverse(other, bytes);
                    k.units[unit].exchangeReversed(row, other, bytes);
                });
            compare(n, [](const MirrorKernels &k, uint8_t *row, uint8_t *other, size_t bytes) {
                k.exchange(row, other, bytes);
                for (int bits = 1; bits < 8; ++bits)
                    k.shiftBits(bits % 2 ? row : other, bytes, bits);
            });
        }
    });
}

} // namespace vexo::test
