// Resampling: rows pass through one road of steps, each of which works on whole rows - read as 24 or 32 bits, filtered
// along the row, filtered between rows, converted or dithered back - so that no more than a few rows exist at a time
// and rows that lie in memory are used where they are.
#include "colour/colour.h"
#include "core/row_io.h"
#include "geometry/new_size.h"
#include "geometry/row_resampler.h"

#include <algorithm>
#include <cstring>

using namespace vexo;

namespace {

constexpr int64_t kMostRowBytes = 0x7FFFFFFF; // of the working format

// How rows are worked on: blue, green, red for palettised bitmaps, in their own order for the others.
struct WorkFormat {
    int bits; // 24 or 32
    int order;
    bool dithers; // on the way back
    RGBQUAD palette[256];

    explicit WorkFormat(const BitmapHandle *bitmap)
        : bits(bitmap->BitsPerPixel == 32 ? 32 : 24), order(bitmap->ColorOrder), dithers(false)
    {
        if (!IsPalettised(bitmap->BitsPerPixel))
            return;
        order = COLOR_ORDER_BGR;
        dithers = bitmap->BitsPerPixel != 8 || V_IsGrayScaleBitmap(bitmap) == GRAYSCALE_NO;
        ReadColors(bitmap, palette);
    }
    int pixelBytes() const { return bits / 8; }
};

// ---- Rows in ---------------------------------------------------------------------------------------------------

// The rows of the source in the working format and in the new width.
class NarrowedRows {
public:
    NarrowedRows(BitmapHandle *source, int newWidth, const WorkFormat &format)
        : m_source(source), m_format(format), m_converts(source->BitsPerPixel != format.bits),
          m_resamples(source->Width != newWidth), m_stored(DirectRows(source)),
          m_readBytes(V_CalcConvertSize(source->Width, source->BitsPerPixel, source->Width, format.bits)),
          m_row(m_resamples ? m_readBytes : 1), m_resampler(source->Width, newWidth, format.pixelBytes()),
          m_roomBytes(m_resamples ? size_t(newWidth) * size_t(format.pixelBytes()) : m_readBytes)
    {
    }
    explicit operator bool() const { return m_row && m_resampler; }

    // What Make needs for a row. Without a change of width that may be more than the pixels.
    size_t roomBytes() const { return m_roomBytes; }
    bool resamples() const { return m_resamples; }

    // Makes row y in `room`, or finds it in storage as it is.
    int Make(int y, uint8_t *room, const uint8_t **row)
    {
        const int status = Read(y, m_resamples ? m_row.data() : room, row);
        if (!Failed(status) && m_resamples) {
            m_resampler.Resample(room, *row);
            *row = room;
        }
        return status;
    }

private:
    int Read(int y, uint8_t *room, const uint8_t **pixels)
    {
        const uint8_t *stored = m_stored ? m_stored + size_t(m_source->BytesPerLine) * size_t(y) : nullptr;
        *pixels = stored && !m_converts ? stored : room;
        if (*pixels == stored)
            return RESULT_SUCCESS;
        int status = RESULT_SUCCESS;
        if (stored)
            memcpy(room, stored, size_t(m_source->BytesPerLine));
        else
            status = ReadRow(m_source, room, y);
        if (Failed(status) || !m_converts)
            return status;
        return V_ConvertBuffer(room, m_source->Width, m_source->BitsPerPixel, m_format.bits, m_source->ColorOrder,
                               m_format.order, m_format.palette, nullptr);
    }

    BitmapHandle *const m_source;
    const WorkFormat &m_format;
    const bool m_converts, m_resamples;
    const uint8_t *const m_stored;
    const size_t m_readBytes;
    Buffer<uint8_t> m_row;
    RowResampler m_resampler;
    const size_t m_roomBytes;
};

// ---- Rows out --------------------------------------------------------------------------------------------------

// The rows of the result: each is made in Place(row) in the working format and taken over by Store(row).
class ResultRows {
public:
    ResultRows(BitmapHandle *result, const WorkFormat &format)
        : m_result(result), m_format(format), m_converts(result->BitsPerPixel != format.bits), m_target(result),
          m_row(m_converts ? V_CalcConvertSize(result->Width, format.bits, result->Width, result->BitsPerPixel) : 1)
    {
    }
    ~ResultRows() { V_StopDithering(&m_ditherBase); }
    ResultRows(const ResultRows &) = delete;
    ResultRows &operator=(const ResultRows &) = delete;

    explicit operator bool() const { return m_target && m_row; }

