// The row pool: one growable memory block that holds the coded rows of a compressed bitmap. Blocks are named by their
// offset from the start of the pool, which may move when it grows.
#ifndef VEXO_CORE_ROW_POOL_H
#define VEXO_CORE_ROW_POOL_H

#include "core/core.h"

namespace vexo {

// The head of a pool. What follows is a chain of blocks, each a BlockHeader and its payload.
struct RowPool {
    uint32_t totalSize; // of the pool in bytes
    uint32_t lastBlock;
    uint32_t firstFree; // 0: none
};
static_assert(sizeof(RowPool) == 12);

struct BlockHeader {
    uint32_t previous, next; // in address order; 0: none
    uint32_t inUse;
    uint32_t previousFree, nextFree; // of the free list
    uint32_t payload;                // bytes, a multiple of 4
};
static_assert(sizeof(BlockHeader) == 24);

inline constexpr uint32_t kPoolStep = 16384; // pools grow in steps of this many bytes
inline constexpr uint32_t kNoBlock = 0;

// Makes an empty pool; null without memory. V_OsFree frees it.
RowPool *CreateRowPool();

// Re-sizes a block, or makes one where `block` is kNoBlock, keeping the payload up to the smaller size. The pool may
// move. Returns the block's offset, or kNoBlock without memory; the old block is then as it was.
uint32_t ResizeRowBlock(RowPool **pool, uint32_t block, uint32_t bytes);

void FreeRowBlock(RowPool *pool, uint32_t block);

inline BlockHeader *BlockAt(RowPool *pool, uint32_t block)
{
    return reinterpret_cast<BlockHeader *>(reinterpret_cast<uint8_t *>(pool) + block);
}
inline uint8_t *PayloadOf(RowPool *pool, uint32_t block)
{
    return reinterpret_cast<uint8_t *>(pool) + block + sizeof(BlockHeader);
}

} // namespace vexo

#endif
