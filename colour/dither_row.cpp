// A segment of a row on its way through dithering, a block at a time: read as quads, chosen, packed. Blocks keep the
// quads and indices in the first-level cache.
#include "colour/dither_engine.h"
#include "colour/pixel_kernels.h"
#include "core/packed_pixels.h"

#include <algorithm>

namespace vexo {

namespace {

// Pixels of a block. A multiple of 8, so that all blocks but the first begin with a byte and with the matrix.
constexpr int kBlock = 512;

// Reads pixels x to x + count as quads, into `stage` or where they are.
const uint8_t *ReadQuads(uint8_t *stage, const DitherJob &job, const uint8_t *source, int x, int count)
{
    if (!IsPalettised(job.sourceBits))
        return UnpackQuads(stage, source + size_t(x) * size_t(job.sourceBits / 8), size_t(count), job.sourceBits,
                           job.sourceOrder == COLOR_ORDER_RGB);
    // Unpacking begins with a byte.
    uint8_t indices[kBlock + 8];
    const int lead = x & 7;
    const size_t length = size_t(count + lead);
    WithIndexDepth(job.sourceBits,
                   [&](auto depth) { depth.Unpack(indices, source + size_t(x) / 8 * size_t(job.sourceBits), length); });
    uint32_t table[256];
    static_assert(sizeof table == 256 * sizeof(RGBQUAD));
    memcpy(table, job.sourceColors, sizeof(RGBQUAD) << job.sourceBits);
    pixelKernels.lookUp(stage, indices, length, table);
    return stage + 4 * lead;
}

// Puts indices at pixel x and leaves the other bits of the row alone.
void WriteIndices(uint8_t *row, int x, const uint8_t *indices, int count, int bits)
{
    WithIndexDepth(bits, [&](auto depth) {
        int i = 0;
        for (; i < count && ((x + i) & 7); ++i)
            depth.Put(row, size_t(x + i), indices[i]);
        const int whole = (count - i) & ~7;
        depth.Pack(row + size_t(x + i) / 8 * size_t(bits), indices + i, size_t(whole));
        for (i += whole; i < count; ++i)
            depth.Put(row, size_t(x + i), indices[i]);
    });
}

// Calls choose(indices, quads, x, count) for each block.
template <class Choose>
void ForEachBlock(const DitherJob &job, uint8_t *destination, const uint8_t *source, int first, int end, Choose choose)
{
    for (int x = first; x < end;) {
        const int count = std::min(kBlock - (x & 7), end - x);
        uint8_t stage[4 * (kBlock + 8)], indices[kBlock];
        choose(indices, ReadQuads(stage, job, source, x, count), x, size_t(count));
        WriteIndices(destination, x, indices, count, job.target.bits);
        x += count;
    }
}

} // namespace

void DitherSegment(const DitherJob &job, uint8_t *destination, const uint8_t *source, int first, int end, unsigned row,
                   unsigned phase)
{
    if (job.target.cells)
        job.target.cells->BeginRow();
    if (IsDiffusion(job.method)) {
        BeginSegment(job.errors, first, end);
        // The sums of a column need the errors up to some columns after it. They are made while these are in the cache.
        int spread = first;
        ForEachBlock(job, destination, source, first, end,
                     [&](uint8_t *indices, const uint8_t *quads, int x, size_t n) {
                         DiffuseBlock(job.method, job.target, job.errors, x, n, quads, indices);
                         const int ready = x + int(n) == end ? end : std::max(spread, x + int(n) - kErrorMargin);
                         SpreadErrors(job.method, job.errors, spread, ready);
                         spread = ready;
                     });
    } else if (job.method == DITHER_NONE) {
        ForEachBlock(job, destination, source, first, end, [&](uint8_t *indices, const uint8_t *quads, int, size_t n) {
            ChooseIndices(indices, quads, n, job.target);
        });
    } else {
        const OrderedRow ordered(job.method, job.target, row, phase);
        ForEachBlock(job, destination, source, first, end,
                     [&](uint8_t *indices, const uint8_t *quads, int x, size_t n) {
                         ordered.Choose(indices, quads, unsigned(x), n);
                     });
    }
}

} // namespace vexo
