// One stand-in per function that acquires something, made from its type: it either gives the function's own sign of
// failure or passes the call on.
#include "tests/support/faults.h"

#include "tests/support/import_hooks.h"

namespace vexo::test {

namespace {

thread_local FaultInjector *armed;

template <int Id, class Function>
struct StandIn;

template <int Id, class Result, class... Arguments>
struct StandIn<Id, Result WINAPI(Arguments...)> {
    static inline Result failure;
    static inline unsigned kind;
    static inline const char *name;

    static Result WINAPI Call(Arguments... arguments)
    {
        if (!FaultInjector::ShouldFail(kind, name))
            return PermanentHook<Call>::Next()(arguments...);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return failure;
    }
};

template <int Id, class Function, class Result>
void Install(unsigned kind, const char *dll, const char *name, Result failure)
{
    using Call = StandIn<Id, Function>;
    Call::failure = failure;
    Call::kind = kind;
    Call::name = name;
    PermanentHook<Call::Call>::Install(dll, name);
}

} // namespace

#define FAULT(kind, dll, function, failure) Install<__LINE__, decltype(::function)>(kind, dll, #function, failure)

void InstallFaults()
{
    FAULT(kFaultMemory, "kernel32.dll", GlobalAlloc, nullptr);
    FAULT(kFaultMemory, "kernel32.dll", GlobalReAlloc, nullptr);
    FAULT(kFaultLocks, "kernel32.dll", GlobalLock, nullptr);

    FAULT(kFaultMappings, "kernel32.dll", CreateFileMappingA, nullptr);
    FAULT(kFaultMappings, "kernel32.dll", MapViewOfFile, nullptr);

    FAULT(kFaultFiles, "kernel32.dll", GetTempPathA, 0);
    FAULT(kFaultFiles, "kernel32.dll", GetTempFileNameA, 0);
    FAULT(kFaultFiles, "kernel32.dll", CreateFileA, INVALID_HANDLE_VALUE);
    FAULT(kFaultFiles, "kernel32.dll", SetFilePointer, INVALID_SET_FILE_POINTER);
    FAULT(kFaultFiles, "kernel32.dll", SetEndOfFile, FALSE);
    FAULT(kFaultFiles, "kernel32.dll", ReadFile, FALSE);
    FAULT(kFaultFiles, "kernel32.dll", WriteFile, FALSE);

    FAULT(kFaultGdi, "gdi32.dll", CreatePalette, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateBitmap, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateCompatibleBitmap, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateDIBitmap, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateDIBSection, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateCompatibleDC, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreatePatternBrush, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateSolidBrush, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateRectRgn, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateRectRgnIndirect, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateEllipticRgnIndirect, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreateRoundRectRgn, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CreatePolygonRgn, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", ExtCreateRegion, nullptr);
    FAULT(kFaultGdi, "gdi32.dll", CombineRgn, ERROR);
    FAULT(kFaultGdi, "gdi32.dll", GetRegionData, 0);
    FAULT(kFaultGdi, "gdi32.dll", SetRectRgn, FALSE);
    FAULT(kFaultGdi, "gdi32.dll", OffsetRgn, ERROR);
    FAULT(kFaultGdi, "user32.dll", GetDC, nullptr);

    FAULT(kFaultClipboard, "user32.dll", OpenClipboard, FALSE);
    FAULT(kFaultClipboard, "user32.dll", EmptyClipboard, FALSE);
    FAULT(kFaultClipboard, "user32.dll", SetClipboardData, nullptr);
    FAULT(kFaultClipboard, "user32.dll", GetClipboardData, nullptr);
}

bool FaultInjector::ShouldFail(unsigned kind, const char *function)
{
    FaultInjector *injector = armed;
    if (!injector || !(injector->m_kinds & kind) || --injector->m_remaining != 0)
        return false;
    injector->m_struck = function;
    return true;
}

FaultInjector::Armed::Armed(FaultInjector *injector) { armed = injector; }
FaultInjector::Armed::~Armed() { armed = nullptr; }

} // namespace vexo::test
