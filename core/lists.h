// Bitmap lists as the rest of the library sees them: the array of records behind a list handle.
#ifndef VEXO_CORE_LISTS_H
#define VEXO_CORE_LISTS_H

#include "core/core.h"

namespace vexo {

// A block of working memory; the handle that callers hold is that of the block.
struct BitmapList {
    unsigned count;
    BitmapHandle *items; // count records from V_OsAlloc; null while the list is empty

    std::span<BitmapHandle> span() const { return {items, count}; }
};
static_assert(sizeof(void *) != 4 || sizeof(BitmapList) == 8);

// The list of a handle, null for a handle that does not lock. Records may be changed in place; the next insertion or
// removal moves them.
BitmapList *BitmapListOf(HGLOBAL handle);

} // namespace vexo

#endif
