// How a run of playback went.
#pragma once

#include "Tools/nimb/Viewer/ClipIndex.h"

#include <chrono>
#include <optional>
#include <string>

namespace Nimb::Tool {

/// Counts frames over any number of passes through the clip. Times are of a steady clock.
class Report {
public:
    using Clock = std::chrono::steady_clock;

    /// Keeps a reference.
    explicit Report(const ClipIndex& index) : m_Index(index) {}

    /// A pass begins, or playback goes on after a pause: the time until the next frame does not count as a gap.
    /// `speed`: 1 is the clip's own.
    void OnStart(bool isNewPass, float speed);
    /// Playback goes on with this frame, wherever it was before: what lies between is not dropped, and the time until
    /// it comes is no gap.
    void OnJump(int number);
    void OnFrame(std::optional<int> number, Clock::time_point now);
    /// A render event that left the frame as it was.
    void OnRepeat() { ++m_Repeated; }
    /// The clip played to its end, so that frames missing at the end were dropped, too.
    void OnEnd();

    int Shown() const noexcept { return m_Shown; }
    int Dropped() const noexcept { return m_Dropped; }
    /// Frames that came later than the next one's turn: by more than a frame's duration and a render event, measured
    /// from the frame that came soonest since the start.
    int Late() const noexcept { return m_Late; }
    /// At least 19 of 20 frames came, and in time.
    bool HasKeptUp() const noexcept { return (m_Dropped + m_Late) * 20 <= m_Shown + m_Dropped; }
    double WantedRate() const noexcept { return m_Index.FrameRate() * m_Speed; }
    double MeanRate() const noexcept;  ///< frames per second between frames, without gaps of pauses; 0 when unknown
    double LongestGap() const noexcept { return m_LongestGap; }  ///< seconds

    /// Lines for people.
    std::string Text() const;

private:
    void CountIfLate(int number, Clock::time_point now);

    const ClipIndex& m_Index;
    double m_Speed = 1;
    int m_Shown = 0;
    int m_Dropped = 0;
    int m_Repeated = 0;
    int m_NextNumber = 0;
    bool m_IsCounting = true;  ///< no frame without a number came in this pass
    int m_Late = 0;
    std::optional<double> m_SoonestStart;  ///< seconds: when the pass began, as far as the frames so far tell
    std::optional<Clock::time_point> m_Last;
    int m_Intervals = 0;
    double m_Seconds = 0;
    double m_LongestGap = 0;
};

}  // namespace Nimb::Tool
