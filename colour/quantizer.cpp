// The quantiser: a histogram of 32 x 32 x 32 cells that keeps the exact mean of each, boxes over its running sums, and
// k-means over the cells that are not empty. A pixel costs one vector addition; all else depends on the cells alone.
#include "colour/quantizer.h"

#include "colour/colour.h"
#include "colour/nearest_colour.h"
#include "core/vectors.h"

#include <algorithm>
#include <cmath>

namespace vexo {

namespace {

constexpr int kMostEntries = 256;
constexpr int kSide = 32; // cells along an edge of the colour cube
constexpr unsigned kCells = kSide * kSide * kSide;
constexpr unsigned kMostSamples = 65536;
constexpr unsigned kHashSize = 4 * kMostEntries;
constexpr uint32_t kMostCounted = 1u << 29; // pixels: the sums of a cell fit 32 bits up to here
constexpr int kCellIterations = 40;
constexpr int kSampleIterations = 4;

uint32_t LoadQuad(const uint8_t *quad)
{
    uint32_t value;
    memcpy(&value, quad, 4);
    return value & 0x00FFFFFFu;
}

RGBQUAD ColorOf(uint32_t quad) { return {BYTE(quad), BYTE(quad >> 8), BYTE(quad >> 16), 0}; }

// Blue in the low bits.
unsigned CellOf(uint32_t quad) { return (quad >> 3 & 0x1F) | (quad >> 6 & 0x3E0) | (quad >> 9 & 0x7C00); }

// Sums over pixels: blue, green, red and their number. Whole numbers below 2^53, which doubles hold exactly.
struct Sums {
    double v[4];

    Sums operator+(const Sums &o) const { return {{v[0] + o.v[0], v[1] + o.v[1], v[2] + o.v[2], v[3] + o.v[3]}}; }
    Sums operator-(const Sums &o) const { return {{v[0] - o.v[0], v[1] - o.v[1], v[2] - o.v[2], v[3] - o.v[3]}}; }
    double count() const { return v[3]; }
    // The squared errors around the mean are a constant less this.
    double Fit() const { return v[3] > 0 ? (v[0] * v[0] + v[1] * v[1] + v[2] * v[2]) / v[3] : 0; }
};

// The cells from low to high - 1 of each channel.
struct Box {
    uint8_t low[3], high[3];
    Sums sums;
    // The best cut: what it gains, and where. 0: none.
    double gain;
    uint8_t axis, place;
};

// An entry while it moves.
struct Entry {
    float mean[3];
    Sums sums; // of the colours nearest to it
};

} // namespace

struct ColorQuantizer::State {
    // A cell's pixels: blue, green and red beyond its corner, and their number.
    uint32_t cells[kCells][4];
    uint32_t counted;

    uint32_t distinct[kHashSize]; // the colours plus one, hashed, while they are few
    uint32_t distinctCount;       // kMostEntries + 1: too many

    uint32_t samples[kMostSamples];
    uint32_t sampleCount;
    uint64_t sampleStep; // pixels from one sample to the next on the average
    uint64_t untilSample;
    uint32_t random;

    // Sums of all cells below a corner in each direction.
    Sums corners[kSide + 1][kSide + 1][kSide + 1];
    Box boxes[kMostEntries];

    // The cells that are not empty: their means in sixteenths, and their sums.
    int pointCount;
    int16_t points[kCells][4];
    Sums pointSums[kCells];

    uint8_t nearest[kMostSamples];
    Entry entries[kMostEntries];
    int entryCount;

