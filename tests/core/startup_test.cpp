// Attaching and detaching, the frame brushes, and the 16-bit companion library.
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/import_hooks.h"
#include "tests/support/library_test.h"

#include "core/core.h"
#include "core/win32s.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace vexo::test {

namespace {

class StartUp : public LibraryTest {
protected:
    StartUp() : m_process(process) {}
    ~StartUp() override { process = m_process; }

private:
    const Process m_process;
};

const HMODULE kModule = GetModuleHandleA(nullptr);

} // namespace

TEST_F(StartUp, TellsWin32sByItsVersion)
{
    EXPECT_TRUE(IsWin32sVersion(0x80000A03));  // Windows 3.10
    EXPECT_FALSE(IsWin32sVersion(0xC0000004)); // Windows 95
    EXPECT_FALSE(IsWin32sVersion(0x04210A03)); // NT 3.10
    EXPECT_FALSE(IsWin32sVersion(0x23F00206)); // a current one
}

TEST_F(StartUp, FailingProcessAttachKeepsNothing)
{
    ForEachFault(kFaultAll, [](FaultInjector &faults) {
        process = {};
        process.processCount = 1; // another process came first; Win32s is not looked for again
        process.isWin32s = true;
        const bool attached = faults.Run([] { return AttachProcess(kModule); });
        EXPECT_TRUE(process.isWin32s);
        EXPECT_EQ(attached ? 2 : 1, process.processCount);
        const std::string function = faults.function();
        EXPECT_EQ(attached, function != "GlobalAlloc");
        if (!attached)
            return;
        const int missing = int(std::count(process.frameBrushes, process.frameBrushes + kFrameBrushCount, nullptr));
        EXPECT_EQ(function == "CreateBitmap" || function == "CreatePatternBrush" ? kFrameBrushCount : 0, missing);
        ThreadSettings *block = CurrentThread();
        EXPECT_EQ(12u, block->displayMode);
        DetachProcess(kModule);
        EXPECT_EQ(1, process.processCount);
        EXPECT_EQ(TLS_OUT_OF_INDEXES, process.tlsIndex);
        V_OsFree(block); // only thread detach frees the block
    });
}

TEST_F(StartUp, ThreadWithoutMemoryReadsDefaultsAndChangesNothing)
{
    RunOnNewThread([] {
        DetachThread();
        FaultInjector once(kFaultMemory, 1);
        EXPECT_FALSE(once.Run(AttachThread));
        const auto fail = [](auto call) {
            FaultInjector faults(kFaultMemory, 1);
            const auto result = faults.Run(call);
            EXPECT_TRUE(faults.struck());
            return result;
        };
        EXPECT_EQ(0u, fail([] { return V_SetDisplayMode(~0u, 1); }));
        EXPECT_EQ(12u, fail([] { return V_GetDisplayMode(); }));
        EXPECT_EQ(150, fail([] { return V_GetDefaultYResolution(); }));
        EXPECT_EQ(ERR_NO_MEMORY, fail([] { return V_DefaultDithering(1); }));
        EXPECT_EQ(-1, fail([] { return V_RedirectedOpen("", OS_READ_ONLY, 0); }));
        EXPECT_EQ(12u, V_SetDisplayMode(~0u, 1));
    });
}

TEST_F(StartUp, DisplayModeStartsPaletteIndicesOver)
{
    WORD &index = CurrentThread()->paintHeader.paletteIndices[5];
    const struct {
        unsigned mask, value;
        WORD expected;
    } steps[] = {{0, 4, 0},   // the old mode has the value already
                 {4, 0, 0},   // now it has not
                 {~0u, 8, 0}, // nor is it given
                 {0, 4, 5}};  // changes no bit and starts over all the same
    EXPECT_EQ(5, std::exchange(index, WORD(0)));
    for (const auto &[mask, value, expected] : steps) {
        V_SetDisplayMode(mask, value);
        EXPECT_EQ(expected, index);
    }
    EXPECT_EQ(8u, V_GetDisplayMode());
}

