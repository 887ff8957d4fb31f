// The program that uses the library through its DLL, as a customer does.
#include "tests/support/library_test.h"

namespace {

// What the loader tells the DLL when a thread ends.
void DetachThread()
{
    static const HMODULE library = GetModuleHandleA("vexokit.dll");
    using EntryPoint = BOOL WINAPI(HINSTANCE, DWORD, LPVOID);
    static const auto entryPoint =
        reinterpret_cast<EntryPoint *>(reinterpret_cast<void *>(GetProcAddress(library, "DllMain")));
    EXPECT_TRUE(entryPoint(library, DLL_THREAD_DETACH, nullptr));
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    vexo::test::InstallSupport();
    vexo::test::SetThreadDetach(DetachThread);
    return RUN_ALL_TESTS();
}
