// Set operations on regions. A row is a list of columns at which its pixels change between out and in; two rows are
// walked like a merge of sorted lists, and the result gets a column wherever the operation's truth changes. It is
// linear in the columns, and segments that would touch come out as one.
#include "regions/shape_builder.h"

namespace vexo {

namespace {

// A set operation: bit (old in) + 2 * (new in) of `truth` tells whether a pixel is in.
struct Operation {
    unsigned truth;

    constexpr bool keepsOld() const { return truth >> 1 & 1; } // where only old is in
    constexpr bool keepsNew() const { return truth >> 2 & 1; }
    constexpr bool keepsBoth() const { return truth >> 3 & 1; } // where both are
};

// One side of an operation: a region, or a bitmap's rectangle, whose rows are all the same.
class Operand {
public:
    explicit Operand(const BitmapRegion &region)
        : m_top(region.Bounds.top), m_bottom(region.Bounds.bottom), m_values(region.SegmentDataSize / sizeof(int)),
          m_rows(region.RowTable), m_rowStep(1), m_data(region.SegmentData)
    {
    }
    explicit Operand(const BitmapHandle *whole)
        : m_top(0), m_bottom(whole->Width > 0 ? std::max(whole->Height, 0) : 0), m_rows(&m_wholeRow), m_rowStep(0),
          m_data(m_columns), m_columns{0, whole->Width}
    {
    }
    Operand(const Operand &) = delete;
    Operand &operator=(const Operand &) = delete;

    int top() const { return m_top; }
    int bottom() const { return m_bottom; }
    // Of some of the rows.
    uint64_t MostValues(int rows) const { return m_rowStep ? m_values : 2 * uint64_t(rows); }

    // The rows, as long as the operand lives.
    auto Rows() const
    {
        return [top = m_top, count = unsigned(m_bottom - m_top), rows = m_rows, step = m_rowStep,
                data = m_data](int row) -> std::span<const int> {
            const unsigned index = unsigned(row) - unsigned(top);
            if (index >= count)
                return {};
            const RegionRow &entry = rows[index * step];
            return {data + entry.Offset / sizeof(int), entry.Count};
        };
    }

private:
    int m_top, m_bottom;
    size_t m_values = 0; // of a region
    const RegionRow *m_rows;
    unsigned m_rowStep; // from entry to entry
    const int *m_data;
    RegionRow m_wholeRow = {2, 0};
    int m_columns[2] = {};
};

int *CopyRow(std::span<const int> row, bool kept, int *out)
{
    return kept ? std::copy(row.begin(), row.end(), out) : out;
}

// Two rows of one segment each that overlap, the usual case, without a loop: one of them begins alone, then both are
// in, and one of them is left alone at the end. A part without columns counts as out.
template <Operation kOperation>
int *CombineSegments(const int *old, const int *made, int *out)
{
    constexpr bool keepsOld = kOperation.keepsOld(), keepsNew = kOperation.keepsNew();
    constexpr bool keepsBoth = kOperation.keepsBoth();
    const bool first = (keepsOld & (old[0] < made[0])) | (keepsNew & (made[0] < old[0]));
    const bool last = (keepsOld & (old[1] > made[1])) | (keepsNew & (made[1] > old[1]));
    *out = std::min(old[0], made[0]);
    out += first;
    *out = std::max(old[0], made[0]);
    out += first ^ keepsBoth;
    *out = std::min(old[1], made[1]);
    out += keepsBoth ^ last;
    *out = std::max(old[1], made[1]);
    return out + last;
}

template <Operation kOperation>
int *CombineLists(std::span<const int> old, std::span<const int> made, int *out)
{
    const int *a = old.data(), *const aEnd = a + old.size(), *b = made.data(), *const bEnd = b + made.size();
    unsigned state = 0, in = 0;
    while (a != aEnd && b != bEnd) {
        const int x = std::min(*a, *b);
        const unsigned changesA = *a == x, changesB = *b == x;
        a += changesA;
        b += changesB;
        state ^= changesA | changesB << 1;
        const unsigned now = kOperation.truth >> state & 1;
        *out = x;
        out += now ^ in;
        in = now;
    }
    out = CopyRow({a, aEnd}, kOperation.keepsOld(), out);
    return CopyRow({b, bEnd}, kOperation.keepsNew(), out);
}

// Writes at most the values of both rows. One more may be written over and does not count.
template <Operation kOperation>
int *CombineRow(std::span<const int> old, std::span<const int> made, int *out)
{
    const bool overlap = old.size() == 2 && made.size() == 2 && std::max(old[0], made[0]) < std::min(old[1], made[1]);
    return overlap ? CombineSegments<kOperation>(old.data(), made.data(), out)
                   : CombineLists<kOperation>(old, made, out);
}

template <Operation kOperation>
BitmapRegion *Combine(const Operand &old, const Operand &made)
{
    constexpr bool keepsOld = kOperation.keepsOld(), keepsNew = kOperation.keepsNew();
    int top = keepsOld ? old.top() : made.top(), bottom = keepsOld ? old.bottom() : made.bottom();
    if constexpr (keepsOld == keepsNew) {
        top = keepsOld ? std::min(old.top(), made.top()) : std::max(old.top(), made.top());
        bottom = keepsOld ? std::max(old.bottom(), made.bottom()) : std::min(old.bottom(), made.bottom());
    }
    RegionBuilder builder(top, std::max(bottom - top, 0));
    builder.MakeRows(bottom - top, old.MostValues(bottom - top) + made.MostValues(bottom - top) + 1,
                     [oldRows = old.Rows(), madeRows = made.Rows()](int row, int *out) {
                         return CombineRow<kOperation>(oldRows(row), madeRows(row), out);
                     });
    return builder.Finish();
}

struct Mode {
    BitmapRegion *(*combine)(const Operand &old, const Operand &made);
    bool ignoresRegion; // old is the whole bitmap even if it has a region
};

constexpr Mode kModes[] = {
    {Combine<Operation{0b1000}>, false}, // COMBINE_INTERSECT
    {Combine<Operation{0b1100}>, false}, // COMBINE_REPLACE
    {Combine<Operation{0b0100}>, false}, // COMBINE_NEW_MINUS_OLD
    {Combine<Operation{0b0010}>, false}, // COMBINE_OLD_MINUS_NEW
    {Combine<Operation{0b1110}>, false}, // COMBINE_UNION
    {Combine<Operation{0b0110}>, false}, // COMBINE_XOR
    {Combine<Operation{0b0010}>, true},  // COMBINE_COMPLEMENT_NEW
};

} // namespace

int CombineWithRegion(BitmapHandle *bitmap, BitmapRegion *shape, unsigned mode)
{
    RegionOwner owned(shape);
    if (!shape || Failed(ClipRegion(*shape, WholeRect(bitmap))))
        return ERR_NO_MEMORY;
    if (mode == COMBINE_REPLACE) {
        ReplaceRegion(bitmap, owned.Release());
        return RESULT_SUCCESS;
    }
    const bool hasOld = bitmap->Region && !kModes[mode].ignoresRegion;
    RegionOwner result(kModes[mode].combine(hasOld ? Operand(*bitmap->Region) : Operand(bitmap), Operand(*shape)));
    if (!result || Failed(ClipRegion(*result.get(), WholeRect(bitmap))))
        return ERR_NO_MEMORY;
    ReplaceRegion(bitmap, result.Release());
    return RESULT_SUCCESS;
}

} // namespace vexo
