// Rotation by any angle, nearest pixels. Along a row of the result the place in the source moves on by the cosine and
// the sine, so the pixels whose source lies inside are one run, whose ends come from two divisions; inside it nothing
// is tested. Rows are painted in bands and columns of modest width, because neighbouring rows read the same cache
// lines.
#include "colour/colour.h"
#include "core/packed_pixels.h"
#include "geometry/rotation.h"
#include "geometry/row_bands.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace vexo {

namespace {

constexpr int kBandRows = 32;      // rows of the result that are painted together
constexpr int kChunkColumns = 128; // and columns
constexpr int kShift = 15;         // places in the source are in units of half a pixel / 16384
constexpr int kFraction = (1 << kShift) - 1;

// Places in the source for the pixels of the result: both pictures are turned about their middles, and a pixel is where
// its middle lies. Twice the distance from the middle of the picture is an integer, which makes the arithmetic exact:
// quarter turns move every pixel to where it belongs.
class SourcePlaces {
public:
    SourcePlaces(const BitmapHandle *result, const BitmapHandle *source, SineCosine angle)
        : m_sine(angle.sine), m_cosine(angle.cosine), m_resultWidth(result->Width), m_resultHeight(result->Height),
          m_middleColumn(int64_t(source->Width) << (kShift - 1)), m_middleRow(int64_t(source->Height) << (kShift - 1))
    {
    }

    int columnStep() const { return 2 * m_cosine; }
    int rowStep() const { return -2 * m_sine; }
    int64_t Column(int x, int y) const
    {
        return FromMiddle(x, m_resultWidth) * m_cosine + FromMiddle(y, m_resultHeight) * m_sine + m_middleColumn;
    }
    int64_t Row(int x, int y) const
    {
        return FromMiddle(y, m_resultHeight) * m_cosine - FromMiddle(x, m_resultWidth) * m_sine + m_middleRow;
    }

private:
    static int64_t FromMiddle(int position, int size) { return 2 * int64_t(position) + 1 - size; }

    int m_sine, m_cosine;
    int m_resultWidth, m_resultHeight;
    int64_t m_middleColumn, m_middleRow;
};

// ---- Runs -----------------------------------------------------------------------------------------------------

struct Run {
    int start, end;
};

constexpr int64_t DivideUp(int64_t value, int64_t divisor)
{
    return value >= 0 ? (value + divisor - 1) / divisor : -(-value / divisor);
}

// Cuts a run to the x for which low <= first + x * step < high.
void CutRun(Run *run, int64_t first, int step, int64_t low, int64_t high)
{
    if (step == 0) {
        if (first < low || first >= high)
            run->end = run->start;
        return;
    }
    if (step < 0) {
        const int64_t newLow = 1 - high;
        high = 1 - low;
        low = newLow;
        first = -first;
        step = -step;
    }
    run->start = int(std::clamp<int64_t>(DivideUp(low - first, step), run->start, run->end));
    run->end = int(std::clamp<int64_t>(DivideUp(high - first, step), run->start, run->end));
}

// ---- Pixels ---------------------------------------------------------------------------------------------------

template <int Bytes>
struct BytePixels {
    static constexpr int kPaintedBytes = Bytes;
    static constexpr bool kIsPacked = false;

    static void Copy(uint8_t *to, const uint8_t *row, int column)
    {
        memcpy(to, row + ptrdiff_t(column) * Bytes, Bytes);
    }
    // The same in one move, where a byte follows on both sides and the one behind the copy counts for nothing.
    static void CopyFreely(uint8_t *to, const uint8_t *row, int column)
    {
        memcpy(to, row + ptrdiff_t(column) * Bytes, Bytes == 3 ? 4 : Bytes);
    }
};

// Packed pixels are painted as a byte each.
template <class Format>
struct IndexPixels : Format {
    static constexpr int kPaintedBytes = 1;
    static constexpr bool kIsPacked = true;

