// Gray and black-preserving rows of 1-bit bitmaps. Lines alias badly when whole pixels are dropped; shares of black do
// not.
#include "display/gray_rows.h"

#include "display/picture_rows.h"
#include "display/rectangles.h"

namespace vexo {

namespace {

// 255 - black * 255 / total, rounded as integers are. A product that a double holds exactly never rounds up to a whole
// quotient.
uint8_t Level(double black, double total) { return uint8_t(255 - int(black * 255 / total)); }

} // namespace

// ---- Not scaled -----------------------------------------------------------------------------------------------

GrayRows::GrayRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne)
    : m_mapping(mapping), m_count(columns.count()), m_flip(blackIsOne ? 255 : 0),
      m_lines(bitmap, {nullptr, 0}, int(mapping.x.SourceOf(columns.first)),
              int(mapping.x.SourceOf(columns.end - 1)) + 1),
      m_firstPixel(int(mapping.x.SourceOf(columns.first)) - m_lines.firstColumn()),
      m_bits(size_t(PackedBytes(m_count, 1)))
{
}

int GrayRows::Make(uint8_t *row, int line)
{
    const uint8_t *bits = m_lines.Line(int(m_mapping.y.SourceOf(line)));
    if (!bits)
        return m_lines.status();
    CopyPackedPixels(m_bits.data(), bits, m_firstPixel, m_count, 1);
    grayKernels.expand(row, m_bits.data(), size_t(m_count), m_flip);
    return RESULT_SUCCESS;
}

// ---- Smaller --------------------------------------------------------------------------------------------------

GrayShrinkRows::GrayShrinkRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne)
    : m_count(columns.count()), m_narrow(mapping.x.from / mapping.x.to), m_blackIsOne(blackIsOne),
      m_coverage(bitmap, mapping, columns), m_scales{GrayScale(1, blackIsOne), GrayScale(1, blackIsOne)}
{
}

const GrayScale &GrayShrinkRows::ScaleFor(int kind, int total)
{
    if (m_scales[kind].total != total)
        m_scales[kind] = GrayScale(total, m_blackIsOne);
    return m_scales[kind];
}

int GrayShrinkRows::Make(uint8_t *row, int line)
{
    const int status = m_coverage.Count(line);
    if (Failed(status))
        return status;
    if (!m_coverage.isInBytes()) {
        for (int i = 0; i < m_count; ++i) {
            const double total = m_coverage.total(i), ones = m_coverage.ones(i);
            row[i] = Level(m_blackIsOne ? ones : total - ones, total);
        }
        return RESULT_SUCCESS;
    }
    const uint8_t *ones = m_coverage.bytes();
    const GrayScale &narrow = ScaleFor(0, m_narrow * m_coverage.lines());
    if (m_coverage.isUniform()) {
        grayKernels.toLevels(row, ones, size_t(m_count), narrow);
        return RESULT_SUCCESS;
    }
    const GrayScale *const scales[] = {&narrow, &ScaleFor(1, std::min(narrow.total + m_coverage.lines(), 255))};
    for (int i = 0; i < m_count - 1; ++i)
        row[i] = scales[m_coverage.width(i) - m_narrow]->level[ones[i]];
    // The bitmap's edge may cut the last one.
    const int last = m_count - 1, total = m_coverage.width(last) * m_coverage.lines();
    row[last] = Level(m_blackIsOne ? ones[last] : total - ones[last], total);
    return RESULT_SUCCESS;
}

// ---- Larger ---------------------------------------------------------------------------------------------------

GrayBlendRows::GrayBlendRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne)
    : m_mapping(mapping), m_count(columns.count()), m_width(bitmap->Width), m_height(bitmap->Height),
      m_blackIsOne(blackIsOne), m_lines(bitmap, {nullptr, 0}, int(mapping.x.SourceOf(columns.first)),
                                        int(std::min<int64_t>(mapping.x.SourceOf(columns.end) + 1, bitmap->Width))),
      m_covers(size_t(m_count)), m_weighed{WeightedLine(m_count), WeightedLine(m_count)}, m_sums(size_t(m_count))
{
    if (*this)
        MeasureColumns(columns);
}

GrayBlendRows::operator bool() const { return m_lines && m_covers && m_weighed[0].ones && m_weighed[1].ones && m_sums; }

namespace {

// How much of source pixel `pixel` of an axis, counted from its start, destination pixel i covers.
int CoveredPart(const PaintAxis &axis, int i, int64_t pixel)
{
    const int64_t begin = int64_t(i) * axis.from, pixelBegin = pixel * axis.to;
    return int(std::min(begin + axis.from, pixelBegin + axis.to) - std::max(begin, pixelBegin));
}

// The last source pixel that destination pixel i covers any part of, counted from the start of the axis.
int64_t LastCovered(const PaintAxis &axis, int i) { return (int64_t(i + 1) * axis.from - 1) / axis.to; }

} // namespace

void GrayBlendRows::MeasureColumns(Span columns)
{
    const PaintAxis &x = m_mapping.x;
    for (int i = columns.first; i < columns.end; ++i) {
        const int64_t first = x.SourceOf(i) - x.start, last = std::min(LastCovered(x, i), m_width - 1 - x.start);
        Cover &cover = m_covers[size_t(i - columns.first)];
        cover.first = int(first + x.start) - m_lines.firstColumn();
        cover.last = int(last + x.start) - m_lines.firstColumn();
        cover.firstWeight = CoveredPart(x, i, first);
        cover.lastWeight = last > first ? CoveredPart(x, i, last) : 0;
        cover.total = cover.firstWeight + cover.lastWeight;
        if (last > first + 1)
            cover.total += int((last - first - 1) * x.to);
    }
}

