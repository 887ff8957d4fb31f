// Page-file mappings. The first touch of a new page costs several times what most operations do with it, and an
// operation that replaces its bitmap makes storage and frees as much each time; so a thread keeps what it freed last
// and makes its next bitmaps of that.
#include "core/mappings.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vexo {

namespace {

// Small mappings cost little, and a kept one that is much larger than the bitmap would hold back memory.
constexpr size_t kLeastKept = size_t(256) << 10;
constexpr size_t Spare(size_t size) { return size / 4; }
// Of all that a thread keeps: room for a page of 600 dots an inch in full colour, a sixteenth of the address space of a
// 32-bit process.
constexpr size_t kMostKept = size_t(128) << 20;

void Close(const KeptMapping &kept)
{
    ::UnmapViewOfFile(kept.view);
    ::CloseHandle(kept.handle);
}

// The bytes from the start of a view to its end, or 0 when it is not one that serves any bitmap: a view that cannot be
// written, or uncached from the time before the thread chose cached ones. The record that the view comes from does not
// tell its size, because it may have been kept before.
size_t CapacityOf(const void *view)
{
    MEMORY_BASIC_INFORMATION region;
    if (!::VirtualQuery(view, &region, sizeof region) || region.Type != MEM_MAPPED || region.Protect != PAGE_READWRITE)
        return 0;
    return size_t(static_cast<const uint8_t *>(region.BaseAddress) + region.RegionSize -
                  static_cast<const uint8_t *>(view));
}

// Takes the kept mapping that fits best. False when there is none.
bool TakeKept(unsigned size, Mapping *mapping)
{
    ThreadSettings *thread = ExistingThread();
    KeptMapping *best = nullptr;
    if (thread && thread->storageCaching)
        for (KeptMapping &kept : thread->keptMappings)
            if (kept.capacity >= size && kept.capacity - Spare(kept.capacity) <= size &&
                (!best || kept.capacity < best->capacity))
                best = &kept;
    if (!best)
        return false;
    *mapping = {best->handle, best->view};
    *best = {};
    std::rotate(best, best + 1, std::end(thread->keptMappings)); // no gap in front of another
    return true;
}

bool MakeNew(unsigned size, Mapping *mapping)
{
    const DWORD caching = CurrentSettings().storageCaching ? 0 : SEC_NOCACHE;
    const HANDLE handle =
        ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | SEC_COMMIT | caching, 0, size, nullptr);
    if (!handle)
        return false;
    void *view = ::MapViewOfFile(handle, FILE_MAP_WRITE, 0, 0, 0);
    if (!view) {
        ::CloseHandle(handle);
        return false;
    }
    *mapping = {handle, view};
    return true;
}

} // namespace

int AcquireMapping(unsigned size, Contents contents, Mapping *mapping)
{
    if (TakeKept(size, mapping)) {
        if (contents == Contents::Zeros)
            memset(mapping->view, 0, size);
        return RESULT_SUCCESS;
    }
    if (!MakeNew(size, mapping) && !(FreeKeptMappings() && MakeNew(size, mapping)))
        return ERR_NO_MEMORY;
#ifdef VEXOKIT_CHECKED
    if (contents == Contents::Anything)
        memset(mapping->view, 0xCD, size); // whoever leaves a byte unwritten is found out
#endif
    return RESULT_SUCCESS;
}

void ReleaseMapping(const Mapping &mapping)
{
    ThreadSettings *thread = ExistingThread();
    KeptMapping newest = {mapping.handle, mapping.view, 0};
    if (thread && thread->storageCaching)
        newest.capacity = CapacityOf(mapping.view);
    if (newest.capacity < kLeastKept || newest.capacity > kMostKept) {
        Close(newest);
        return;
    }
    // Freed once more through a copy of its record: two bitmaps must not come of it.
    for (const KeptMapping &kept : thread->keptMappings)
        if (kept.view == newest.view)
            return;
    // The newest is first. The last one goes, and any that leaves too little room for those before it.
    size_t room = kMostKept;
    for (KeptMapping &kept : thread->keptMappings) {
        std::swap(kept, newest);
        if (kept.capacity > room) {
            Close(kept);
            kept = {};
        }
        room -= kept.capacity;
    }
    if (newest.handle)
        Close(newest);
}

bool FreeKeptMappings()
{
    ThreadSettings *thread = ExistingThread();
    bool freed = false;
    if (!thread)
        return freed;
    for (KeptMapping &kept : thread->keptMappings) {
        if (!kept.handle)
            continue;
        Close(kept);
        kept = {};
        freed = true;
    }
    return freed;
}

} // namespace vexo
