#include "Tools/nimb/Viewer/Timeline.h"

#include <cmath>
#include <vector>

namespace Nimb::Tool {
namespace {

/// No player decodes farther ahead.
constexpr int c_Ahead = 64;

}  // namespace

void Timeline::Start() {
    Place(-1, 0);
    m_Speed = m_NextSpeed.value_or(m_Speed);
    m_NextSpeed.reset();
}

void Timeline::Place(int frame, std::int64_t time) {
    m_IsKnown = true;
    m_Frame = frame;
    m_Time = time;
}

void Timeline::ClearRange() {
    // Whether playback has turned back for the last time already cannot be told.
    m_IsKnown = m_IsKnown && (!m_Range || m_Frame < m_Range->last - c_Ahead);
    m_Range.reset();
}

std::optional<Timeline::Step> Timeline::After(int frame) const {
    const auto timeOf = [this](int i) {
        return i < 0 ? 0.0 : static_cast<double>(m_Index.times[static_cast<std::size_t>(i)]);
    };
    const bool isLast = frame + 1 >= m_Index.FrameCount();
    const double length = isLast ? 1e6 / m_Index.FrameRate() : timeOf(frame + 1) - timeOf(frame);
    if (m_Range && frame == m_Range->last) {
        return Step{m_Range->first, length};
    }
    return isLast ? std::nullopt : std::optional(Step{frame + 1, length});
}

std::optional<int> Timeline::Follow(std::int64_t time) {
    if (!m_IsKnown) {
        return std::nullopt;
    }
    const double elapsed = static_cast<double>(time - m_Time);
    const double nextSpeed = m_NextSpeed.value_or(m_Speed);
    // The player's clock counts whole microseconds, in single precision; the length of a last frame is an estimate.
    const double tolerance = 100 + std::fabs(static_cast<double>(time)) / (1 << 21);
    std::vector<double> passed{0};  // of the clip's time, up to each frame from the last one on
    const int limit = m_NextSpeed ? c_Ahead : m_Index.FrameCount();
    int frame = m_Frame;
    for (int count = 1; count <= limit; ++count) {
        const std::optional<Step> step = After(frame);
        if (!step) {
            break;
        }
        frame = step->frame;
        passed.push_back(passed.back() + step->length);
        // The nearest frame that fits; where the speed changes on the way, it can be after any frame.
        for (std::size_t change = passed.size(); change-- > (m_NextSpeed ? 0 : passed.size() - 1);) {
            const double expected = passed[change] / m_Speed + (passed.back() - passed[change]) / nextSpeed;
            if (std::fabs(expected - elapsed) <= tolerance) {
                if (change + 1 < passed.size()) {
                    m_Speed = nextSpeed;
                    m_NextSpeed.reset();
                }
                Place(frame, time);
                return frame;
            }
        }
    }
    m_IsKnown = false;
    return std::nullopt;
}

}  // namespace Nimb::Tool
