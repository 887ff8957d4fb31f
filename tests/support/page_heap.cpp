// Each block has pages of its own with an unreadable page behind them; it lies at their end, rounded up to the size of
// a pointer. What the rounding and the start of the first page leave over is filled and checked when the block goes.
#include "tests/support/page_heap.h"

#include "tests/support/import_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace vexo::test {

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kGranule = 65536;
constexpr uint8_t kCanary = 0xFD;
constexpr uint8_t kRubbish = 0xCD;
constexpr size_t kQuarantineRegions = 512;
constexpr size_t kQuarantineBytes = size_t(64) << 20;

constexpr size_t RoundUp(size_t size, size_t unit) { return (size + unit - 1) / unit * unit; }

bool IsFilled(const uint8_t *begin, const uint8_t *end)
{
    return std::all_of(begin, end, [](uint8_t byte) { return byte == kCanary; });
}

struct Block {
    uint8_t *region;
    size_t pages; // bytes that can be accessed; one more page is reserved
    uint8_t *data;
    size_t size;
    unsigned locks;
};

struct View {
    uint8_t *base;
    size_t pages;
    size_t slack;
    void *guard;
};

std::recursive_mutex guard;
bool isOn;
std::map<HGLOBAL, Block> blocks;
std::map<HANDLE, size_t> mappingSizes;
std::map<const void *, View> views;
std::string complaints;

// Address space of freed blocks and views, kept unreadable for a while.
struct Region {
    uint8_t *base;
    size_t size;
};
std::deque<Region> quarantine;
size_t quarantinedBytes;

using Lock = std::lock_guard<std::recursive_mutex>;

void Complain(const char *what, size_t size)
{
    complaints += std::string(what) + " (block of " + std::to_string(size) + " bytes)\n";
}

void Quarantine(uint8_t *base, size_t size)
{
    quarantine.push_back({base, size});
    quarantinedBytes += size;
    while (quarantine.size() > kQuarantineRegions || quarantinedBytes > kQuarantineBytes) {
        quarantinedBytes -= quarantine.front().size;
        VirtualFree(quarantine.front().base, 0, MEM_RELEASE);
        quarantine.pop_front();
    }
}

bool IsQuarantined(const void *address)
{
    const auto *p = static_cast<const uint8_t *>(address);
    return std::any_of(quarantine.begin(), quarantine.end(),
                       [p](const Region &region) { return p >= region.base && p < region.base + region.size; });
}

bool Place(Block &block, size_t size, uint8_t fill)
{
    const size_t rounded = RoundUp(size, sizeof(void *));
    block.pages = RoundUp(rounded, kPage);
    block.region = static_cast<uint8_t *>(VirtualAlloc(nullptr, block.pages + kPage, MEM_RESERVE, PAGE_NOACCESS));
    if (!block.region)
        return false;
    if (!VirtualAlloc(block.region, block.pages, MEM_COMMIT, PAGE_READWRITE)) {
        VirtualFree(block.region, 0, MEM_RELEASE);
        return false;
    }
    block.data = block.region + block.pages - rounded;
    block.size = size;
    memset(block.region, kCanary, block.pages);
    memset(block.data, fill, size);
    return true;
}

void Protect(const Block &block, bool accessible)
{
    DWORD former;
    VirtualProtect(block.region, block.pages, accessible ? PAGE_READWRITE : PAGE_NOACCESS, &former);
}

void Release(const Block &block)
{
    Protect(block, true);
    if (!IsFilled(block.region, block.data))
        Complain("written in front of its start", block.size);
    if (!IsFilled(block.data + block.size, block.region + block.pages))
        Complain("written behind its end", block.size);
    VirtualFree(block.region, block.pages, MEM_DECOMMIT);
    Quarantine(block.region, block.pages + kPage);
}

// Handles look like nothing the system gives out; they count up, so that a stale one is never valid again.
HGLOBAL NewHandle()
{
    static UINT_PTR last = 0x7A000002;
    return reinterpret_cast<HGLOBAL>(last += 4);
}

// Null for a handle of the real heap.
Block *Find(HGLOBAL handle)
{
    const auto found = blocks.find(handle);
    return found == blocks.end() ? nullptr : &found->second;
}

