// The rows of a paint that gives a 1-bit bitmap 256 grays, or keeps its black lines while it shrinks.
#ifndef VEXO_DISPLAY_GRAY_ROWS_H
#define VEXO_DISPLAY_GRAY_ROWS_H

#include "display/coverage.h"

namespace vexo {

// Not scaled: bits become bytes of 0 and 255.
class GrayRows {
public:
    GrayRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne);
    explicit operator bool() const { return m_lines && m_bits; }

    void StartBand() {}
    int Make(uint8_t *row, int line);

private:
    const PaintMapping &m_mapping;
    const int m_count;
    const uint8_t m_flip;
    PaintLines m_lines;
    const int m_firstPixel; // of the lines
    Buffer<uint8_t> m_bits;
};

// Smaller in both directions: the share of black among whole source pixels.
class GrayShrinkRows {
public:
    GrayShrinkRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne);
    explicit operator bool() const { return bool(m_coverage); }

    void StartBand() {}
    int Make(uint8_t *row, int line);

private:
    const GrayScale &ScaleFor(int kind, int total);

    const int m_count;
    const int m_narrow; // the width of columns; some are one wider
    const bool m_blackIsOne;
    Coverage m_coverage;
    GrayScale m_scales[2]; // of narrow and of wide columns in the last line
};

// Larger in one direction at least: the share of black by area, so that a pixel inside a source pixel is black or white
// and one on an edge is blended.
class GrayBlendRows {
public:
    GrayBlendRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne);
    explicit operator bool() const;

    void StartBand() { m_lastRow = nullptr; }
    int Make(uint8_t *row, int line);

private:
    // The source columns under a destination column and how much of the outer ones it covers, in units of
    // 1 / destination pixels of a source pixel.
    struct Cover {
        int first, last;
        int firstWeight, lastWeight; // lastWeight is 0 where first and last are the same
        int total;
    };
    // The 1 bits under each destination column in one source line, weighted.
    struct WeightedLine {
        explicit WeightedLine(int count) : ones(size_t(count)) {}
        int line = -1;
        Buffer<double> ones;
    };

    void MeasureColumns(Span columns);
    const WeightedLine *Weigh(int sourceLine);
    void BlendLines(uint8_t *row, double totalWeight) const;

    const PaintMapping &m_mapping;
    const int m_count, m_width, m_height;
    const bool m_blackIsOne;
    PaintLines m_lines;
    Buffer<Cover> m_covers;
    WeightedLine m_weighed[2]; // enlarged lines share two source lines at most
    int m_nextWeighed = 0;
    Buffer<double> m_sums;
    int m_lastLine = 0; // the source line that m_lastRow shows and nothing else
    const uint8_t *m_lastRow = nullptr;
};

// 1 bit to 1 bit: a destination pixel is black when enough of the source pixels it covers are.
class BlackRows {
public:
    BlackRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne);
    explicit operator bool() const { return bool(m_coverage); }

    void StartBand() { m_lastRow = nullptr; }
    int Make(uint8_t *row, int line);

private:
    const int m_count;
    const bool m_blackIsOne;
    const int m_threshold;
    Coverage m_coverage;
    int m_lastLine = 0;
    const uint8_t *m_lastRow = nullptr;
};

} // namespace vexo

#endif
