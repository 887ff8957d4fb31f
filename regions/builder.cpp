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

RegionBuilder::RegionBuilder(int top, int rows) : m_region(EmptyRegion()), m_row(top)
{
    if (!m_region || rows <= 0)
        return;
    const uint64_t bytes = uint64_t(rows) * sizeof(RegionRow);
    if (bytes <= UINT32_MAX)
        m_region->RowTable = static_cast<RegionRow *>(V_OsAllocInit(unsigned(bytes), 1));
    if (!m_region->RowTable)
        Fail();
}

RegionBuilder::~RegionBuilder() { FreeRegion(m_region); }

void RegionBuilder::Fail()
{
    FreeRegion(m_region);
    m_region = nullptr;
}

int *RegionBuilder::Grow(size_t values)
{
    if (!m_region)
        return nullptr;
    const size_t needed = m_used + values;
    const size_t capacity = std::min(kMostValues, std::max({needed, m_capacity + m_capacity / 2, kFirstValues}));
    void *grown = nullptr;
    if (needed <= kMostValues && values <= kMostValues) {
        const unsigned bytes = unsigned(capacity * sizeof(int));
        grown = m_region->SegmentData ? ReAllocKeepingLock(m_region->SegmentData, bytes) : V_OsAlloc(bytes);
    }
    if (!grown) {
        Fail();
        return nullptr;
    }
    m_region->SegmentData = static_cast<int *>(grown);
    m_capacity = capacity;
    return m_region->SegmentData + m_used;
}

void RegionBuilder::Add(int start, int end)
{
    if (start >= end)
        return;
    if (m_region && m_used > m_rowStart && start <= m_region->SegmentData[m_used - 1]) {
        int &last = m_region->SegmentData[m_used - 1];
        last = std::max(last, end);
        return;
    }
    if (int *values = Reserve(2)) {
        values[0] = start;
        values[1] = end;
        Commit(2);
    }
}

void RegionBuilder::EndRow()
{
    const size_t count = m_used - m_rowStart;
    if (m_region && count > 0) {
        const int first = m_region->SegmentData[m_rowStart], last = m_region->SegmentData[m_used - 1];
        RECT &bounds = m_region->Bounds;
        if (m_region->RowTableSize == 0)
            bounds = {first, m_row, last, m_row};
        bounds.left = std::min<LONG>(bounds.left, first);
        bounds.right = std::max<LONG>(bounds.right, last);
        bounds.bottom = m_row + 1;
        m_region->RowTable[m_row - bounds.top] = {unsigned(count), unsigned(m_rowStart * sizeof(int))};
        m_region->RowTableSize = unsigned(bounds.bottom - bounds.top) * sizeof(RegionRow);
        m_lastRowStart = m_rowStart;
        m_rowStart = m_used;
    }
    ++m_row;
}

void RegionBuilder::RepeatRow()
{
    const size_t count = m_rowStart - m_lastRowStart;
    if (int *values = Reserve(count)) {
        memcpy(values, m_region->SegmentData + m_lastRowStart, count * sizeof(int));
        Commit(count);
    }
    EndRow();
}

BitmapRegion *RegionBuilder::Finish()
{
    if (m_region) {
        m_region->SegmentDataSize = unsigned(m_rowStart * sizeof(int));
        Trim(m_region->RowTable, m_region->RowTableSize);
        Trim(m_region->SegmentData, m_region->SegmentDataSize);
    }
    BitmapRegion *region = m_region;
    m_region = nullptr;
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
