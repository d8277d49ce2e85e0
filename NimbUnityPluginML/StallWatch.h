// Whether playback shows nothing new although it should: seen from render events.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Nimb::Plugin {

/// Times are those of MonotonicNanoseconds, and are handed in. Render thread.
class StallWatch {
public:
    /// How long nothing new may be shown, beyond the time that a frame lasts.
    static constexpr std::int64_t c_Patience = 3000000000;

    void NoteShown(std::int64_t now) {
        m_since = now;
        m_isReported = false;
    }

    /// A render event that shows nothing new, so far. `isAwaited`: it ought to, sooner or later. Returns for how long
    /// patience has run out, nanoseconds; 0: it has not, or the stall has been reported.
    std::int64_t Look(std::int64_t now, bool isAwaited) {
        constexpr std::int64_t longestGap = 1000000000;  // between render events that come regularly
        const std::int64_t gap = now - m_lastEvent;
        m_lastEvent = now;
        if (!isAwaited) {
            m_since = now;
        } else if (gap > longestGap) {
            m_since += gap;  // nobody looked: that does not count
        }
        return m_isReported ? 0 : std::max<std::int64_t>(now - m_since - c_Patience, 0);
    }

    void NoteReported() { m_isReported = true; }

private:
    std::int64_t m_lastEvent = 0;
    std::int64_t m_since = 0;
    bool m_isReported = false;
};

}  // namespace Nimb::Plugin
