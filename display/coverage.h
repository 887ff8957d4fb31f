// Counts the 1 bits that each destination pixel of a line covers in a 1-bit bitmap, with whole source pixels: each
// belongs to the destination pixel that its left and upper edges fall into, and every destination pixel covers at least
// the source pixel that nearest sampling takes. Bits are counted in the largest groups that no edge divides.
#ifndef VEXO_DISPLAY_COVERAGE_H
#define VEXO_DISPLAY_COVERAGE_H

#include "display/gray_kernels.h"
#include "display/paint_lines.h"
#include "display/paint_mapping.h"

namespace vexo {

class Coverage {
public:
    Coverage(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns);
    explicit operator bool() const { return m_lines && m_begins && m_groups && m_running && m_bytes && m_sums; }

    // Whether a line covers the same source lines as the one before it.
    bool IsSameAs(int line, int otherLine) const;
    // Counts a destination line. Returns RESULT_SUCCESS or the error of a row that could not be read.
    int Count(int line);

    // How many pixels a column covers.
    double total(int i) const { return double(width(i)) * m_covered.count(); }
    int width(int i) const { return End(i) - m_begins[size_t(i)]; }
    int lines() const { return m_covered.count(); }

    // The 1 bits among them: bytes, where they always fit ...
    bool isInBytes() const { return m_inBytes; }
    const uint8_t *bytes() const
    {
        return m_groupIsColumn ? m_groups.data() + (m_begins[0] >> m_groupKind) : m_bytes.data();
    }
    // ... with the same width for all, where that is known; else doubles, which are exact whatever the sizes.
    bool isUniform() const { return m_groupIsColumn; }
    double ones(int i) const { return m_sums[size_t(i)]; }

private:
    static constexpr int kMaxByte = 255;

    int End(int i) const { return std::max(m_begins[size_t(i) + 1], m_begins[size_t(i)] + 1); }
    Span LinesUnder(int line) const;
    void ChooseGroups();
    // Calls take(column, ones) with what waits in the groups.
    template <class Take>
    void SumColumns(Take take);

    const PaintMapping &m_mapping;
    const Span m_columns;
    const int m_width, m_height;
    PaintLines m_lines;
    Buffer<int> m_begins; // where each column's pixels begin, counted from the first column of m_lines, and the end
    int m_groupKind = 0;  // groups have 1 << kind bits, 1 to 8
    bool m_groupIsColumn = false; // each column covers just one group
    int m_widest = 1;
    bool m_inBytes = false;
    Span m_covered = {}; // source lines
    Buffer<uint8_t> m_groups;
    Buffer<int> m_running; // sums of the groups before each one
    Buffer<uint8_t> m_bytes;
    Buffer<double> m_sums;
};

} // namespace vexo

#endif
