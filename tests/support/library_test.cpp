#include "tests/support/library_test.h"

#include "tests/support/faults.h"
#include "tests/support/page_heap.h"

#include "vexokit.h"

#include <cstdio>

namespace vexo::test {

namespace {

void (*detachThread)();

// Ends the program with a line that says where it crashed; the system's own debugger may wait for a user.
LONG WINAPI ReportCrash(EXCEPTION_POINTERS *pointers)
{
    const EXCEPTION_RECORD &record = *pointers->ExceptionRecord;
    const auto *base = reinterpret_cast<const BYTE *>(GetModuleHandleA(nullptr));
    fprintf(stderr, "crash %08lX at image + 0x%zX, %s %p\n", record.ExceptionCode,
            size_t(static_cast<const BYTE *>(record.ExceptionAddress) - base),
            record.NumberParameters && record.ExceptionInformation[0] ? "writing" : "reading",
            reinterpret_cast<void *>(record.NumberParameters > 1 ? record.ExceptionInformation[1] : 0));
    if (const auto *test = testing::UnitTest::GetInstance()->current_test_info())
        fprintf(stderr, "in %s.%s\n", test->test_suite_name(), test->name());
    fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
}

DWORD WINAPI ThreadMain(void *argument)
{
    (*static_cast<const std::function<void()> *>(argument))();
    detachThread();
    return 0;
}

// The test framework's own thread, started by the first trace, and what the system starts late, are no test's doing.
void WaitUntilSettled()
{
    Holdings former = Holdings::Now();
    for (int quiet = 0; quiet < 5; ++quiet) {
        Sleep(10);
        const Holdings now = Holdings::Now();
        if (!former.DescribeGrowth(now).empty())
            quiet = 0;
        former = now;
    }
}

} // namespace

// The order of the installations matters: a call that is made to fail is not counted, and the counters see the handles
// of the page heap.
void InstallSupport()
{
    SetUnhandledExceptionFilter(ReportCrash);
    SCOPED_TRACE("the first use of what the test framework keeps for a thread");
#ifdef VEXOKIT_CHECKED
    InstallPageHeap(true);
#else
    InstallPageHeap(false);
#endif
    InstallLeakCounters();
    InstallFaults();
    WaitUntilSettled();
}

void SetThreadDetach(void (*detach)()) { detachThread = detach; }

void RunOnNewThread(const std::function<void()> &body)
{
    const HANDLE thread = CreateThread(nullptr, 0, ThreadMain, const_cast<std::function<void()> *>(&body), 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

LibraryTest::LibraryTest()
{
    detachThread();
    TakePageHeapComplaints();
    m_before = Holdings::Now();
    V_SetDefaultXResolution(150); // the thread has its settings before the test makes memory fail
}

LibraryTest::~LibraryTest()
{
    detachThread();
    std::string growth = m_before.DescribeGrowth(Holdings::Now());
    // Handles of threads that have ended go a little later.
    for (int wait = 0; wait < 50 && !growth.empty(); ++wait) {
        Sleep(10);
        growth = m_before.DescribeGrowth(Holdings::Now());
    }
    EXPECT_EQ("", growth) << "left behind";
    EXPECT_EQ("", TakePageHeapComplaints());
}

} // namespace vexo::test