    int Start(int ditherMode)
    {
        if (!m_format.dithers)
            return RESULT_SUCCESS;
        V_InitBitmap(&m_ditherBase, m_result->Width, m_result->Height, m_format.bits);
        m_ditherBase.DitherMode = ditherMode;
        return V_StartDithering(&m_ditherBase, m_format.palette, 1 << m_result->BitsPerPixel);
    }

    uint8_t *Place(int row) const { return m_converts ? m_row.data() : m_target.Row(row); }

    int Store(int row)
    {
        uint8_t *const place = m_target.Row(row);
        if (m_converts) {
            const int status = TurnBack(place);
            if (Failed(status))
                return status;
        }
        ClearRowPadding(place, m_result->Width, m_result->BitsPerPixel);
        return m_target.Write(row);
    }

private:
    int TurnBack(uint8_t *place)
    {
        if (m_format.dithers)
            return V_DitherLine(&m_ditherBase, m_row.data(), place);
        const int status = V_ConvertBuffer(m_row.data(), m_result->Width, m_format.bits, m_result->BitsPerPixel,
                                           m_format.order, m_result->ColorOrder, nullptr, m_format.palette);
        memcpy(place, m_row.data(), size_t(PackedBytes(m_result->Width, m_result->BitsPerPixel)));
        return status;
    }

    BitmapHandle *const m_result;
    const WorkFormat &m_format;
    const bool m_converts;
    RowWriter m_target;
    Buffer<uint8_t> m_row;
    BitmapHandle m_ditherBase = {}; // what the running state of dithering hangs on
};

// ---- Between rows ----------------------------------------------------------------------------------------------

// Means of groups of rows. Small groups are kept and averaged in one go; of large ones the sums are kept.
class RowShrinker {
public:
    RowShrinker(NarrowedRows *from, size_t rowBytes, int largestGroup)
        : m_from(from), m_rowBytes(rowBytes), m_keepsRows(largestGroup <= kMostMeanRows),
          m_rooms(uint64_t(from->roomBytes()) * unsigned(m_keepsRows ? std::max(largestGroup, 1) : 1)),
          m_sums(m_keepsRows ? 1 : rowBytes)
    {
    }
    explicit operator bool() const { return m_rooms && m_sums; }

    int MakeMean(uint8_t *destination, int first, int count)
    {
        if (count == 1)
            return CopyRow(destination, first);
        return m_keepsRows ? AverageRows(destination, first, count) : AddUpRows(destination, first, count);
    }

private:
    int CopyRow(uint8_t *destination, int y)
    {
        const uint8_t *row;
        const int status = m_from->Make(y, m_from->resamples() ? destination : m_rooms.data(), &row);
        if (!Failed(status) && row != destination)
            memcpy(destination, row, m_rowBytes);
        return status;
    }

    int AverageRows(uint8_t *destination, int first, int count)
    {
        const uint8_t *rows[kMostMeanRows];
        for (int i = 0; i < count; ++i)
            if (const int status = m_from->Make(first + i, &m_rooms[m_from->roomBytes() * size_t(i)], &rows[i]);
                Failed(status))
                return status;
        resampleKernels.meanRows(destination, rows, count, m_rowBytes);
        return RESULT_SUCCESS;
    }

    int AddUpRows(uint8_t *destination, int first, int count)
    {
        memset(m_sums.data(), 0, m_rowBytes * sizeof m_sums[0]);
        for (int i = 0; i < count; ++i) {
            const uint8_t *row;
            if (const int status = m_from->Make(first + i, m_rooms.data(), &row); Failed(status))
                return status;
            for (size_t byte = 0; byte < m_rowBytes; ++byte)
                m_sums[byte] += row[byte];
        }
        const MeanDivider divide{unsigned(count)};
        for (size_t byte = 0; byte < m_rowBytes; ++byte)
            destination[byte] = divide(m_sums[byte]);
        return RESULT_SUCCESS;
    }

    NarrowedRows *const m_from;
    const size_t m_rowBytes;
    const bool m_keepsRows;
    Buffer<uint8_t> m_rooms;
    Buffer<uint32_t> m_sums;
};

// Blends of two rows that lie one above the other.
class RowEnlarger {
public:
    RowEnlarger(NarrowedRows *from, size_t rowBytes, int sourceRows)
        : m_from(from), m_rowBytes(rowBytes), m_sourceRows(sourceRows), m_rooms{Room(from), Room(from)}
    {
    }
    explicit operator bool() const { return m_rooms[0] && m_rooms[1]; }

