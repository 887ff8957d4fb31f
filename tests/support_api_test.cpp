// The tests' own instruments: each must see what it is there for.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/leaks.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"

#include "vexokit.h"

#include <string>

namespace vexo::test {

namespace {

// Blocks end at the fence but for this rounding.
constexpr size_t Rounded(size_t size) { return (size + sizeof(void *) - 1) / sizeof(void *) * sizeof(void *); }

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
    EXPECT_EQ("", growth());

    void *block = V_OsAlloc(123);
    EXPECT_EQ("global block of 123 bytes\n", growth());
    V_OsFree(block);

    char name[MAX_PATH];
    V_OsGetTempName(name);
    EXPECT_EQ(0u, growth().find("temporary file "));
    V_OsDelete(name);

    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    EXPECT_EQ("1 kernel handles\n", growth());
    CloseHandle(event);

    BitmapHandle bitmap;
    V_InitBitmap(&bitmap, 10, 10, 24);
    V_AllocateBitmap(&bitmap, STORAGE_MEMORY);
    EXPECT_EQ("mapped view\n1 kernel handles\n", growth());
    V_FreeBitmap(&bitmap);
    EXPECT_EQ("", growth());
}

TEST_F(Support, CountersSeeEveryKindOfGdiObject)
{
    const Holdings before = Holdings::Now();
    LOGPALETTE palette = {0x300, 1, {{1, 2, 3, 0}}};
    BITMAPINFO section = {};
    section.bmiHeader = {sizeof section.bmiHeader, 4, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    void *bits;
    const HGDIOBJ objects[] = {
        CreatePalette(&palette),           CreateRectRgn(0, 0, 4, 4),
        CreateBitmap(4, 4, 1, 1, nullptr), CreateDIBSection(nullptr, &section, DIB_RGB_COLORS, &bits, nullptr, 0),
        CreateSolidBrush(RGB(1, 2, 3)),    CreatePen(PS_SOLID, 1, RGB(1, 2, 3)),
    };
    unsigned held = unsigned(std::size(objects));
    const auto expect = [&](const char *what) {
        const std::string growth = held ? std::to_string(held) + " GDI objects\n" : "";
        EXPECT_EQ(growth, before.DescribeGrowth(Holdings::Now())) << what;
    };
    expect("made");
    for (const HGDIOBJ object : objects) {
        DeleteObject(object);
        --held;
        expect("deleted");
    }
    const HDC memory = CreateCompatibleDC(nullptr);
    EXPECT_EQ("1 GDI objects\n", before.DescribeGrowth(Holdings::Now()));
    DeleteDC(memory);
    const HDC recorder = CreateEnhMetaFileA(nullptr, nullptr, nullptr, nullptr);
    EXPECT_NE("", before.DescribeGrowth(Holdings::Now()));
    const HENHMETAFILE metafile = CloseEnhMetaFile(recorder);
    EXPECT_EQ("1 GDI objects\n", before.DescribeGrowth(Holdings::Now()));
    DeleteEnhMetaFile(metafile);
    expect("none left");
}

TEST_F(Support, PageHeapFencesBlocks)
{
    const PageHeapScope on;
    for (unsigned size : {4u, 100u, 4096u, 65536u, 70000u}) {
        auto *block = static_cast<uint8_t *>(V_OsAlloc(size));
        EXPECT_TRUE(IsReadable(block));
        EXPECT_TRUE(IsReadable(block + size - 1));
        EXPECT_FALSE(IsReadable(block + Rounded(size)));
        auto *moved = static_cast<uint8_t *>(V_OsReAlloc(block, size * 2));
        EXPECT_FALSE(IsReadable(block));
        GlobalUnlock(GlobalHandle(moved));
        EXPECT_FALSE(IsReadable(moved)) << "an unlocked block";
        GlobalLock(GlobalHandle(moved));
        V_OsFree(moved);
        EXPECT_FALSE(IsReadable(moved));
    }
    EXPECT_EQ("", TakePageHeapComplaints());
    auto *block = static_cast<uint8_t *>(V_OsAlloc(5));
    block[5] = 0;
    V_OsFree(block);
    EXPECT_EQ("written behind its end (block of 5 bytes)\n", TakePageHeapComplaints());
    block = static_cast<uint8_t *>(V_OsAlloc(5));
    block[-1] = 0;
    V_OsFree(block);
    EXPECT_EQ("written in front of its start (block of 5 bytes)\n", TakePageHeapComplaints());
}

TEST_F(Support, PageHeapFencesMappings)
{
    const PageHeapScope on;
    for (int height : {1, 1023, 1024, 16384, 20000}) {
        BitmapHandle bitmap;
        V_InitBitmap(&bitmap, 1, height, 32);
        ASSERT_EQ(RESULT_SUCCESS, V_AllocateBitmap(&bitmap, STORAGE_MEMORY));
        auto *rows = static_cast<uint8_t *>(bitmap.Data);
        EXPECT_TRUE(IsReadable(rows + bitmap.Size - 1));
        EXPECT_FALSE(IsReadable(rows + Rounded(bitmap.Size))) << height;
        V_FreeBitmap(&bitmap);
        EXPECT_FALSE(IsReadable(rows)) << height;
    }
}

TEST_F(Support, FaultsCountAcquisitions)
{
    EXPECT_EQ(3, ForEachFault(kFaultMemory, [](FaultInjector &faults) {
                  faults.Run([] {
                      for (int i = 0; i < 3; ++i)
                          V_OsFree(V_OsAlloc(10));
                      return 0;
                  });
              }));
    FaultInjector second(kFaultMemory, 2);
    void *blocks[3];
    second.Run([&] {
        for (void *&block : blocks)
            block = V_OsAlloc(10);
    });
    EXPECT_NE(nullptr, blocks[0]);
    EXPECT_EQ(nullptr, blocks[1]);
    EXPECT_NE(nullptr, blocks[2]);
    EXPECT_STREQ("GlobalAlloc", second.function());
    for (void *block : blocks)
        V_OsFree(block);
}

} // namespace vexo::test
