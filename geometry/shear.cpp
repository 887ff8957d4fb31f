// Shearing. Every row moves along by its own number of pixels, or every column by its own number of rows. Both go from
// the bitmap to a new one at once, without turning or mirroring either. Columns that move alike are copied together,
// and a band of rows goes through a strip of columns at a time, so that few rows are touched at once.
#include "colour/colour.h"
#include "core/bit_copy.h"
#include "core/row_io.h"
#include "geometry/new_size.h"
#include "geometry/rotation.h"
#include "geometry/row_sampler.h"
#include "regions/region.h"

#include <algorithm>
#include <cstring>

using namespace vexo;

namespace {

constexpr int kSteepest = 4500;
// Deliberate: wider results are refused, whatever a bitmap could hold.
constexpr int kMostRowBytes = 32768;
constexpr int kBand = 32;  // rows
constexpr int kStrip = 64; // runs of columns

// The shifts of a number of lines: none for the first one, or for the last one with a negative angle.
class Shear {
public:
    Shear(int angle, int lines) : m_negative(angle < 0)
    {
        const SineCosine of = SineCosineOf(m_negative ? -angle : angle);
        m_slope = {0, 0, of.sine / of.cosine, unsigned(of.sine % of.cosine), unsigned(of.cosine)};
        m_growth = m_slope.PositionAfter(lines);
    }
    // What the picture grows by: the shift of one more line.
    int64_t growth() const { return m_growth; }
    int ShiftOf(int line) const
    {
        const int64_t shift = m_slope.PositionAfter(line);
        return int(m_negative ? m_growth - shift : shift);
    }

private:
    bool m_negative;
    Stepping m_slope;
    int64_t m_growth;
};

bool IsUpward(const BitmapHandle *bitmap) { return bitmap->Orientation == ORIENT_BOTTOM_UP; }

// Lines are counted from the bottom of the picture.
int ShiftOfRow(const BitmapHandle *bitmap, const Shear &shear, int row)
{
    return shear.ShiftOf(IsUpward(bitmap) ? row : bitmap->Height - 1 - row);
}

// Columns are counted from the right and move up, which is to higher stored rows in an upward bitmap only. The shift is
// that from the same stored row of the new bitmap.
int ShiftOfColumn(const BitmapHandle *bitmap, const Shear &shear, int column)
{
    const int up = shear.ShiftOf(bitmap->Width - 1 - column);
    return IsUpward(bitmap) ? up : int(shear.growth()) - up;
}

// A row of the fill colour, padded with zeros.
class FillRow {
public:
    FillRow(const BitmapHandle *bitmap, COLORREF color)
        : m_row(size_t(bitmap->BytesPerLine), Buffer<uint8_t>::Fill::Zero)
    {
        if (!m_row)
            return;
        FillRowWithColor(bitmap, color, m_row.data(), size_t(bitmap->Width));
        const int64_t bits = int64_t(bitmap->Width) * bitmap->BitsPerPixel;
        if (bits % 8)
            m_row[size_t(bits / 8)] &= uint8_t(0xFF00 >> bits % 8);
    }
    explicit operator bool() const { return bool(m_row); }
    void CopyTo(uint8_t *row) const { memcpy(row, m_row.data(), m_row.size()); }

private:
    Buffer<uint8_t> m_row;
};

// ---- Rows that move along -------------------------------------------------------------------------------------

int ShearRows(BitmapHandle *source, BitmapHandle *result, const Shear &shear, COLORREF fillColor)
{
    const BitmapLock sourceLock(source), resultLock(result);
    RowReader from(source);
    RowWriter to(result);
    const FillRow fill(result, fillColor);
    if (!from || !to || !fill)
        return ERR_NO_MEMORY;
    Progress progress(source->Height);
    int status = progress.Start();
    for (int row = 0; row < source->Height && !Failed(status); ++row) {
        const uint8_t *pixels;
        status = from.Read(row, &pixels);
        if (Failed(status))
            break;
        uint8_t *const place = to.Row(row);
        fill.CopyTo(place);
        CopyPixels(place, ShiftOfRow(source, shear, row), pixels, 0, source->Width, source->BitsPerPixel);
        status = to.Write(row);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}

int ShearRegionRows(BitmapHandle *result, const BitmapHandle *source, const Shear &shear)
{
    RegionBuilder builder(0, source->Height);
    for (int row = 0; row < source->Height; ++row) {
        const int shift = ShiftOfRow(source, shear, row);
        ForEachSegment(source, row, 0, source->Width,
                       [&](int start, int end) { builder.Add(start + shift, end + shift); });
        builder.EndRow();
    }
    result->Region = builder.Finish();
    return result->Region ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

// ---- Columns that move up or down -----------------------------------------------------------------------------

// Neighbouring columns with the same shift.
struct ColumnRun {
    int first, end, shift;
};

class ColumnRuns {
public:
    ColumnRuns(const BitmapHandle *bitmap, const Shear &shear) : m_runs(size_t(bitmap->Width))
    {
        for (int x = 0; m_runs && x < bitmap->Width; ++x) {
            const int shift = ShiftOfColumn(bitmap, shear, x);
            if (m_count > 0 && m_runs[m_count - 1].shift == shift)
                m_runs[m_count - 1].end = x + 1;
            else
                m_runs[m_count++] = {x, x + 1, shift};
        }
    }
    explicit operator bool() const { return bool(m_runs); }
    std::span<const ColumnRun> all() const { return std::span<const ColumnRun>(m_runs.data(), m_count); }

private:
    Buffer<ColumnRun> m_runs;
    size_t m_count = 0;
};

// The rows of the result while source rows are put into them: in the bitmap's memory, or in a ring that holds as many
// rows as a band of source rows reaches.
class OpenRows {
public:
    OpenRows(BitmapHandle *result, int reach)
        : m_result(result), m_rows(DirectRows(result)), m_count(reach),
          m_ring(m_rows ? 1 : uint64_t(unsigned(reach)) * unsigned(result->BytesPerLine))
    {
    }
    explicit operator bool() const { return bool(m_ring); }

    uint8_t *Row(int row) const
    {
        const size_t bytes = size_t(m_result->BytesPerLine);
        return m_rows ? m_rows + size_t(row) * bytes : m_ring.data() + size_t(row % m_count) * bytes;
    }
    int Write(int row) { return m_rows ? RESULT_SUCCESS : WriteRow(m_result, Row(row), row); }

private:
    BitmapHandle *m_result;
    uint8_t *m_rows;
    int m_count;
    Buffer<uint8_t> m_ring;
};

class ColumnShear {
public:
    ColumnShear(BitmapHandle *source, BitmapHandle *result, const Shear &shear, COLORREF fillColor)
        : m_source(source), m_result(result), m_growth(int(shear.growth())), m_direct(DirectRows(source)),
          m_band(m_direct ? 1 : uint64_t(kBand) * unsigned(source->BytesPerLine)), m_open(result, m_growth + kBand),
          m_runs(source, shear), m_fill(result, fillColor), m_progress(result->Height)
    {
    }
    explicit operator bool() const { return m_band && m_open && m_runs && m_fill; }

    int Run()
    {
        int status = m_progress.Start();
        int filled = 0;
        for (int row = 0; row < m_source->Height && !Failed(status); row += kBand) {
            const int end = std::min(row + kBand, m_source->Height);
            status = ReadBand(row, end);
            if (Failed(status))
                break;
            for (; filled < end + m_growth; ++filled)
                m_fill.CopyTo(m_open.Row(filled));
            CopyBand(row, end);
            status = WriteRows(row, end == m_source->Height ? m_result->Height : end);
        }
        return status;
    }

private:
    int ReadBand(int first, int end)
    {
        const size_t bytes = size_t(m_source->BytesPerLine);
        int status = RESULT_SUCCESS;
        for (int row = first; row < end && !Failed(status); ++row) {
            uint8_t *const place = m_direct ? m_direct + size_t(row) * bytes : &m_band[size_t(row - first) * bytes];
            m_bandRows[row - first] = place;
            if (!m_direct)
                status = ReadRow(m_source, place, row);
        }
        return status;
    }

    void CopyBand(int first, int end)
    {
        switch (m_source->BitsPerPixel) {
        case 8: CopyStrips<1>(first, end); break;
        case 16: CopyStrips<2>(first, end); break;
        case 24: CopyStrips<3>(first, end); break;
        case 32: CopyStrips<4>(first, end); break;
        default: CopyStrips<0>(first, end); break; // parts of bytes
        }
    }

    template <size_t PixelBytes>
    void CopyStrips(int first, int end)
    {
        const std::span<const ColumnRun> runs = m_runs.all();
        for (size_t strip = 0; strip < runs.size(); strip += kStrip) {
            const auto some = runs.subspan(strip, std::min(runs.size() - strip, size_t(kStrip)));
            for (int row = first; row < end; ++row)
                for (const ColumnRun &run : some)
                    CopyRun<PixelBytes>(m_open.Row(row + run.shift), m_bandRows[row - first], run);
        }
    }

    template <size_t PixelBytes>
    void CopyRun(uint8_t *to, const uint8_t *from, const ColumnRun &run) const
    {
        const size_t offset = size_t(run.first) * PixelBytes;
        if (PixelBytes == 0)
            CopyPixels(to, run.first, from, run.first, run.end - run.first, m_source->BitsPerPixel);
        else if (run.end - run.first == 1)
            memcpy(to + offset, from + offset, PixelBytes);
        else
            memcpy(to + offset, from + offset, size_t(run.end - run.first) * PixelBytes);
    }

    int WriteRows(int first, int end)
    {
        int status = RESULT_SUCCESS;
        for (int row = first; row < end && !Failed(status); ++row) {
            status = m_open.Write(row);
            if (!Failed(status))
                status = m_progress.Step();
        }
        return status;
    }

    BitmapHandle *const m_source, *const m_result;
    const int m_growth;
    uint8_t *const m_direct;
    Buffer<uint8_t> m_band;
    OpenRows m_open;
    const ColumnRuns m_runs;
    const FillRow m_fill;
    Progress m_progress;
    const uint8_t *m_bandRows[kBand];
};

int ShearColumns(BitmapHandle *source, BitmapHandle *result, const Shear &shear, COLORREF fillColor)
{
    const BitmapLock sourceLock(source), resultLock(result);
    ColumnShear work(source, result, shear, fillColor);
    return work ? work.Run() : ERR_NO_MEMORY;
}

int ShearRegionColumns(BitmapHandle *result, const BitmapHandle *source, const Shear &shear)
{
    const ColumnRuns runs(source, shear);
    if (!runs)
        return ERR_NO_MEMORY;
    RegionBuilder builder(0, result->Height);
    for (int row = 0; row < result->Height; ++row) {
        for (const ColumnRun &run : runs.all()) {
            const std::span<const int> values = RowSegments(*source->Region, row - run.shift);
            // The segment that holds the first column, or the first one behind it.
            const size_t behind = size_t(std::upper_bound(values.begin(), values.end(), run.first) - values.begin());
            for (size_t i = behind & ~size_t(1); i < values.size() && values[i] < run.end; i += 2)
                builder.Add(std::max(values[i], run.first), std::min(values[i + 1], run.end));
        }
        builder.EndRow();
    }
    result->Region = builder.Finish();
    return result->Region ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

} // namespace

int VEXO_CALL V_ShearBitmap(BitmapHandle *bitmap, int angle, int horizontal, COLORREF fillColor)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (angle < -kSteepest || angle > kSteepest)
        return ERR_INV_PARAMETER;
    const Shear shear(angle, horizontal ? bitmap->Height : bitmap->Width);
    const int64_t width = bitmap->Width + (horizontal ? shear.growth() : 0);
    const int64_t height = bitmap->Height + (horizontal ? 0 : shear.growth());
    // Columns are held to the same limit as rows.
    if ((horizontal ? width : height) * bitmap->BitsPerPixel / 8 > kMostRowBytes)
        return ERR_INV_RANGE;
    PendingBitmap made;
    int status = StartNewSize(&made, bitmap, int(width), int(height));
    if (!Failed(status))
        status = (horizontal ? ShearRows : ShearColumns)(bitmap, made.record(), shear, fillColor);
    if (!Failed(status) && bitmap->Region)
        status = (horizontal ? ShearRegionRows : ShearRegionColumns)(made.record(), bitmap, shear);
    if (!Failed(status))
        made.CommitTo(bitmap);
    return status;
}
