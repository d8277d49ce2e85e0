// What a run of playback was like.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace NimbTool {

/// Counts frames over any number of passes through the clip. Times are of a steady clock.
class Report {
public:
    using Clock = std::chrono::steady_clock;

    explicit Report(int framesInPass) : m_FramesInPass(framesInPass) {}

    /// A pass begins, or playback goes on after a pause: the time until the next frame is no gap.
    void OnStart(bool isNewPass);
    void OnFrame(std::optional<int> number, Clock::time_point now);
    /// A render event that left the frame as it was.
    void OnRepeat() { ++m_Repeated; }
    /// The clip played to its end, so that frames missing at the end were dropped, too.
    void OnEnd();

    int Shown() const noexcept { return m_Shown; }
    int Dropped() const noexcept { return m_Dropped; }
    int Repeated() const noexcept { return m_Repeated; }
    double MeanRate() const noexcept;  ///< frames per second between frames, without gaps of pauses; 0 when unknown
    double LongestGap() const noexcept { return m_LongestGap; }  ///< seconds

    /// Lines for people.
    std::string Text() const;

private:
    int m_FramesInPass;
    int m_Shown = 0;
    int m_Dropped = 0;
    int m_Repeated = 0;
    int m_NextNumber = 0;
    bool m_IsCounting = true;  ///< no frame without a number came in this pass
    std::optional<Clock::time_point> m_Last;
    int m_Intervals = 0;
    double m_Seconds = 0;
    double m_LongestGap = 0;
};

}  // namespace NimbTool
