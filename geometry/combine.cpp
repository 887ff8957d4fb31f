// Combining a rectangle of one bitmap into another. The flag word is evaluated once to a truth table, which tells what
// must be read and whether bits or channels are combined; rows then go through one kernel, in place where they lie in
// memory.
#include "core/bit_copy.h"
#include "core/core.h"
#include "core/packed_pixels.h"
#include "core/row_io.h"
#include "geometry/combine_kernels.h"
#include "regions/region.h"

#include <algorithm>
#include <optional>

using namespace vexo;

namespace {

// ---- The flag word --------------------------------------------------------------------------------------------

constexpr unsigned kSourceBits = 0xC, kDestinationBits = 0xA, kAllOnes = 0xF; // truth values, bit 2 s + d

// What becomes of an operand or a result: the first two values of its field take it as it is or inverted, the other two
// make it constant.
constexpr unsigned Treated(unsigned table, unsigned treatment)
{
    switch (treatment) {
    case 0: return table;
    case 1: return table ^ kAllOnes;
    case 2: return 0;
    default: return kAllOnes;
    }
}

constexpr unsigned OperationTable(unsigned operation, unsigned d, unsigned s)
{
    switch (operation << 8) {
    case CMB_OP_AND:
    case CMB_OP_MULTIPLY:
    case CMB_OP_MINIMUM: return d & s;
    case CMB_OP_XOR: return d ^ s;
    case CMB_OP_SUBTRACT_SRC: return d & ~s;
    case CMB_OP_SUBTRACT_DST: return ~d & s;
    // Deliberate: at one bit a quotient is the dividend, although a divisor of 0 would give 1, and the average is OR,
    // although the arithmetic on 0 and 1 would give AND.
    case CMB_OP_DIVIDE_SRC: return d;
    case CMB_OP_DIVIDE_DST: return s;
    default: return d | s;
    }
}

constexpr bool IsConstant(unsigned table) { return table == 0 || table == kAllOnes; }
constexpr bool DependsOnSource(unsigned table) { return ((table >> 2 ^ table) & 3) != 0; }
constexpr bool DependsOnDestination(unsigned table) { return ((table >> 1 ^ table) & 5) != 0; }

// What a flag word asks for at one depth.
struct CombinePlan {
    bool usesChannels; // or bits
    bool readsSource;
    unsigned table;
    ChannelOperation operation;
    ChannelTreatment how;

    bool ChangesNothing() const { return !usesChannels && table == kDestinationBits; }
    bool CopiesSource() const { return !usesChannels && table == kSourceBits; }
};

// The treatment of an operand as what to keep of it and what to invert afterwards.
void SetTreatment(unsigned treatment, uint8_t top, uint8_t *keep, uint8_t *flip)
{
    *keep = treatment < 2 ? 0xFF : 0;
    *flip = treatment & 1 ? top : 0;
}

std::optional<CombinePlan> PlanOf(unsigned flags, int bits)
{
    const unsigned source = flags & 15, destination = flags >> 4 & 15, operation = flags >> 8 & 15,
                   result = flags >> 12;
    if (source > 3 || destination > 3 || operation > CMB_OP_MAXIMUM >> 8 || result > 3)
        return {};
    CombinePlan plan = {};
    plan.table = Treated(
        OperationTable(operation, Treated(kDestinationBits, destination), Treated(kSourceBits, source)) & kAllOnes,
        result);
    // A divisor of 0 makes a division depend on more than its table tells.
    const bool divides = operation == CMB_OP_DIVIDE_SRC >> 8 || operation == CMB_OP_DIVIDE_DST >> 8;
    const bool readsBoth = DependsOnSource(plan.table) && DependsOnDestination(plan.table);
    plan.usesChannels = bits > 1 && operation > CMB_OP_XOR >> 8 && (divides ? !IsConstant(plan.table) : readsBoth);
    plan.readsSource = plan.usesChannels ? source < 2 : DependsOnSource(plan.table);
    if (!plan.usesChannels)
        return plan;
    plan.operation = ChannelOperation(operation - (CMB_OP_ADD >> 8));
    plan.how.bits = bits == 16 ? 5 : std::min(bits, 8);
    plan.how.top = uint8_t((1 << plan.how.bits) - 1);
    SetTreatment(source, plan.how.top, &plan.how.sourceKeep, &plan.how.sourceFlip);
    SetTreatment(destination, plan.how.top, &plan.how.destinationKeep, &plan.how.destinationFlip);
    plan.how.resultFlip = result == 1 ? plan.how.top : 0;
    return plan;
}

// ---- The rectangle --------------------------------------------------------------------------------------------

// Two rectangles of one size, in the destination and in the source. Rows of the source count from its other end when
// the orientations differ.
struct CombineArea {
    int left, top, width, height;
    int sourceLeft, sourceTop;
    bool mirrored;

