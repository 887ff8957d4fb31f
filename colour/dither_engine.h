// The engine behind both faces of dithering, told as data: the error filters, the palette classes and their rules, and
// one routine that takes a segment of a row from source pixels to packed indices.
#ifndef VEXO_COLOUR_DITHER_ENGINE_H
#define VEXO_COLOUR_DITHER_ENGINE_H

#include "colour/nearest_colour.h"
#include "core/core.h"

namespace vexo {

// ---- Methods --------------------------------------------------------------------------------------------------

constexpr bool IsDiffusion(int method) { return method > DITHER_NONE && method < DITHER_DISPERSED; }

// Where a pixel's error goes, in parts of `divisor`: to the two pixels after it, and to those from three before to
// three after it in the rows below.
struct DiffusionFilter {
    int divisor;
    int rows;
    int ahead[2];
    int below[3][7];
};

inline constexpr int kErrorMargin = 3; // the farthest column a filter reaches
inline constexpr int kMostErrorRows = 3;

// By method, from Floyd-Steinberg on. The weights are those the methods were published with: Floyd and Steinberg 1976,
// Stucki 1981, Burkes 1988, Sierra 1989, Stevenson and Arce 1985 (for a hexagonal grid), Jarvis, Judice and Ninke 1976.
inline constexpr DiffusionFilter kDiffusionFilters[] = {
    {16, 1, {7, 0}, {{0, 0, 3, 5, 1, 0, 0}}},
    {42, 2, {8, 4}, {{0, 2, 4, 8, 4, 2, 0}, {0, 1, 2, 4, 2, 1, 0}}},
    {32, 1, {8, 4}, {{0, 2, 4, 8, 4, 2, 0}}},
    {32, 2, {5, 3}, {{0, 2, 4, 5, 4, 2, 0}, {0, 0, 2, 3, 2, 0, 0}}},
    {200, 3, {0, 32}, {{12, 0, 26, 0, 30, 0, 16}, {0, 12, 0, 26, 0, 12, 0}, {5, 0, 12, 0, 12, 0, 5}}},
    {48, 2, {7, 5}, {{0, 3, 5, 7, 5, 3, 0}, {0, 1, 3, 5, 3, 1, 0}}},
};
constexpr const DiffusionFilter &FilterOf(int method) { return kDiffusionFilters[method - DITHER_FLOYD_STEINBERG]; }

// ---- Palette classes ------------------------------------------------------------------------------------------

// How a colour becomes an index.
enum PaletteClass {
    kClassCells = 0,      // any palette: cells of the 15-bit colour cube, filled as their colours occur
    kClassMatchTable = 1, // the same with a caller's cells
    kClassTwoGrays = 2,   // by luminance
    kClassFourGrays = 3,
    kClassEightColors = 4, // from here on each channel by itself
    kClassWindowsColors = 5,
    kClassEightBits = 9,
    kClassCube = 10,
};
constexpr bool UsesCells(int paletteClass) { return paletteClass <= kClassMatchTable; }
constexpr bool IsProductClass(int paletteClass) { return paletteClass >= kClassEightColors; }

// One channel of a palette of independent channels: 2, 4, 6 or 8 even levels, and what a level counts in the index.
struct ProductChannel {
    int levels;
    int place;
};
struct ProductRule {
    ProductChannel blue, green, red;
    int bright; // or-ed to an index that is not 0
};

// By class, from eight colours on.
inline constexpr ProductRule kProductRules[] = {
    {{2, 1}, {2, 2}, {2, 4}, 0},
    // Deliberate: of the 16 Windows colours only black and the seven bright ones are chosen.
    {{2, 4}, {2, 2}, {2, 1}, 8},
    {{2, 1}, {4, 2}, {4, 8}, 0},
    {{4, 1}, {4, 4}, {4, 16}, 0},
    {{4, 1}, {8, 4}, {4, 32}, 0},
    {{4, 1}, {8, 4}, {8, 32}, 0},
    {{6, 1}, {6, 6}, {6, 36}, 0},
};
constexpr const ProductRule &RuleOf(int paletteClass) { return kProductRules[paletteClass - kClassEightColors]; }

// The level of a value is value * scale >> 16: the upper bits, or value / 51 for six levels.
constexpr int LevelScale(int levels) { return levels == 6 ? 1286 : 256 * levels; }
// The value of level k is (k * ramp + 128) >> 8.
constexpr int LevelRamp(int levels) { return 255 * 256 / (levels - 1); }

// ---- Palettes matched by cells --------------------------------------------------------------------------------

// A palette and the cells that remember the answers: palette index plus one, 0 where a colour has not come yet.
// A plain block of memory: call Start first.
class CellPalette {
public:
    static constexpr unsigned kCells = 32768; // five bits of red, green and blue, blue lowest

