// The candidate lists of colour cells and the search in them. An entry can be nearest to a colour of a cell only if its
// least distance to the cell is not above the smallest of all entries' greatest distances. Lists keep every such entry,
// those that tie included, so the result is exact. They are made when first asked for, from the list of the larger cell
// around; when the pool is full, the larger cell's list serves.
#include "colour/palette_matcher.h"

#include "colour/pixel_kernels.h"

#include <cstring>
#include <immintrin.h>

namespace vexo {

namespace {

constexpr uint32_t kColorBits = 0x00FFFFFF;
constexpr size_t kBlock = 256; // pixels whose cells are found in one go

int Channel(uint32_t color, int shift) { return int(color >> shift & 255); }

unsigned Square(int value) { return unsigned(value * value); }

unsigned Distance(uint32_t a, uint32_t b)
{
    return Square(Channel(a, 0) - Channel(b, 0)) + Square(Channel(a, 8) - Channel(b, 8)) +
           Square(Channel(a, 16) - Channel(b, 16));
}

unsigned HueClassOf(uint32_t color) { return HueClass(Channel(color, 16), Channel(color, 8), Channel(color, 0)); }

uint32_t LoadQuad(const uint8_t *quad)
{
    uint32_t color;
    memcpy(&color, quad, 4);
    return color;
}

// The least and the greatest squared distance from a colour to the cube of `width` values a channel from `corner` on.
struct Reach {
    unsigned least, greatest;
};
Reach ReachOf(uint32_t color, uint32_t corner, int width)
{
    Reach reach = {};
    for (int shift = 0; shift < 24; shift += 8) {
        const int toLow = Channel(color, shift) - Channel(corner, shift);
        const int toHigh = toLow - (width - 1);
        const int outside = toLow < 0 ? -toLow : toHigh > 0 ? toHigh : 0;
        const int farthest = toLow > -toHigh ? toLow : -toHigh;
        reach.least += Square(outside);
        reach.greatest += Square(farthest);
    }
    return reach;
}

// A corner of the colour cube that lies farther from each colour of a cell than any other colour does.
uint32_t FarthestColor(uint32_t corner) { return (~corner >> 7 & 0x00010101u) * 255u; }

// The lowest colour of a cell whose number has five bits of each channel, blue lowest.
uint32_t CornerOf(unsigned cell) { return (cell & 31) << 3 | (cell >> 5 & 31) << 11 | (cell >> 10 & 31) << 19; }

unsigned CellOf(uint32_t color) { return (color >> 3 & 0x1F) | (color >> 6 & 0x3E0) | (color >> 9 & 0x7C00); }

} // namespace

// ---- Palettes -------------------------------------------------------------------------------------------------

PaletteKey::PaletteKey(const RGBQUAD *quads, int quadCount) : count(quadCount)
{
    memcpy(colors, quads, sizeof(RGBQUAD) * size_t(count));
    for (int i = 0; i < count; ++i)
        colors[i] &= kColorBits;
}

bool PaletteKey::operator==(const PaletteKey &other) const
{
    return count == other.count && memcmp(colors, other.colors, sizeof(uint32_t) * size_t(count)) == 0;
}

void PaletteMatcher::Reset(const PaletteKey &key)
{
    m_key.count = key.count;
    memcpy(m_key.colors, key.colors, sizeof(uint32_t) * size_t(key.count));
    memset(m_coarse, 0, sizeof m_coarse);
    memset(m_cells, 0, sizeof m_cells);
    MakeSlots();
}

// Gathers equal entries: of these only the first and the last can be an answer.
void PaletteMatcher::MakeSlots()
{
    unsigned slots = 0;
    for (int i = 0; i < m_key.count; ++i) {
        const uint32_t color = m_key.colors[i];
        unsigned slot = 0;
        while (slot < slots && (m_pool[slot] & kColorBits) != color)
            ++slot;
        if (slot == slots) {
            m_pool[slots++] = color | slot << 24;
            m_slots[slot] = {uint8_t(i), uint8_t(i), uint8_t(i), uint8_t(HueClassOf(color))};
        }
        m_slots[slot].last = uint8_t(i);
    }
    const int end = m_key.count - 1;
    for (unsigned i = 0; i < slots; ++i) {
        Slot &slot = m_slots[i];
        const uint32_t color = m_pool[i] & kColorBits;
        // Black at the end of the palette comes before black inside it, white there before all other white.
        if (slot.last == end && (color == kColorBits || (color == 0 && slot.first != 0)))
            slot.exact = slot.last;
        m_answers[i] = slot.first == slot.last ? slot.first : kNoSingleAnswer;
    }
    m_all = slots;
    m_usedGroups = (slots + kGroup - 1) / kGroup;
    for (unsigned i = slots; i < m_usedGroups * kGroup; ++i)
        m_pool[i] = m_pool[0];
}

// ---- Lists ----------------------------------------------------------------------------------------------------

// Keeps the candidates of a list that can be nearest inside a smaller cube. Without room for them the list itself.
PaletteMatcher::List PaletteMatcher::MakeList(List from, uint32_t corner, int width)
{
    const uint32_t *candidates = Candidates(from);
    const unsigned count = Length(from);
    unsigned least[256], bound = ~0u;
    for (unsigned i = 0; i < count; ++i) {
        const Reach reach = ReachOf(candidates[i], corner, width);
        least[i] = reach.least;
        bound = reach.greatest < bound ? reach.greatest : bound;
    }
    if (m_usedGroups + (count + kGroup - 1) / kGroup > kPoolGroups)
        return from;
    uint32_t *kept = m_pool + m_usedGroups * kGroup;
    unsigned length = 0;
    for (unsigned i = 0; i < count; ++i)
        if (least[i] <= bound)
            kept[length++] = candidates[i];
    const List list = m_usedGroups << 9 | length;
    for (; length % kGroup; ++length)
        kept[length] = FarthestColor(corner);
    m_usedGroups += length / kGroup;
    return list;
}

PaletteMatcher::List PaletteMatcher::CoarseList(unsigned cell)
{
    const unsigned coarse = (cell >> 2 & 7) | (cell >> 7 & 7) << 3 | (cell >> 12 & 7) << 6;
    if (!m_coarse[coarse])
        m_coarse[coarse] = MakeList(m_all, CornerOf(cell) & 0x00E0E0E0u, 32);
    return m_coarse[coarse];
}

PaletteMatcher::List PaletteMatcher::FillCell(unsigned cell)
{
    const List coarse = CoarseList(cell);
    // One group takes one step however short it is.
    m_cells[cell] = Length(coarse) <= kGroup ? coarse : MakeList(coarse, CornerOf(cell), 8);
    return m_cells[cell];
}

// ---- Searches -------------------------------------------------------------------------------------------------

int PaletteMatcher::Find(uint32_t color)
{
    const unsigned cell = CellOf(color);
    return Resolve(m_cells[cell] ? m_cells[cell] : CoarseList(cell), color);
}

// The rule of V_FindPaletteIndex over a list: of the nearest entries the last one of the colour's own hue class, or the
// first one if there is none of it.
int PaletteMatcher::Resolve(List list, uint32_t color) const
{
    const uint32_t *candidates = Candidates(list);
    const unsigned hueClass = HueClassOf(color);
    unsigned best = ~0u;
    int first = 0, lastOfClass = -1;
    for (unsigned i = 0; i < Length(list); ++i) {
        const unsigned distance = Distance(candidates[i], color);
        if (distance > best)
            continue;
        const Slot &slot = m_slots[candidates[i] >> 24];
        if (distance == 0)
            return slot.exact;
        if (distance < best) {
            best = distance;
            first = slot.first;
            lastOfClass = -1;
        }
        first = slot.first < first ? slot.first : first;
        if (slot.hueClass == hueClass && slot.last > lastOfClass)
            lastOfClass = slot.last;
    }
    return lastOfClass >= 0 ? lastOfClass : first;
}

void MatchCellsPlain(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher)
{
    for (size_t i = 0; i < count; ++i) {
        const uint32_t color = LoadQuad(quads + 4 * i) & kColorBits;
        const unsigned cell = CellOf(color);
        const PaletteMatcher::List list = matcher.m_cells[cell];
        indices[i] = uint8_t(matcher.Resolve(list ? list : matcher.FillCell(cell), color));
    }
}

namespace {

// The squared distances of a group of candidates, those beyond 16 bits as 65535.
VEXO_TARGET_AVX2 inline __m128i GroupDistances(const uint32_t *group, __m256i color)
{
    const __m256i candidates = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(group));
    const __m256i apart = _mm256_or_si256(_mm256_subs_epu8(candidates, color), _mm256_subs_epu8(color, candidates));
    const __m256i outer = _mm256_and_si256(apart, _mm256_set1_epi32(0x00FF00FF));
    const __m256i middle = _mm256_and_si256(_mm256_srli_epi32(apart, 8), _mm256_set1_epi32(0xFF));
    const __m256i squares = _mm256_add_epi32(_mm256_madd_epi16(outer, outer), _mm256_madd_epi16(middle, middle));
    return _mm_packus_epi32(_mm256_castsi256_si128(squares), _mm256_extracti128_si256(squares, 1));
}

struct Nearest {
    unsigned distance; // 65535 stands for all from there on
    unsigned place;
    bool tied;
};

// The nearest of a group, the first one of several. When all are beyond 16 bits they count as tied.
VEXO_TARGET_AVX2 inline Nearest NearestOfGroup(const uint32_t *group, __m256i color)
{
    const __m128i distances = GroupDistances(group, color);
    const __m128i least = _mm_minpos_epu16(distances);
    const unsigned found = unsigned(_mm_cvtsi128_si32(least)), place = found >> 16;
    const __m128i equal = _mm_cmpeq_epi16(distances, _mm_broadcastw_epi16(least));
    return {found & 0xFFFF, place, unsigned(_mm_movemask_epi8(equal)) >> 2 * place != 3}; // two bits a candidate
}

// The slot of the one nearest candidate of a list, or -1 where several are tied.
VEXO_TARGET_AVX2 inline int NearestSlot(const uint32_t *candidates, unsigned length, __m256i color)
{
    unsigned best = 0xFFFF;
    int slot = -1;
    for (const uint32_t *end = candidates + length; candidates < end; candidates += 8) {
        const Nearest nearest = NearestOfGroup(candidates, color);
        if (nearest.distance > best)
            continue;
        slot = nearest.tied || nearest.distance == best ? -1 : int(candidates[nearest.place] >> 24);
        best = nearest.distance;
    }
    return slot;
}

} // namespace