    void AddDistinct(uint32_t color);
    void AddSample(uint32_t color);
    void MakeRoom(uint32_t pixels);
    Sums SumsOfCell(unsigned cell) const;
    void MakeCorners();
    Sums SumsOf(const uint8_t (&low)[3], const uint8_t (&high)[3]) const;
    void FindCut(Box *box) const;
    void Cut(Box *box, Box *other) const;
    void MakeBoxes(int count);
    void MakePoints();
    bool MoveToCells();
    void MoveToSamples(RGBQUAD *colors, int count);
    int TakeDistinct(RGBQUAD *colors) const;
};

// ---- Counting ---------------------------------------------------------------------------------------------------

ColorQuantizer::ColorQuantizer(uint64_t pixels) : m_state(1, Buffer<State>::Fill::Zero)
{
    if (!m_state)
        return;
    State &state = m_state[0];
    state.sampleStep = pixels / (kMostSamples - kMostSamples / 32) + 1; // chance takes a few more at times
}

// Halves what has been counted when the sums might overflow; the pixels so far then weigh half.
void ColorQuantizer::State::MakeRoom(uint32_t pixels)
{
    if (counted + pixels > kMostCounted) {
        for (auto &cell : cells)
            for (uint32_t &sum : cell)
                sum /= 2;
        counted /= 2;
    }
    counted += pixels;
}

void ColorQuantizer::State::AddDistinct(uint32_t color)
{
    unsigned place = color * 0x9E3779B1u >> 22;
    static_assert(kHashSize == 1u << 10);
    while (distinct[place] != 0 && distinct[place] != color + 1)
        place = (place + 1) % kHashSize;
    distinctCount += distinct[place] == 0;
    distinct[place] = color + 1;
}

// Takes a colour and decides how many pixels to pass by: never evenly, or the lines of a picture would get in step.
void ColorQuantizer::State::AddSample(uint32_t color)
{
    if (sampleCount < kMostSamples)
        samples[sampleCount++] = color;
    random = random * 1664525u + 1013904223u;
    untilSample += 1 + ((2 * sampleStep - 1) * (random >> 8) >> 24);
}

void ColorQuantizer::AddPixels(const uint8_t *quads, size_t count)
{
    State &state = m_state[0];
    for (size_t i = 0; i < count && state.distinctCount <= kMostEntries; ++i)
        state.AddDistinct(LoadQuad(quads + 4 * i));
    while (state.untilSample < count)
        state.AddSample(LoadQuad(quads + 4 * state.untilSample));
    state.untilSample -= count;

    state.MakeRoom(uint32_t(count));
    const __m128i zero = _mm_setzero_si128();
    for (size_t i = 0; i < count; ++i) {
        const uint32_t quad = LoadQuad(quads + 4 * i);
        auto &cell = state.cells[CellOf(quad)];
        const __m128i bytes = _mm_cvtsi32_si128(int((quad & 0x00070707) | 0x01000000));
        const __m128i words = _mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero);
        Store128(cell, _mm_add_epi32(Load128(cell), words));
    }
}

void ColorQuantizer::AddColor(const RGBQUAD &color, uint32_t count)
{
    State &state = m_state[0];
    const uint32_t quad = color.rgbBlue | uint32_t(color.rgbGreen) << 8 | uint32_t(color.rgbRed) << 16;
    if (count == 0)
        return;
    if (state.distinctCount <= kMostEntries)
        state.AddDistinct(quad);
    while (state.untilSample < count)
        state.AddSample(quad);
    state.untilSample -= count;
    count = std::min(count, kMostCounted / 2);
    state.MakeRoom(count);
    uint32_t *cell = state.cells[CellOf(quad)];
    cell[0] += count * (quad & 7);
    cell[1] += count * (quad >> 8 & 7);
    cell[2] += count * (quad >> 16 & 7);
    cell[3] += count;
}

Sums ColorQuantizer::State::SumsOfCell(unsigned cell) const
{
    const double count = cells[cell][3];
    return {{cells[cell][0] + count * (cell << 3 & 0xF8), cells[cell][1] + count * (cell >> 2 & 0xF8),
             cells[cell][2] + count * (cell >> 7 & 0xF8), count}};
}

// ---- Boxes ------------------------------------------------------------------------------------------------------

void ColorQuantizer::State::MakeCorners()
{
    for (int r = 0; r < kSide; ++r)
        for (int g = 0; g < kSide; ++g) {
            Sums line = {};
            for (int b = 0; b < kSide; ++b) {
                line = line + SumsOfCell(unsigned(r << 10 | g << 5 | b));
                corners[r + 1][g + 1][b + 1] =
                    line + corners[r][g + 1][b + 1] + corners[r + 1][g][b + 1] - corners[r][g][b + 1];
            }
        }
}

Sums ColorQuantizer::State::SumsOf(const uint8_t (&low)[3], const uint8_t (&high)[3]) const
{
    const auto plane = [&](int r) {
        return corners[r][high[1]][high[0]] - corners[r][low[1]][high[0]] - corners[r][high[1]][low[0]] +
               corners[r][low[1]][low[0]];
    };
    return plane(high[2]) - plane(low[2]);
}

void ColorQuantizer::State::FindCut(Box *box) const
{
    box->gain = 0;
    const double whole = box->sums.Fit();
    for (int axis = 0; axis < 3; ++axis) {
        Box part = *box;
        for (int place = box->low[axis] + 1; place < box->high[axis]; ++place) {
            part.high[axis] = uint8_t(place);
            const Sums below = SumsOf(part.low, part.high), above = box->sums - below;
            if (below.count() == 0 || above.count() == 0)
                continue;
            const double gain = below.Fit() + above.Fit() - whole;
            if (gain > box->gain) {
                box->gain = gain;
                box->axis = uint8_t(axis);
                box->place = uint8_t(place);
            }
        }
    }
}

