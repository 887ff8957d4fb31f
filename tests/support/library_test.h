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

// Tells how to free the settings and caches of the calling thread, as at its end; the library makes new ones when they
// are needed. They are no leak, so each test ends with this call.
void SetThreadDetach(void (*detach)());

// Runs the body on a thread of its own and waits.
void RunOnNewThread(const std::function<void()> &body);

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
