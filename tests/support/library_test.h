// The fixture of tests that call the library: it starts from the default settings and fails when anything is left
// behind at the end.
#ifndef VEXO_TESTS_SUPPORT_LIBRARY_TEST_H
#define VEXO_TESTS_SUPPORT_LIBRARY_TEST_H

#include "tests/support/leaks.h"

#include <gtest/gtest.h>

#include <functional>

namespace vexo::test {

// Puts the page heap, the leak counters and the failing functions between the library and the system. To be called once
// by each test program; in the checked build the page heap is on from here.
void InstallSupport();

// What a program that is linked with the library's objects does in the loader's place. All null in a program that uses
// the DLL.
struct LibraryInside {
    // Frees what the library keeps for a thread between calls, which is no leak. Without it each test is preceded by
    // calls that fill these caches.
    void (*dropCaches)();
    bool (*attachThread)();
    void (*detachThread)();
};
void SetLibraryInside(const LibraryInside &inside);

// Runs the body on a thread of its own, attached and detached like any thread of a process with the library, and waits.
void RunOnNewThread(const std::function<void()> &body);

// Puts every setting of the calling thread to its default.
void ResetThreadSettings();

class LibraryTest : public testing::Test {
public:
    LibraryTest();
    // Compares here and not in TearDown, so that what members of a derived fixture own is gone already.
    ~LibraryTest() override;

private:
    Holdings m_before;
};

} // namespace vexo::test

#endif