    int MakeBlend(uint8_t *destination, int a, int step, int steps)
    {
        const int status = MoveTo(a);
        if (Failed(status))
            return status;
        if (step == 0 || m_next == m_current)
            memcpy(destination, m_current, m_rowBytes);
        else
            (steps <= kMostBlendSteps ? resampleKernels : plainResampleKernels)
                .blendRows(destination, m_current, m_next, m_rowBytes, step, steps);
        return RESULT_SUCCESS;
    }

private:
    static Buffer<uint8_t> Room(const NarrowedRows *from) { return Buffer<uint8_t>(from->roomBytes()); }

    // Makes `a` the current row and the one behind it the next, in the other room; the last row is its own next.
    int MoveTo(int a)
    {
        if (a == m_row)
            return RESULT_SUCCESS;
        int status = RESULT_SUCCESS;
        if (m_row < 0)
            status = m_from->Make(0, m_rooms[0].data(), &m_next);
        m_row = a;
        m_current = m_next;
        if (!Failed(status) && a + 1 < m_sourceRows)
            status = m_from->Make(a + 1, m_rooms[(a + 1) % 2].data(), &m_next);
        return status;
    }

    NarrowedRows *const m_from;
    const size_t m_rowBytes;
    const int m_sourceRows;
    Buffer<uint8_t> m_rooms[2];
    int m_row = -1;
    const uint8_t *m_current = nullptr, *m_next = nullptr;
};

// ---- The operation ---------------------------------------------------------------------------------------------

// Stores row y, which has been made with the given status, and reports.
int FinishRow(ResultRows *to, int y, int status, Progress *progress)
{
    if (!Failed(status))
        status = to->Store(y);
    return Failed(status) ? status : progress->Step();
}

int ShrinkRows(NarrowedRows *from, ResultRows *to, size_t rowBytes, int oldHeight, int newHeight)
{
    RowShrinker shrinker(from, rowBytes, (oldHeight + newHeight - 1) / newHeight);
    if (!shrinker)
        return ERR_NO_MEMORY;
    Progress progress(newHeight);
    int status = progress.Start();
    Stepping walk = Stepping::Across(oldHeight, newHeight);
    for (int y = 0; y < newHeight && !Failed(status); ++y) {
        const int first = walk.position;
        walk.Advance();
        status = FinishRow(to, y, shrinker.MakeMean(to->Place(y), first, walk.position - first), &progress);
    }
    return status;
}

int EnlargeRows(NarrowedRows *from, ResultRows *to, size_t rowBytes, int oldHeight, int newHeight)
{
    RowEnlarger enlarger(from, rowBytes, oldHeight);
    if (!enlarger)
        return ERR_NO_MEMORY;
    Progress progress(newHeight);
    int status = progress.Start();
    if (!Failed(status))
        ForEachBlend(oldHeight, newHeight, [&](int y, int a, int step, int steps) {
            status = FinishRow(to, y, enlarger.MakeBlend(to->Place(y), a, step, steps), &progress);
            return !Failed(status);
        });
    return status;
}

int ResampleRows(BitmapHandle *source, BitmapHandle *result)
{
    const BitmapLock sourceLock(source), resultLock(result);
    const WorkFormat format(source);
    const int64_t rowBytes = (std::max(source->Width, result->Width) + int64_t(1)) * format.pixelBytes();
    if (rowBytes > kMostRowBytes)
        return ERR_NO_MEMORY;
    NarrowedRows from(source, result->Width, format);
    ResultRows to(result, format);
    if (!from || !to)
        return ERR_NO_MEMORY;
    const int status = to.Start(source->DitherMode);
    if (Failed(status))
        return status;
    const size_t newBytes = size_t(result->Width) * size_t(format.pixelBytes());
    const auto filter = result->Height > source->Height ? EnlargeRows : ShrinkRows;
    return filter(&from, &to, newBytes, source->Height, result->Height);
}

bool IsFactorTooLarge(int oldSize, int newSize)
{
    return newSize > 0 && (oldSize / newSize >= kMostFactor || newSize / oldSize >= kMostFactor);
}

} // namespace

int VEXO_CALL V_ResampleBitmap(BitmapHandle *bitmap, int newWidth, int newHeight)
{
    if (!IsAllocated(bitmap))
        return ERR_NO_BITMAP;
    if (IsFactorTooLarge(bitmap->Width, newWidth) || IsFactorTooLarge(bitmap->Height, newHeight))
        return ERR_INV_RANGE;
    PendingBitmap made;
    int status = StartNewSize(&made, bitmap, newWidth, newHeight);
    if (!Failed(status))
        status = ResampleRows(bitmap, made.record());
    return Failed(status) ? status : FinishNewSize(&made, bitmap);
}
