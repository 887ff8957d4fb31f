// Blocks of the row pool: split, merged with free neighbours, re-sized in place where there is room.
#include "core/row_pool.h"

#include <cstring>

namespace vexo {

namespace {

constexpr uint32_t kHeaderSize = sizeof(BlockHeader);
constexpr uint32_t kLargestPool = 0xFFFFFF00u;

void LinkFree(RowPool *pool, uint32_t block)
{
    BlockHeader *header = BlockAt(pool, block);
    header->inUse = 0;
    header->previousFree = kNoBlock;
    header->nextFree = pool->firstFree;
    if (pool->firstFree)
        BlockAt(pool, pool->firstFree)->previousFree = block;
    pool->firstFree = block;
}

void UnlinkFree(RowPool *pool, uint32_t block)
{
    BlockHeader *header = BlockAt(pool, block);
    if (header->previousFree)
        BlockAt(pool, header->previousFree)->nextFree = header->nextFree;
    else
        pool->firstFree = header->nextFree;
    if (header->nextFree)
        BlockAt(pool, header->nextFree)->previousFree = header->previousFree;
    header->previousFree = header->nextFree = kNoBlock;
}

// Adds the free block behind `block` to it.
void AbsorbNext(RowPool *pool, uint32_t block)
{
    BlockHeader *header = BlockAt(pool, block);
    const uint32_t next = header->next;
    UnlinkFree(pool, next);
    header->payload += BlockAt(pool, next)->payload + kHeaderSize;
    header->next = BlockAt(pool, next)->next;
    if (header->next)
        BlockAt(pool, header->next)->previous = block;
    else
        pool->lastBlock = block;
}

bool IsFree(RowPool *pool, uint32_t block) { return block != kNoBlock && !BlockAt(pool, block)->inUse; }

// Inserts a block of a given payload behind `block` in the chain.
void InsertBehind(RowPool *pool, uint32_t block, uint32_t inserted, uint32_t payload)
{
    BlockHeader *header = BlockAt(pool, block);
    *BlockAt(pool, inserted) = {block, header->next, 0, kNoBlock, kNoBlock, payload};
    if (header->next)
        BlockAt(pool, header->next)->previous = inserted;
    else
        pool->lastBlock = inserted;
    header->next = inserted;
}

// Cuts a block down to `bytes` where the rest is worth a block of its own.
void Split(RowPool *pool, uint32_t block, uint32_t bytes)
{
    BlockHeader *header = BlockAt(pool, block);
    if (uint64_t(bytes) + kHeaderSize >= header->payload)
        return;
    const uint32_t rest = block + kHeaderSize + bytes;
    InsertBehind(pool, block, rest, header->payload - bytes - kHeaderSize);
    header->payload = bytes;
    LinkFree(pool, rest);
    if (IsFree(pool, BlockAt(pool, rest)->next))
        AbsorbNext(pool, rest);
}

// Enlarges the pool so that its last block is free and holds `bytes`. False without memory.
bool Grow(RowPool **pool, uint32_t bytes)
{
    const uint32_t last = (*pool)->lastBlock, oldSize = (*pool)->totalSize;
    const bool extend = IsFree(*pool, last);
    const uint64_t needed =
        extend ? uint64_t(oldSize) - BlockAt(*pool, last)->payload + bytes : uint64_t(oldSize) + bytes + kHeaderSize;
    const uint64_t size = (needed + kPoolStep - 1) / kPoolStep * kPoolStep;
    if (size > kLargestPool)
        return false;
    void *grown = ReAllocKeepingLock(*pool, uint32_t(size));
    if (!grown)
        return false;
    *pool = static_cast<RowPool *>(grown);
    (*pool)->totalSize = uint32_t(size);
    if (extend) {
        BlockAt(*pool, last)->payload += uint32_t(size) - oldSize;
    } else {
        InsertBehind(*pool, last, oldSize, uint32_t(size) - oldSize - kHeaderSize);
        LinkFree(*pool, oldSize);
    }
    return true;
}

uint32_t FirstFit(RowPool *pool, uint32_t bytes)
{
    uint32_t block = pool->firstFree;
    while (block && BlockAt(pool, block)->payload < bytes)
        block = BlockAt(pool, block)->nextFree;
    return block;
}

uint32_t TakeBlock(RowPool **pool, uint32_t bytes)
{
    uint32_t block = FirstFit(*pool, bytes);
    if (!block) {
        if (!Grow(pool, bytes))
            return kNoBlock;
        block = (*pool)->lastBlock;
    }
    UnlinkFree(*pool, block);
    BlockAt(*pool, block)->inUse = 1;
    Split(*pool, block, bytes);
    return block;
}

} // namespace

RowPool *CreateRowPool()
{
    RowPool *pool = static_cast<RowPool *>(V_OsAllocInit(kPoolStep, 1));
    if (!pool)
        return nullptr;
    constexpr uint32_t kFirst = sizeof(RowPool);
    *pool = {kPoolStep, kFirst, kNoBlock};
    BlockAt(pool, kFirst)->payload = kPoolStep - kFirst - kHeaderSize;
    LinkFree(pool, kFirst);
    return pool;
}

uint32_t ResizeRowBlock(RowPool **pool, uint32_t block, uint32_t bytes)
{
    if (bytes > kLargestPool)
        return kNoBlock;
    bytes = (bytes + 3) & ~3u;
    if (!block)
        return TakeBlock(pool, bytes);
    BlockHeader *header = BlockAt(*pool, block);
    const uint32_t next = header->next;
    if (header->payload < bytes && IsFree(*pool, next) &&
        uint64_t(header->payload) + BlockAt(*pool, next)->payload + kHeaderSize >= bytes)
        AbsorbNext(*pool, block);
    if (header->payload >= bytes) {
        Split(*pool, block, bytes);
        return block;
    }
    const uint32_t moved = TakeBlock(pool, bytes);
    if (!moved)
        return kNoBlock;
    memcpy(PayloadOf(*pool, moved), PayloadOf(*pool, block), BlockAt(*pool, block)->payload);
    FreeRowBlock(*pool, block);
    return moved;
}

void FreeRowBlock(RowPool *pool, uint32_t block)
{
    LinkFree(pool, block);
    BlockHeader *header = BlockAt(pool, block);
    if (IsFree(pool, header->next))
        AbsorbNext(pool, block);
    if (IsFree(pool, header->previous))
        AbsorbNext(pool, header->previous);
}

} // namespace vexo
