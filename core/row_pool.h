// One growable memory block that holds the coded rows of a compressed bitmap. Blocks inside it are known by 32-bit
// offsets of their headers, so the pool may move when it grows.
#ifndef VEXO_CORE_ROW_POOL_H
#define VEXO_CORE_ROW_POOL_H

#include <cstdint>

namespace vexo {

// The pool's own header; offset 0 means none throughout.
struct RowPool {
    uint32_t size;      // of the whole pool in bytes
    uint32_t lastBlock; // offset of the last block in address order
    uint32_t firstFree; // offset of the first block of the free list
};

// Stands in front of every block's payload. Blocks fill the pool without gaps.
struct PoolBlock {
    uint32_t previous; // offsets of the neighbours in address order
    uint32_t next;
    uint32_t inUse;
    uint32_t previousFree; // offsets of the neighbours in the free list
    uint32_t nextFree;
    uint32_t payload; // bytes behind this header, a multiple of 4
};
static_assert(sizeof(RowPool) == 12 && sizeof(PoolBlock) == 24);

inline constexpr uint32_t kPoolStep = 16384; // pools are made and grow in these

RowPool *CreateRowPool(); // null: no memory
void FreeRowPool(RowPool *pool);

// Return a block of at least `bytes` bytes, or 0 when memory runs out; the pool is then as it was. The pool may move.
// Re-sizing keeps the contents up to the smaller size; when it fails the old block stays.
uint32_t AllocateBlock(RowPool *&pool, uint32_t bytes);
uint32_t ResizeBlock(RowPool *&pool, uint32_t block, uint32_t bytes);
void FreeBlock(RowPool *pool, uint32_t block);

// A block's payload, good until the pool grows.
inline void *BlockData(RowPool *pool, uint32_t block)
{
    return reinterpret_cast<char *>(pool) + block + sizeof(PoolBlock);
}

} // namespace vexo

#endif
