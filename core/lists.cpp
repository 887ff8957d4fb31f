// Bitmap lists: growable arrays of records that own what the records describe. The array is always exactly as long as
// the list, and every call does what can fail before it changes anything.
#include "core/lists.h"

#include <algorithm>
#include <cstring>

using namespace vexo;

namespace {

constexpr unsigned kMaxItems = 0xFFFFFFFFu / sizeof(BitmapHandle);

// Makes the array one record longer; the new record is at the end and holds nothing yet.
int Grow(BitmapList *list)
{
    if (list->count >= kMaxItems)
        return ERR_NO_MEMORY;
    const unsigned bytes = (list->count + 1) * unsigned(sizeof(BitmapHandle));
    void *items = list->items ? ReAllocKeepingLock(list->items, bytes) : V_OsAlloc(bytes);
    if (!items)
        return ERR_NO_MEMORY;
    list->items = static_cast<BitmapHandle *>(items);
    ++list->count;
    return RESULT_SUCCESS;
}

// Forgets `count` items; what they own must have been taken or freed.
void CloseGap(BitmapList *list, unsigned index, unsigned count)
{
    std::copy(list->items + index + count, list->items + list->count, list->items + index);
    list->count -= count;
    if (list->count == 0) {
        V_OsFree(list->items);
        list->items = nullptr;
    } else if (void *items = ReAllocKeepingLock(list->items, list->count * unsigned(sizeof(BitmapHandle)))) {
        // An array that cannot be made shorter serves as it is.
        list->items = static_cast<BitmapHandle *>(items);
    }
}

void DeleteItems(BitmapList *list, unsigned index, unsigned count)
{
    for (BitmapHandle &item : list->span().subspan(index, count))
        V_FreeBitmap(&item);
    CloseGap(list, index, count);
}

void DestroyList(BitmapList *list)
{
    if (list->count)
        DeleteItems(list, 0, list->count);
    V_OsFree(list);
}

// Destroys the list it was given unless Release has taken it back.
struct ListOwner {
    BitmapList *list;

    ~ListOwner()
    {
        if (list)
            DestroyList(list);
    }
    HGLOBAL Release()
    {
        const HGLOBAL handle = ::GlobalHandle(list);
        list = nullptr;
        return handle;
    }
};

BitmapList *NewList() { return static_cast<BitmapList *>(V_OsAllocInit(sizeof(BitmapList), 1)); }

BitmapHandle RecordOrZeros(const BitmapHandle *record) { return record ? *record : BitmapHandle{}; }

} // namespace

BitmapList *vexo::BitmapListOf(HGLOBAL handle)
{
    auto *list = handle ? static_cast<BitmapList *>(::GlobalLock(handle)) : nullptr;
    if (list)
        ::GlobalUnlock(handle); // the block keeps the lock of its allocation
    return list;
}

int VEXO_CALL V_CreateBitmapList(HGLOBAL *list)
{
    if (!list)
        return ERR_INV_PARAMETER;
    BitmapList *made = NewList();
    *list = made ? ::GlobalHandle(made) : nullptr;
    return made ? RESULT_SUCCESS : ERR_NO_MEMORY;
}

int VEXO_CALL V_DestroyBitmapList(HGLOBAL list)
{
    BitmapList *destroyed = BitmapListOf(list);
    if (!destroyed)
        return ERR_INV_PARAMETER;
    DestroyList(destroyed);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_InsertBitmapListItem(HGLOBAL list, unsigned index, const BitmapHandle *bitmap)
{
    BitmapList *changed = BitmapListOf(list);
    if (!changed)
        return ERR_INV_PARAMETER;
    const BitmapHandle inserted = RecordOrZeros(bitmap);
    const int status = Grow(changed);
    if (Failed(status))
        return status;
    BitmapHandle *last = changed->items + changed->count - 1;
    BitmapHandle *place = changed->items + std::min(index, changed->count - 1);
    std::copy_backward(place, last, last + 1);
    *place = inserted;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_RemoveBitmapListItem(HGLOBAL list, unsigned index, BitmapHandle *bitmap)
{
    BitmapList *changed = BitmapListOf(list);
    if (!changed || index >= changed->count)
        return ERR_INV_PARAMETER;
    if (bitmap)
        *bitmap = changed->items[index];
    CloseGap(changed, index, 1);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_DeleteBitmapListItems(HGLOBAL list, unsigned index, unsigned count)
{
    BitmapList *changed = BitmapListOf(list);
    if (!changed || index >= changed->count || count == 0)
        return ERR_INV_PARAMETER;
    DeleteItems(changed, index, std::min(count, changed->count - index));
    return RESULT_SUCCESS;
}

int VEXO_CALL V_GetBitmapListCount(HGLOBAL list, unsigned *count)
{
    const BitmapList *asked = BitmapListOf(list);
    if (!asked || !count)
        return ERR_INV_PARAMETER;
    *count = asked->count;
    return RESULT_SUCCESS;
}

int VEXO_CALL V_GetBitmapListItem(HGLOBAL list, unsigned index, BitmapHandle *bitmap)
{
    const BitmapList *asked = BitmapListOf(list);
    if (!asked || index >= asked->count || !bitmap)
        return ERR_INV_PARAMETER;
    *bitmap = asked->items[index];
    return RESULT_SUCCESS;
}

int VEXO_CALL V_SetBitmapListItem(HGLOBAL list, unsigned index, const BitmapHandle *bitmap)
{
    BitmapList *changed = BitmapListOf(list);
    if (!changed || index >= changed->count)
        return ERR_INV_PARAMETER;
    changed->items[index] = RecordOrZeros(bitmap);
    return RESULT_SUCCESS;
}

int VEXO_CALL V_CopyBitmapListItems(HGLOBAL *copy, HGLOBAL list, unsigned index, unsigned count)
{
    const BitmapList *source = BitmapListOf(list);
    if (!copy || !source || index >= source->count || count == 0)
        return ERR_INV_PARAMETER;
    ListOwner made{NewList()};
    if (!made.list)
        return ERR_NO_MEMORY;
    for (BitmapHandle &item : source->span().subspan(index, std::min(count, source->count - index))) {
        int status = Grow(made.list);
        if (Failed(status))
            return status;
        BitmapHandle *place = made.list->items + made.list->count - 1;
        *place = {};
        status = V_CopyBitmap(place, &item);
        if (Failed(status))
            return status;
    }
    *copy = made.Release();
    return RESULT_SUCCESS;
}