    int SourceRow(const BitmapHandle *source, int row) const
    {
        const int sourceRow = row - top + sourceTop;
        return mirrored ? source->Height - 1 - sourceRow : sourceRow;
    }
};

// Cuts one dimension of the rectangles to what the destination has from `first` to `limit` and the source from 0 to
// `sourceLimit`. False when nothing is left.
bool ClipSpan(int &start, int &sourceStart, int &length, int first, int limit, int sourceLimit)
{
    const int64_t before = std::max<int64_t>({0, int64_t(first) - start, -int64_t(sourceStart)});
    const int64_t end = std::min<int64_t>({length, int64_t(limit) - start, int64_t(sourceLimit) - sourceStart});
    if (before >= end)
        return false;
    start = int(start + before);
    sourceStart = int(sourceStart + before);
    length = int(end - before);
    return true;
}

// ---- Rows -----------------------------------------------------------------------------------------------------

class Combiner {
public:
    // A plan that does not read the source comes without one.
    Combiner(BitmapHandle *destination, BitmapHandle *source, const CombinePlan &plan, const CombineArea &area)
        : m_destination(destination), m_source(source), m_plan(plan), m_area(area),
          m_function(BitFunction::FromTable(plan.table)), m_bits(destination->BitsPerPixel), m_row(destination)
    {
        if (source) {
            m_sourceRow.emplace(source);
            if (DirectRows(source) && DirectRows(source) == DirectRows(destination))
                m_sourceCopy.emplace(size_t(source->BytesPerLine)); // what is combined with itself is read first
        }
        if (m_bits < 8) {
            m_work.emplace(size_t(destination->BytesPerLine));
            m_aligned.emplace(plan.usesChannels ? 2 * (uint64_t(unsigned(area.width)) + 8)
                                                : uint64_t(unsigned(destination->BytesPerLine)));
        }
    }

    explicit operator bool() const
    {
        const auto isGood = [](const auto &buffer) { return !buffer || *buffer; };
        return m_row && isGood(m_sourceRow) && isGood(m_sourceCopy) && isGood(m_work) && isGood(m_aligned);
    }

    int CombineRow(int row)
    {
        const int sourceRow = m_source ? m_area.SourceRow(m_source, row) : 0;
        bool any = false;
        ForEachRun(row, sourceRow, [&](int, int) { any = true; });
        if (!any)
            return RESULT_SUCCESS;
        uint8_t *pixels = nullptr;
        const uint8_t *sourcePixels = nullptr;
        int status = m_row.Edit(row, &pixels);
        if (!Failed(status) && m_source)
            status = FetchSource(sourceRow, &sourcePixels);
        if (Failed(status))
            return status;
        if (m_bits < 8)
            CombineIndices(pixels, sourcePixels, row, sourceRow);
        else
            CombineBytes(pixels, sourcePixels, row, sourceRow);
        return m_row.Write(row);
    }

private:
    // Calls visit(start, end) for the runs of the rectangle's columns that lie in the regions of both bitmaps.
    template <class Visit>
    void ForEachRun(int row, int sourceRow, Visit &&visit)
    {
        const int offset = m_area.left - m_area.sourceLeft;
        ForEachSegment(m_destination, row, m_area.left, m_area.left + m_area.width, [&](int start, int end) {
            if (!m_source || !m_source->Region)
                visit(start, end);
            else
                ForEachSegment(m_source, sourceRow, start - offset, end - offset,
                               [&](int from, int to) { visit(from + offset, to + offset); });
        });
    }

    int FetchSource(int row, const uint8_t **pixels)
    {
        const int status = m_sourceRow->Read(row, pixels);
        if (!Failed(status) && m_sourceCopy) {
            memcpy(m_sourceCopy->data(), *pixels, m_sourceCopy->size());
            *pixels = m_sourceCopy->data();
        }
        return status;
    }

    void CombineBytes(uint8_t *pixels, const uint8_t *sourcePixels, int row, int sourceRow)
    {
        const size_t pixelBytes = size_t(m_bits) / 8;
        ForEachRun(row, sourceRow, [&](int start, int end) {
            uint8_t *to = pixels + size_t(start) * pixelBytes;
            const uint8_t *from =
                m_source ? sourcePixels + size_t(start - m_area.left + m_area.sourceLeft) * pixelBytes : to;
            const size_t count = size_t(end - start);
            if (m_plan.CopiesSource())
                memcpy(to, from, count * pixelBytes);
            else if (!m_plan.usesChannels)
                combineKernels.bits(to, from, count * pixelBytes, m_function);
            else if (m_bits == 16)
                combineKernels.fields[m_plan.operation](to, from, count, m_plan.how);
            else
                combineKernels.bytes[m_plan.operation](to, from, count * pixelBytes, m_plan.how);
        });
    }

