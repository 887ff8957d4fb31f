// The plain kernels of quarter turns and the choice of the kernels in use.
#include "geometry/turn_kernels.h"

#include <algorithm>

namespace vexo {

namespace {

template <int Bytes>
void TransposePlain(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns, int rows)
{
    for (int c = 0; c < columns; ++c, to += toStride, from += Bytes) {
        const uint8_t *pixel = from;
        for (int r = 0; r < rows; ++r, pixel += fromStride)
            memcpy(to + r * Bytes, pixel, Bytes);
    }
}

// Exchanges rows and columns of 8 x 8 bits: first of 2 x 2 blocks of bits, then of 4 x 4 blocks of those, then of the
// four quarters, as in Warren, Hacker's Delight, 7-3. Byte 0 is the most significant one, row 0.
uint64_t TransposeBlock(uint64_t block)
{
    constexpr struct {
        int distance;
        uint64_t mask;
    } kExchanges[] = {{7, 0x00AA00AA00AA00AAu}, {14, 0x0000CCCC0000CCCCu}, {28, 0x00000000F0F0F0F0u}};
    for (const auto &exchange : kExchanges) {
        const uint64_t difference = (block ^ (block >> exchange.distance)) & exchange.mask;
        block ^= difference ^ (difference << exchange.distance);
    }
    return block;
}

void TransposeBitsPlain(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, int columns,
                        int rows)
{
    for (int r = 0; r < rows; r += 8, ++to, from += 8 * fromStride) {
        const int blockRows = std::min(rows - r, 8);
        for (int c = 0; c < columns; c += 8) {
            uint64_t block = 0;
            for (int i = 0; i < blockRows; ++i)
                block |= uint64_t(from[i * fromStride + c / 8]) << (56 - 8 * i);
            block = TransposeBlock(block);
            const int blockColumns = std::min(columns - c, 8);
            for (int i = 0; i < blockColumns; ++i)
                to[(c + i) * toStride] = uint8_t(block >> (56 - 8 * i));
        }
    }
}

void CopyRowsPlain(uint8_t *to, ptrdiff_t toStride, const uint8_t *from, ptrdiff_t fromStride, size_t bytes, int rows)
{
    for (int r = 0; r < rows; ++r)
        memcpy(to + r * toStride, from + r * fromStride, bytes);
}

constexpr TurnKernels kPlainKernels = {
    TransposeBitsPlain, {TransposePlain<1>, TransposePlain<2>, TransposePlain<3>, TransposePlain<4>}, CopyRowsPlain};

} // namespace

const TurnKernels plainTurnKernels = kPlainKernels;
TurnKernels turnKernels = kPlainKernels;

void SelectTurnKernels(CpuLevel level)
{
    TurnKernels kernels = kPlainKernels;
    UseVectorKernels(&kernels, level);
    turnKernels = kernels;
}

} // namespace vexo
