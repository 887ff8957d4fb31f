// Counts what a process holds, so that a test can tell whether something was left behind.
#ifndef VEXO_TESTS_SUPPORT_LEAKS_H
#define VEXO_TESTS_SUPPORT_LEAKS_H

#include <windows.h>

#include <map>
#include <set>
#include <string>

namespace vexo::test {

// Starts to follow the global blocks, views and temporary files of the test program and the library.
void InstallLeakCounters();

// What was held at one moment.
struct Holdings {
    std::map<HGLOBAL, size_t> blocks; // with their sizes
    std::set<const void *> views;
    std::set<std::string> temporaryFiles;
    unsigned gdiObjects = 0;
    unsigned kernelHandles = 0;

    static Holdings Now();
    // One line for each thing that `later` holds and this does not; empty if there is none.
    std::string DescribeGrowth(const Holdings &later) const;
};

// GDI objects of this process.
unsigned CountGdiObjects();

} // namespace vexo::test

#endif
