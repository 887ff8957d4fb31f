// Bitmap lists against a plain vector of images: order, ownership (nothing freed twice, nothing lost) and failures.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include <algorithm>
#include <optional>

namespace vexo::test {

namespace {

class Lists : public LibraryTest {
private:
    // A second release of anything fails, because the first has made its handle invalid.
    static constexpr auto kOnce = [](auto next, auto what) {
        const BOOL done = next(what);
        EXPECT_TRUE(done) << "released twice";
        return done;
    };

    const PageHeapScope m_pageHeap;
    Replacement<decltype(UnmapViewOfFile), decltype(kOnce)> m_unmap{"kernel32.dll", "UnmapViewOfFile", kOnce};
    Replacement<decltype(DeleteObject), decltype(kOnce)> m_delete{"gdi32.dll", "DeleteObject", kOnce};
};

// A record that the caller owns; nothing for an item of zeros.
struct Item {
    BitmapHandle record = {};
    std::optional<Image> image;

    static Item Make(Random &random)
    {
        constexpr int kDepths[] = {1, 4, 8, 24};
        Item item;
        if (random.OneIn(8))
            return item;
        const int bits = kDepths[random.Below(4)];
        const StorageKind kind = bits == 1 && random.OneIn(2) ? StorageKind::Compressed : StorageKind::PageFile;
        item.image = Image::RandomRuns(random, random.Between(1, 40), random.Between(1, 5), bits);
        EXPECT_EQ(RESULT_SUCCESS, V_CreateBitmap(&item.record, MemoryType(kind), item.image->width, item.image->height,
                                                 bits, COLOR_ORDER_BGR, nullptr, ORIENT_TOP_DOWN));
        Store(&item.record, *item.image);
        return item;
    }
    void ExpectSame(BitmapHandle record) const
    {
        ASSERT_EQ(image.has_value(), (record.Flags & FLAG_ALLOCATED) != 0);
        if (image)
            EXPECT_EQ(*image, Load(&record));
    }
};

void ExpectItems(HGLOBAL list, const std::vector<Item> &items)
{
    unsigned count = 77;
    ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapListCount(list, &count));
    ASSERT_EQ(items.size(), count);
    for (unsigned i = 0; i < count; ++i) {
        BitmapHandle record;
        ASSERT_EQ(RESULT_SUCCESS, V_GetBitmapListItem(list, i, &record));
        items[i].ExpectSame(record);
    }
    BitmapHandle record;
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapListItem(list, count, &record));
}

HGLOBAL MakeList(const std::vector<Item> &items)
{
    HGLOBAL list = nullptr;
    EXPECT_EQ(RESULT_SUCCESS, V_CreateBitmapList(&list));
    for (const Item &item : items)
        EXPECT_EQ(RESULT_SUCCESS, V_InsertBitmapListItem(list, ~0u, &item.record));
    return list;
}

std::vector<Item> MakeItems(Random &random, int count)
{
    std::vector<Item> items;
    while (int(items.size()) < count)
        if (Item item = Item::Make(random); item.image)
            items.push_back(std::move(item));
    return items;
}

} // namespace

TEST_F(Lists, BehaveAsAVectorThatOwnsItsItems)
{
    Random random(81);
    std::vector<Item> items;
    const HGLOBAL list = MakeList(items);
    for (int step = 0; step < 800; ++step) {
        const unsigned count = unsigned(items.size());
        const unsigned index = unsigned(random.Below(int(count) + 2));
        const bool exists = index < count;
        const int expected = exists ? RESULT_SUCCESS : ERR_INV_PARAMETER;
        switch (random.Below(count > 12 ? 6 : 8)) {
        case 0: { // the caller owns what it takes out
            BitmapHandle taken = {};
            ASSERT_EQ(expected, V_RemoveBitmapListItem(list, index, &taken));
            if (exists) {
                items[index].ExpectSame(taken);
                V_FreeBitmap(&taken);
                items.erase(items.begin() + index);
            }
            break;
        }
        case 1: {
            const unsigned deleted = random.OneIn(4) ? ~0u : unsigned(random.Below(4));
            ASSERT_EQ(deleted ? expected : ERR_INV_PARAMETER, V_DeleteBitmapListItems(list, index, deleted));
            if (exists)
                items.erase(items.begin() + index, items.begin() + index + std::min(deleted, count - index));
            break;
        }
        case 2: { // exchanged for another one, which the list then owns
            BitmapHandle former;
            if (V_GetBitmapListItem(list, index, &former) == RESULT_SUCCESS)
                V_FreeBitmap(&former);
            Item item = Item::Make(random);
            ASSERT_EQ(expected, V_SetBitmapListItem(list, index, item.image ? &item.record : nullptr));
            if (exists)
                items[index] = item;
            else
                V_FreeBitmap(&item.record);
            break;
        }
        default: {
            const Item item = Item::Make(random);
            const unsigned place = random.OneIn(3) ? ~0u : index;
            ASSERT_EQ(RESULT_SUCCESS, V_InsertBitmapListItem(list, place, item.image ? &item.record : nullptr));
            items.insert(items.begin() + std::min(place, count), item);
            break;
        }
        }
        if (step % 16 == 0)
            ExpectItems(list, items);
        if (HasFatalFailure())
            break;
    }
    ExpectItems(list, items);
    EXPECT_EQ(RESULT_SUCCESS, V_DestroyBitmapList(list));
}

