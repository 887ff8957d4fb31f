// The candidate lists of colour cells and the search in them. An entry can be nearest to a colour of a cell only if its
// least distance to the cell is not above the smallest of all entries' greatest distances. Lists keep every such entry,
// those that tie included, so the result is exact. They are made when first asked for, from the list of the larger cell
// around; when the pool is full, the larger cell's list serves.
#include "colour/palette_matcher.h"

#include "colour/pixel_kernels.h"
#include "core/vectors.h"

#include <cstring>

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

// Cells halve the green more often than red and blue: 5, 6, 5 bits, blue lowest in the number.
unsigned CellOf(uint32_t color) { return (color >> 3 & 0x1F) | (color >> 5 & 0x7E0) | (color >> 8 & 0xF800); }

ColorBox BoxOf(unsigned cell)
{
    const uint32_t low = (cell & 0x1F) << 3 | (cell & 0x7E0) << 5 | (cell & 0xF800) << 8;
    return {low, low | 0x070307};
}

// Coarse cells have three bits a channel.
unsigned CoarseOf(unsigned cell) { return (cell >> 2 & 7) | (cell >> 8 & 7) << 3 | (cell >> 13 & 7) << 6; }

ColorBox CoarseBoxOf(unsigned cell)
{
    const uint32_t low = BoxOf(cell).low & 0xE0E0E0;
    return {low, low | 0x1F1F1F};
}

// The least and the greatest squared distance from a colour to those of a box.
struct Reach {
    unsigned least, greatest;
};
Reach ReachOf(uint32_t color, const ColorBox &box)
{
    Reach reach = {};
    for (int shift = 0; shift < 24; shift += 8) {
        const int above = Channel(color, shift) - Channel(box.low, shift); // the lowest value
        const int below = Channel(box.high, shift) - Channel(color, shift);
        reach.least += Square(above < 0 ? above : below < 0 ? below : 0);
        reach.greatest += Square(above > below ? above : below);
    }
    return reach;
}

// A corner of the colour cube that lies farther from each colour of a cell than any other colour does.
uint32_t FarthestColor(const ColorBox &box) { return (~box.low >> 7 & 0x00010101u) * 255u; }

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
    constexpr uintptr_t kGroupBytes = kGroup * sizeof(uint32_t);
    const uintptr_t beyondBoundary = reinterpret_cast<uintptr_t>(m_poolSpace) % kGroupBytes;
    m_pool = m_poolSpace + (kGroupBytes - beyondBoundary) % kGroupBytes / sizeof(uint32_t);
    m_usedGroups = 0;
    MakeSlots();
}

// Gathers equal entries: of these only the first and the last can be an answer.
void PaletteMatcher::MakeSlots()
{
    const int end = m_key.count - 1;
    unsigned length = 0;
    for (int i = 0; i <= end; ++i) {
        const uint32_t color = m_key.colors[i];
        unsigned known = 0;
        while (known < length && (m_pool[known] & kColorBits) != color)
            ++known;
        if (known == length) {
            m_pool[length++] = color | unsigned(i) << 24;
            m_slots[i] = {uint8_t(i), uint8_t(i), uint8_t(HueClassOf(color))};
        }
        Slot &slot = m_slots[m_pool[known] >> 24];
        slot.last = uint8_t(i);
        // Black at the end of the palette comes before black inside it, white there before all other white.
        if (i == end && (color == kColorBits || (color == 0 && m_key.colors[0] != 0)))
            slot.exact = uint8_t(i);
    }
    m_colorCount = length;
    m_all = CloseList(length, m_pool[0]);
}

// ---- Lists ----------------------------------------------------------------------------------------------------

// Makes a list of the candidates that have been put behind the used part of the pool.
PaletteMatcher::List PaletteMatcher::CloseList(unsigned length, uint32_t filler)
{
    uint32_t *candidates = m_pool + m_usedGroups * kGroup;
    bool needsCare = length > kGroup;
    for (unsigned i = 0; i < length; ++i) {
        const unsigned first = candidates[i] >> 24;
        needsCare = needsCare || m_slots[first].last != first;
    }
    // Fillers bear the number of a candidate: they are nearest only where all candidates have the fillers' colour.
    for (; length % kGroup; ++length)
        candidates[length] = (filler & kColorBits) | (candidates[0] & ~kColorBits);
    const unsigned groups = length / kGroup;
    const List list = m_usedGroups * kGroup | groups << kGroupsShift | (needsCare ? kNeedsCare : 0);
    m_usedGroups += groups;
    return list;
}

// Keeps the candidates of a list that can be nearest inside a smaller cube. Without room for them the list itself.
PaletteMatcher::List PaletteMatcher::MakeList(List from, const ColorBox &box, unsigned groupLimit)
{
    const uint32_t *candidates = Candidates(from);
    const unsigned length = from == m_all ? m_colorCount : Length(from);
    if (m_usedGroups + (length + kGroup - 1) / kGroup > groupLimit)
        return from;
    unsigned least[kMostEntries], bound = ~0u;
    for (unsigned i = 0; i < length; ++i) {
        const Reach reach = ReachOf(candidates[i], box);
        least[i] = reach.least;
        bound = reach.greatest < bound ? reach.greatest : bound;
    }
    uint32_t *kept = m_pool + m_usedGroups * kGroup;
    unsigned keptLength = 0;
    for (unsigned i = 0; i < length; ++i)
        if (least[i] <= bound)
            kept[keptLength++] = candidates[i];
    return CloseList(keptLength, FarthestColor(box));
}

PaletteMatcher::List PaletteMatcher::CoarseList(unsigned cell)
{
    List &list = m_coarse[CoarseOf(cell)];
    if (!list)
        list = MakeList(m_all, CoarseBoxOf(cell), kPoolGroups);
    return list;
}

