// The tests' own instruments: each must see what it is there for.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/leaks.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include "vexokit.h"

namespace vexo::test {

namespace {

bool IsReadable(const void *address)
{
    MEMORY_BASIC_INFORMATION information = {};
    VirtualQuery(address, &information, sizeof information);
    return information.State == MEM_COMMIT && (information.Protect & PAGE_READWRITE);
}

class Support : public LibraryTest {};

} // namespace

TEST_F(Support, CountersSeeWhatIsHeld)
{
    const Holdings before = Holdings::Now();
    const auto growth = [&] { return before.DescribeGrowth(Holdings::Now()); };
    void *block = V_OsAlloc(123);
    EXPECT_EQ("global block of 123 bytes\n", growth());
    V_OsFree(block);

    char name[MAX_PATH];
    V_OsGetTempName(name);
    EXPECT_EQ(0u, growth().find("temporary file "));
    V_OsDelete(name);

    BitmapHandle bitmap;
    V_CreateBitmap(&bitmap, STORAGE_MEMORY, 10, 10, 8, 0, nullptr, ORIENT_BOTTOM_UP);
    EXPECT_EQ("mapped view\n1 GDI objects\n1 kernel handles\n", growth());
    V_FreeBitmap(&bitmap);

    const HGDIOBJ objects[] = {CreateRectRgn(0, 0, 4, 4), CreateBitmap(4, 4, 1, 1, nullptr),
                               CreateSolidBrush(RGB(1, 2, 3))};
    const HDC memory = CreateCompatibleDC(nullptr);
    EXPECT_EQ("4 GDI objects\n", growth());
    for (const HGDIOBJ object : objects)
        DeleteObject(object);
    EXPECT_EQ("1 GDI objects\n", growth());
    DeleteDC(memory);
    EXPECT_EQ("", growth());
}

TEST_F(Support, PageHeapFencesBlocksAndMappings)
{
    const auto rounded = [](size_t size) { return (size + sizeof(void *) - 1) / sizeof(void *) * sizeof(void *); };
    const PageHeapScope on;
    for (const unsigned size : {4u, 100u, 4096u, 70000u}) {
        auto *block = static_cast<uint8_t *>(V_OsAlloc(size));
        EXPECT_TRUE(IsReadable(block) && IsReadable(block + size - 1));
        EXPECT_FALSE(IsReadable(block + rounded(size)));
        auto *moved = static_cast<uint8_t *>(V_OsReAlloc(block, size * 2));
        EXPECT_FALSE(IsReadable(block));
        GlobalUnlock(GlobalHandle(moved));
        EXPECT_FALSE(IsReadable(moved)) << "an unlocked block";
        GlobalLock(GlobalHandle(moved));
        V_OsFree(moved);
        EXPECT_FALSE(IsReadable(moved));

        TestBitmap bitmap(StorageKind::PageFile, 1, int(size), 32);
        auto *rows = static_cast<uint8_t *>(bitmap->Data);
        const size_t end = bitmap->Size;
        EXPECT_TRUE(IsReadable(rows + end - 1));
        EXPECT_FALSE(IsReadable(rows + rounded(end))) << size;
        V_FreeBitmap(bitmap.get());
        EXPECT_FALSE(IsReadable(rows)) << size;
    }
    for (const int damaged : {5, -1}) {
        auto *block = static_cast<uint8_t *>(V_OsAlloc(5));
        block[damaged] = 0;
        V_OsFree(block);
        EXPECT_EQ(damaged < 0 ? "written in front of its start (block of 5 bytes)\n"
                              : "written behind its end (block of 5 bytes)\n",
                  TakePageHeapComplaints());
    }
}

TEST_F(Support, FaultsStrikeOneAcquisition)
{
    FaultInjector second(kFaultMemory, 2);
    void *blocks[3];
    second.Run([&] {
        for (void *&block : blocks)
            block = V_OsAlloc(10);
    });
    EXPECT_TRUE(blocks[0] && !blocks[1] && blocks[2]);
    EXPECT_STREQ("GlobalAlloc", second.function());
    for (void *block : blocks)
        V_OsFree(block);
}

} // namespace vexo::test
