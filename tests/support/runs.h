// Parts of a row of a 1-bit image as the library gives and takes them: lengths of runs, the first one of zeros, or
// bits.
#ifndef VEXO_TESTS_SUPPORT_RUNS_H
#define VEXO_TESTS_SUPPORT_RUNS_H

#include "tests/support/bitmaps.h"

namespace vexo::test {

inline std::vector<WORD> RunsOf(const Image &image, int row, int column, int count)
{
    std::vector<WORD> runs = {0};
    uint32_t color = 0;
    for (int x = column; x < column + count; ++x) {
        if (image.At(row, x) != color) {
            runs.push_back(0);
            color ^= 1;
        } else if (runs.back() == 65535) {
            runs.insert(runs.end(), {0, 0});
        }
        ++runs.back();
    }
    return runs;
}

inline std::vector<uint8_t> BitsOf(const Image &image, int row, int column, int count)
{
    std::vector<uint8_t> bits((size_t(count) + 7) / 8);
    for (int x = 0; x < count; ++x)
        SetPixelOf(bits.data(), size_t(x), 1, image.At(row, column + x));
    return bits;
}

} // namespace vexo::test

#endif
