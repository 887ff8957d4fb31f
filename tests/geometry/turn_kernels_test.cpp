// The kernels of quarter turns at every processor level against the definition, pixel by pixel, from and to blocks that
// lie between unreadable pages and are walked up or down.
#include "geometry/turn_kernels.h"
#include "tests/support/bitmaps.h"
#include "tests/support/kernels.h"

namespace vexo::test {

namespace {

using TurnKernelsTest = KernelTest<SelectTurnKernels>;

void CheckBlock(Random &random, TurnKernels::Transpose transpose, int bits, int columns, int rows)
{
    const size_t fromBytes = size_t(PackedBytes(columns, bits)), toBytes = size_t(PackedBytes(rows, bits));
    GuardedBuffer from(fromBytes * size_t(rows)), to(toBytes * size_t(columns));
    random.Fill(from.data(), from.size());
    const bool fromUp = random.OneIn(2), toUp = random.OneIn(2);
    const ptrdiff_t fromStride = fromUp ? -ptrdiff_t(fromBytes) : ptrdiff_t(fromBytes);
    const ptrdiff_t toStride = toUp ? -ptrdiff_t(toBytes) : ptrdiff_t(toBytes);
    const uint8_t *fromFirst = from.data() + (fromUp ? size_t(rows - 1) * fromBytes : 0);
    uint8_t *toFirst = to.data() + (toUp ? size_t(columns - 1) * toBytes : 0);
    transpose(toFirst, toStride, fromFirst, fromStride, columns, rows);
    std::vector<uint8_t> expected(toBytes);
    for (int c = 0; c < columns; ++c) {
        std::ranges::fill(expected, uint8_t(0));
        for (int r = 0; r < rows; ++r)
            SetPixelOf(expected.data(), size_t(r), bits, PixelOf(fromFirst + r * fromStride, size_t(c), bits));
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), toFirst + c * toStride))
            << bits << " bits, " << columns << " x " << rows << ", column " << c;
    }
}

} // namespace

TEST_F(TurnKernelsTest, EveryLevelTransposes)
{
    Random random(80);
    ForEachLevel([&] {
        for (int i = 0; i < 60 && !HasFatalFailure(); ++i) {
            CheckBlock(random, turnKernels.bits, 1, random.Between(1, 150), random.Between(1, 90));
            CheckBlock(random, turnKernels.bits, 1, random.Between(129, 260), random.Between(256, 600));
            for (int bytes = 1; bytes <= 4; ++bytes)
                CheckBlock(random, turnKernels.bytes[bytes - 1], bytes * 8, random.Between(1, 40),
                           random.Between(1, 70));
        }
    });
}

TEST_F(TurnKernelsTest, EveryLevelCopiesRowsAndNothingBetweenThem)
{
    constexpr size_t kRows = 3, kGap = 5;
    Random random(801);
    ForEachLevel([&] {
        for (size_t bytes = 1; bytes < 260; ++bytes) {
            GuardedBuffer from(kRows * bytes), to(kRows * bytes + (kRows - 1) * kGap);
            random.Fill(from.data(), from.size());
            std::ranges::fill(to.span(), uint8_t(0xA5));
            std::vector<uint8_t> expected(to.size(), 0xA5);
            for (size_t row = 0; row < kRows; ++row)
                std::copy_n(from.data() + row * bytes, bytes, expected.begin() + ptrdiff_t(row * (bytes + kGap)));
            turnKernels.copyRows(to.data(), ptrdiff_t(bytes + kGap), from.data(), ptrdiff_t(bytes), bytes, kRows);
            ASSERT_TRUE(std::ranges::equal(expected, to.span())) << bytes;
        }
    });
}

} // namespace vexo::test