    static void Copy(uint8_t *to, const uint8_t *row, int column) { *to = uint8_t(Format::Get(row, size_t(column))); }
    static void CopyFreely(uint8_t *to, const uint8_t *row, int column) { Copy(to, row, column); }
};

// A place in the source: whole pixels with parts of kFraction.
struct Place {
    int64_t column, row;
};

// Paints `count` pixels, at most kChunkColumns, from a place on, of which row 0 is at `rows`.
template <class Pixels, bool IsFree>
void PaintPixels(uint8_t *to, int count, const uint8_t *rows, ptrdiff_t stride, Place place, const SourcePlaces &places)
{
    const uint8_t *const firstRow = rows + ptrdiff_t(place.row >> kShift) * stride;
    const int firstColumn = int(place.column >> kShift), columnStep = places.columnStep(), rowStep = places.rowStep();
    int columnPart = int(place.column & kFraction), rowPart = int(place.row & kFraction);
    for (int i = 0; i < count; ++i, to += Pixels::kPaintedBytes) {
        const uint8_t *const row = firstRow + ptrdiff_t(rowPart >> kShift) * stride;
        if constexpr (IsFree)
            Pixels::CopyFreely(to, row, firstColumn + (columnPart >> kShift));
        else
            Pixels::Copy(to, row, firstColumn + (columnPart >> kShift));
        columnPart += columnStep;
        rowPart += rowStep;
    }
}

// The same, with `lastRow` the last one that can be read.
template <class Pixels>
void PaintChunk(uint8_t *to, int count, const uint8_t *rows, ptrdiff_t stride, int lastRow, Place place,
                const SourcePlaces &places)
{
    // Pixels before the last one are followed by others, and so are rows above the last.
    const int before = count - 1;
    const Place last = {place.column + int64_t(before) * places.columnStep(),
                        place.row + int64_t(before) * places.rowStep()};
    if (std::max(place.row, last.row) >> kShift >= lastRow)
        return PaintPixels<Pixels, false>(to, count, rows, stride, place, places);
    PaintPixels<Pixels, true>(to, before, rows, stride, place, places);
    PaintPixels<Pixels, false>(to + ptrdiff_t(before) * Pixels::kPaintedBytes, 1, rows, stride, last, places);
}

// ---- Rows -----------------------------------------------------------------------------------------------------

// Paints a result of one layout of pixels.
template <class Pixels>
class Painter {
public:
    // `fill` is a pixel as it is painted.
    Painter(BitmapHandle *result, BitmapHandle *source, SineCosine angle, const uint8_t *fill)
        : m_result(result), m_source(source), m_places(result, source, angle), m_window(source, WindowRows(source, 1)),
          m_band(result, kBandRows), m_fillRow(PaintedBytes(result->Width))
    {
        for (size_t x = 0; x < m_fillRow.size(); x += Pixels::kPaintedBytes)
            memcpy(m_fillRow.data() + x, fill, Pixels::kPaintedBytes);
        if (Pixels::kIsPacked)
            m_painted.emplace(uint64_t(PaintedBytes(result->Width)) * unsigned(std::min(result->Height, kBandRows)));
    }

    explicit operator bool() const { return m_window && m_band && m_fillRow && (!m_painted || *m_painted); }

    int Paint(Progress *progress)
    {
        int status = progress ? progress->Start() : RESULT_SUCCESS;
        for (int first = 0; first < m_source->Height && !Failed(status); first += m_window.capacity()) {
            const int count = std::min(m_source->Height - first, m_window.capacity());
            status = m_window.Open(first, count, true);
            for (int top = 0; top < m_result->Height && !Failed(status); top += kBandRows) {
                const int rows = std::min(m_result->Height - top, kBandRows);
                status = PaintBand(top, rows, {first, first + count});
                for (int i = 0; i < rows && progress && !Failed(status); ++i)
                    status = progress->Step();
            }
        }
        return status;
    }

private:
    static size_t PaintedBytes(int pixels) { return size_t(pixels) * Pixels::kPaintedBytes; }

    // Where a row of the open band is painted.
    uint8_t *PaintedRow(int top, int i) const
    {
        return Pixels::kIsPacked ? m_painted->data() + PaintedBytes(m_result->Width) * size_t(i) : m_band.Row(top + i);
    }

    // The pixels of a row whose source lies in some rows.
    Run RunOf(int y, Run sourceRows) const
    {
        Run run = {0, m_result->Width};
        CutRun(&run, m_places.Column(0, y), m_places.columnStep(), 0, int64_t(m_source->Width) << kShift);
        CutRun(&run, m_places.Row(0, y), m_places.rowStep(), int64_t(sourceRows.start) << kShift,
               int64_t(sourceRows.end) << kShift);
        return run;
    }

