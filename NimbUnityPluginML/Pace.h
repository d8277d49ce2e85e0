// When a player's pictures are due: by the monotonic clock from a start of its own, or by a clock that players share.
//
// A picture's time is the codec's, on the player's timeline, which runs on through ranges that are played again. It is
// due when the origin plus its time is reached: nanoseconds of the monotonic clock, or microseconds of the shared one.
// With a shared clock a player is in step when the origin is such that each frame belongs at its time in the file. One
// that goes its own way, by a call for it alone, is not in step: it runs at the clock's speed from wherever it is.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/SharedClock.h"
#include "NimbUnityPluginML/Times.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace Nimb::Plugin {

/// Any thread.
class Pace {
public:
    /// How long before its moment a picture may go to the surface where render events know when it is due, nanoseconds:
    /// longer than threads wait for a processor, shorter than two frames of most files.
    static constexpr std::int64_t c_Lead = 50000000;
    static constexpr std::int64_t c_DueAtOnce = INT64_MIN;
    static constexpr std::int64_t c_NoFileTime = -1;

    /// Null: none. The next picture sets the origin.
    void SetClock(std::shared_ptr<SharedClock> clock) {
        const MutexLock lock(m_mutex);
        m_clock = std::move(clock);
        m_isSet = false;
        m_isInStep = false;
    }
    /// Null without one.
    std::shared_ptr<SharedClock> Clock() {
        const MutexLock lock(m_mutex);
        return m_clock;
    }

    bool IsInStep() {
        const MutexLock lock(m_mutex);
        return m_isInStep;
    }
    void EnterStep() {
        const MutexLock lock(m_mutex);
        m_isInStep = m_clock != nullptr;
        m_isSet = false;
    }
    void LeaveStep() {
        const MutexLock lock(m_mutex);
        m_isInStep = false;
        m_isSet = false;
    }

    /// The next picture sets the origin anew.
    void Unset() {
        const MutexLock lock(m_mutex);
        m_isSet = false;
    }

    /// The timeline begins again at 0 where it has come to this time: so it stays in step, if it was.
    void BeginAgainAt(std::int64_t timeUs) {
        const MutexLock lock(m_mutex);
        m_isSet = m_isSet && m_isInStep;
        m_origin = WrappingAdd(m_origin, timeUs);
    }

    bool IsSet() {
        const MutexLock lock(m_mutex);
        return m_isSet;
    }

    /// A picture with this time is due now; in step, when its frame's time in the file is reached. Returns the origin.
    std::int64_t Set(std::int64_t timeUs, std::int64_t fileTimeUs) {
        const MutexLock lock(m_mutex);
        m_isSet = true;
        if (m_clock == nullptr) {
            m_origin = WrappingSubtract(MonotonicNanoseconds(), MicrosecondsToNanoseconds(timeUs));
        } else {
            const bool isKnown = m_isInStep && fileTimeUs != c_NoFileTime;
            m_origin = WrappingSubtract(isKnown ? fileTimeUs : m_clock->Position(MonotonicNanoseconds()), timeUs);
        }
        return m_origin;
    }

    std::int64_t Origin() {
        const MutexLock lock(m_mutex);
        return m_origin;
    }

    /// Nanoseconds until a picture with this time is to go to the surface, below 0 if it is late. The origin is set.
    /// `lead`: how much earlier than it is due, by the player's own pace; by a shared clock it is c_Lead.
    std::int64_t Delay(std::int64_t timeUs, std::int64_t lead) {
        const MutexLock lock(m_mutex);
        const std::int64_t now = MonotonicNanoseconds();
        if (m_clock == nullptr) {
            const std::int64_t origin = WrappingSubtract(m_origin, lead);
            return WrappingSubtract(WrappingAdd(origin, MicrosecondsToNanoseconds(timeUs)), now);
        }
        const std::int64_t wait = m_clock->Until(WrappingAdd(m_origin, timeUs), now);
        return wait < INT64_MIN + c_Lead ? wait : wait - c_Lead;
    }

    /// From which position on render events show a picture with this time: of the shared clock, or microseconds of the
    /// monotonic one.
    std::int64_t PositionOf(std::int64_t timeUs) {
        const MutexLock lock(m_mutex);
        if (!m_isSet) {
            return c_DueAtOnce;
        }
        return WrappingAdd(m_clock != nullptr ? m_origin : m_origin / 1000, timeUs);
    }

    /// The time on the timeline that a running shared clock has come to; c_DueAtOnce without one.
    std::int64_t PresentTime() {
        const MutexLock lock(m_mutex);
        const std::int64_t now = MonotonicNanoseconds();
        return m_clock != nullptr && m_isSet && m_clock->IsMoving(now)
                   ? WrappingSubtract(m_clock->Position(now), m_origin)
                   : c_DueAtOnce;
    }

    /// Whether a shared clock stands still.
    bool IsHeld() {
        const MutexLock lock(m_mutex);
        return m_clock != nullptr && !m_clock->IsMoving(MonotonicNanoseconds());
    }

private:
    Mutex m_mutex;
    std::shared_ptr<SharedClock> m_clock NIMB_GUARDED_BY(m_mutex);
    bool m_isInStep NIMB_GUARDED_BY(m_mutex) = false;
    bool m_isSet NIMB_GUARDED_BY(m_mutex) = false;
    std::int64_t m_origin NIMB_GUARDED_BY(m_mutex) = 0;
};

}  // namespace Nimb::Plugin
