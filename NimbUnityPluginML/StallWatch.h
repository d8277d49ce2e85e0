// Whether playback shows nothing new although it should: seen from render events.
#pragma once

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

    /// A render event that shows nothing new, so far. `isAwaited`: it ought to, sooner or later. `frameDuration`: asked
    /// for when patience has run out. True once for each stall.
    template <class Duration>
    bool Look(std::int64_t now, bool isAwaited, Duration&& frameDuration) {
        constexpr std::int64_t longestGap = 1000000000;  // between render events that come regularly
        const std::int64_t gap = now - m_lastEvent;
        m_lastEvent = now;
        if (!isAwaited) {
            m_since = now;
        } else if (gap > longestGap) {
            m_since += gap;  // nobody looked: that does not count
        }
        const std::int64_t waited = now - m_since;
        if (m_isReported || waited <= c_Patience || waited - c_Patience <= frameDuration()) {
            return false;
        }
        return m_isReported = true;
    }

private:
    std::int64_t m_lastEvent = 0;
    std::int64_t m_since = 0;
    bool m_isReported = false;
};

}  // namespace Nimb::Plugin