    // Paints what some rows of the source give to a band of the result. The first ones bring the fill colour, too.
    int PaintBand(int top, int count, Run sourceRows)
    {
        const bool isFirst = sourceRows.start == 0;
        const int status = m_band.Open(top, count, !isFirst);
        if (Failed(status))
            return status;
        Run runs[kBandRows];
        for (int i = 0; i < count; ++i) {
            runs[i] = RunOf(top + i, sourceRows);
            uint8_t *const row = PaintedRow(top, i);
            if (isFirst) {
                memcpy(row, m_fillRow.data(), PaintedBytes(runs[i].start));
                memcpy(row + PaintedBytes(runs[i].end), m_fillRow.data(), PaintedBytes(m_result->Width - runs[i].end));
            } else if constexpr (Pixels::kIsPacked) {
                Pixels::Unpack(row, m_band.Row(top + i), size_t(m_result->Width));
            }
        }
        PaintRuns(top, count, runs, sourceRows);
        for (int i = 0; i < count; ++i) {
            uint8_t *const row = m_band.Row(top + i);
            if constexpr (Pixels::kIsPacked)
                Pixels::Pack(row, PaintedRow(top, i), size_t(m_result->Width));
            ClearRowPadding(row, m_result->Width, m_result->BitsPerPixel);
        }
        return m_band.Write();
    }

    void PaintRuns(int top, int count, const Run *runs, Run sourceRows)
    {
        for (int left = 0; left < m_result->Width; left += kChunkColumns)
            for (int i = 0; i < count; ++i) {
                const int start = std::max(runs[i].start, left), end = std::min(runs[i].end, left + kChunkColumns);
                if (start < end)
                    PaintChunk<Pixels>(PaintedRow(top, i) + PaintedBytes(start), end - start,
                                       m_window.Row(sourceRows.start), m_window.stride(),
                                       sourceRows.end - sourceRows.start - 1,
                                       {m_places.Column(start, top + i),
                                        m_places.Row(start, top + i) - (int64_t(sourceRows.start) << kShift)},
                                       m_places);
            }
    }

    BitmapHandle *m_result;
    BitmapHandle *m_source;
    SourcePlaces m_places;
    RowBand m_window, m_band;
    Buffer<uint8_t> m_fillRow;
    std::optional<Buffer<uint8_t>> m_painted; // a band of packed pixels, unpacked
};

template <class Pixels>
int PaintRows(BitmapHandle *result, BitmapHandle *source, SineCosine angle, const uint8_t *fill, Progress *progress)
{
    Painter<Pixels> painter(result, source, angle, fill);
    return painter ? painter.Paint(progress) : ERR_NO_MEMORY;
}

} // namespace

SineCosine SineCosineOf(int angle)
{
    // Of a quarter turn, so that the values of the others are the same ones to the last bit.
    const auto quarterSine = [](int hundredths) {
        return int(std::lround(16384.0 * std::sin(hundredths * (3.14159265358979323846 / kHalfTurn))));
    };
    angle %= kFullTurn;
    if (angle < 0)
        angle += kFullTurn;
    const int within = angle % kQuarterTurn;
    const int rising = quarterSine(within), falling = quarterSine(kQuarterTurn - within);
    switch (angle / kQuarterTurn) {
    case 0: return {rising, falling};
    case 1: return {falling, -rising};
    case 2: return {-rising, -falling};
    default: return {-falling, rising};
    }
}

int RotateSteps(const BitmapHandle *result, const BitmapHandle *source)
{
    const int windowRows = DirectRows(source) ? source->Height : WindowRows(source, 1);
    const int64_t windows = (source->Height + windowRows - 1) / windowRows;
    return int(std::min<int64_t>(windows * result->Height, INT32_MAX));
}

int RotateRows(BitmapHandle *result, BitmapHandle *source, SineCosine angle, COLORREF fill, Progress *progress)
{
    uint8_t pixel[4] = {};
    FillRowWithColor(source, fill, pixel, 1);
    switch (source->BitsPerPixel) {
    case 8: return PaintRows<BytePixels<1>>(result, source, angle, pixel, progress);
    case 16: return PaintRows<BytePixels<2>>(result, source, angle, pixel, progress);
    case 24: return PaintRows<BytePixels<3>>(result, source, angle, pixel, progress);
    case 32: return PaintRows<BytePixels<4>>(result, source, angle, pixel, progress);
    default:
        return WithIndexDepth(source->BitsPerPixel, [&](auto format) {
            pixel[0] = uint8_t(format.Get(pixel, 0));
            return PaintRows<IndexPixels<decltype(format)>>(result, source, angle, pixel, progress);
        });
    }
}

} // namespace vexo
