// The program that is linked with the library's objects. It attaches the library itself, as the loader does for the
// DLL, and can make it believe that it runs under Win32s.
#include "tests/support/bitmaps.h"
#include "tests/support/library_test.h"

#include "core/core.h"

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    vexo::test::InstallSupport();
    vexo::test::SetWin32sSwitch([](bool isWin32s) { vexo::process.isWin32s = isWin32s; });
    vexo::test::SetThreadDetach(vexo::DetachThread);

    const HMODULE module = GetModuleHandleA(nullptr);
    if (!vexo::AttachProcess(module))
        return 1;
    const int result = RUN_ALL_TESTS();
    vexo::DetachProcess(module);
    return result;
}
