// Ordered dithering: what the matrix says for a row is turned into bytes to add to quads and bytes to take away, both
// saturating, which is all that a pixel costs before the nearest index is chosen.
#include "colour/dither_engine.h"
#include "colour/ordered_matrices.h"
#include "colour/pixel_kernels.h"
#include "core/vectors.h"

namespace vexo {

namespace {

constexpr int kMatrixCentre = 126; // the mean of 0, 4, 8 ... 252

// What is added to a channel for a matrix value, so that a flat area of any shade around the middle keeps its mean.
// Levels that are cut at the middle between two of them get offsets of one step, centred on zero.
// Choice: the cube palette's rule cuts at the levels themselves, so that it needs offsets from zero up to a step.
int OffsetOf(int value, const ProductChannel &channel)
{
    const int step = 255 / (channel.levels - 1);
    return channel.levels == 6 ? (value + 2) * step / 256 : (value - kMatrixCentre) * step / 256;
}

// Palettes without such rules get the same for all channels, by the depth: as if each bit divided the step once more.
int OffsetOf(int value, int bits) { return value / bits - 128 / bits; }

// Adds and takes away bytes of a pattern that repeats every eight quads; results stay within 0 to 255.
void OffsetQuads(uint8_t *moved, const uint8_t *quads, size_t count, const uint8_t *plus, const uint8_t *minus)
{
    const __m128i plus0 = Load128(plus), plus1 = Load128(plus + 16), minus0 = Load128(minus),
                  minus1 = Load128(minus + 16);
    const auto store = [&](size_t i, __m128i more, __m128i less) {
        const __m128i sum = _mm_subs_epu8(_mm_adds_epu8(Load128(quads + 4 * i), more), less);
        Store128(moved + 4 * i, sum);
    };
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        store(i, plus0, minus0);
        store(i + 4, plus1, minus1);
    }
    for (size_t byte = 4 * i; byte < 4 * count; ++byte) {
        const int sum = quads[byte] + plus[byte & 31] - minus[byte & 31];
        moved[byte] = uint8_t(sum < 0 ? 0 : sum > 255 ? 255 : sum);
    }
}

} // namespace

OrderedRow::OrderedRow(int method, const DitherTarget &target, unsigned row, unsigned phase) : m_target(target)
{
    const auto &matrix = method == DITHER_CLUSTERED ? kClusteredMatrix : kDispersedMatrix;
    for (unsigned x = 0; x < kColumns; ++x) {
        const int value = matrix[row & 7][(x + phase) & 7];
        int offsets[4] = {};
        if (IsProductClass(target.paletteClass)) {
            const ProductRule &rule = RuleOf(target.paletteClass);
            offsets[0] = OffsetOf(value, rule.blue);
            offsets[1] = OffsetOf(value, rule.green);
            offsets[2] = OffsetOf(value, rule.red);
        } else {
            const int bits = target.paletteClass == kClassFourGrays ? 2 : target.bits;
            offsets[0] = offsets[1] = offsets[2] = OffsetOf(value, bits);
        }
        m_thresholds[x] = uint8_t(value);
        for (unsigned i = 0; i < 4; ++i) {
            m_plus[4 * x + i] = uint8_t(offsets[i] > 0 ? offsets[i] : 0);
            m_minus[4 * x + i] = uint8_t(offsets[i] < 0 ? -offsets[i] : 0);
        }
    }
}

void OrderedRow::Choose(uint8_t *indices, const uint8_t *quads, unsigned x, size_t count) const
{
    if (m_target.paletteClass == kClassTwoGrays) {
        pixelKernels.luminance(indices, quads, count);
        for (size_t i = 0; i < count; ++i)
            indices[i] = indices[i] > m_thresholds[(x + i) & 7];
        return;
    }
    constexpr size_t kStep = 256;
    const uint8_t *plus = m_plus + 4 * (x & 7), *minus = m_minus + 4 * (x & 7);
    while (count > 0) {
        uint8_t moved[4 * kStep];
        const size_t length = count < kStep ? count : kStep;
        OffsetQuads(moved, quads, length, plus, minus);
        ChooseIndices(indices, moved, length, m_target);
        indices += length;
        quads += 4 * length;
        count -= length;
    }
}

} // namespace vexo
