#include "Tools/nimb/Viewer/Report.h"

#include <algorithm>
#include <cstdio>

namespace Nimb::Tool {

namespace {

double SecondsOf(Report::Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

}  // namespace

void Report::OnStart(bool isNewPass, float speed) {
    m_Last.reset();
    m_SoonestStart.reset();
    m_Speed = static_cast<double>(speed);
    if (isNewPass) {
        m_NextNumber = 0;
        m_IsCounting = true;
    }
}

void Report::OnJump(int number) {
    m_Last.reset();
    m_SoonestStart.reset();
    m_NextNumber = number;
    m_IsCounting = true;
}

void Report::OnFrame(std::optional<int> number, Clock::time_point now) {
    ++m_Shown;
    if (m_Last) {
        const double gap = SecondsOf(now - *m_Last);
        ++m_Intervals;
        m_Seconds += gap;
        m_LongestGap = std::max(m_LongestGap, gap);
    }
    m_Last = now;
    m_IsCounting = m_IsCounting && number.has_value();
    if (m_IsCounting) {
        m_Dropped += std::max(*number - m_NextNumber, 0);
        m_NextNumber = *number + 1;
        CountIfLate(*number, now);
    }
}

void Report::CountIfLate(int number, Clock::time_point now) {
    constexpr double refresh = 1.0 / 60;
    const double due = static_cast<double>(m_Index.times.at(static_cast<std::size_t>(number))) / 1e6 / m_Speed;
    const double start = SecondsOf(now.time_since_epoch()) - due;
    m_SoonestStart = std::min(start, m_SoonestStart.value_or(start));
    if (start - *m_SoonestStart > 1 / WantedRate() + refresh) {
        ++m_Late;
    }
}

void Report::OnEnd() {
    if (m_IsCounting) {
        m_Dropped += m_Index.FrameCount() - m_NextNumber;
        m_NextNumber = m_Index.FrameCount();
    }
}

double Report::MeanRate() const noexcept {
    return m_Seconds > 0 ? m_Intervals / m_Seconds : 0;
}

std::string Report::Text() const {
    char text[512];
    std::snprintf(text, sizeof text,
                  "frames shown       %d\n"
                  "frames dropped     %d\n"
                  "frames late        %d\n"
                  "frames repeated    %d\n"
                  "wanted rate        %.2f frames/s\n"
                  "mean rate          %.2f frames/s\n"
                  "longest gap        %.1f ms\n",
                  m_Shown, m_Dropped, m_Late, m_Repeated, WantedRate(), MeanRate(), m_LongestGap * 1000);
    return text;
}

}  // namespace Nimb::Tool
