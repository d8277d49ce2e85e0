// What is on the video codec's surface: how many pictures were released to it, how many of them the codec has announced
// and nobody has taken yet, and when each is due by a clock that players share.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <cstdint>
#include <deque>

namespace Nimb::Plugin {

/// Any thread. Calls nobody.
class SurfacePictures {
public:
    static constexpr std::int64_t c_NoPosition = INT64_MAX;

    /// Of another codec: none yet.
    void Reset() {
        const MutexLock lock(m_mutex);
        m_released = m_announced = m_available = 0;
        m_positions.clear();
        m_lastAnnounced = c_NoPosition;
    }

    /// What was announced will not be taken any more.
    void Forget() {
        const MutexLock lock(m_mutex);
        m_available = 0;
    }

    void NoteReleased(std::int64_t position) {
        constexpr std::size_t most = 64;  // some platforms lose pictures at a flush
        const MutexLock lock(m_mutex);
        ++m_released;
        m_positions.push_back(position);
        if (m_positions.size() > most) {
            m_positions.pop_front();
        }
    }

    void NoteAnnounced() {
        const MutexLock lock(m_mutex);
        ++m_announced;
        ++m_available;
        if (!m_positions.empty()) {
            m_lastAnnounced = m_positions[std::min<std::size_t>(m_available, m_positions.size()) - 1];
        }
    }

    /// False: there is none.
    bool TakeOne() {
        const MutexLock lock(m_mutex);
        if (m_available == 0) {
            return false;
        }
        --m_available;
        if (!m_positions.empty()) {
            m_positions.pop_front();
        }
        return true;
    }

    /// Everything was thrown away that the codec had, whether it was announced or not. Returns whether it had all been.
    bool NoteDrained() {
        const MutexLock lock(m_mutex);
        const bool isCertain = m_announced >= m_released;
        m_announced = m_released;
        return isCertain;
    }

    /// What has been announced was thrown away.
    void DropAvailable() {
        const MutexLock lock(m_mutex);
        m_available = 0;
        m_positions.clear();
        m_lastAnnounced = c_NoPosition;
    }

    bool IsAllAnnounced() const {
        const MutexLock lock(m_mutex);
        return m_announced >= m_released;
    }

    std::uint32_t Available() const {
        const MutexLock lock(m_mutex);
        return m_available;
    }

    /// How many of those that can be taken are due at a position.
    int CountDue(std::int64_t position) const {
        const MutexLock lock(m_mutex);
        const auto end =
            m_positions.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(m_available, m_positions.size()));
        const auto late = std::find_if(m_positions.begin(), end, [position](std::int64_t p) { return p > position; });
        return late != end ? static_cast<int>(late - m_positions.begin()) : static_cast<int>(m_available);
    }

    /// The position of the one announced last, whether it was taken or not; c_NoPosition if there is none.
    std::int64_t LastAnnounced() const {
        const MutexLock lock(m_mutex);
        return m_lastAnnounced;
    }

    /// Moves all positions but `exempt`.
    void Move(std::int64_t distance, std::int64_t exempt) {
        const MutexLock lock(m_mutex);
        for (std::int64_t& position : m_positions) {
            position = position != exempt ? WrappingAdd(position, distance) : position;
        }
        m_lastAnnounced = c_NoPosition;
    }

private:
    mutable Mutex m_mutex;
    std::uint64_t m_released NIMB_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_announced NIMB_GUARDED_BY(m_mutex) = 0;
    std::uint32_t m_available NIMB_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_lastAnnounced NIMB_GUARDED_BY(m_mutex) = c_NoPosition;
    /// Of those that have not been taken, announced or not.
    std::deque<std::int64_t> m_positions NIMB_GUARDED_BY(m_mutex);
};

}  // namespace Nimb::Plugin
