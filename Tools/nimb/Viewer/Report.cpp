#include "Tools/nimb/Viewer/Report.h"

#include <algorithm>
#include <cstdio>

namespace NimbTool {

void Report::OnStart(bool isNewPass) {
    m_Last.reset();
    if (isNewPass) {
        m_NextNumber = 0;
        m_IsCounting = true;
    }
}

void Report::OnFrame(std::optional<int> number, Clock::time_point now) {
    ++m_Shown;
    if (m_Last) {
        const double gap = std::chrono::duration<double>(now - *m_Last).count();
        ++m_Intervals;
        m_Seconds += gap;
        m_LongestGap = std::max(m_LongestGap, gap);
    }
    m_Last = now;
    m_IsCounting = m_IsCounting && number.has_value();
    if (m_IsCounting) {
        m_Dropped += std::max(*number - m_NextNumber, 0);
        m_NextNumber = *number + 1;
    }
}

void Report::OnEnd() {
    if (m_IsCounting) {
        m_Dropped += m_FramesInPass - m_NextNumber;
        m_NextNumber = m_FramesInPass;
    }
}

double Report::MeanRate() const noexcept {
    return m_Seconds > 0 ? m_Intervals / m_Seconds : 0;
}

std::string Report::Text() const {
    char text[256];
    std::snprintf(text, sizeof text,
                  "frames shown       %d\n"
                  "frames dropped     %d\n"
                  "frames repeated    %d\n"
                  "mean rate          %.2f frames/s\n"
                  "longest gap        %.1f ms\n",
                  m_Shown, m_Dropped, m_Repeated, MeanRate(), m_LongestGap * 1000);
    return text;
}

}  // namespace NimbTool
