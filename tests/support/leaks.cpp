#include "tests/support/leaks.h"

#include "tests/support/import_hooks.h"

#include <winternl.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace vexo::test {

namespace {

std::mutex guard;
Holdings held; // but for what the system counts

using Lock = std::lock_guard<std::mutex>;

HGLOBAL WINAPI MyGlobalAlloc(UINT flags, SIZE_T size)
{
    const HGLOBAL handle = PermanentHook<MyGlobalAlloc>::Next()(flags, size);
    const Lock lock(guard);
    if (handle)
        held.blocks[handle] = size;
    return handle;
}

HGLOBAL WINAPI MyGlobalReAlloc(HGLOBAL handle, SIZE_T size, UINT flags)
{
    const HGLOBAL moved = PermanentHook<MyGlobalReAlloc>::Next()(handle, size, flags);
    const Lock lock(guard);
    if (moved) {
        held.blocks.erase(handle);
        held.blocks[moved] = size;
    }
    return moved;
}

HGLOBAL WINAPI MyGlobalFree(HGLOBAL handle)
{
    {
        const Lock lock(guard);
        held.blocks.erase(handle);
    }
    return PermanentHook<MyGlobalFree>::Next()(handle);
}

LPVOID WINAPI MyMapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T size)
{
    void *view = PermanentHook<MyMapViewOfFile>::Next()(mapping, access, offsetHigh, offsetLow, size);
    const Lock lock(guard);
    if (view)
        held.views.insert(view);
    return view;
}

BOOL WINAPI MyUnmapViewOfFile(LPCVOID data)
{
    {
        const Lock lock(guard);
        held.views.erase(data);
    }
    return PermanentHook<MyUnmapViewOfFile>::Next()(data);
}

UINT WINAPI MyGetTempFileNameA(LPCSTR path, LPCSTR prefix, UINT unique, LPSTR name)
{
    const UINT number = PermanentHook<MyGetTempFileNameA>::Next()(path, prefix, unique, name);
    const Lock lock(guard);
    if (number)
        held.temporaryFiles.insert(name);
    return number;
}

BOOL WINAPI MyDeleteFileA(LPCSTR name)
{
    const BOOL isDeleted = PermanentHook<MyDeleteFileA>::Next()(name);
    const Lock lock(guard);
    if (isDeleted)
        held.temporaryFiles.erase(name);
    return isDeleted;
}

// What the clipboard takes is its own from then on.
HANDLE WINAPI MySetClipboardData(UINT format, HANDLE data)
{
    const HANDLE taken = PermanentHook<MySetClipboardData>::Next()(format, data);
    const Lock lock(guard);
    if (taken)
        held.blocks.erase(data);
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

// Open kernel handles of this process.
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

} // namespace

void InstallLeakCounters()
{
    PermanentHook<MyGlobalAlloc>::Install("kernel32.dll", "GlobalAlloc");
    PermanentHook<MyGlobalReAlloc>::Install("kernel32.dll", "GlobalReAlloc");
    PermanentHook<MyGlobalFree>::Install("kernel32.dll", "GlobalFree");
    PermanentHook<MyMapViewOfFile>::Install("kernel32.dll", "MapViewOfFile");
    PermanentHook<MyUnmapViewOfFile>::Install("kernel32.dll", "UnmapViewOfFile");
    PermanentHook<MyGetTempFileNameA>::Install("kernel32.dll", "GetTempFileNameA");
    PermanentHook<MyDeleteFileA>::Install("kernel32.dll", "DeleteFileA");
    PermanentHook<MySetClipboardData>::Install("user32.dll", "SetClipboardData");
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

Holdings Holdings::Now()
{
    const unsigned gdiObjects = CountGdiObjects(), kernelHandles = CountKernelHandles();
    const Lock lock(guard);
    Holdings now = held;
    now.gdiObjects = gdiObjects;
    now.kernelHandles = kernelHandles;
    return now;
}

std::string Holdings::DescribeGrowth(const Holdings &later) const
{
    std::string growth;
    for (const auto &[block, size] : later.blocks)
        if (!blocks.count(block))
            growth += "global block of " + std::to_string(size) + " bytes\n";
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
