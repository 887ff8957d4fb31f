// Effects that copy whole lines, outlines or tiles.
#include "display/effect_canvas.h"

namespace vexo {

namespace {

// The lines of a pair effect, in the order of its mode. The middle line of an odd number is its own partner and is
// copied once, or raster operations that undo themselves would.
template <class Copy>
int RunPairs(int lines, int interleave, int mode, Copy copy)
{
    if (mode == kPairsFarSide || mode == kPairsNearSide)
        return RunEffectSteps(lines, interleave, [&](int i) { copy(mode == kPairsFarSide ? lines - 1 - i : i); });
    const int pairs = (lines + 1) / 2;
    return RunEffectSteps(pairs, interleave, [&](int step) {
        const int i = mode == kPairsOutward ? pairs - 1 - step : step;
        copy(i);
        if (lines - 1 - i != i)
            copy(lines - 1 - i);
    });
}

} // namespace

int SweepRows(const EffectCanvas &canvas, int interleave, int reverse)
{
    const int height = canvas.height();
    return RunEffectSteps(height, interleave,
                          [&](int i) { canvas.Copy(0, reverse ? height - 1 - i : i, canvas.width(), 1); });
}

int SweepColumns(const EffectCanvas &canvas, int interleave, int reverse)
{
    const int width = canvas.width();
    return RunEffectSteps(width, interleave,
                          [&](int i) { canvas.Copy(reverse ? width - 1 - i : i, 0, 1, canvas.height()); });
}

int PairRows(const EffectCanvas &canvas, int interleave, int mode)
{
    return RunPairs(canvas.height(), interleave, mode, [&](int y) { canvas.Copy(0, y, canvas.width(), 1); });
}

int PairColumns(const EffectCanvas &canvas, int interleave, int mode)
{
    return RunPairs(canvas.width(), interleave, mode, [&](int x) { canvas.Copy(x, 0, 1, canvas.height()); });
}

int NestFrames(const EffectCanvas &canvas, int interleave, int outward)
{
    const int width = canvas.width(), height = canvas.height(), count = (std::min(width, height) + 1) / 2;
    return RunEffectSteps(count, interleave, [&](int step) {
        const int i = outward ? count - 1 - step : step;
        const int right = width - 1 - i, bottom = height - 1 - i; // the last column and row of the outline
        canvas.Copy(i, i, 1, bottom - i + 1);
        if (right > i)
            canvas.Copy(right, i, 1, bottom - i + 1);
        if (right > i + 1) {
            canvas.Copy(i + 1, i, right - i - 1, 1);
            if (bottom > i)
                canvas.Copy(i + 1, bottom, right - i - 1, 1);
        }
    });
}

// ---- Dissolve -------------------------------------------------------------------------------------------------

namespace {

// Feedback masks of a Galois shift register for each number of bits (Mike Morton, "A Digital Dissolve Effect", in
// Graphics Gems). Entry 23 leaves values out and is not used.
constexpr unsigned kDissolveMasks[33] = {
    0x1,       0x1,       0x3,        0x6,        0xC,        0x14,       0x30,     0x60,      0xB8,
    0x110,     0x240,     0x500,      0xCA0,      0x1B00,     0x3500,     0x6000,   0xB400,    0x12000,
    0x20400,   0x72000,   0x90000,    0x140000,   0x300000,   0x400000,   0xD80000, 0x1200000, 0x3880000,
    0x7200000, 0x9000000, 0x14000000, 0x32800000, 0x48000000, 0xA3000000,
};

unsigned DissolveMask(unsigned highestCell)
{
    int bits = 0;
    for (; highestCell != 0; highestCell >>= 1)
        ++bits;
    return kDissolveMasks[bits == 23 ? 24 : bits];
}

} // namespace

// A register of maximal length passes through every number but 0 once; those beyond the cells are skipped.
int Dissolve(const EffectCanvas &canvas, int tileWidth, int tileHeight)
{
    const int wide = tileWidth ? tileWidth : canvas.width(), high = tileHeight ? tileHeight : canvas.height();
    const unsigned columns = unsigned((canvas.width() + wide - 1) / wide);
    const unsigned rows = unsigned((canvas.height() + high - 1) / high), cells = columns * rows;
    Progress progress{int(cells)};
    int status = progress.Start();
    const auto copyCell = [&](unsigned cell) {
        canvas.Copy(int(cell % columns) * wide, int(cell / columns) * high, wide, high);
        status = progress.Step();
    };
    const unsigned mask = DissolveMask(cells - 1);
    unsigned cell = 1;
    if (cells > 1)
        do {
            if (cell < cells && !Failed(status))
                copyCell(cell);
            cell = cell >> 1 ^ (cell & 1 ? mask : 0);
        } while (cell != 1 && !Failed(status));
    if (!Failed(status))
        copyCell(0);
    return status;
}

} // namespace vexo
