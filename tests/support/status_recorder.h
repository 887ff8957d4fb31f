// A status callback for tests of long operations: it notes the percentages and stops the work at one of its calls.
#ifndef VEXO_TESTS_SUPPORT_STATUS_RECORDER_H
#define VEXO_TESTS_SUPPORT_STATUS_RECORDER_H

#include "vexokit.h"

#include <gtest/gtest.h>

#include <vector>

namespace vexo::test {

class StatusRecorder {
public:
    static constexpr int kStopped = -77;

    // `stopAt`: the call that stops the work, from 0; -1: none.
    explicit StatusRecorder(int stopAt = -1)
    {
        s_percentages.clear();
        s_stopAt = stopAt;
        V_SetStatusCallBack(Record);
    }
    ~StatusRecorder() { V_SetStatusCallBack(nullptr); }
    StatusRecorder(const StatusRecorder &) = delete;
    StatusRecorder &operator=(const StatusRecorder &) = delete;

    const std::vector<int> &percentages() const { return s_percentages; }

    void ExpectRising(int first, int last) const
    {
        ASSERT_GE(s_percentages.size(), 2u);
        EXPECT_EQ(first, s_percentages.front());
        EXPECT_EQ(last, s_percentages.back());
        for (size_t i = 1; i < s_percentages.size(); ++i)
            EXPECT_LT(s_percentages[i - 1], s_percentages[i]);
    }

private:
    static int VEXO_CALL Record(int percent)
    {
        s_percentages.push_back(percent);
        return int(s_percentages.size()) - 1 == s_stopAt ? kStopped : RESULT_SUCCESS;
    }

    static inline std::vector<int> s_percentages;
    static inline int s_stopAt = -1;
};

} // namespace vexo::test

#endif