const GrayBlendRows::WeightedLine *GrayBlendRows::Weigh(int sourceLine)
{
    for (const WeightedLine &weighed : m_weighed)
        if (weighed.line == sourceLine)
            return &weighed;
    WeightedLine &weighed = m_weighed[m_nextWeighed];
    m_nextWeighed ^= 1;
    weighed.line = -1;
    const uint8_t *bits = m_lines.Line(sourceLine);
    if (!bits)
        return nullptr;
    const auto bit = [&](int column) { return bits[unsigned(column) / 8] >> (7 - unsigned(column) % 8) & 1; };
    const Cover *covers = m_covers.data();
    double *ones = weighed.ones.data();
    for (int i = 0; i < m_count; ++i) {
        const Cover &cover = covers[i];
        int between = 0;
        for (int column = cover.first + 1; column < cover.last; ++column)
            between += bit(column);
        ones[i] = bit(cover.first) * cover.firstWeight + bit(cover.last) * cover.lastWeight +
                  double(between) * m_mapping.x.to;
    }
    weighed.line = sourceLine;
    return &weighed;
}

// Every column but the last, which the bitmap's edge may cut, covers the same area, so that one division serves a line.
// Half a unit more keeps the rounding of the reciprocal from reaching the next quotient.
void GrayBlendRows::BlendLines(uint8_t *row, double totalWeight) const
{
    const double total = m_mapping.x.from * totalWeight, scale = 1 / total;
    const double offset = m_blackIsOne ? 0 : total, sign = m_blackIsOne ? 1 : -1;
    const double *ones = m_sums.data();
    const int last = m_count - 1;
    for (int i = 0; i < last; ++i)
        row[i] = uint8_t(255 - int(((offset + sign * ones[i]) * 255 + 0.5) * scale));
    const double lastTotal = m_covers[size_t(last)].total * totalWeight;
    row[last] = Level(m_blackIsOne ? ones[last] : lastTotal - ones[last], lastTotal);
}

int GrayBlendRows::Make(uint8_t *row, int line)
{
    const PaintAxis &y = m_mapping.y;
    const int64_t first = y.SourceOf(line) - y.start, last = std::min(LastCovered(y, line), m_height - 1 - y.start);
    const int sourceLine = int(first + y.start);
    if (first == last && m_lastRow && m_lastLine == sourceLine) {
        memcpy(row, m_lastRow, size_t(m_count));
        return RESULT_SUCCESS;
    }
    double totalWeight = 0;
    for (int64_t covered = first; covered <= last; ++covered) {
        const WeightedLine *weighed = Weigh(int(covered + y.start));
        if (!weighed)
            return m_lines.status();
        const double weight = first == last ? 1 : CoveredPart(y, line, covered);
        const double *ones = weighed->ones.data();
        double *sums = m_sums.data();
        for (int i = 0; i < m_count; ++i)
            sums[i] = weight * ones[i] + (covered > first ? sums[i] : 0);
        totalWeight += weight;
    }
    BlendLines(row, totalWeight);
    m_lastLine = sourceLine;
    m_lastRow = first == last ? row : nullptr;
    return RESULT_SUCCESS;
}

// ---- Black kept -----------------------------------------------------------------------------------------------

namespace {

// The black pixels that make a destination pixel black: about one line's width of those it covers.
int BlackThreshold(const PaintMapping &mapping)
{
    const int64_t across = std::max(mapping.x.from / mapping.x.to, 1),
                  down = std::max(mapping.y.from / mapping.y.to, 1);
    const int root = IntegerSquareRoot(int(std::min<int64_t>(across * down, 0x7FFFFFFF)));
    return std::max(root < 5 ? root - 1 : root, 1);
}

} // namespace

BlackRows::BlackRows(BitmapHandle *bitmap, const PaintMapping &mapping, Span columns, bool blackIsOne)
    : m_count(columns.count()), m_blackIsOne(blackIsOne), m_threshold(BlackThreshold(mapping)),
      m_coverage(bitmap, mapping, columns)
{
}

int BlackRows::Make(uint8_t *row, int line)
{
    if (m_lastRow && m_coverage.IsSameAs(line, m_lastLine)) {
        memcpy(row, m_lastRow, size_t(PackedBytes(m_count, 1)));
        return RESULT_SUCCESS;
    }
    const int status = m_coverage.Count(line);
    if (Failed(status))
        return status;
    const uint8_t *bytes = m_coverage.isInBytes() ? m_coverage.bytes() : nullptr;
    memset(row, 0, size_t(PackedBytes(m_count, 1)));
    for (int i = 0; i < m_count; ++i) {
        const double ones = bytes ? bytes[i] : m_coverage.ones(i);
        const bool isBlack = (m_blackIsOne ? ones : m_coverage.total(i) - ones) >= m_threshold;
        row[i / 8] |= uint8_t((isBlack == m_blackIsOne) << (7 - i % 8));
    }
    m_lastLine = line;
    m_lastRow = row;
    return RESULT_SUCCESS;
}

} // namespace vexo
