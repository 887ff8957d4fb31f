// The row sampler against floor(i x old / new) pixel by pixel, at every processor level, on rows that end at unreadable
// pages.
#include "geometry/row_sampler.h"
#include "geometry/size_kernels.h"
#include "tests/support/bitmaps.h"
#include "tests/support/kernels.h"

#include <vector>

namespace vexo::test {

namespace {

using RowSamplerTest = KernelTest<SelectSizeKernels>;

// A row to sample, from a first destination pixel on, and what must come out.
struct Case {
    int bits, oldWidth, newWidth, first, count;

    static Case Make(Random &random)
    {
        Case c;
        c.bits = kAllDepths[size_t(random.Below(int(kAllDepths.size())))];
        if (random.OneIn(3))
            c.bits = random.OneIn(2) ? 1 : 24;
        const int widest = random.OneIn(4) ? 400 : 60;
        c.oldWidth = random.Between(1, widest);
        c.newWidth = random.OneIn(5) ? c.oldWidth : random.Between(1, widest);
        if (c.bits == 1 && random.OneIn(4))
            c.oldWidth = 2 * c.newWidth;
        c.first = random.OneIn(2) ? 0 : random.Below(c.newWidth);
        c.count = random.OneIn(2) ? c.newWidth - c.first : random.Between(1, c.newWidth - c.first);
        return c;
    }

    size_t Bytes(int width) const { return size_t(PackedBytes(width, bits)); }
    Stepping Walk() const { return Stepping::Across(oldWidth, newWidth, first); }
    int SourceOf(int i) const { return int(int64_t(first + i) * oldWidth / newWidth); }
    // Up to the byte of the last pixel taken.
    size_t SourceBytes() const { return Bytes(SourceOf(count - 1) + 1); }

    std::vector<uint8_t> Expected(const uint8_t *source, size_t bytes) const
    {
        std::vector<uint8_t> row(std::max(bytes, Bytes(count)));
        for (int i = 0; i < count; ++i)
            SetPixelOf(row.data(), size_t(i), bits, PixelOf(source, size_t(SourceOf(i)), bits));
        return row;
    }
};

void PrintTo(const Case &c, std::ostream *out)
{
    *out << c.bits << " bits, " << c.oldWidth << " to " << c.newWidth << ", pixels " << c.first << " + " << c.count;
}

void CheckCase(Random &random, const Case &c)
{
    GuardedBuffer source(c.SourceBytes());
    random.Fill(source.data(), source.size());
    GuardedBuffer destination(c.Bytes(c.count) + size_t(random.Below(3)) * size_t(random.Below(20)));
    const std::vector<uint8_t> expected = c.Expected(source.data(), destination.size());

    SampleRow(c.bits, destination.size(), c.Walk(), source.data(), destination.data(), c.count);
    ASSERT_TRUE(std::ranges::equal(expected, destination.span())) << testing::PrintToString(c);

    const RowSampler sampler(c.bits, c.Walk(), c.count);
    ASSERT_TRUE(sampler);
    for (int repeat = 0; repeat < 2; ++repeat) {
        random.Fill(destination.data(), destination.size());
        sampler.Sample(destination.data(), destination.size(), source.data());
        ASSERT_TRUE(std::ranges::equal(expected, destination.span())) << "table, " << testing::PrintToString(c);
    }
}

// Whole rows in one buffer, narrower and wider.
void CheckInPlace(Random &random, Case c)
{
    c.first = 0;
    c.count = c.newWidth;
    GuardedBuffer row(c.Bytes(std::max(c.oldWidth, c.newWidth)));
    random.Fill(row.data(), row.size());
    const std::vector<uint8_t> expected = c.Expected(row.data(), c.Bytes(c.newWidth));
    const std::vector<uint8_t> behind(row.data() + expected.size(), row.data() + row.size());
    if (c.newWidth < c.oldWidth)
        SampleRow(c.bits, c.Bytes(c.newWidth), c.Walk(), row.data(), row.data(), c.count);
    else
        EnlargeRowInPlace(c.bits, row.data(), c.oldWidth, c.newWidth);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), row.data())) << "in place, " << testing::PrintToString(c);
    EXPECT_TRUE(std::equal(behind.begin(), behind.end(), row.data() + expected.size()));
}

} // namespace

TEST_F(RowSamplerTest, EveryLevelTakesThePixelsOfTheFormula)
{
    Random random(311);
    ForEachLevel([&] {
        for (int i = 0; i < 3000 && !HasFatalFailure(); ++i)
            CheckCase(random, Case::Make(random));
    });
    for (int i = 0; i < 2000 && !HasFatalFailure(); ++i)
        CheckInPlace(random, Case::Make(random));
}

} // namespace vexo::test