    // Uses the caller's cells or, narrower so that more of them stay in the cache, those of the run; the other pointer
    // is null. Entries that are reserved or explicit (GDI's flags 1 and 2) are not matched, unless all are. Then puts
    // the colours of the palette in the cells they fall in that hold nothing yet.
    void Start(const RGBQUAD (&colors)[256], int count, unsigned *callersCells, uint16_t *ownCells);
    // To be called before each row: what serves for searching may have been taken for other palettes in between.
    void BeginRow() { m_searching = false; }

    // The cell of a key, filled. Word is that of the cells in use.
    template <class Word>
    unsigned Cell(unsigned key)
    {
        const unsigned cell = static_cast<const Word *>(m_cells)[key];
        return cell ? cell : Fill(key);
    }
    // The colour of a cell, four words: blue, green, red and nothing.
    const int16_t *ColorOf(unsigned cell) const { return m_colors[uint8_t(cell)]; }
    static uint8_t IndexOf(unsigned cell) { return uint8_t(cell - 1); }

private:
    unsigned Fill(unsigned key);

    void Put(unsigned key, unsigned cell);

    void *m_cells;
    bool m_isOwn;
    int m_compactCount;
    bool m_searching;
    PaletteSearch m_search;
    RGBQUAD m_compact[256];   // the entries to be matched, with their indices as fourth byte
    int16_t m_colors[256][4]; // by the low byte of a cell
};

// What rows are dithered to.
struct DitherTarget {
    int paletteClass;
    int bits;
    CellPalette *cells; // classes 0 and 1, otherwise null
};

// ---- Errors under way -----------------------------------------------------------------------------------------

// Memory of one picture's errors, four words a column as in quads: those of the row at hand, and the undivided sums
// waiting for each of the rows below, nearest first. Sums are 16 bits wide if those of up to divisor times an error fit
// together with the pixel, else 32.
struct ErrorRows {
    int16_t *errors; // of column 0; there are kErrorMargin columns on both sides of the row
    void *sums[kMostErrorRows];
};

// Bytes of all that for rows of a width; 64 bits wide, so that no width overflows it.
constexpr bool FitsWords(const DiffusionFilter &filter) { return filter.divisor <= 64; }
int64_t ErrorBytes(int method, int64_t width);
// Divides up zeroed memory of that size.
ErrorRows LayErrorRows(uint8_t *memory, int method, int width);

// ---- Steps of a row -------------------------------------------------------------------------------------------
// Pixels come as quads, blue first, whose fourth byte counts for nothing.

// Nearest colours.
void ChooseIndices(uint8_t *indices, const uint8_t *quads, size_t count, const DitherTarget &target);

// Ordered dithering of one row. The matrix cell of column x is that of (row, x + phase).
class OrderedRow {
public:
    OrderedRow(int method, const DitherTarget &target, unsigned row, unsigned phase);
    // Pixels from column x on.
    void Choose(uint8_t *indices, const uint8_t *quads, unsigned x, size_t count) const;

private:
    static constexpr int kColumns = 16; // the eight of the matrix twice, to start with any of them

    const DitherTarget &m_target;
    uint8_t m_thresholds[kColumns];
    uint8_t m_plus[4 * kColumns], m_minus[4 * kColumns]; // what is added to quads, and what is taken away
};

// Pixels next to each other and what belongs to them.
struct DiffusionBlock {
    const uint8_t *quads;
    uint8_t *indices;
    int16_t *errors; // written; those of the two pixels before the first are read
    const void *waiting;
    size_t count;
};
// Scans a block: a pixel kernel (pixel_kernels.h).
void DiffusePlain(const DiffusionBlock &block, int method, const DitherTarget &target);
void DiffuseAvx2(const DiffusionBlock &block, int method, const DitherTarget &target);

// Error diffusion of the pixels from column x on. Takes what waits for them and leaves their errors behind, which the
// next call goes on from.
void DiffuseBlock(int method, const DitherTarget &target, const ErrorRows &rows, int x, size_t count,
                  const uint8_t *quads, uint8_t *indices);
// Clears the margins of a segment, which is to be done before its first block.
void BeginSegment(const ErrorRows &rows, int first, int end);
// Adds the errors of a segment to the sums of the rows below and moves these up by a row.
void SpreadErrors(int method, const ErrorRows &rows, int first, int end);

// ---- Rows -----------------------------------------------------------------------------------------------------

// All that stays the same from row to row.
struct DitherJob {
    int method;
    DitherTarget target;
    int sourceBits;
    int sourceOrder;
    const RGBQUAD *sourceColors; // 256, for up to 8 bits
    ErrorRows errors;            // methods 1 to 6
};

// Pixels first to end of a row, which keep their places. The matrix cell of column x is that of (row, x + phase).
void DitherSegment(const DitherJob &job, uint8_t *destination, const uint8_t *source, int first, int end, unsigned row,
                   unsigned phase);

} // namespace vexo

#endif
