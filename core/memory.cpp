// Working memory: movable blocks of the global heap that stay locked for their whole life, so that a block is known by
// its pointer and the handle is found again from it.
#include "core/core.h"

using namespace vexo;

namespace {

void *AllocLocked(UINT flags, unsigned size)
{
    HGLOBAL handle = ::GlobalAlloc(flags, size);
    if (!handle && FreeKeptMappings())
        handle = ::GlobalAlloc(flags, size);
    if (!handle)
        return nullptr;
    void *block = ::GlobalLock(handle);
    if (!block)
        ::GlobalFree(handle);
    return block;
}

} // namespace

void *VEXO_CALL V_OsAlloc(unsigned size) { return AllocLocked(GMEM_MOVEABLE | GMEM_SHARE, size); }

void *VEXO_CALL V_OsAllocInit(unsigned size, int zero)
{
    return AllocLocked(GMEM_MOVEABLE | GMEM_SHARE | (zero ? GMEM_ZEROINIT : 0), size);
}

void *VEXO_CALL V_OsReAlloc(void *block, unsigned size)
{
    if (!block)
        return nullptr;
    const HGLOBAL handle = ::GlobalHandle(block);
    ::GlobalUnlock(handle);
    HGLOBAL resized = ::GlobalReAlloc(handle, size, GMEM_MOVEABLE);
    if (!resized && FreeKeptMappings())
        resized = ::GlobalReAlloc(handle, size, GMEM_MOVEABLE);
    // Deliberate: after a failure the old block is left unlocked; ReAllocKeepingLock is for blocks that live on.
    return resized ? ::GlobalLock(resized) : nullptr;
}

int VEXO_CALL V_OsFree(void *block)
{
    if (block) {
        const HGLOBAL handle = ::GlobalHandle(block);
        ::GlobalUnlock(handle);
        ::GlobalFree(handle);
    }
    return 0;
}

void *vexo::ReAllocKeepingLock(void *block, unsigned size)
{
    const HGLOBAL handle = ::GlobalHandle(block);
    void *resized = V_OsReAlloc(block, size);
    if (!resized)
        ::GlobalLock(handle);
    return resized;
}
