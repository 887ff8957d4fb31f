#include "tests/support/leaks.h"

#include "tests/support/import_hooks.h"

#include <winternl.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <mutex>
#include <vector>

namespace vexo::test {

namespace {

std::mutex guard;
std::map<HGLOBAL, size_t> blocks;
std::map<const void *, HANDLE> views;
std::set<std::string> temporaryFiles;

using Lock = std::lock_guard<std::mutex>;

HGLOBAL WINAPI MyGlobalAlloc(UINT flags, SIZE_T size);
HGLOBAL WINAPI MyGlobalReAlloc(HGLOBAL handle, SIZE_T size, UINT flags);
HGLOBAL WINAPI MyGlobalFree(HGLOBAL handle);
LPVOID WINAPI MyMapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T size);
BOOL WINAPI MyUnmapViewOfFile(LPCVOID data);
UINT WINAPI MyGetTempFileNameA(LPCSTR path, LPCSTR prefix, UINT unique, LPSTR name);
BOOL WINAPI MyDeleteFileA(LPCSTR name);
HANDLE WINAPI MySetClipboardData(UINT format, HANDLE data);

struct Hooks {
    ImportHook<decltype(::GlobalAlloc)> globalAlloc{"kernel32.dll", "GlobalAlloc", MyGlobalAlloc};
    ImportHook<decltype(::GlobalReAlloc)> globalReAlloc{"kernel32.dll", "GlobalReAlloc", MyGlobalReAlloc};
    ImportHook<decltype(::GlobalFree)> globalFree{"kernel32.dll", "GlobalFree", MyGlobalFree};
    ImportHook<decltype(::MapViewOfFile)> mapViewOfFile{"kernel32.dll", "MapViewOfFile", MyMapViewOfFile};
    ImportHook<decltype(::UnmapViewOfFile)> unmapViewOfFile{"kernel32.dll", "UnmapViewOfFile", MyUnmapViewOfFile};
    ImportHook<decltype(::GetTempFileNameA)> getTempFileName{"kernel32.dll", "GetTempFileNameA", MyGetTempFileNameA};
    ImportHook<decltype(::DeleteFileA)> deleteFile{"kernel32.dll", "DeleteFileA", MyDeleteFileA};
    ImportHook<decltype(::SetClipboardData)> setClipboardData{"user32.dll", "SetClipboardData", MySetClipboardData};
};
PermanentHooks<Hooks> hooks;

HGLOBAL WINAPI MyGlobalAlloc(UINT flags, SIZE_T size)
{
    const HGLOBAL handle = hooks->globalAlloc.Next()(flags, size);
    const Lock lock(guard);
    if (handle)
        blocks[handle] = size;
    return handle;
}

HGLOBAL WINAPI MyGlobalReAlloc(HGLOBAL handle, SIZE_T size, UINT flags)
{
    const HGLOBAL moved = hooks->globalReAlloc.Next()(handle, size, flags);
    const Lock lock(guard);
    if (moved) {
        blocks.erase(handle);
        blocks[moved] = size;
    }
    return moved;
}

HGLOBAL WINAPI MyGlobalFree(HGLOBAL handle)
{
    {
        const Lock lock(guard);
        blocks.erase(handle);
    }
    return hooks->globalFree.Next()(handle);
}

LPVOID WINAPI MyMapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T size)
{
    void *view = hooks->mapViewOfFile.Next()(mapping, access, offsetHigh, offsetLow, size);
    const Lock lock(guard);
    if (view)
        views[view] = mapping;
    return view;
}

BOOL WINAPI MyUnmapViewOfFile(LPCVOID data)
{
    {
        const Lock lock(guard);
        views.erase(data);
    }
    return hooks->unmapViewOfFile.Next()(data);
}

std::string LowerCase(const char *name)
{
    std::string lower = name;
    for (char &c : lower)
        c = char(tolower(static_cast<unsigned char>(c)));
    return lower;
}

UINT WINAPI MyGetTempFileNameA(LPCSTR path, LPCSTR prefix, UINT unique, LPSTR name)
{
    const UINT number = hooks->getTempFileName.Next()(path, prefix, unique, name);
    const Lock lock(guard);
    if (number)
        temporaryFiles.insert(LowerCase(name));
    return number;
}

BOOL WINAPI MyDeleteFileA(LPCSTR name)
{
    const BOOL isDeleted = hooks->deleteFile.Next()(name);
    const Lock lock(guard);
    if (isDeleted)
        temporaryFiles.erase(LowerCase(name));
    return isDeleted;
}

// What the clipboard takes is its own from then on.
HANDLE WINAPI MySetClipboardData(UINT format, HANDLE data)
{
    const HANDLE taken = hooks->setClipboardData.Next()(format, data);
    const Lock lock(guard);
    if (taken)
        blocks.erase(data);
    return taken;
}

