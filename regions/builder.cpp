// Making and freeing regions. Rows come one after the other; their x values go into one list that grows by half at a
// time, so that any number of segments is stored in time proportional to it.
#include "regions/region.h"

namespace vexo {

namespace {

constexpr size_t kFirstValues = 16384 / sizeof(int);
constexpr size_t kMostValues = 0xFFFFFF00u / sizeof(int); // offsets are 32 bits

// Gives back what a list does not use. A block that cannot be made smaller stays as it is.
template <class T>
void Trim(T *&list, unsigned bytes)
{
    if (bytes == 0) {
        V_OsFree(list);
        list = nullptr;
    } else if (void *trimmed = ReAllocKeepingLock(list, bytes)) {
        list = static_cast<T *>(trimmed);
    }
}

template <class T>
bool CopyList(T *&copy, const T *list, unsigned bytes)
{
    if (bytes == 0)
        return true;
    copy = static_cast<T *>(V_OsAlloc(bytes));
    if (!copy)
        return false;
    memcpy(copy, list, bytes);
    return true;
}

} // namespace

// ---- The builder ----------------------------------------------------------------------------------------------

RegionBuilder::RegionBuilder(int top, int rows) : m_top(top), m_row(top)
{
    if (rows <= 0)
        return;
    const uint64_t bytes = uint64_t(rows) * sizeof(RegionRow);
    if (bytes <= UINT32_MAX)
        m_rows = static_cast<RegionRow *>(V_OsAllocInit(unsigned(bytes), 1));
    m_failed = !m_rows;
}

RegionBuilder::~RegionBuilder() { Fail(); }

void RegionBuilder::Fail()
{
    V_OsFree(m_rows);
    V_OsFree(m_values);
    m_rows = nullptr;
    m_values = m_rowStart = m_next = m_limit = nullptr;
    m_failed = true;
}

int *RegionBuilder::Grow(size_t values)
{
    if (m_failed)
        return nullptr;
    const size_t used = size_t(m_next - m_values), capacity = size_t(m_limit - m_values);
    const size_t rowStart = size_t(m_rowStart - m_values);
    if (values > kMostValues - used) {
        Fail();
        return nullptr;
    }
    const size_t enough = std::min(kMostValues, std::max({used + values, capacity + capacity / 2, kFirstValues}));
    const unsigned bytes = unsigned(enough * sizeof(int));
    auto *grown = static_cast<int *>(m_values ? ReAllocKeepingLock(m_values, bytes) : V_OsAlloc(bytes));
    if (!grown) {
        Fail();
        return nullptr;
    }
    m_values = grown;
    m_rowStart = grown + rowStart;
    m_next = grown + used;
    m_limit = grown + enough;
    return m_next;
}

void RegionBuilder::RepeatRows(int count)
{
    const int last = m_lastRow;
    if (m_failed || count <= 0 || last < m_firstRow) {
        m_row += std::max(count, 0);
        return;
    }
    const size_t size = m_rows[last - m_top].Count;
    for (int i = 0; i < count; ++i) {
        int *out = Reserve(size);
        if (!out)
            return;
        const int *row = m_rowStart - size; // the last row's values are the last ones
        for (size_t x = 0; x < size; ++x)
            out[x] = row[x];
        Commit(size);
        EndRow();
    }
}

BitmapRegion *RegionBuilder::Finish()
{
    BitmapRegion *region = m_failed ? nullptr : EmptyRegion();
    if (!region) {
        Fail();
        return nullptr;
    }
    if (m_firstRow <= m_lastRow) {
        const size_t rows = size_t(m_lastRow - m_firstRow) + 1;
        memmove(m_rows, m_rows + (m_firstRow - m_top), rows * sizeof(RegionRow));
        region->Bounds = {m_left, m_firstRow, m_right, m_lastRow + 1};
        region->RowTableSize = unsigned(rows * sizeof(RegionRow));
        region->SegmentDataSize = unsigned((m_rowStart - m_values) * sizeof(int));
    }
    region->RowTable = m_rows;
    region->SegmentData = m_values;
    Trim(region->RowTable, region->RowTableSize);
    Trim(region->SegmentData, region->SegmentDataSize);
    m_rows = nullptr;
    m_values = m_rowStart = m_next = m_limit = nullptr;
    m_failed = true; // spent
    return region;
}

// ---- Whole regions --------------------------------------------------------------------------------------------

BitmapRegion *EmptyRegion() { return static_cast<BitmapRegion *>(V_OsAllocInit(sizeof(BitmapRegion), 1)); }

BitmapRegion *DupRegion(const BitmapRegion &region)
{
    BitmapRegion *copy = EmptyRegion();
    if (!copy)
        return nullptr;
    if (!CopyList(copy->RowTable, region.RowTable, region.RowTableSize) ||
        !CopyList(copy->SegmentData, region.SegmentData, region.SegmentDataSize)) {
        FreeRegion(copy);
        return nullptr;
    }
    copy->Bounds = region.Bounds;
    copy->RowTableSize = region.RowTableSize;
    copy->SegmentDataSize = region.SegmentDataSize;
    return copy;
}

void FreeRegion(BitmapRegion *region)
{
    if (!region)
        return;
    DropGdiObjects(*region);
    V_OsFree(region->RowTable);
    V_OsFree(region->SegmentData);
    V_OsFree(region);
}

void DropGdiObjects(BitmapRegion &region)
{
    if (region.GdiRegion)
        ::DeleteObject(region.GdiRegion);
    if (region.GdiRegion2)
        ::DeleteObject(region.GdiRegion2);
    region.GdiRegion = nullptr;
    region.GdiRegion2 = nullptr;
}

void ReplaceRegion(BitmapHandle *bitmap, BitmapRegion *region)
{
    FreeRegion(bitmap->Region);
    bitmap->Region = region;
}

} // namespace vexo
