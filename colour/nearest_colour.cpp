// The nearest-colour search: its definition, one entry after the other, and the quicker ways for many colours. The
// matchers of the palettes used last stay with the thread, so that converting row by row prepares a palette once.
#include "colour/nearest_colour.h"

#include "colour/colour.h"
#include "colour/fixed_palettes.h"
#include "colour/palette_matcher.h"
#include "colour/pixel_kernels.h"

#include <bit>

using namespace vexo;

namespace vexo {

inline constexpr int kKeptMatchers = 2;

struct ColourCache {
    PaletteMatcher *matchers[kKeptMatchers]; // the one used last comes first
};

} // namespace vexo

namespace {

bool IsBlack(const RGBQUAD &color) { return (color.rgbRed | color.rgbGreen | color.rgbBlue) == 0; }
bool IsWhite(const RGBQUAD &color) { return (color.rgbRed & color.rgbGreen & color.rgbBlue) == 255; }

unsigned SquaredDifference(int a, int b)
{
    const unsigned difference = unsigned(a) - unsigned(b);
    return difference * difference;
}

// Finds the fixed palette of independent channels that holds the same colours.
const ProductPalette *ProductPaletteOf(const PaletteKey &key)
{
    if (!std::has_single_bit(unsigned(key.count)))
        return nullptr;
    const int depth = std::countr_zero(unsigned(key.count));
    const ProductPalette *product = FixedProductPalette(depth);
    return product && key == PaletteKey(FixedPalette(depth), key.count) ? product : nullptr;
}

// Knows the library's own tables, which most callers pass, without looking at their colours.
const ProductPalette *FixedProductPaletteAt(const RGBQUAD *colors, int count)
{
    for (int depth = 1; depth <= 8; ++depth)
        if (colors == FixedPalette(depth) && count == 1 << depth)
            return FixedProductPalette(depth);
    return nullptr;
}

// The calling thread's matcher for a palette, moved to the front of its cache. Null when memory fails.
PaletteMatcher *MatcherFor(const PaletteKey &key)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return nullptr;
    if (!thread->colourCache)
        thread->colourCache = static_cast<ColourCache *>(V_OsAllocInit(sizeof(ColourCache), TRUE));
    if (!thread->colourCache)
        return nullptr;
    PaletteMatcher *(&matchers)[kKeptMatchers] = thread->colourCache->matchers;
    int place = 0;
    while (place < kKeptMatchers - 1 && matchers[place] && !(matchers[place]->key() == key))
        ++place;
    // There is this palette's matcher, none, or the one that was used longest ago.
    PaletteMatcher *matcher = matchers[place];
    const bool known = matcher && matcher->key() == key;
    if (!matcher)
        matcher = static_cast<PaletteMatcher *>(V_OsAlloc(sizeof(PaletteMatcher)));
    if (!matcher)
        return nullptr;
    if (!known)
        matcher->Reset(key);
    for (; place > 0; --place)
        matchers[place] = matchers[place - 1];
    return matchers[0] = matcher;
}

} // namespace

// ---- Searching a palette --------------------------------------------------------------------------------------

int VEXO_CALL V_FindPaletteIndex(const RGBQUAD *colors, int count, int red, int green, int blue)
{
    if (!colors || count < 1)
        return -1;
    // Deliberate: black probes the first entry first, white the last; callers rely on the ends of mirrored palettes.
    if ((red | green | blue) == 0) {
        if (IsBlack(colors[0]))
            return 0;
        if (IsBlack(colors[count - 1]))
            return count - 1;
    }
    if ((red & green & blue) == 255) {
        if (IsWhite(colors[count - 1]))
            return count - 1;
        if (IsWhite(colors[0]))
            return 0;
    }
    const unsigned hueClass = HueClass(red, green, blue);
    unsigned bestDistance = ~0u;
    int best = -1;
    for (int i = 0; i < count && bestDistance != 0; ++i) {
        const RGBQUAD &entry = colors[i];
        const unsigned distance = SquaredDifference(entry.rgbBlue, blue) + SquaredDifference(entry.rgbGreen, green) +
                                  SquaredDifference(entry.rgbRed, red);
        // An entry that is as near as the best one must share the order of hue to replace it.
        if (distance < bestDistance ||
            (distance == bestDistance && HueClass(entry.rgbRed, entry.rgbGreen, entry.rgbBlue) == hueClass)) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

PaletteSearch::PaletteSearch(const RGBQUAD *colors, int count) : m_colors(colors), m_count(count)
{
    if (count < 1 || count > PaletteMatcher::kMostEntries)
        return;
    m_product = FixedProductPaletteAt(colors, count);
    if (m_product)
        return;
    const PaletteKey key(colors, count);
    m_product = ProductPaletteOf(key);
    if (!m_product)
        m_matcher = MatcherFor(key);
}

int PaletteSearch::Find(int red, int green, int blue) const
{
    if (m_matcher)
        return m_matcher->Find(unsigned(blue) | unsigned(green) << 8 | unsigned(red) << 16);
    if (!m_product)
        return V_FindPaletteIndex(m_colors, m_count, red, green, blue);
    const uint8_t quad[4] = {uint8_t(blue), uint8_t(green), uint8_t(red), 0};
    uint8_t index;
    MatchProductPlain(&index, quad, 1, *m_product);
    return index;
}

void PaletteSearch::FindAll(uint8_t *indices, const uint8_t *quads, size_t count) const
{
    if (m_product) {
        pixelKernels.matchProduct(indices, quads, count, *m_product);
    } else if (m_matcher) {
        pixelKernels.matchCells(indices, quads, count, *m_matcher);
    } else {
        for (size_t i = 0; i < count; ++i)
            indices[i] =
                uint8_t(V_FindPaletteIndex(m_colors, m_count, quads[4 * i + 2], quads[4 * i + 1], quads[4 * i]));
    }
}

void PaletteSearch::FindPixels(uint8_t *indices, const uint8_t *pixels, size_t count, int bits, bool swap) const
{
    if (m_product && bits == 24) {
        pixelKernels.matchProduct24(indices, pixels, count, *m_product, swap);
        return;
    }
    uint8_t quads[4 * kMostPixels];
    FindAll(indices, UnpackQuads(quads, pixels, count, bits, swap), count);
}

// ---- The thread's cache ---------------------------------------------------------------------------------------

void vexo::FreeColourCache(ColourCache *cache)
{
    if (!cache)
        return;
    for (PaletteMatcher *matcher : cache->matchers)
        V_OsFree(matcher);
    V_OsFree(cache);
}

void vexo::DropColourCache()
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return;
    FreeColourCache(thread->colourCache);
    thread->colourCache = nullptr;
}

// ---- User match tables ------------------------------------------------------------------------------------------

unsigned *VEXO_CALL V_CreateUserMatchTable(const RGBQUAD *colors, int count)
{
    constexpr unsigned kKeys = 32768;
    if (!colors || count < 1)
        return nullptr;
    Buffer<unsigned> table(kKeys);
    if (!table)
        return nullptr;
    const PaletteSearch search(colors, count);
    for (unsigned key = 0; key < kKeys; ++key)
        table[key] = unsigned(search.Find(int(key >> 10 << 3), int(key >> 5 & 31) << 3, int(key & 31) << 3)) + 1;
    return table.Release();
}