// What the system makes on first use and keeps is no leak of the test that happens to come first.
void UseEverythingOnce()
{
    char path[MAX_PATH], name[MAX_PATH];
    GetTempPathA(MAX_PATH, path);
    GetTempFileNameA(path, "QZ", 0, name);
    DeleteFileA(name);

    OutputDebugStringA(""); // the test framework writes failures there

    const HDC screen = GetDC(nullptr);
    ReleaseDC(nullptr, GetDC(nullptr)); // a second one at the same time
    const HDC memory = CreateCompatibleDC(screen);
    const HBITMAP bitmap = CreateCompatibleBitmap(screen, 8, 8);
    const HGDIOBJ former = SelectObject(memory, bitmap);
    PatBlt(memory, 0, 0, 8, 8, WHITENESS);
    SelectObject(memory, former);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
}

// Whether the system counts at all; some emulations of it always answer 0.
bool GuiResourcesCount()
{
    static const bool counts = [] {
        const DWORD before = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
        const HBRUSH brush = CreateSolidBrush(1);
        const DWORD after = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
        DeleteObject(brush);
        return after == before + 1;
    }();
    return counts;
}

template <class T>
T At(const void *base, size_t offset)
{
    return *reinterpret_cast<const T *>(static_cast<const BYTE *>(base) + offset);
}

// An entry of the table in which those emulations keep a process's GDI objects, for both sizes of pointers alike.
struct GdiTableEntry {
    ULONGLONG object;
    ULONG owner;
    USHORT unique;
    UCHAR type; // 0: free
    UCHAR flags;
    ULONGLONG userPointer;
};
static_assert(sizeof(GdiTableEntry) == 24);

// The environment block of the process points to it. A 32-bit process on a 64-bit system finds the wide form of that
// block through the wide form of its thread block; all of it lies in its reach.
const GdiTableEntry *FindGdiTable()
{
    const auto *thread = NtCurrentTeb();
#ifdef _WIN64
    return At<const GdiTableEntry *>(At<const void *>(thread, 0x60), 0xF8);
#else
    if (const auto *wideThread = At<const void *>(thread, 0xF70))
        return At<const GdiTableEntry *>(At<const void *>(wideThread, 0x60), 0xF8);
    return At<const GdiTableEntry *>(At<const void *>(thread, 0x30), 0x94);
#endif
}

} // namespace

void InstallLeakCounters()
{
    hooks.Make();
    UseEverythingOnce();
}

unsigned CountGdiObjects()
{
    if (GuiResourcesCount())
        return GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
    constexpr size_t kTableSize = 65536;
    static const GdiTableEntry *const table = FindGdiTable();
    return unsigned(std::count_if(table, table + kTableSize, [](const GdiTableEntry &entry) { return entry.type; }));
}

unsigned CountKernelHandles()
{
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count)
        return count;
    // The list of all handles of the system, where the count is not to be had.
    struct Entry {
        USHORT process;
        USHORT creator;
        UCHAR type;
        UCHAR attributes;
        USHORT handle;
        void *object;
        ULONG access;
    };
    struct List {
        ULONG_PTR count;
        Entry entries[1];
    };
    constexpr auto kHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    using Query = NTSTATUS WINAPI(SYSTEM_INFORMATION_CLASS, void *, ULONG, ULONG *);
    static const auto query = reinterpret_cast<Query *>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation")));
    static std::vector<BYTE> buffer(1 << 18);
    ULONG needed = 0;
    while (query(kHandleInformation, buffer.data(), ULONG(buffer.size()), &needed) < 0) {
        if (buffer.size() > (1 << 26))
            return 0;
        buffer.resize(buffer.size() * 2);
    }
    const auto *list = reinterpret_cast<const List *>(buffer.data());
    for (ULONG i = 0; i < ULONG(list->count); ++i)
        count += list->entries[i].process == USHORT(GetCurrentProcessId());
    return count;
}

size_t SizeOfBlock(HGLOBAL block)
{
    const Lock lock(guard);
    const auto found = blocks.find(block);
    return found == blocks.end() ? 0 : found->second;
}

Holdings Holdings::Now()
{
    Holdings now;
    now.gdiObjects = CountGdiObjects();
    now.kernelHandles = CountKernelHandles();
    const Lock lock(guard);
    for (const auto &block : vexo::test::blocks)
        now.blocks.insert(block.first);
    for (const auto &view : vexo::test::views)
        now.views.insert(view.first);
    now.temporaryFiles = vexo::test::temporaryFiles;
    return now;
}

std::string Holdings::DescribeGrowth(const Holdings &later) const
{
    std::string growth;
    for (HGLOBAL block : later.blocks)
        if (!blocks.count(block))
            growth += "global block of " + std::to_string(SizeOfBlock(block)) + " bytes\n";
    for (const void *view : later.views)
        if (!views.count(view))
            growth += "mapped view\n";
    for (const std::string &name : later.temporaryFiles)
        if (!temporaryFiles.count(name))
            growth += "temporary file " + name + "\n";
    if (later.gdiObjects > gdiObjects)
        growth += std::to_string(later.gdiObjects - gdiObjects) + " GDI objects\n";
    if (later.kernelHandles > kernelHandles)
        growth += std::to_string(later.kernelHandles - kernelHandles) + " kernel handles\n";
    return growth;
}

} // namespace vexo::test