PaletteMatcher::List PaletteMatcher::FillCell(unsigned cell)
{
    const List coarse = CoarseList(cell);
    // One group takes one step however short it is.
    m_cells[cell] = Length(coarse) <= kGroup ? coarse : MakeList(coarse, BoxOf(cell), kPoolGroups - kKeptGroups);
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
        const int number = int(candidates[i] >> 24);
        const Slot &slot = m_slots[number];
        if (distance == 0)
            return slot.exact;
        if (distance < best) {
            best = distance;
            first = number;
            lastOfClass = -1;
        }
        first = number < first ? number : first;
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
VEXO_AVX2_PIECE __m128i GroupDistances(const uint32_t *group, __m256i color)
{
    const __m256i candidates = Load256(group);
    const __m256i apart = _mm256_or_si256(_mm256_subs_epu8(candidates, color), _mm256_subs_epu8(color, candidates));
    const __m256i outer = _mm256_and_si256(apart, _mm256_set1_epi32(0x00FF00FF));
    const __m256i middle = _mm256_and_si256(_mm256_srli_epi32(apart, 8), _mm256_set1_epi32(0xFF));
    const __m256i squares = _mm256_add_epi32(_mm256_madd_epi16(outer, outer), _mm256_madd_epi16(middle, middle));
    return _mm_packus_epi32(LowHalf(squares), HighHalf(squares));
}

VEXO_AVX2_PIECE void FindCells(uint32_t *cells, const uint8_t *quads, size_t count)
{
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256i colors = Load256(quads + 4 * i);
        const __m256i outer = _mm256_and_si256(colors, _mm256_set1_epi32(0x00F800F8));
        const __m256i middle = _mm256_and_si256(colors, _mm256_set1_epi32(0xFC00));
        const __m256i joined = _mm256_madd_epi16(outer, _mm256_set1_epi32(2048 << 16 | 1));
        Store256(cells + i, _mm256_or_si256(_mm256_srli_epi32(joined, 3), _mm256_srli_epi32(middle, 5)));
    }
    for (; i < count; ++i)
        cells[i] = CellOf(LoadQuad(quads + 4 * i));
}

// The equal distances, two bits each. Where the least is 65535 all of a group are.
VEXO_AVX2_PIECE unsigned EqualBytes(__m128i distances, __m128i least)
{
    return unsigned(_mm_movemask_epi8(_mm_cmpeq_epi16(distances, least)));
}

} // namespace

// Looks at the first group of every pixel's list, without a branch that the pixels' noise could mislead. Pixels for
// which that is not enough are noted and done afterwards.
VEXO_TARGET_AVX2 size_t PaletteMatcher::MatchFirstGroups(uint8_t *indices, const uint8_t *quads, size_t count,
                                                         uint16_t *later)
{
    uint32_t cells[kBlock];
    FindCells(cells, quads, count);
    size_t laterCount = 0;
    for (size_t i = 0; i < count; ++i) {
        List list = m_cells[cells[i]];
        if (!list)
            list = FillCell(cells[i]);
        const uint32_t *group = Candidates(list);
        const __m128i distances = GroupDistances(group, _mm256_set1_epi32(int(LoadQuad(quads + 4 * i))));
        const __m128i least = _mm_minpos_epu16(distances);
        const unsigned equal = EqualBytes(distances, _mm_broadcastw_epi16(least));
        indices[i] = uint8_t(group[unsigned(_mm_cvtsi128_si32(least)) >> 16] >> 24);
        later[laterCount] = uint16_t(i);
        laterCount += ((list & kNeedsCare) | (unsigned(_mm_popcnt_u32(equal)) ^ 2)) != 0;
    }
    return laterCount;
}

// All groups of a list. Falls back on the plain rule for ties and for colours that stand in the palette twice.
VEXO_TARGET_AVX2 int PaletteMatcher::FindInGroups(List list, uint32_t color) const
{
    const uint32_t *candidates = Candidates(list);
    const unsigned length = Length(list);
    const __m256i colors = _mm256_set1_epi32(int(color));
    __m128i distances[kMostEntries / kGroup];
    __m128i least = _mm_set1_epi16(-1);
    for (unsigned i = 0; i < length; i += kGroup) {
        distances[i / kGroup] = GroupDistances(candidates + i, colors);
        least = _mm_min_epu16(least, distances[i / kGroup]);
    }
    least = _mm_broadcastw_epi16(_mm_minpos_epu16(least));
    int equalBytes = 0;
    unsigned place = 0;
    for (unsigned i = 0; i < length; i += kGroup) {
        const unsigned equal = EqualBytes(distances[i / kGroup], least);
        equalBytes += _mm_popcnt_u32(equal);
        place = equal ? i + _tzcnt_u32(equal) / 2 : place;
    }
    const unsigned number = candidates[place] >> 24;
    return equalBytes != 2 || m_slots[number].last != number ? Resolve(list, color) : int(number);
}

VEXO_TARGET_AVX2 void MatchCellsAvx2(uint8_t *indices, const uint8_t *quads, size_t count, PaletteMatcher &matcher)
{
    while (count > 0) {
        const size_t block = count < kBlock ? count : kBlock;
        uint16_t later[kBlock];
        const size_t laterCount = matcher.MatchFirstGroups(indices, quads, block, later);
        for (size_t i = 0; i < laterCount; ++i) {
            const uint32_t color = LoadQuad(quads + 4 * later[i]) & kColorBits;
            indices[later[i]] = uint8_t(matcher.FindInGroups(matcher.m_cells[CellOf(color)], color));
        }
        indices += block;
        quads += 4 * block;
        count -= block;
    }
}

} // namespace vexo
