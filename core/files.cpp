// File access in the shape of low-level POSIX calls over Win32 file handles, and the per-thread callbacks through which
// file-format modules read and write storage of the caller's own.
#include "core/core.h"

using namespace vexo;

namespace {

constexpr INT_PTR kNoFile = -1;

HANDLE AsHandle(INT_PTR file) { return reinterpret_cast<HANDLE>(file); }
INT_PTR AsFile(HANDLE handle) { return reinterpret_cast<INT_PTR>(handle); } // INVALID_HANDLE_VALUE is kNoFile
static_assert(sizeof(HANDLE) == sizeof(INT_PTR));

DWORD AccessOf(int openFlags)
{
    switch (openFlags & 3) {
    case OS_READ_ONLY: return GENERIC_READ;
    case OS_WRITE_ONLY: return GENERIC_WRITE;
    default: return GENERIC_READ | GENERIC_WRITE;
    }
}

DWORD CreationOf(int openFlags)
{
    if (openFlags & OS_CREATE)
        return CREATE_ALWAYS;
    return openFlags & OS_TRUNCATE ? TRUNCATE_EXISTING : OPEN_EXISTING;
}

DWORD SharingOf(int permissionFlags)
{
    if (!(permissionFlags & OS_PERMIT_READ))
        return 0;
    return permissionFlags & OS_PERMIT_WRITE ? FILE_SHARE_READ | FILE_SHARE_WRITE : FILE_SHARE_READ;
}

// Installs `next` and gives the former callback back through the same variable.
template <class Callback>
void Exchange(Callback *variable, Callback &current)
{
    if (!variable)
        return;
    const Callback next = *variable;
    *variable = current;
    if (next)
        current = next;
}

} // namespace

INT_PTR VEXO_CDECL V_OsOpen(const char *name, int openFlags, int permissionFlags)
{
    if (!name)
        return kNoFile;
    const DWORD attributes = (openFlags & 3) == OS_READ_ONLY ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL;
    return AsFile(::CreateFileA(name, AccessOf(openFlags), SharingOf(permissionFlags), nullptr, CreationOf(openFlags),
                                attributes, nullptr));
}

int VEXO_CDECL V_OsRead(INT_PTR file, void *buffer, unsigned count)
{
    DWORD moved = 0;
    return ::ReadFile(AsHandle(file), buffer, count, &moved, nullptr) ? int(moved) : -1;
}

int VEXO_CDECL V_OsWrite(INT_PTR file, const void *buffer, unsigned count)
{
    DWORD moved = 0;
    return ::WriteFile(AsHandle(file), buffer, count, &moved, nullptr) ? int(moved) : -1;
}

unsigned VEXO_CDECL V_OsSeek(INT_PTR file, int offset, int origin)
{
    const DWORD method = origin == 0 ? FILE_BEGIN : origin == 1 ? FILE_CURRENT : FILE_END;
    return ::SetFilePointer(AsHandle(file), offset, nullptr, method);
}

int VEXO_CDECL V_OsClose(INT_PTR file) { return ::CloseHandle(AsHandle(file)) ? 0 : -1; }

INT_PTR VEXO_CALL V_OsCreat(const char *name, int attributes)
{
    constexpr int kReadOnly = 1, kAttributes = 7;
    if (!name)
        return kNoFile;
    const DWORD access = attributes & kReadOnly ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    return AsFile(::CreateFileA(name, access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                DWORD(attributes & kAttributes), nullptr));
}

int VEXO_CALL V_OsDelete(const char *name) { return name && ::DeleteFileA(name) ? 0 : -1; }

int VEXO_CALL V_OsGetTempName(char *buffer)
{
    char path[MAX_PATH];
    if (!buffer)
        return 0;
    buffer[0] = '\0';
    const DWORD length = ::GetTempPathA(MAX_PATH, path);
    if (length == 0 || length >= MAX_PATH || !::GetTempFileNameA(path, "QZ", 0, buffer))
        buffer[0] = '\0';
    return 0;
}

void VEXO_CALL V_RedirectIO(VexoOpenCallback open, VexoReadCallback read, VexoWriteCallback write,
                            VexoSeekCallback seek, VexoCloseCallback close)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return;
    thread->ioOpen = open ? open : V_OsOpen;
    thread->ioRead = read ? read : V_OsRead;
    thread->ioWrite = write ? write : V_OsWrite;
    thread->ioSeek = seek ? seek : V_OsSeek;
    thread->ioClose = close ? close : V_OsClose;
}

void VEXO_CALL V_FilterIO(VexoOpenCallback *open, VexoReadCallback *read, VexoWriteCallback *write,
                          VexoSeekCallback *seek, VexoCloseCallback *close)
{
    ThreadSettings *thread = CurrentThread();
    if (!thread)
        return;
    Exchange(open, thread->ioOpen);
    Exchange(read, thread->ioRead);
    Exchange(write, thread->ioWrite);
    Exchange(seek, thread->ioSeek);
    Exchange(close, thread->ioClose);
}

INT_PTR VEXO_CDECL V_RedirectedOpen(const char *name, int openFlags, int permissionFlags)
{
    return CurrentSettings().ioOpen(name, openFlags, permissionFlags);
}

int VEXO_CDECL V_RedirectedRead(INT_PTR file, void *buffer, unsigned count)
{
    return CurrentSettings().ioRead(file, buffer, count);
}

int VEXO_CDECL V_RedirectedWrite(INT_PTR file, const void *buffer, unsigned count)
{
    return CurrentSettings().ioWrite(file, buffer, count);
}

unsigned VEXO_CDECL V_RedirectedSeek(INT_PTR file, int offset, int origin)
{
    return CurrentSettings().ioSeek(file, offset, origin);
}

int VEXO_CDECL V_RedirectedClose(INT_PTR file) { return CurrentSettings().ioClose(file); }
