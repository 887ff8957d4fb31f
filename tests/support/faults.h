// Makes the n-th acquisition of a resource fail, for n = 1, 2, ... until an operation gets through, so that every way
// out of it is taken once.
#ifndef VEXO_TESTS_SUPPORT_FAULTS_H
#define VEXO_TESTS_SUPPORT_FAULTS_H

#include <gtest/gtest.h>

namespace vexo::test {

// What may fail
inline constexpr unsigned kFaultMemory = 1;   // blocks of the global heap: allocated, re-sized
inline constexpr unsigned kFaultMappings = 2; // page-file mappings and their views
inline constexpr unsigned kFaultFiles = 4;    // files: made, named, extended, written, read, positioned
inline constexpr unsigned kFaultGdi = 8;      // palettes, bitmaps, brushes, regions, device contexts
inline constexpr unsigned kFaultAll = 15;
// Opening, emptying, writing and reading the clipboard.
inline constexpr unsigned kFaultClipboard = 32;
// Locking a block, which fails in no system the library meets; for the places that look at the result all the same.
inline constexpr unsigned kFaultLocks = 16;

// Puts the failing functions in place for the rest of the program; they pass everything through until a FaultInjector
// runs something.
void InstallFaults();

class FaultInjector {
public:
    FaultInjector(unsigned kinds, int number) : m_kinds(kinds), m_remaining(number) {}

    // Runs the operation under test with its acquisition number `number` failing, and returns its result. Only what
    // the calling thread acquires counts.
    template <class Operation>
    auto Run(Operation &&operation)
    {
        const Armed armed(this);
        return operation();
    }

    // Whether an acquisition failed in Run, and which function it was.
    bool struck() const { return m_struck != nullptr; }
    const char *function() const { return m_struck ? m_struck : "nothing"; }

    // For the replaced functions: whether this call is the one to fail.
    static bool ShouldFail(unsigned kind, const char *function);

private:
    struct Armed {
        explicit Armed(FaultInjector *injector);
        ~Armed();
    };

    const unsigned m_kinds;
    int m_remaining;
    const char *m_struck = nullptr;
};

// Runs body(FaultInjector &) once for each acquisition that the operation inside makes, that one failing, and a last
// time without a failure. The body sets up, calls faults.Run(operation) and checks what is left behind. Returns the
// number of acquisitions, which must not be below `least`.
template <class Body>
int ForEachFault(unsigned kinds, Body &&body, int least = 1)
{
    constexpr int kLimit = 1000;
    const bool hadFailed = testing::Test::HasFailure();
    for (int number = 1; number <= kLimit; ++number) {
        FaultInjector faults(kinds, number);
        body(faults);
        if (!faults.struck()) {
            EXPECT_GT(number, least) << "the operation acquires less that can fail";
            return number - 1;
        }
        if (!hadFailed && testing::Test::HasFailure()) {
            ADD_FAILURE() << "with failure " << number << " injected, in " << faults.function();
            return number;
        }
    }
    ADD_FAILURE() << "the operation does not get through";
    return kLimit;
}

} // namespace vexo::test

#endif
