// Working memory, files, and the redirection of file access.
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"
#include "tests/support/random.h"

#include "vexokit.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace vexo::test {

namespace {

class Memory : public LibraryTest {};
class Files : public LibraryTest {};

std::string TempName()
{
    char name[MAX_PATH];
    EXPECT_EQ(0, V_OsGetTempName(name));
    return name;
}

} // namespace

TEST_F(Memory, BlocksKeepTheirContents)
{
    Random random(3);
    for (int i = 0; i < 200; ++i) {
        const unsigned size = unsigned(random.Between(1, 70000)), newSize = unsigned(random.Between(1, 70000));
        auto *block = static_cast<BYTE *>(V_OsAllocInit(size, 1));
        ASSERT_NE(nullptr, block);
        ASSERT_TRUE(std::all_of(block, block + size, [](BYTE byte) { return byte == 0; }));
        std::vector<BYTE> model(size);
        random.Fill(model.data(), size);
        memcpy(block, model.data(), size);
        block = static_cast<BYTE *>(V_OsReAlloc(block, newSize));
        ASSERT_NE(nullptr, block);
        ASSERT_EQ(0, memcmp(model.data(), block, std::min(size, newSize)));
        memset(block, 0x11, newSize);
        ASSERT_EQ(0, V_OsFree(block));
    }
    EXPECT_EQ(0, V_OsFree(nullptr));
}

TEST_F(Memory, FailuresGiveNull)
{
    if (sizeof(void *) == 4) // a 64-bit process may well get as much
        EXPECT_EQ(nullptr, V_OsAlloc(0xFFFFFFFF));
    const int acquisitions = ForEachFault(kFaultMemory | kFaultLocks, [](FaultInjector &faults) {
        void *block = faults.Run([] { return V_OsAlloc(100); });
        EXPECT_EQ(faults.struck(), block == nullptr);
        V_OsFree(block);
    });
    EXPECT_EQ(2, acquisitions);

    // A block that cannot be re-sized is still there, unlocked.
    auto *block = static_cast<BYTE *>(V_OsAlloc(100));
    memset(block, 0x77, 100);
    const HGLOBAL handle = GlobalHandle(block);
    FaultInjector faults(kFaultMemory, 1);
    EXPECT_EQ(nullptr, faults.Run([&] { return V_OsReAlloc(block, 200); }));
    EXPECT_FALSE(GlobalUnlock(handle));
    EXPECT_EQ(DWORD(ERROR_NOT_LOCKED), GetLastError());
    block = static_cast<BYTE *>(GlobalLock(handle));
    EXPECT_TRUE(std::all_of(block, block + 100, [](BYTE byte) { return byte == 0x77; }));
    V_OsFree(block);
}

TEST_F(Memory, BlocksAreMovableAndShared)
{
    UINT allocFlags = 0;
    const auto spy =
        Replace<decltype(::GlobalAlloc)>("kernel32.dll", "GlobalAlloc", [&](auto next, UINT flags, SIZE_T size) {
            allocFlags = flags;
            return next(flags, size);
        });
    for (const int isZeroed : {0, -1}) {
        V_OsFree(V_OsAllocInit(10, isZeroed));
        EXPECT_EQ(isZeroed ? 0x2042u : 0x2002u, allocFlags);
    }
}

TEST_F(Files, ReadWriteSeek)
{
    const std::string name = TempName();
    EXPECT_NE(std::string::npos, name.find("\\QZ")) << name;
    const INT_PTR file = V_OsCreat(name.c_str(), 0);
    ASSERT_NE(-1, file);
    EXPECT_EQ(10, V_OsWrite(file, "0123456789", 10));
    EXPECT_EQ(2u, V_OsSeek(file, 2, 0));
    EXPECT_EQ(5u, V_OsSeek(file, 3, 1));
    EXPECT_EQ(8u, V_OsSeek(file, -2, 2));
    EXPECT_EQ(7u, V_OsSeek(file, -3, 7));
    char bytes[8] = {};
    EXPECT_EQ(3, V_OsRead(file, bytes, 8));
    EXPECT_STREQ("789", bytes);
    EXPECT_EQ(0, V_OsRead(file, bytes, 8));
    EXPECT_EQ(0xFFFFFFFFu, V_OsSeek(file, -1, 0));
    EXPECT_EQ(0, V_OsClose(file));
    EXPECT_EQ(-1, V_OsRead(-1, bytes, 1));
    EXPECT_EQ(-1, V_OsWrite(-1, bytes, 1));
    EXPECT_EQ(0, V_OsDelete(name.c_str()));
    EXPECT_EQ(-1, V_OsDelete(name.c_str()));
    EXPECT_EQ(-1, V_OsOpen(name.c_str(), OS_TRUNCATE, OS_PERMIT_READ));
    EXPECT_EQ(-1, V_OsOpen(name.c_str(), OS_READ_WRITE, OS_PERMIT_READ));
}