// Looks at the first group of every pixel's list, without a branch that the pixels' noise could mislead. Pixels for
// which that is not enough are noted and done afterwards.
VEXO_TARGET_AVX2 size_t PaletteMatcher::MatchFirstGroups(uint8_t *indices, const uint8_t *quads, size_t count,
                                                         uint16_t *later)
{
    uint16_t cells[kBlock];
    // Five bits a channel are both the 16-bit pixel and the number of the cell.
    pixelKernels.pack16(reinterpret_cast<uint8_t *>(cells), quads, count);
    size_t laterCount = 0;
    for (size_t i = 0; i < count; ++i) {
        List list = m_cells[cells[i]];
        if (!list)
            list = FillCell(cells[i]);
        const uint32_t *group = Candidates(list);
        const Nearest nearest = NearestOfGroup(group, _mm256_set1_epi32(int(LoadQuad(quads + 4 * i))));
        const unsigned answer = m_answers[group[nearest.place] >> 24];
        indices[i] = uint8_t(answer);
        later[laterCount] = uint16_t(i);
        laterCount += unsigned(nearest.tied) | unsigned(Length(list) > kGroup) | answer >> 8;
    }
    return laterCount;
}

VEXO_TARGET_AVX2 void MatchCellsAvx2(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher)
{
    while (count > 0) {
        const size_t block = count < kBlock ? count : kBlock;
        uint16_t later[kBlock + 1];
        const size_t laterCount = matcher.MatchFirstGroups(indices, quads, block, later);
        for (size_t i = 0; i < laterCount; ++i) {
            const uint32_t color = LoadQuad(quads + 4 * later[i]) & kColorBits;
            const PaletteMatcher::List list = matcher.m_cells[CellOf(color)];
            const int slot = NearestSlot(matcher.Candidates(list), matcher.Length(list), _mm256_set1_epi32(int(color)));
            const int answer = slot < 0 ? PaletteMatcher::kNoSingleAnswer : matcher.m_answers[slot];
            indices[later[i]] =
                uint8_t(answer == PaletteMatcher::kNoSingleAnswer ? matcher.Resolve(list, color) : answer);
        }
        indices += block;
        quads += 4 * block;
        count -= block;
    }
}

} // namespace vexo
