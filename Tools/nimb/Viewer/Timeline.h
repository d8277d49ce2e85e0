// Which frame the player shows, from the time that it reports with it.
//
// That time counts on evenly when playback turns back at the end of a range, and runs at another speed some frames
// after one was set, since frames are decoded ahead. So each frame is found from the one before.
#pragma once

#include "Tools/nimb/Viewer/ClipIndex.h"

#include <optional>

namespace Nimb::Tool {

/// Times are microseconds as the player counts them: the clip's, divided by the speed.
class Timeline {
public:
    /// Keeps a reference.
    Timeline(const ClipIndex& index, double speed) : m_Index(index), m_Speed(speed) {}

    /// Playback begins with the first frame, and its times with 0.
    void Start();
    /// This frame has this time.
    void Place(int frame, std::int64_t time);
    void SetSpeed(double speed) { m_NextSpeed = speed; }

    /// Playback turns back from the frame `last` to `first`.
    void SetRange(int first, int last) { m_Range = Range{first, last}; }
    void ClearRange();

    /// The next frame that is shown has this time. None when it cannot be told which one that is; then no later one
    /// can, until the next Start or Place.
    std::optional<int> Follow(std::int64_t time);

private:
    struct Range {
        int first, last;
    };
    struct Step {
        int frame;
        double length;  ///< of the clip's time, up to it
    };

    /// The frame after this one; none after the last.
    std::optional<Step> After(int frame) const;

    const ClipIndex& m_Index;
    double m_Speed;                     ///< at which the last frame was timed
    std::optional<double> m_NextSpeed;  ///< frames yet to come are timed at this one, from one of them on
    std::optional<Range> m_Range;
    bool m_IsKnown = true;
    int m_Frame = -1;  ///< the last one; -1: none yet
    std::int64_t m_Time = 0;
};

}  // namespace Nimb::Tool