TEST_F(StartUp, ServesTheCompanionLibrary)
{
    const StorageScope scope(StorageKind::GlobalMemory);
    Random random(2);
    Image image = Image::Random(random, 20, 5, 8);
    TestBitmap bitmap(StorageKind::GlobalMemory, image);
    BYTE bytes[7] = {};
    const UINT_PTR block[5] = {reinterpret_cast<UINT_PTR>(bitmap.get()), reinterpret_cast<UINT_PTR>(bytes), 3, 4, 7};
    EXPECT_EQ(0, ServeCompanion(block, 0));
    EXPECT_TRUE(bitmap->Flags & FLAG_LOCKED);
    EXPECT_EQ(7, ServeCompanion(block, 2));
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(image.At(3, 4 + i), bytes[i]);
        image.At(3, 4 + i) = bytes[i] = 0x5A;
    }
    EXPECT_EQ(7, ServeCompanion(block, 3));
    EXPECT_EQ(ERR_BAD_REQUEST, ServeCompanion(block, 4));
    EXPECT_EQ(0, ServeCompanion(block, 1));
    EXPECT_FALSE(bitmap->Flags & FLAG_LOCKED);
    EXPECT_EQ(image, Load(bitmap.get()));
}

namespace {

// What the stand-in for the registration of Win32s was given, and what it answers.
struct Registration {
    BOOL result;
    int calls;
    std::string names;
    void **entry;
    UINT errorMode;
};
Registration registration;

BOOL WINAPI FakeRegister(HMODULE module, const char *library, const char *init, const char *thunk, void **entry, void *,
                         void *argument)
{
    EXPECT_EQ(kModule, module);
    EXPECT_EQ(nullptr, argument);
    const std::string names = std::string(library) + " " + init + " " + thunk;
    registration = {registration.result, registration.calls + 1, names, entry, SetErrorMode(0)};
    SetErrorMode(registration.errorMode);
    return registration.result;
}

void WINAPI FakeUnregister(HMODULE) { ADD_FAILURE() << "the companion library is never unregistered"; }

} // namespace

TEST_F(StartUp, RegistersTheCompanionLibrary)
{
    int variant = 0;
    const auto hook = Replace<decltype(::GetProcAddress)>(
        "kernel32.dll", "GetProcAddress", [&](auto next, HMODULE module, LPCSTR name) {
            if (strcmp(name, "UTRegister") == 0)
                return variant & 1 ? reinterpret_cast<FARPROC>(reinterpret_cast<void *>(FakeRegister)) : nullptr;
            if (strcmp(name, "UTUnRegister") == 0)
                return variant & 2 ? reinterpret_cast<FARPROC>(reinterpret_cast<void *>(FakeUnregister)) : nullptr;
            return next(module, name);
        });
    const UINT errorMode = SetErrorMode(SEM_NOALIGNMENTFAULTEXCEPT);
    for (; variant < 8; ++variant) {
        registration = {variant & 4, 0, {}, nullptr, 0};
        EXPECT_EQ(variant == 7, RegisterCompanion(kModule));
        EXPECT_EQ((variant & 3) == 3 ? 1 : 0, registration.calls);
        EXPECT_EQ(UINT(SEM_NOALIGNMENTFAULTEXCEPT), SetErrorMode(SEM_NOALIGNMENTFAULTEXCEPT));
    }
    EXPECT_EQ("VXTHK70W.DLL UTInit UTProc", registration.names);
    EXPECT_EQ(&process.thunkEntry, registration.entry);
    EXPECT_EQ(UINT(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX), registration.errorMode & ~4u);

    // The last process to leave registers once more.
    variant = 7;
    const Process attached = process;
    for (const LONG others : {0, 1}) {
        registration.calls = 0;
        process = {};
        process.processCount = 1 + others;
        process.thunkRegistered = true;
        process.tlsIndex = TlsAlloc();
        DetachProcess(kModule);
        EXPECT_EQ(others ? 0 : 1, registration.calls);
    }
    process = attached;
    SetErrorMode(errorMode);
}

} // namespace vexo::test
