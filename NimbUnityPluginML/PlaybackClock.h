// The scaled timeline: what time a sample has when the clock runs faster or slower than the file's.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/Times.h"

#include <cmath>
#include <cstdint>

namespace Nimb::Plugin {

/// Microseconds throughout. The playback thread maps, the script thread changes the scale.
class PlaybackClock {
public:
    /// Maps a sample time of the file and remembers both.
    std::int64_t Map(std::int64_t rawSampleTime) {
        const MutexLock lock(m_mutex);
        m_rawSampleTime = rawSampleTime;
        // Unsigned and in single precision, deliberately. The result of a scale of 0, or of a time before the base (as
        // -1, the time at the end of the file), is beyond 64 bits: it saturates. Sums wrap, so that a timeline that was
        // rebased there goes on in even steps.
        const float elapsed =
            static_cast<float>(static_cast<std::uint64_t>(rawSampleTime) - static_cast<std::uint64_t>(m_rawBase));
        m_scaledSampleTime = WrappingAdd(m_scaledOffset, Truncate(elapsed / m_clockScale));
        return m_scaledSampleTime;
    }

    /// What a time before or after the base would be mapped to; for times of a file's frames. Remembers nothing.
    std::int64_t Place(std::int64_t rawSampleTime) {
        const MutexLock lock(m_mutex);
        return PlaceLocked(rawSampleTime);
    }

    /// The timeline goes on with another place of the file: `to` is mapped to what `from` would have been.
    void Jump(std::int64_t from, std::int64_t to) {
        const MutexLock lock(m_mutex);
        m_scaledOffset = PlaceLocked(from);
        m_rawBase = to;
    }

    /// From now on the clock runs at another scale, without a jump.
    void SetScale(float scale) {
        const MutexLock lock(m_mutex);
        m_scaledOffset = m_scaledSampleTime;
        m_rawBase = m_rawSampleTime;
        m_clockScale = scale;
    }

    /// A file starts, or starts over: its time and the scaled one count from 0 again, and a scale set before the first
    /// sample does not begin at an earlier time. The scale stays.
    void Restart() {
        const MutexLock lock(m_mutex);
        m_scaledSampleTime = 0;
        m_rawSampleTime = 0;
        m_scaledOffset = 0;
        m_rawBase = 0;
    }

    float Scale() {
        const MutexLock lock(m_mutex);
        return m_clockScale;
    }

    /// How long a stretch of the file takes at the present scale.
    std::int64_t Scaled(std::int64_t length) { return Truncate(static_cast<float>(length) / std::fabs(Scale())); }

private:
    std::int64_t PlaceLocked(std::int64_t rawSampleTime) NIMB_REQUIRES(m_mutex) {
        const float elapsed = static_cast<float>(WrappingSubtract(rawSampleTime, m_rawBase));
        return WrappingAdd(m_scaledOffset, Truncate(elapsed / m_clockScale));
    }

    static std::int64_t Truncate(float value) {
        constexpr float limit = 9223372036854775808.0f;
        if (!(value < limit)) {
            return value != value ? 0 : INT64_MAX;
        }
        return value > -limit ? static_cast<std::int64_t>(value) : INT64_MIN;
    }

    Mutex m_mutex;
    std::int64_t m_scaledSampleTime NIMB_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_rawSampleTime NIMB_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_scaledOffset NIMB_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_rawBase NIMB_GUARDED_BY(m_mutex) = 0;
    float m_clockScale NIMB_GUARDED_BY(m_mutex) = 1.0f;
};

}  // namespace Nimb::Plugin