TEST_F(Lists, RefuseBadArguments)
{
    Random random(84);
    const std::vector<Item> items = MakeItems(random, 2);
    const HGLOBAL list = MakeList(items);
    const HGLOBAL untouched = list;
    HGLOBAL out = untouched;
    BitmapHandle record = {};
    unsigned count = 0;
    EXPECT_EQ(ERR_INV_PARAMETER, V_CreateBitmapList(nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapListCount(list, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapListItem(list, 0, nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyBitmapListItems(nullptr, list, 0, 1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyBitmapListItems(&out, list, 0, 0));
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyBitmapListItems(&out, list, 2, 1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_CopyBitmapListItems(&out, nullptr, 0, 1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DestroyBitmapList(nullptr));
    EXPECT_EQ(ERR_INV_PARAMETER, V_InsertBitmapListItem(nullptr, 0, &record));
    EXPECT_EQ(ERR_INV_PARAMETER, V_RemoveBitmapListItem(nullptr, 0, &record));
    EXPECT_EQ(ERR_INV_PARAMETER, V_DeleteBitmapListItems(nullptr, 0, 1));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapListCount(nullptr, &count));
    EXPECT_EQ(ERR_INV_PARAMETER, V_GetBitmapListItem(nullptr, 0, &record));
    EXPECT_EQ(ERR_INV_PARAMETER, V_SetBitmapListItem(nullptr, 0, &record));
    // An item without storage cannot be copied; the copies made before it are freed.
    EXPECT_EQ(RESULT_SUCCESS, V_InsertBitmapListItem(list, 2, nullptr));
    EXPECT_EQ(ERR_NO_BITMAP, V_CopyBitmapListItems(&out, list, 0, 3));
    EXPECT_EQ(untouched, out);
    EXPECT_EQ(RESULT_SUCCESS, V_DestroyBitmapList(list));
}

TEST_F(Lists, FailuresLeaveEverythingAsItWas)
{
    Random random(85);
    ForEachFault(kFaultAll | kFaultLocks, [](FaultInjector &faults) {
        HGLOBAL list = &faults;
        const int status = faults.Run([&] { return V_CreateBitmapList(&list); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        EXPECT_EQ(faults.struck(), list == nullptr);
        V_DestroyBitmapList(list);
    });
    // Runs change(list, its items), which takes what it has done to the list over to the items.
    const auto check = [&](int count, auto change) {
        ForEachFault(kFaultAll, [&](FaultInjector &faults) {
            std::vector<Item> items = MakeItems(random, count);
            const HGLOBAL list = MakeList(items);
            change(faults, list, items);
            ExpectItems(list, items);
            V_DestroyBitmapList(list);
        });
    };
    for (const int count : {0, 2})
        check(count, [&](FaultInjector &faults, HGLOBAL list, std::vector<Item> &items) {
            Item added = MakeItems(random, 1)[0];
            if (faults.Run([&] { return V_InsertBitmapListItem(list, 0, &added.record); }) == RESULT_SUCCESS)
                items.insert(items.begin(), added);
            else
                V_FreeBitmap(&added.record);
        });
    // An array that cannot be made shorter serves as it is.
    check(3, [&](FaultInjector &faults, HGLOBAL list, std::vector<Item> &items) {
        EXPECT_EQ(RESULT_SUCCESS, faults.Run([&] { return V_DeleteBitmapListItems(list, 1, 1); }));
        items.erase(items.begin() + 1);
    });
    check(3, [&](FaultInjector &faults, HGLOBAL list, std::vector<Item> &items) {
        HGLOBAL copy = nullptr;
        const int status = faults.Run([&] { return V_CopyBitmapListItems(&copy, list, 1, 2); });
        EXPECT_EQ(faults.struck() ? ERR_NO_MEMORY : RESULT_SUCCESS, status);
        if (copy) {
            ExpectItems(copy, {items[1], items[2]});
            V_DestroyBitmapList(copy);
        }
    });
}

} // namespace vexo::test