TEST_F(Files, NoTemporaryNameIsAnEmptyString)
{
    ForEachFault(kFaultFiles, [](FaultInjector &faults) {
        char name[MAX_PATH] = "left over";
        EXPECT_EQ(0, faults.Run([&] { return V_OsGetTempName(name); }));
        EXPECT_EQ(faults.struck(), name[0] == '\0');
        if (name[0])
            V_OsDelete(name);
    });
}

TEST_F(Files, OpenFlags)
{
    using OpenCall = std::array<DWORD, 4>; // access, sharing, creation, attributes
    OpenCall openCall;
    const auto recorder = Replace<decltype(::CreateFileA)>(
        "kernel32.dll", "CreateFileA",
        [&](auto, LPCSTR, DWORD access, DWORD sharing, auto, DWORD creation, DWORD attributes, HANDLE) {
            openCall = {access, sharing, creation, attributes};
            return INVALID_HANDLE_VALUE;
        });
    constexpr DWORD kRead = GENERIC_READ, kWrite = GENERIC_WRITE, kBoth = GENERIC_READ | GENERIC_WRITE;
    const struct {
        int open, permission;
        OpenCall expected;
    } cases[] = {
        {OS_READ_ONLY, 0x180, {kRead, 3, OPEN_EXISTING, FILE_ATTRIBUTE_READONLY}},
        {OS_WRITE_ONLY, 0x080, {kWrite, 0, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL}},
        {OS_READ_WRITE, 0x100, {kBoth, 1, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL}},
        {3 | OS_CREATE, 0x000, {kBoth, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL}},
        {OS_WRITE_ONLY | OS_CREATE | OS_TRUNCATE, 0x1F0, {kWrite, 3, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL}},
        {OS_READ_WRITE | OS_TRUNCATE, 0x100, {kBoth, 1, TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL}},
        {OS_READ_ONLY | OS_CREATE | 0x8000, 0x100, {kRead, 1, CREATE_ALWAYS, FILE_ATTRIBUTE_READONLY}},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(-1, V_OsOpen("name", test.open, test.permission));
        EXPECT_EQ(test.expected, openCall) << std::hex << test.open << " " << test.permission;
    }
    for (const DWORD attributes : {0, 1, 6, 0x27}) {
        EXPECT_EQ(-1, V_OsCreat("name", int(attributes)));
        EXPECT_EQ((OpenCall{attributes & 1 ? kRead : kBoth, 3, CREATE_ALWAYS, attributes & 7}), openCall);
    }
}

TEST_F(Files, AccessCanBeRedirected)
{
    const VexoOpenCallback open = [](const char *name, int flags, int permission) -> INT_PTR {
        return name[0] * 100 + flags * 10 + permission;
    };
    const VexoReadCallback read = [](INT_PTR file, void *buffer, unsigned count) {
        memset(buffer, int(file), count);
        return int(count) - 1;
    };
    const VexoCloseCallback close = [](INT_PTR file) { return int(file) + 1; };
    const VexoCloseCallback filter = [](INT_PTR file) { return int(file) + 2; };
    V_RedirectIO(
        open, read, [](INT_PTR, const void *, unsigned) { return -5; },
        [](INT_PTR, int offset, int origin) { return unsigned(offset + origin); }, close);
    char bytes[4] = {};
    EXPECT_EQ(9712, V_RedirectedOpen("a", 1, 2));
    EXPECT_EQ(3, V_RedirectedRead(65, bytes, 4));
    EXPECT_EQ(0, memcmp("AAAA", bytes, 4));
    EXPECT_EQ(-5, V_RedirectedWrite(0, bytes, 4));
    EXPECT_EQ(12u, V_RedirectedSeek(0, 10, 2));
    EXPECT_EQ(6, V_RedirectedClose(5));
    RunOnNewThread([] { EXPECT_EQ(-1, V_RedirectedOpen("no such file", OS_READ_ONLY, 0)); });

    // A null in the variable asks only; a value is exchanged, and exchanged back by a second call.
    VexoOpenCallback formerOpen = nullptr;
    VexoCloseCallback formerClose = filter;
    for (const auto &[former, result] : {std::pair{close, 7}, std::pair{filter, 6}}) {
        V_FilterIO(&formerOpen, nullptr, nullptr, nullptr, &formerClose);
        EXPECT_EQ(open, formerOpen);
        EXPECT_EQ(former, formerClose);
        EXPECT_EQ(result, V_RedirectedClose(5));
    }

    V_RedirectIO(nullptr, nullptr, nullptr, nullptr, nullptr);
    const std::string name = TempName();
    const INT_PTR file = V_RedirectedOpen(name.c_str(), OS_READ_WRITE, 0);
    ASSERT_NE(-1, file);
    EXPECT_EQ(4, V_RedirectedWrite(file, "abcd", 4));
    EXPECT_EQ(1u, V_RedirectedSeek(file, 1, 0));
    EXPECT_EQ(3, V_RedirectedRead(file, bytes, 4));
    EXPECT_EQ(0, V_RedirectedClose(file));
    V_OsDelete(name.c_str());
}

} // namespace vexo::test
