// Counting covered pixels: line by line into a byte per group, and from the bytes into sums before they overflow.
#include "display/coverage.h"

#include <bit>

namespace vexo {

namespace {

// Behind the last source column that is covered.
int EndColumn(const PaintMapping &mapping, Span columns, int width)
{
    const int64_t end = std::max(mapping.x.SourceOf(columns.end), mapping.x.SourceOf(columns.end - 1) + 1);
    return int(std::min<int64_t>(end, width));
}

} // namespace

Coverage::Coverage(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns)
    : m_mapping(mapping), m_columns(columns), m_width(bitmap->Width), m_height(bitmap->Height),
      m_lines(bitmap, {nullptr, 0}, int(mapping.x.SourceOf(columns.first)), EndColumn(mapping, columns, m_width)),
      m_begins(size_t(columns.count()) + 1),
      m_groups(size_t(EndColumn(mapping, columns, m_width) - m_lines.firstColumn())), m_running(m_groups.size() + 1),
      m_bytes(size_t(columns.count())), m_sums(size_t(columns.count()))
{
    if (!*this)
        return;
    for (int i = 0; i < columns.count(); ++i)
        m_begins[size_t(i)] = int(mapping.x.SourceOf(columns.first + i)) - m_lines.firstColumn();
    m_begins[size_t(columns.count())] = EndColumn(mapping, columns, m_width) - m_lines.firstColumn();
    for (int i = 0; i < columns.count(); ++i)
        m_widest = std::max(m_widest, width(i));
    ChooseGroups();
}

// Groups need a whole ratio and edges that are multiples of them; lines start with a byte, so bytes are groups of 8.
void Coverage::ChooseGroups()
{
    const PaintAxis &x = m_mapping.x;
    if (x.from % x.to != 0)
        return;
    const int ratio = x.from / x.to, begin = m_begins[0], end = m_begins[size_t(m_columns.count())];
    m_groupKind = std::min(std::countr_zero(unsigned(ratio | begin | end)), 3);
    // Beyond the bitmap's edge the last column would cover less.
    m_groupIsColumn = ratio == 1 << m_groupKind && end - begin == m_columns.count() * ratio;
}

Span Coverage::LinesUnder(int line) const
{
    const int64_t first = m_mapping.y.SourceOf(line), end = std::max(m_mapping.y.SourceOf(line + 1), first + 1);
    return {int(first), int(std::min<int64_t>(end, m_height))};
}

bool Coverage::IsSameAs(int line, int otherLine) const
{
    const Span a = LinesUnder(line), b = LinesUnder(otherLine);
    return a.first == b.first && a.end == b.end;
}

int Coverage::Count(int line)
{
    m_covered = LinesUnder(line);
    m_inBytes = int64_t(m_widest) * m_covered.count() <= kMaxByte;
    const size_t columns = size_t(m_columns.count());
    const size_t groups = size_t(m_begins[columns] >> m_groupKind);
    memset(m_groups.data(), 0, groups);
    if (!m_inBytes)
        std::fill_n(m_sums.data(), columns, 0.0);
    const auto addToSums = [&](size_t column, int ones) { m_sums[column] += ones; };

    int waiting = 0; // lines in the groups
    for (int sourceLine = m_covered.first; sourceLine < m_covered.end; ++sourceLine) {
        const uint8_t *bits = m_lines.Line(sourceLine);
        if (!bits)
            return m_lines.status();
        grayKernels.addOnes[m_groupKind](m_groups.data(), bits, groups);
        if (++waiting == kMaxByte >> m_groupKind && !m_inBytes) {
            SumColumns(addToSums);
            memset(m_groups.data(), 0, groups);
            waiting = 0;
        }
    }
    if (!m_inBytes)
        SumColumns(addToSums);
    else if (!m_groupIsColumn)
        SumColumns([&](size_t column, int ones) { m_bytes[column] = uint8_t(ones); });
    return RESULT_SUCCESS;
}

// Columns of changing widths are differences of running sums, which costs no unforeseen branch for each.
template <class Take>
void Coverage::SumColumns(Take take)
{
    const int first = m_begins[0] >> m_groupKind, end = m_begins[size_t(m_columns.count())] >> m_groupKind;
    int sum = 0;
    for (int group = first; group < end; ++group) {
        m_running[size_t(group)] = sum;
        sum += m_groups[size_t(group)];
    }
    m_running[size_t(end)] = sum;
    for (int i = 0; i < m_columns.count(); ++i)
        take(size_t(i),
             m_running[size_t(End(i) >> m_groupKind)] - m_running[size_t(m_begins[size_t(i)] >> m_groupKind)]);
}

} // namespace vexo
