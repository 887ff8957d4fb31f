// The program that uses the library through its DLL, as a customer does.
#include "tests/support/leaks.h"
#include "tests/support/page_heap.h"

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
#ifdef VEXOKIT_CHECKED
    vexo::test::InstallPageHeap(true);
#else
    vexo::test::InstallPageHeap(false);
#endif
    vexo::test::InstallLeakCounters();
    return RUN_ALL_TESTS();
}