void ColorQuantizer::State::Cut(Box *box, Box *other) const
{
    *other = *box;
    box->high[box->axis] = box->place;
    other->low[box->axis] = box->place;
    for (Box *half : {box, other}) {
        half->sums = SumsOf(half->low, half->high);
        FindCut(half);
    }
}

// The means of `count` boxes, or of fewer when nothing is left to cut.
void ColorQuantizer::State::MakeBoxes(int count)
{
    MakeCorners();
    boxes[0] = {{0, 0, 0}, {kSide, kSide, kSide}, corners[kSide][kSide][kSide], 0, 0, 0};
    FindCut(&boxes[0]);
    entryCount = 1;
    while (entryCount < count) {
        Box *best =
            std::max_element(boxes, boxes + entryCount, [](const Box &a, const Box &b) { return a.gain < b.gain; });
        if (best->gain <= 0)
            break;
        Cut(best, &boxes[entryCount++]);
    }
    for (int i = 0; i < entryCount; ++i)
        for (int c = 0; c < 3; ++c)
            entries[i].mean[c] = float(boxes[i].sums.v[c] / boxes[i].sums.count());
}

// ---- k-means over cells -----------------------------------------------------------------------------------------

void ColorQuantizer::State::MakePoints()
{
    pointCount = 0;
    for (unsigned cell = 0; cell < kCells; ++cell) {
        if (cells[cell][3] == 0)
            continue;
        const Sums sums = SumsOfCell(cell);
        for (int c = 0; c < 3; ++c)
            points[pointCount][c] = int16_t(sums.v[c] * 16 / sums.count() + 0.5);
        points[pointCount][3] = 0;
        pointSums[pointCount++] = sums;
    }
}

namespace {

// Four entries side by side, for distances to all of them at once.
struct EntryGroup {
    int16_t blueGreen[4][2];
    int16_t red[4][2];
};

// The number of the entry nearest to a point.
int NearestEntry(const EntryGroup *groups, int groupCount, const int16_t (&point)[4])
{
    const __m128i blueGreen = _mm_set1_epi32(int(uint16_t(point[0]) | uint32_t(uint16_t(point[1])) << 16));
    const __m128i red = _mm_set1_epi32(point[2]);
    __m128i least = _mm_set1_epi32(0x7FFFFFFF), best = _mm_setzero_si128();
    __m128i numbers = _mm_setr_epi32(0, 1, 2, 3);
    for (int i = 0; i < groupCount; ++i) {
        const __m128i a = _mm_sub_epi16(Load128(groups[i].blueGreen), blueGreen);
        const __m128i b = _mm_sub_epi16(Load128(groups[i].red), red);
        const __m128i distance = _mm_add_epi32(_mm_madd_epi16(a, a), _mm_madd_epi16(b, b));
        const __m128i nearer = _mm_cmplt_epi32(distance, least);
        least = _mm_or_si128(_mm_and_si128(nearer, distance), _mm_andnot_si128(nearer, least));
        best = _mm_or_si128(_mm_and_si128(nearer, numbers), _mm_andnot_si128(nearer, best));
        numbers = _mm_add_epi32(numbers, _mm_set1_epi32(4));
    }
    alignas(4) int32_t distances[4], entry[4];
    Store128(distances, least);
    Store128(entry, best);
    int lane = 0;
    for (int i = 1; i < 4; ++i)
        lane = distances[i] < distances[lane] ? i : lane;
    return entry[lane];
}

} // namespace

// One iteration. Whether any entry moved.
bool ColorQuantizer::State::MoveToCells()
{
    EntryGroup groups[kMostEntries / 4];
    const int groupCount = (entryCount + 3) / 4;
    for (int i = 0; i < 4 * groupCount; ++i) {
        const Entry &entry = entries[std::min(i, entryCount - 1)];
        int16_t at[3];
        for (int c = 0; c < 3; ++c)
            at[c] = int16_t(entry.mean[c] * 16 + 0.5f);
        groups[i / 4].blueGreen[i % 4][0] = at[0];
        groups[i / 4].blueGreen[i % 4][1] = at[1];
        groups[i / 4].red[i % 4][0] = at[2];
        groups[i / 4].red[i % 4][1] = 0;
    }
    for (Entry &entry : entries)
        entry.sums = {};
    for (int i = 0; i < pointCount; ++i) {
        Entry &entry = entries[std::min(NearestEntry(groups, groupCount, points[i]), entryCount - 1)];
        entry.sums = entry.sums + pointSums[i];
    }
    bool moved = false;
    for (int i = 0; i < entryCount; ++i)
        for (int c = 0; c < 3 && entries[i].sums.count() > 0; ++c) {
            const float mean = float(entries[i].sums.v[c] / entries[i].sums.count());
            moved = moved || std::fabs(mean - entries[i].mean[c]) > 0.05f;
            entries[i].mean[c] = mean;
        }
    return moved;
}

