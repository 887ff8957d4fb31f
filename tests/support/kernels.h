// For tests that hold the kernels of every processor level to the plain ones.
#ifndef VEXO_TESTS_SUPPORT_KERNELS_H
#define VEXO_TESTS_SUPPORT_KERNELS_H

#include "core/core.h"
#include "tests/support/library_test.h"
#include "tests/support/page_heap.h"
#include "tests/support/random.h"

#include <algorithm>

namespace vexo::test {

template <void (*Select)(CpuLevel)>
class KernelTest : public LibraryTest {
protected:
    ~KernelTest() override { Select(DetectCpuLevel()); }

    // Runs a body with the kernels of each level that this processor has in place.
    template <class Body>
    void ForEachLevel(Body &&body)
    {
        for (int level = 0; level <= int(DetectCpuLevel()) && !HasFatalFailure(); ++level) {
            SCOPED_TRACE(testing::Message() << "level " << level);
            Select(CpuLevel(level));
            body();
        }
    }
};

// Runs run(isPlain, output, input) on equal bytes that end at unreadable pages, and compares all of the output. Bytes
// are random up to `top`, and often 0.
template <class Run>
void ExpectPlainResult(Random &random, size_t outputBytes, size_t inputBytes, Run &&run, uint8_t top = 0xFF)
{
    GuardedBuffer input(inputBytes), output(outputBytes), expected(outputBytes);
    for (uint8_t &byte : input.span())
        byte = random.OneIn(8) ? 0 : random.Byte() & top;
    for (size_t i = 0; i < outputBytes; ++i)
        output[i] = expected[i] = random.Byte() & top;
    run(true, expected.data(), input.data());
    run(false, output.data(), input.data());
    ASSERT_TRUE(std::ranges::equal(expected.span(), output.span())) << inputBytes << " bytes to " << outputBytes;
}

} // namespace vexo::test

#endif