HGLOBAL WINAPI MyGlobalAlloc(UINT flags, SIZE_T size)
{
    const Lock lock(guard);
    if (!isOn || !size || !(flags & GMEM_MOVEABLE))
        return PermanentHook<MyGlobalAlloc>::Next()(flags, size);
    Block block = {};
    if (!Place(block, size, flags & GMEM_ZEROINIT ? 0 : kRubbish)) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Protect(block, false);
    const HGLOBAL handle = NewHandle();
    blocks[handle] = block;
    return handle;
}

LPVOID WINAPI MyGlobalLock(HGLOBAL handle)
{
    const Lock lock(guard);
    Block *block = Find(handle);
    if (!block)
        return PermanentHook<MyGlobalLock>::Next()(handle);
    if (block->locks++ == 0)
        Protect(*block, true);
    return block->data;
}

BOOL WINAPI MyGlobalUnlock(HGLOBAL handle)
{
    const Lock lock(guard);
    Block *block = Find(handle);
    if (!block)
        return PermanentHook<MyGlobalUnlock>::Next()(handle);
    if (block->locks == 0) {
        SetLastError(ERROR_NOT_LOCKED);
        return FALSE;
    }
    if (--block->locks == 0)
        Protect(*block, false);
    SetLastError(NO_ERROR);
    return block->locks != 0;
}

HGLOBAL WINAPI MyGlobalHandle(LPCVOID data)
{
    const Lock lock(guard);
    for (const auto &[handle, block] : blocks)
        if (block.data == data)
            return handle;
    if (IsQuarantined(data))
        Complain("handle asked for after it was freed", 0);
    return PermanentHook<MyGlobalHandle>::Next()(data);
}

// The block always moves, so that a pointer from before is found out.
HGLOBAL WINAPI MyGlobalReAlloc(HGLOBAL handle, SIZE_T size, UINT flags)
{
    const Lock lock(guard);
    Block *block = Find(handle);
    if (!block)
        return PermanentHook<MyGlobalReAlloc>::Next()(handle, size, flags);
    if (!size || (flags & GMEM_MODIFY) || (block->locks && !(flags & GMEM_MOVEABLE))) {
        Complain("re-sized in a way the page heap does not know", block->size);
        return nullptr;
    }
    Block moved = *block;
    if (!Place(moved, size, flags & GMEM_ZEROINIT ? 0 : kRubbish)) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    Protect(*block, true);
    memcpy(moved.data, block->data, std::min<size_t>(size, block->size));
    Release(*block);
    *block = moved;
    Protect(*block, block->locks != 0);
    return handle;
}

HGLOBAL WINAPI MyGlobalFree(HGLOBAL handle)
{
    const Lock lock(guard);
    Block *block = Find(handle);
    if (!block)
        return PermanentHook<MyGlobalFree>::Next()(handle);
    Release(*block);
    blocks.erase(handle);
    return nullptr;
}

SIZE_T WINAPI MyGlobalSize(HGLOBAL handle)
{
    const Lock lock(guard);
    const Block *block = Find(handle);
    return block ? block->size : PermanentHook<MyGlobalSize>::Next()(handle);
}

HANDLE WINAPI MyCreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD sizeHigh,
                                   DWORD sizeLow, LPCSTR name)
{
    const Lock lock(guard);
    const bool isGuarded =
        isOn && file == INVALID_HANDLE_VALUE && !name && !sizeHigh && sizeLow && sizeLow <= DWORD(-1) - kPage;
    const DWORD size = isGuarded ? DWORD(RoundUp(sizeLow, kPage)) : sizeLow;
    const HANDLE mapping =
        PermanentHook<MyCreateFileMappingA>::Next()(file, security, protection, sizeHigh, size, name);
    if (mapping && isGuarded)
        mappingSizes[mapping] = sizeLow;
    return mapping;
}

// Reserves room for the view and the granule behind it, and takes both at once.
uint8_t *MapWithGuard(HANDLE mapping, DWORD access, View &view)
{
    const size_t room = RoundUp(view.pages, kGranule);
    void *place = VirtualAlloc(nullptr, room + kGranule, MEM_RESERVE, PAGE_NOACCESS);
    if (place) {
        VirtualFree(place, 0, MEM_RELEASE);
        place = MapViewOfFileEx(mapping, access, 0, 0, 0, place);
    }
    if (!place)
        place = ::MapViewOfFileEx(mapping, access, 0, 0, 0, nullptr);
    if (place)
        view.guard = VirtualAlloc(static_cast<uint8_t *>(place) + room, kGranule, MEM_RESERVE, PAGE_NOACCESS);
    return static_cast<uint8_t *>(place);
}

