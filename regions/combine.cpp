// Set operations on regions. A row is a list of columns at which its pixels change between out and in; two rows are
// walked like a merge of sorted lists, and the result gets a column wherever the operation's truth changes. It is
// linear in the columns, and segments that would touch come out as one.
#include "regions/shape_builder.h"

namespace vexo {

namespace {

// What a combine mode does: bit (old in) + 2 * (new in) of `truth` tells whether a pixel is in.
struct Operation {
    unsigned truth;
    bool ignoresRegion; // old is the whole bitmap even if it has a region

    bool keepsOld() const { return truth >> 1 & 1; } // where only old is in
    bool keepsNew() const { return truth >> 2 & 1; }
};

constexpr Operation kOperations[] = {
    {0b1000, false}, // COMBINE_INTERSECT
    {0b1100, false}, // COMBINE_REPLACE
    {0b0100, false}, // COMBINE_NEW_MINUS_OLD
    {0b0010, false}, // COMBINE_OLD_MINUS_NEW
    {0b1110, false}, // COMBINE_UNION
    {0b0110, false}, // COMBINE_XOR
    {0b0010, true},  // COMBINE_COMPLEMENT_NEW
};

// One side of an operation: a region, or a bitmap's rectangle, whose rows are all the same.
class Operand {
public:
    explicit Operand(const BitmapRegion &region)
        : m_region(&region), m_top(region.Bounds.top), m_bottom(region.Bounds.bottom),
          m_values(region.SegmentDataSize / sizeof(int))
    {
    }
    explicit Operand(const BitmapHandle *whole)
        : m_top(0), m_bottom(std::max(whole->Height, 0)), m_values(size_t(m_bottom) * 2), m_columns{0, whole->Width}
    {
        if (whole->Width <= 0)
            m_bottom = 0;
    }

    int top() const { return m_top; }
    int bottom() const { return m_bottom; }
    size_t values() const { return m_values; } // of all rows
    std::span<const int> Row(int row) const
    {
        if (m_region)
            return RowSegments(*m_region, row);
        return row >= m_top && row < m_bottom ? std::span<const int>(m_columns) : std::span<const int>();
    }

private:
    const BitmapRegion *m_region = nullptr;
    int m_top, m_bottom;
    size_t m_values;
    int m_columns[2] = {};
};

int *CopyRow(std::span<const int> row, bool kept, int *out)
{
    return kept ? std::copy(row.begin(), row.end(), out) : out;
}

// Two rows of one segment each, the usual case, without a loop: the four columns in order bound three intervals, in
// each of which it is known what is in.
int *CombineSegments(const int *old, const int *made, const Operation &operation, int *out)
{
    const int innerStart = std::max(old[0], made[0]), innerEnd = std::min(old[1], made[1]);
    const bool overlap = innerStart < innerEnd;
    const int columns[4] = {std::min(old[0], made[0]), std::min(innerStart, innerEnd), std::max(innerStart, innerEnd),
                            std::max(old[1], made[1])};
    const unsigned states[3] = {old[0] < made[0] ? 1u : 2u, overlap ? 3u : 0u, old[1] > made[1] ? 1u : 2u};
    unsigned in = 0;
    for (int i = 0; i < 3; ++i) {
        const unsigned now = columns[i] < columns[i + 1] ? operation.truth >> states[i] & 1 : in;
        *out = columns[i];
        out += now ^ in;
        in = now;
    }
    *out = columns[3];
    return out + in;
}

// Writes at most the values of both rows. One more may be written over and does not count.
int *CombineRow(std::span<const int> old, std::span<const int> made, const Operation &operation, int *out)
{
    if (old.size() == 2 && made.size() == 2)
        return CombineSegments(old.data(), made.data(), operation, out);
    const int *a = old.data(), *const aEnd = a + old.size(), *b = made.data(), *const bEnd = b + made.size();
    unsigned state = 0, in = 0;
    while (a != aEnd && b != bEnd) {
        const int x = std::min(*a, *b);
        const unsigned changesA = *a == x, changesB = *b == x;
        a += changesA;
        b += changesB;
        state ^= changesA | changesB << 1;
        const unsigned now = operation.truth >> state & 1;
        *out = x;
        out += now ^ in;
        in = now;
    }
    out = CopyRow({a, aEnd}, operation.keepsOld(), out);
    return CopyRow({b, bEnd}, operation.keepsNew(), out);
}

BitmapRegion *Combine(const Operand &old, const Operand &made, const Operation &operation)
{
    const bool keepsOld = operation.keepsOld(), keepsNew = operation.keepsNew();
    int top = keepsOld ? old.top() : made.top(), bottom = keepsOld ? old.bottom() : made.bottom();
    if (keepsOld == keepsNew) {
        top = keepsOld ? std::min(old.top(), made.top()) : std::max(old.top(), made.top());
        bottom = keepsOld ? std::max(old.bottom(), made.bottom()) : std::min(old.bottom(), made.bottom());
    }
    RegionBuilder builder(top, std::max(bottom - top, 0));
    builder.Reserve(old.values() + made.values() + 1);
    for (int row = top; row < bottom; ++row) {
        const std::span<const int> oldRow = old.Row(row), madeRow = made.Row(row);
        int *out = builder.Reserve(oldRow.size() + madeRow.size() + 1);
        if (!out)
            return nullptr;
        builder.Commit(size_t(CombineRow(oldRow, madeRow, operation, out) - out));
        builder.EndRow();
    }
    return builder.Finish();
}

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
    const Operation &operation = kOperations[mode];
    const bool hasOld = bitmap->Region && !operation.ignoresRegion;
    RegionOwner result(Combine(hasOld ? Operand(*bitmap->Region) : Operand(bitmap), Operand(*shape), operation));
    if (!result || Failed(ClipRegion(*result.get(), WholeRect(bitmap))))
        return ERR_NO_MEMORY;
    ReplaceRegion(bitmap, result.Release());
    return RESULT_SUCCESS;
}

} // namespace vexo
