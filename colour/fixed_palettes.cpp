// Expands the rules of the fixed palettes into constant tables.
#include "colour/fixed_palettes.h"

namespace vexo {

namespace {

constexpr int Distance(int a, int b) { return a < b ? b - a : a - b; }

// Evenly spaced levels from 0 to 255, rounded to the nearest value.
constexpr ChannelLevels EvenLevels(int count, int shift)
{
    ChannelLevels levels = {};
    levels.count = count;
    levels.shift = shift;
    for (int i = 0; i < count; ++i)
        levels.value[i] = uint8_t((i * 510 + count - 1) / (2 * (count - 1)));
    for (int upper = 0; upper < 16; ++upper) {
        const int low = upper * 16, high = low + 15;
        int level = 0;
        while (level + 1 < count && Distance(levels.value[level + 1], low) < Distance(levels.value[level], low))
            ++level;
        levels.first[upper] = uint8_t(level);
        levels.last[upper] = uint8_t(high);
        levels.half[upper] = uint8_t(~low);
        for (int value = high; level + 1 < count && value >= low; --value) {
            const int beyond = Distance(levels.value[level + 1], value) - Distance(levels.value[level], value);
            if (beyond < 0)
                levels.last[upper] = uint8_t(value - 1);
            else if (beyond == 0)
                levels.half[upper] = uint8_t(value);
        }
    }
    return levels;
}

constexpr ProductPalette kThreeBitProduct = {EvenLevels(2, 2), EvenLevels(2, 1), EvenLevels(2, 0)};
constexpr ProductPalette kFiveBitProduct = {EvenLevels(4, 3), EvenLevels(4, 1), EvenLevels(2, 0)};
constexpr ProductPalette kSixBitProduct = {EvenLevels(4, 4), EvenLevels(4, 2), EvenLevels(4, 0)};
constexpr ProductPalette kSevenBitProduct = {EvenLevels(4, 5), EvenLevels(8, 2), EvenLevels(4, 0)};
constexpr ProductPalette kEightBitProduct = {EvenLevels(8, 5), EvenLevels(8, 2), EvenLevels(4, 0)};

constexpr RGBQUAD Quad(int blue, int green, int red) { return {BYTE(blue), BYTE(green), BYTE(red), 0}; }

template <int Count>
struct ColorTable {
    RGBQUAD colors[Count];
};

constexpr int LevelOf(const ChannelLevels &channel, int index)
{
    return channel.value[index >> channel.shift & (channel.count - 1)];
}

template <int Count>
constexpr ColorTable<Count> Expand(const ProductPalette &palette)
{
    ColorTable<Count> table = {};
    for (int i = 0; i < Count; ++i)
        table.colors[i] = Quad(LevelOf(palette.blue, i), LevelOf(palette.green, i), LevelOf(palette.red, i));
    return table;
}

constexpr RGBQUAD kTwoColors[2] = {Quad(0, 0, 0), Quad(255, 255, 255)};
constexpr RGBQUAD kFourGrays[4] = {Quad(0, 0, 0), Quad(85, 85, 85), Quad(170, 170, 170), Quad(255, 255, 255)};
constexpr ColorTable<8> kThreeBits = Expand<8>(kThreeBitProduct);
constexpr RGBQUAD kWindowsColors[16] = {
    Quad(0, 0, 0),       Quad(0, 0, 128),   Quad(0, 128, 0),   Quad(0, 128, 128),
    Quad(128, 0, 0),     Quad(128, 0, 128), Quad(128, 128, 0), Quad(128, 128, 128),
    Quad(192, 192, 192), Quad(0, 0, 255),   Quad(0, 255, 0),   Quad(0, 255, 255),
    Quad(255, 0, 0),     Quad(255, 0, 255), Quad(255, 255, 0), Quad(255, 255, 255),
};
constexpr ColorTable<32> kFiveBits = Expand<32>(kFiveBitProduct);
constexpr ColorTable<64> kSixBits = Expand<64>(kSixBitProduct);
constexpr ColorTable<128> kSevenBits = Expand<128>(kSevenBitProduct);
constexpr ColorTable<256> kEightBits = Expand<256>(kEightBitProduct);

constexpr ColorTable<256> MakeCube()
{
    ColorTable<256> table = {};
    for (int i = 0; i < 6 * 6 * 6; ++i)
        table.colors[i] = Quad(i % 6 * 51, i / 6 % 6 * 51, i / 36 * 51);
    return table;
}
constexpr ColorTable<256> kCube = MakeCube();

} // namespace

const RGBQUAD *CubePalette() { return kCube.colors; }

const RGBQUAD *FixedPalette(int depth)
{
    switch (depth) {
    case 1: return kTwoColors;
    case 2: return kFourGrays;
    case 3: return kThreeBits.colors;
    case 4: return kWindowsColors;
    case 5: return kFiveBits.colors;
    case 6: return kSixBits.colors;
    case 7: return kSevenBits.colors;
    case 8: return kEightBits.colors;
    default: return nullptr;
    }
}

const ProductPalette *FixedProductPalette(int depth)
{
    switch (depth) {
    case 3: return &kThreeBitProduct;
    case 5: return &kFiveBitProduct;
    case 6: return &kSixBitProduct;
    case 7: return &kSevenBitProduct;
    case 8: return &kEightBitProduct;
    default: return nullptr;
    }
}

} // namespace vexo
