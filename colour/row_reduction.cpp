// Four ways for a row: pixels deeper than 8 bits are repacked; indices go through a map; deep pixels are matched; and
// where dithering or a user's match table is asked for, the dithering engine does it all.
#include "colour/row_reduction.h"

#include "colour/colour.h"
#include "colour/dither.h"
#include "colour/nearest_colour.h"
#include "core/packed_pixels.h"

#include <algorithm>

namespace vexo {

namespace {

// Pixels of a step. A multiple of 8, so that steps of every depth begin with a byte.
constexpr size_t kStep = PaletteSearch::kMostPixels;
constexpr size_t kRepackStep = 4 * kStep;

// Calls convert(target, pixels, count) for the steps of a row.
template <class Convert>
void ForEachStep(size_t step, int width, int sourceBits, int targetBits, uint8_t *target, const uint8_t *pixels,
                 Convert convert)
{
    for (size_t x = 0; x < size_t(width); x += step)
        convert(target + x / 8 * size_t(targetBits), pixels + x / 8 * size_t(sourceBits),
                std::min(step, size_t(width) - x));
}

bool Holds(const RGBQUAD *colors, int count, const RGBQUAD &color)
{
    return std::any_of(colors, colors + count, [&](const RGBQUAD &c) {
        return c.rgbRed == color.rgbRed && c.rgbGreen == color.rgbGreen && c.rgbBlue == color.rgbBlue;
    });
}

} // namespace

int RowReduction::Start(const BitmapHandle *source, const BitmapHandle *result, const TargetColors &target,
                        bool dithers)
{
    m_source = *source;
    m_source.DitherState = nullptr;
    m_bits = result->BitsPerPixel;
    m_order = result->ColorOrder;
    m_target = &target;
    const bool isIndexed = IsPalettised(source->BitsPerPixel);
    const int ownCount = isIndexed ? 1 << source->BitsPerPixel : 0;
    ReadColors(source, m_own);
    if (!IsPalettised(m_bits)) {
        m_way = Way::Repack;
        return RESULT_SUCCESS;
    }
    const bool hasTable = CurrentSettings().userMatchTable != nullptr;
    const bool fits = target.fitsExactly || (isIndexed && std::all_of(m_own, m_own + ownCount, [&](const RGBQUAD &c) {
                                                 return Holds(target.colors, target.count, c);
                                             }));
    if (!target.keepsIndices && (hasTable || (dithers && !fits)))
        return StartDithering(dithers ? source->DitherMode : 0);
    m_way = isIndexed ? Way::Map : Way::Match;
    for (int i = 0; i < ownCount; ++i)
        m_map[i] = uint8_t(i);
    if (isIndexed && !target.keepsIndices)
        BuildColorMap(m_own, ownCount, target.colors, target.count, m_map);
    return RESULT_SUCCESS;
}

// Method 0 takes nearest colours; it serves for match tables without dithering.
int RowReduction::StartDithering(int method)
{
    m_way = Way::Dither;
    m_source.DitherMode = method;
    return BeginDithering(&m_source, m_target->colors, m_target->count, m_bits, CurrentSettings().userMatchTable);
}

void RowReduction::Convert(uint8_t *target, const uint8_t *pixels)
{
    switch (m_way) {
    case Way::Repack: Repack(target, pixels); break;
    case Way::Map: Map(target, pixels); break;
    case Way::Match: Match(target, pixels); break;
    case Way::Dither: V_DitherLine(&m_source, pixels, target); break;
    }
}

void RowReduction::Repack(uint8_t *target, const uint8_t *pixels) const
{
    const int bits = m_source.BitsPerPixel;
    ForEachStep(kRepackStep, m_source.Width, bits, m_bits, target, pixels,
                [&](uint8_t *to, const uint8_t *from, size_t count) {
                    uint8_t work[4 * kRepackStep];
                    memcpy(work, from, size_t(PackedBytes(int64_t(count), bits)));
                    V_ConvertBuffer(work, int(count), bits, m_bits, m_source.ColorOrder, m_order, m_own, nullptr);
                    memcpy(to, work, size_t(PackedBytes(int64_t(count), m_bits)));
                });
}

void RowReduction::Map(uint8_t *target, const uint8_t *pixels) const
{
    const int bits = m_source.BitsPerPixel;
    ForEachStep(kStep, m_source.Width, bits, m_bits, target, pixels,
                [&](uint8_t *to, const uint8_t *from, size_t count) {
                    uint8_t indices[kStep];
                    WithIndexDepth(bits, [&](auto depth) { depth.Unpack(indices, from, count); });
                    for (size_t i = 0; i < count; ++i)
                        indices[i] = m_map[indices[i]];
                    WithIndexDepth(m_bits, [&](auto depth) { depth.Pack(to, indices, count); });
                });
}

void RowReduction::Match(uint8_t *target, const uint8_t *pixels) const
{
    const int bits = m_source.BitsPerPixel;
    // Made for each row: between rows the status callback may use the thread's matchers for other palettes.
    const PaletteSearch search(m_target->colors, m_target->count);
    ForEachStep(kStep, m_source.Width, bits, m_bits, target, pixels,
                [&](uint8_t *to, const uint8_t *from, size_t count) {
                    uint8_t indices[kStep];
                    search.FindPixels(indices, from, count, bits, m_source.ColorOrder == COLOR_ORDER_RGB);
                    WithIndexDepth(m_bits, [&](auto depth) { depth.Pack(to, indices, count); });
                });
}

} // namespace vexo
