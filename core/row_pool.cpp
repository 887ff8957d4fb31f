// The row pool: first fit over a doubly linked free list. A freed block is joined with free neighbours at once, so free
// blocks never touch each other and a pool of one free block is an empty pool.
#include "core/row_pool.h"

#include "core/core.h"

#include <cstring>

namespace vexo {

namespace {

constexpr uint32_t kFirstBlock = sizeof(RowPool);
constexpr uint32_t kHeader = sizeof(PoolBlock);

PoolBlock *BlockAt(RowPool *pool, uint32_t offset)
{
    return reinterpret_cast<PoolBlock *>(reinterpret_cast<char *>(pool) + offset);
}

// ---- The free list --------------------------------------------------------------------------------------------

void PushFree(RowPool *pool, uint32_t offset)
{
    PoolBlock *block = BlockAt(pool, offset);
    block->inUse = 0;
    block->previousFree = 0;
    block->nextFree = pool->firstFree;
    if (pool->firstFree)
        BlockAt(pool, pool->firstFree)->previousFree = offset;
    pool->firstFree = offset;
}

void UnlinkFree(RowPool *pool, uint32_t offset)
{
    const PoolBlock *block = BlockAt(pool, offset);
    if (block->previousFree)
        BlockAt(pool, block->previousFree)->nextFree = block->nextFree;
    else
        pool->firstFree = block->nextFree;
    if (block->nextFree)
        BlockAt(pool, block->nextFree)->previousFree = block->previousFree;
}

// The first block of the list that is large enough, or 0.
uint32_t FindFree(RowPool *pool, uint32_t bytes)
{
    uint32_t offset = pool->firstFree;
    while (offset && BlockAt(pool, offset)->payload < bytes)
        offset = BlockAt(pool, offset)->nextFree;
    return offset;
}

// ---- Joining and splitting ------------------------------------------------------------------------------------

bool IsNextFree(RowPool *pool, const PoolBlock *block) { return block->next && !BlockAt(pool, block->next)->inUse; }

// Adds the free block behind a block to it.
void AbsorbNext(RowPool *pool, uint32_t offset)
{
    PoolBlock *block = BlockAt(pool, offset);
    const PoolBlock *absorbed = BlockAt(pool, block->next);
    UnlinkFree(pool, block->next);
    block->payload += kHeader + absorbed->payload;
    block->next = absorbed->next;
    if (block->next)
        BlockAt(pool, block->next)->previous = offset;
    else
        pool->lastBlock = offset;
}

// Cuts what a block in use has beyond `bytes` off into a free block, if that leaves more than a header.
void Split(RowPool *pool, uint32_t offset, uint32_t bytes)
{
    PoolBlock *block = BlockAt(pool, offset);
    if (bytes + kHeader >= block->payload)
        return;
    const uint32_t restOffset = offset + kHeader + bytes;
    PoolBlock *rest = BlockAt(pool, restOffset);
    rest->previous = offset;
    rest->next = block->next;
    rest->payload = block->payload - bytes - kHeader;
    if (rest->next)
        BlockAt(pool, rest->next)->previous = restOffset;
    else
        pool->lastBlock = restOffset;
    block->next = restOffset;
    block->payload = bytes;
    PushFree(pool, restOffset);
    if (IsNextFree(pool, rest))
        AbsorbNext(pool, restOffset);
}

// ---- Growing --------------------------------------------------------------------------------------------------

// Makes room for a block of `bytes` bytes at the end of the pool.
bool GrowPool(RowPool *&pool, uint32_t bytes)
{
    const PoolBlock *last = BlockAt(pool, pool->lastBlock);
    const uint64_t needed =
        last->inUse ? uint64_t(pool->size) + bytes + kHeader : uint64_t(pool->size) - last->payload + bytes;
    const uint64_t size = (needed + kPoolStep - 1) / kPoolStep * kPoolStep;
    if (size > UINT32_MAX)
        return false;
    auto *grown = static_cast<RowPool *>(ReAllocKeepingLock(pool, uint32_t(size)));
    if (!grown)
        return false;

    pool = grown;
    const uint32_t end = pool->size, added = uint32_t(size) - end;
    pool->size = uint32_t(size);
    PoolBlock *block = BlockAt(pool, pool->lastBlock);
    if (!block->inUse) {
        block->payload += added;
        return true;
    }
    block->next = end;
    *BlockAt(pool, end) = {pool->lastBlock, 0, 0, 0, 0, added - kHeader};
    pool->lastBlock = end;
    PushFree(pool, end);
    return true;
}

// Payloads are multiples of 4, so that headers are aligned. 0 for a size that no pool can hold.
uint32_t RoundPayload(uint32_t bytes) { return bytes <= UINT32_MAX - kPoolStep ? (bytes + 3) & ~3u : 0; }

} // namespace

RowPool *CreateRowPool()
{
    auto *pool = static_cast<RowPool *>(V_OsAllocInit(kPoolStep, 1));
    if (!pool)
        return nullptr;
    *pool = {kPoolStep, kFirstBlock, kFirstBlock};
    BlockAt(pool, kFirstBlock)->payload = kPoolStep - kFirstBlock - kHeader;
    return pool;
}

void FreeRowPool(RowPool *pool) { V_OsFree(pool); }

uint32_t AllocateBlock(RowPool *&pool, uint32_t bytes)
{
    const uint32_t payload = RoundPayload(bytes);
    if (payload < bytes)
        return 0;
    uint32_t offset = FindFree(pool, payload);
    if (!offset) {
        if (!GrowPool(pool, payload))
            return 0;
        offset = FindFree(pool, payload);
    }
    UnlinkFree(pool, offset);
    BlockAt(pool, offset)->inUse = 1;
    Split(pool, offset, payload);
    return offset;
}

uint32_t ResizeBlock(RowPool *&pool, uint32_t offset, uint32_t bytes)
{
    const uint32_t payload = RoundPayload(bytes);
    if (payload < bytes)
        return 0;
    const PoolBlock *block = BlockAt(pool, offset);
    const uint32_t oldPayload = block->payload;
    if (payload > oldPayload && IsNextFree(pool, block) &&
        oldPayload + BlockAt(pool, block->next)->payload + kHeader >= payload)
        AbsorbNext(pool, offset);
    if (block->payload >= payload) {
        Split(pool, offset, payload);
        return offset;
    }
    const uint32_t moved = AllocateBlock(pool, payload);
    if (!moved)
        return 0;
    memcpy(BlockData(pool, moved), BlockData(pool, offset), oldPayload);
    FreeBlock(pool, offset);
    return moved;
}

void FreeBlock(RowPool *pool, uint32_t offset)
{
    PushFree(pool, offset);
    const PoolBlock *block = BlockAt(pool, offset);
    if (IsNextFree(pool, block))
        AbsorbNext(pool, offset);
    if (block->previous && !BlockAt(pool, block->previous)->inUse)
        AbsorbNext(pool, block->previous);
}

} // namespace vexo