LPVOID WINAPI MyMapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T size)
{
    const Lock lock(guard);
    const auto found = mappingSizes.find(mapping);
    if (found == mappingSizes.end() || offsetHigh || offsetLow || size)
        return PermanentHook<MyMapViewOfFile>::Next()(mapping, access, offsetHigh, offsetLow, size);
    View view = {};
    view.pages = RoundUp(found->second, kPage);
    view.slack = view.pages - RoundUp(found->second, sizeof(void *));
    view.base = MapWithGuard(mapping, access, view);
    if (!view.base)
        return nullptr;
    memset(view.base, kCanary, view.slack);
    views[view.base + view.slack] = view;
    return view.base + view.slack;
}

BOOL WINAPI MyUnmapViewOfFile(LPCVOID data)
{
    const Lock lock(guard);
    const auto found = views.find(data);
    if (found == views.end())
        return PermanentHook<MyUnmapViewOfFile>::Next()(data);
    const View view = found->second;
    views.erase(found);
    if (!IsFilled(view.base, view.base + view.slack))
        Complain("mapped view written in front of its start", view.pages - view.slack);
    if (!PermanentHook<MyUnmapViewOfFile>::Next()(view.base))
        return FALSE;
    if (view.guard)
        VirtualFree(view.guard, 0, MEM_RELEASE);
    if (VirtualAlloc(view.base, view.pages, MEM_RESERVE, PAGE_NOACCESS))
        Quarantine(view.base, view.pages);
    return TRUE;
}

BOOL WINAPI MyCloseHandle(HANDLE handle)
{
    const Lock lock(guard);
    mappingSizes.erase(handle);
    return PermanentHook<MyCloseHandle>::Next()(handle);
}

} // namespace

void InstallPageHeap(bool on)
{
    PermanentHook<MyGlobalAlloc>::Install("kernel32.dll", "GlobalAlloc");
    PermanentHook<MyGlobalLock>::Install("kernel32.dll", "GlobalLock");
    PermanentHook<MyGlobalUnlock>::Install("kernel32.dll", "GlobalUnlock");
    PermanentHook<MyGlobalHandle>::Install("kernel32.dll", "GlobalHandle");
    PermanentHook<MyGlobalReAlloc>::Install("kernel32.dll", "GlobalReAlloc");
    PermanentHook<MyGlobalFree>::Install("kernel32.dll", "GlobalFree");
    PermanentHook<MyGlobalSize>::Install("kernel32.dll", "GlobalSize");
    PermanentHook<MyCreateFileMappingA>::Install("kernel32.dll", "CreateFileMappingA");
    PermanentHook<MyMapViewOfFile>::Install("kernel32.dll", "MapViewOfFile");
    PermanentHook<MyUnmapViewOfFile>::Install("kernel32.dll", "UnmapViewOfFile");
    PermanentHook<MyCloseHandle>::Install("kernel32.dll", "CloseHandle");
    isOn = on;
}

PageHeapScope::PageHeapScope(bool on) : m_previous(isOn) { isOn = on; }
PageHeapScope::~PageHeapScope() { isOn = m_previous; }

std::string TakePageHeapComplaints()
{
    const Lock lock(guard);
    return std::exchange(complaints, {});
}

GuardedBuffer::GuardedBuffer(size_t size, uint8_t fill) : m_size(size)
{
    const size_t pages = RoundUp(size + 1, kPage);
    m_region = static_cast<uint8_t *>(VirtualAlloc(nullptr, pages + kPage, MEM_RESERVE, PAGE_NOACCESS));
    VirtualAlloc(m_region, pages, MEM_COMMIT, PAGE_READWRITE);
    m_data = m_region + pages - size;
    memset(m_region, kCanary, pages - size);
    memset(m_data, fill, size);
}

GuardedBuffer::~GuardedBuffer()
{
    EXPECT_TRUE(IsFilled(m_region, m_data)) << "a buffer of " << m_size << " bytes was written in front of its start";
    VirtualFree(m_region, 0, MEM_RELEASE);
}

} // namespace vexo::test
