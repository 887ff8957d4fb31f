// Draws the progress line over itself with a carriage return and wipes it at the end.
#include "vexo/progress.h"

#include "common/text.h"

namespace vexo::tools {

namespace {
constexpr ULONGLONG kQuietMilliseconds = 300; // a line that only flashes up would be noise
}

ProgressLine *ProgressLine::s_current = nullptr;

ProgressLine::ProgressLine(std::string label, bool show)
    : m_label(std::move(label)), m_shows(show && ErrorIsConsole()), m_start(GetTickCount64())
{
    if (!m_shows)
        return;
    s_current = this;
    m_previous = V_SetStatusCallBack(OnProgress);
}

ProgressLine::~ProgressLine()
{
    if (!m_shows)
        return;
    V_SetStatusCallBack(m_previous);
    s_current = nullptr;
    if (m_drawn) {
        std::string wipe(m_label.size() + 8, ' ');
        wipe.front() = wipe.back() = '\r';
        PrintError(wipe);
    }
}

int VEXO_CALL ProgressLine::OnProgress(int percent)
{
    s_current->Draw(percent);
    return RESULT_SUCCESS;
}

void ProgressLine::Draw(int percent)
{
    if (percent == m_lastPercent || GetTickCount64() - m_start < kQuietMilliseconds)
        return;
    m_lastPercent = percent;
    m_drawn = true;
    PrintError("\r" + m_label + " " + std::to_string(percent) + "%");
}

} // namespace vexo::tools
