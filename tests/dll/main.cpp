// The program that uses the library through its DLL, as a customer does.
#include "tests/support/library_test.h"

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    vexo::test::InstallSupport();
    return RUN_ALL_TESTS();
}
