// A progress line for operations of the library that take long enough to be noticed.
#ifndef VEXO_TOOLS_PROGRESS_H
#define VEXO_TOOLS_PROGRESS_H

#include "vexokit.h"

#include <string>

namespace vexo::tools {

// For a scope: the library's progress shows as "LABEL 42%" on the terminal behind standard error, once the operation
// has taken a moment. Does nothing when standard error is no terminal or `show` is false. One at a time.
class ProgressLine {
public:
    ProgressLine(std::string label, bool show);
    ~ProgressLine();
    ProgressLine(const ProgressLine &) = delete;
    ProgressLine &operator=(const ProgressLine &) = delete;

private:
    static int VEXO_CALL OnProgress(int percent);
    void Draw(int percent);

    static ProgressLine *s_current; // the callback carries no pointer of the caller
    std::string m_label;
    bool m_shows;
    bool m_drawn = false;
    int m_lastPercent = -1;
    ULONGLONG m_start;
    VexoStatusCallback m_previous = nullptr;
};

} // namespace vexo::tools

#endif