    // Pixels that share bytes are combined beside the row; the runs are copied from there bit by bit.
    void CombineIndices(uint8_t *pixels, const uint8_t *sourcePixels, int row, int sourceRow)
    {
        const size_t firstByte = size_t(int64_t(m_area.left) * m_bits / 8);
        const size_t bytes = size_t(PackedBytes(m_area.left + int64_t(m_area.width), m_bits)) - firstByte;
        if (m_plan.usesChannels) {
            WithIndexDepth(m_bits, [&](auto format) { CombineUnpacked(format, pixels, sourcePixels); });
        } else {
            memcpy(m_work->data() + firstByte, pixels + firstByte, bytes);
            if (m_source)
                CopyPixels(m_aligned->data(), m_area.left, sourcePixels, m_area.sourceLeft, m_area.width, m_bits);
            uint8_t *const work = m_work->data() + firstByte;
            combineKernels.bits(work, m_source ? m_aligned->data() + firstByte : work, bytes, m_function);
        }
        ForEachRun(row, sourceRow,
                   [&](int start, int end) { CopyPixels(pixels, start, m_work->data(), start, end - start, m_bits); });
    }

    // Unpacking begins at a group of eight pixels, which begins at a byte.
    template <class Format>
    void CombineUnpacked(Format format, const uint8_t *pixels, const uint8_t *sourcePixels)
    {
        const size_t left = size_t(m_area.left), sourceLeft = size_t(m_area.sourceLeft), width = size_t(m_area.width);
        const size_t byte = left / 8 * Format::kBits, before = left % 8, sourceBefore = sourceLeft % 8;
        uint8_t *const indices = m_aligned->data();
        uint8_t *const sourceIndices = indices + width + 8;
        format.Unpack(indices, pixels + byte, before + width);
        if (m_source)
            format.Unpack(sourceIndices, sourcePixels + sourceLeft / 8 * Format::kBits, sourceBefore + width);
        combineKernels.bytes[m_plan.operation](
            indices + before, m_source ? sourceIndices + sourceBefore : indices + before, width, m_plan.how);
        format.Pack(m_work->data() + byte, indices, before + width);
    }

    BitmapHandle *m_destination;
    BitmapHandle *m_source;
    CombinePlan m_plan;
    CombineArea m_area;
    BitFunction m_function;
    int m_bits;
    RowWriter m_row;
    std::optional<RowReader> m_sourceRow;
    std::optional<Buffer<uint8_t>> m_sourceCopy;
    std::optional<Buffer<uint8_t>> m_work, m_aligned; // below 8 bits: the combined row, and operands
};

} // namespace

int VEXO_CALL V_CombineBitmap(BitmapHandle *destination, int left, int top, int width, int height, BitmapHandle *source,
                              int sourceLeft, int sourceTop, unsigned flags)
{
    // Deliberate: a destination without storage is a bad parameter here.
    if (!IsAllocated(destination))
        return ERR_INV_PARAMETER;
    const std::optional<CombinePlan> plan = flags < 0x10000 ? PlanOf(flags, destination->BitsPerPixel) : std::nullopt;
    if (!plan)
        return ERR_INV_PARAMETER;
    if (!plan->readsSource)
        source = nullptr;
    else if (!IsAllocated(source) || source->BitsPerPixel != destination->BitsPerPixel)
        return ERR_INV_PARAMETER;
    CombineArea area = {left, top, width, height, source ? sourceLeft : 0, source ? sourceTop : 0, false};
    area.mirrored = source && source->Orientation != destination->Orientation;
    const RECT bounds = destination->Region ? destination->Region->Bounds : WholeRect(destination);
    const RECT sourceBounds = source ? WholeRect(source) : RECT{0, 0, INT_MAX, INT_MAX};
    if (plan->ChangesNothing() ||
        !ClipSpan(area.left, area.sourceLeft, area.width, bounds.left, bounds.right, sourceBounds.right) ||
        !ClipSpan(area.top, area.sourceTop, area.height, bounds.top, bounds.bottom, sourceBounds.bottom))
        return RESULT_SUCCESS;

    const BitmapLock lock(destination), sourceLock(source);
    Combiner combiner(destination, source, *plan, area);
    if (!combiner)
        return ERR_NO_MEMORY;
    Progress progress(area.height);
    int status = progress.Start();
    for (int row = area.top; row < area.top + area.height && !Failed(status); ++row) {
        status = combiner.CombineRow(row);
        if (!Failed(status))
            status = progress.Step();
    }
    return status;
}
