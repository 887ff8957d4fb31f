// The quick ways to the nearest entry against the search over the whole palette, at every processor level: palettes
// with duplicates, ties and few colours, fixed ones, and more colours than the matcher has room for.
#include "colour/colour.h"
#include "colour/nearest_colour.h"
#include "colour/pixel_kernels.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/kernels.h"

#include <algorithm>

namespace vexo::test {

namespace {

using Palette = std::vector<RGBQUAD>;

constexpr int kLevels[] = {0, 18, 36, 42, 43, 54, 55, 73, 85, 91, 109, 127, 128, 146, 164, 170, 182, 219, 237, 255};

RGBQUAD Gray(int value) { return {BYTE(value), BYTE(value), BYTE(value), 0}; }

// Random colours of few or many values a channel, some of them gray, some standing twice, black or white at the ends.
Palette TrickyPalette(Random &random)
{
    static constexpr BYTE kMasks[] = {0xFF, 0xFF, 0xE0, 0xC0, 0x80};
    const int count = random.OneIn(4) ? random.Between(1, 9) : random.OneIn(3) ? 256 : random.Between(1, 256);
    const BYTE mask = kMasks[random.Below(5)];
    const bool onlyGrays = random.OneIn(6);
    Palette palette = RandomPalette(random, count);
    for (RGBQUAD &color : palette) {
        color = {BYTE(color.rgbBlue & mask), BYTE(color.rgbGreen & mask), BYTE(color.rgbRed & mask), random.Byte()};
        if (onlyGrays || random.OneIn(16))
            color = Gray(color.rgbGreen);
        if (random.OneIn(10))
            color = palette[size_t(random.Below(count))];
    }
    if (random.OneIn(2))
        std::fill(palette.begin() + random.Between(count / 2, count), palette.end(), Gray(0)); // padded
    for (RGBQUAD *end : {&palette.front(), &palette.back()})
        if (random.OneIn(4))
            *end = Gray(random.OneIn(2) ? 0 : 255);
    return palette;
}

// Colours where searches may go wrong: entries and their neighbours, the middle between two entries, coarse values.
RGBQUAD TrickyColor(Random &random, const Palette &palette)
{
    const RGBQUAD &a = palette[size_t(random.Below(int(palette.size())))];
    const RGBQUAD &b = palette[size_t(random.Below(int(palette.size())))];
    const auto beside = [&](int value) { return BYTE(std::clamp(value + random.Between(-1, 1), 0, 255)); };
    const auto level = [&] { return BYTE(kLevels[random.Below(int(std::size(kLevels)))]); };
    switch (random.Below(6)) {
    case 0: return a;
    case 1: return {beside(a.rgbBlue), beside(a.rgbGreen), beside(a.rgbRed), random.Byte()};
    case 2:
        return {BYTE((a.rgbBlue + b.rgbBlue) / 2), BYTE((a.rgbGreen + b.rgbGreen) / 2), BYTE((a.rgbRed + b.rgbRed) / 2),
                random.Byte()};
    case 3: return {level(), level(), level(), random.Byte()};
    case 4: return Gray(random.OneIn(3) ? (random.OneIn(2) ? 0 : 255) : random.Byte());
    default: return {random.Byte(), random.Byte(), random.Byte(), random.Byte()};
    }
}

void ExpectPlainResults(const Palette &palette, const std::vector<RGBQUAD> &colors)
{
    const PaletteSearch search(palette.data(), int(palette.size()));
    std::vector<uint8_t> indices(colors.size() + 1, 0xA5);
    search.FindAll(indices.data(), reinterpret_cast<const uint8_t *>(colors.data()), colors.size());
    for (size_t i = 0; i < colors.size(); ++i) {
        const RGBQUAD &c = colors[i];
        const int expected = V_FindPaletteIndex(palette.data(), int(palette.size()), c.rgbRed, c.rgbGreen, c.rgbBlue);
        ASSERT_EQ(expected, indices[i]) << palette.size() << " entries, colour " << i << ": " << int(c.rgbRed) << ' '
                                        << int(c.rgbGreen) << ' ' << int(c.rgbBlue);
        if (i % 16 == 0) {
            ASSERT_EQ(expected, search.Find(c.rgbRed, c.rgbGreen, c.rgbBlue)) << int(c.rgbGreen);
        }
    }
    ASSERT_EQ(0xA5, indices.back());
}

class NearestColour : public KernelTest<SelectPixelKernels> {
protected:
    // Runs a body at every processor level with the same random numbers.
    template <class Body>
    void AtEveryLevel(uint64_t seed, Body body)
    {
        ForEachLevel([&] {
            DropColourCache();
            Random random(seed);
            body(random);
        });
    }
};

} // namespace

TEST_F(NearestColour, TrickyPalettesGiveWhatTheWholeSearchGives)
{
    AtEveryLevel(6, [&](Random &random) {
        Palette palettes[4]; // more than a thread keeps prepared, and changed in place
        for (int round = 0; round < 120 && !HasFatalFailure(); ++round) {
            Palette &palette = palettes[random.Below(4)];
            if (palette.empty() || random.OneIn(2))
                palette = TrickyPalette(random);
            std::vector<RGBQUAD> colors(size_t(random.Between(1, 700)));
            for (RGBQUAD &color : colors)
                color = TrickyColor(random, palette);
            ExpectPlainResults(palette, colors);
        }
    });
}

TEST_F(NearestColour, FixedPalettesAndTheWholeCubeGiveWhatTheWholeSearchGives)
{
    std::vector<RGBQUAD> colors;
    for (const int red : kLevels)
        for (const int green : kLevels)
            for (const int blue : kLevels)
                colors.push_back({BYTE(blue), BYTE(green), BYTE(red), BYTE(green + 1)});
    AtEveryLevel(7, [&](Random &random) {
        for (int depth = 1; depth <= 8 && !HasFatalFailure(); ++depth) {
            Palette palette(V_IntGetFixedPalette(depth), V_IntGetFixedPalette(depth) + (size_t(1) << depth));
            ExpectPlainResults(palette, colors);
            palette[size_t(random.Below(1 << depth))].rgbGreen ^= 1; // nearly the fixed one
            ExpectPlainResults(palette, colors);
        }
        std::vector<RGBQUAD> cube;
        for (unsigned cell = 0; cell < 65536; ++cell) // each cell of the grid, several times the room for lists
            cube.push_back({BYTE((cell & 31) << 3 | random.Below(8)), BYTE((cell >> 5 & 63) << 2 | random.Below(4)),
                            BYTE(cell >> 11 << 3 | random.Below(8)), 0});
        ExpectPlainResults(RandomPalette(random, 256), cube);
    });
}

TEST_F(NearestColour, TheMatchTableHoldsTheSearchForEachKey)
{
    Random random(9);
    const Palette palette = TrickyPalette(random);
    unsigned *table = V_CreateUserMatchTable(palette.data(), int(palette.size()));
    ASSERT_NE(nullptr, table);
    for (int key = 0; key < 32768; ++key)
        ASSERT_EQ(V_FindPaletteIndex(palette.data(), int(palette.size()), (key >> 10) * 8, (key >> 5 & 31) * 8,
                                     (key & 31) * 8) +
                      1,
                  int(table[key]))
            << key;
    V_FreeUserMatchTable(table);
}

TEST_F(NearestColour, MatchesWithoutMemoryToo)
{
    Random random(10);
    const Palette palette = TrickyPalette(random), colors = RandomPalette(random, 300);
    ForEachFault(kFaultMemory, [&](FaultInjector &faults) {
        DropColourCache();
        faults.Run([&] { ExpectPlainResults(palette, colors); });
    });
}

} // namespace vexo::test
