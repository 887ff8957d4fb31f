// Registration of the 16-bit companion library and the requests it sends. Compiled into both word sizes; only 32-bit
// systems old enough for Win32s ever find the registration functions.
#include "core/win32s.h"

namespace vexo {

namespace {

enum Request : unsigned { kAccess = 0, kRelease = 1, kGetRow = 2, kPutRow = 3, kCreateDC = 4, kDeleteDC = 5 };

using UniversalThunk = DWORD(WINAPI *)(void *arguments, DWORD request, void **translations);
using RegisterFunction = BOOL(WINAPI *)(HMODULE module, const char *library16, const char *initFunction,
                                        const char *thunkFunction, void **entry, UniversalThunk callback,
                                        void *initArgument);

DWORD WINAPI OnCompanionCall(void *arguments, DWORD request, void **)
{
    return DWORD(ServeCompanion(static_cast<const UINT_PTR *>(arguments), request));
}

DWORD CallCompanion(void *arguments, DWORD request, void **translations)
{
    return reinterpret_cast<UniversalThunk>(process.thunkEntry)(arguments, request, translations);
}

// Keeps a missing library from raising a system message box.
class QuietErrors {
public:
    QuietErrors() : m_mode(::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}
    ~QuietErrors() { ::SetErrorMode(m_mode); }
    QuietErrors(const QuietErrors &) = delete;
    QuietErrors &operator=(const QuietErrors &) = delete;

private:
    UINT m_mode;
};

} // namespace

int ServeCompanion(const UINT_PTR *arguments, unsigned request)
{
    BitmapHandle *bitmap = reinterpret_cast<BitmapHandle *>(arguments[0]);
    switch (request) {
    case kAccess: V_AccessBitmap(bitmap); return 0;
    case kRelease: V_ReleaseBitmap(bitmap); return 0;
    case kGetRow:
        return V_GetBitmapRowCol(bitmap, reinterpret_cast<void *>(arguments[1]), int(arguments[2]), int(arguments[3]),
                                 int(arguments[4]));
    case kPutRow:
        return V_PutBitmapRowCol(bitmap, reinterpret_cast<const void *>(arguments[1]), int(arguments[2]),
                                 int(arguments[3]), int(arguments[4]));
    default: return ERR_BAD_REQUEST;
    }
}

bool RegisterCompanion(HMODULE module)
{
    const QuietErrors quiet;
    const HMODULE kernel = ::LoadLibraryA("KERNEL32.DLL");
    if (!kernel)
        return false;
    const auto registerThunk =
        reinterpret_cast<RegisterFunction>(reinterpret_cast<void (*)()>(::GetProcAddress(kernel, "UTRegister")));
    // Looked up only to be sure that it is there; the registration is never taken back.
    const bool canUnregister = ::GetProcAddress(kernel, "UTUnRegister") != nullptr;
    const bool registered =
        registerThunk && canUnregister &&
        registerThunk(module, "VXTHK70W.DLL", "UTInit", "UTProc", &process.thunkEntry, OnCompanionCall, nullptr);
    ::FreeLibrary(kernel);
    return registered;
}

DWORD CompanionCreateDC(BitmapHandle *bitmap)
{
    void *argument = bitmap;
    void *translations[] = {&argument, nullptr}; // the 16-bit side sees the record through a pointer of its own kind
    return CallCompanion(&argument, kCreateDC, translations);
}

DWORD CompanionDeleteDC(HDC dc)
{
    void *noTranslations = nullptr;
    return CallCompanion(&dc, kDeleteDC, &noTranslations);
}

} // namespace vexo