// ---- k-means over samples ---------------------------------------------------------------------------------------

// One iteration, from colours to colours. Entries that are nearest to nothing take the samples that fit worst.
void ColorQuantizer::State::MoveToSamples(RGBQUAD *colors, int count)
{
    struct Misfit {
        int distance;
        uint32_t color;
    } worst[kMostEntries] = {};
    const PaletteSearch search(colors, count);
    search.FindAll(nearest, reinterpret_cast<const uint8_t *>(samples), sampleCount);
    for (Entry &entry : entries)
        entry.sums = {};
    for (uint32_t i = 0; i < sampleCount; ++i) {
        const RGBQUAD color = ColorOf(samples[i]), &entry = colors[nearest[i]];
        const int blue = color.rgbBlue - entry.rgbBlue, green = color.rgbGreen - entry.rgbGreen,
                  red = color.rgbRed - entry.rgbRed;
        const int distance = blue * blue + green * green + red * red;
        if (distance > worst[nearest[i]].distance)
            worst[nearest[i]] = {distance, samples[i]};
        double *sums = entries[nearest[i]].sums.v;
        sums[0] += color.rgbBlue;
        sums[1] += color.rgbGreen;
        sums[2] += color.rgbRed;
        sums[3] += 1;
    }
    for (int i = 0; i < count; ++i) {
        const Sums &sums = entries[i].sums;
        if (sums.count() > 0) {
            colors[i] = {BYTE(sums.v[0] / sums.count() + 0.5), BYTE(sums.v[1] / sums.count() + 0.5),
                         BYTE(sums.v[2] / sums.count() + 0.5), 0};
            continue;
        }
        Misfit *misfit = std::max_element(worst, worst + count,
                                          [](const Misfit &a, const Misfit &b) { return a.distance < b.distance; });
        colors[i] = ColorOf(misfit->color);
        misfit->distance = 0;
    }
}

// ---- The palette ------------------------------------------------------------------------------------------------

int ColorQuantizer::State::TakeDistinct(RGBQUAD *colors) const
{
    int count = 0;
    for (uint32_t color : distinct)
        if (color != 0)
            colors[count++] = ColorOf(color - 1);
    return count;
}

namespace {

// From dark to light, each once.
int SortAndUnify(RGBQUAD *colors, int count)
{
    const auto keyOf = [](const RGBQUAD &c) {
        return unsigned(Luminance(c.rgbRed, c.rgbGreen, c.rgbBlue)) << 24 |
               unsigned(c.rgbRed << 16 | c.rgbGreen << 8 | c.rgbBlue);
    };
    std::sort(colors, colors + count, [&](const RGBQUAD &a, const RGBQUAD &b) { return keyOf(a) < keyOf(b); });
    return int(
        std::unique(colors, colors + count, [&](const RGBQUAD &a, const RGBQUAD &b) { return keyOf(a) == keyOf(b); }) -
        colors);
}

} // namespace

bool ColorQuantizer::HoldsAll(int count) const { return int(m_state[0].distinctCount) <= count; }

int ColorQuantizer::MakePalette(RGBQUAD *colors, int count)
{
    State &state = m_state[0];
    if (HoldsAll(count))
        return SortAndUnify(colors, state.TakeDistinct(colors));
    state.MakeBoxes(count);
    state.MakePoints();
    for (int i = 0; i < kCellIterations && state.MoveToCells(); ++i) {
    }
    for (int i = 0; i < count; ++i) {
        const float *mean = state.entries[std::min(i, state.entryCount - 1)].mean;
        colors[i] = {BYTE(mean[0] + 0.5f), BYTE(mean[1] + 0.5f), BYTE(mean[2] + 0.5f), 0};
    }
    for (int i = 0; i < kSampleIterations; ++i)
        state.MoveToSamples(colors, count);
    return SortAndUnify(colors, count);
}

} // namespace vexo
