#include "NimbUnityPluginML/SharedClock.h"

#include <algorithm>

namespace Nimb::Plugin {

// ---- Members ----

void SharedClock::Add(int player) {
    const MutexLock lock(m_mutex);
    m_members[player];
}

void SharedClock::Remove(int player, std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    m_members.erase(player);
    StartIfComplete(now);
}

std::vector<int> SharedClock::Players() {
    const MutexLock lock(m_mutex);
    std::vector<int> players;
    players.reserve(m_members.size());
    for (const auto& [player, member] : m_members) {
        players.push_back(player);
    }
    return players;
}

// ---- The clock's controls ----

void SharedClock::Play(std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    m_basePosition = PositionLocked(now);
    m_baseTime = now;
    m_isPlaying = true;
}

void SharedClock::Pause(std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    m_basePosition = PositionLocked(now);
    m_isPlaying = false;
}

void SharedClock::SetSpeed(float speed, std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    m_basePosition = PositionLocked(now);
    m_baseTime = now;
    m_speed = speed;
}

void SharedClock::BeginGathering(std::int64_t position, bool isPlaying) {
    const MutexLock lock(m_mutex);
    m_basePosition = position;
    m_isPlaying = isPlaying;
    m_isGathering = true;
    m_tickPosition = position;
    for (auto& [player, member] : m_members) {
        member.expected = 0;
    }
}

void SharedClock::Expect(int player, std::int64_t ticket) {
    const MutexLock lock(m_mutex);
    const auto member = m_members.find(player);
    if (member != m_members.end()) {
        member->second.expected = ticket;
    }
}

void SharedClock::EndGathering(std::int64_t now) {
    const MutexLock lock(m_mutex);
    m_isGathering = false;
    m_isWaiting = true;
    m_patienceEnd = now + c_Patience;
    StartIfComplete(now);
}

void SharedClock::NoteArrival(int player, std::int64_t ticket, std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    const auto member = m_members.find(player);
    if (member != m_members.end()) {
        member->second.arrived = std::max(member->second.arrived, ticket);
        StartIfComplete(now);
    }
}

void SharedClock::NoteReady(int player, std::int64_t position) {
    const MutexLock lock(m_mutex);
    const auto member = m_members.find(player);
    if (member != m_members.end()) {
        member->second.ready = position;
    }
}

void SharedClock::Settle(std::int64_t now) {
    if (m_isWaiting && now >= m_patienceEnd) {
        m_isWaiting = false;
        m_baseTime = m_patienceEnd;
    }
}

void SharedClock::StartIfComplete(std::int64_t now) {
    const bool isComplete =
        std::none_of(m_members.begin(), m_members.end(), [](const auto& member) { return member.second.IsAwaited(); });
    if (m_isWaiting && isComplete) {
        m_isWaiting = false;
        m_baseTime = now;
    }
}

// ---- Reading it ----

bool SharedClock::IsMovingLocked() const {
    return m_isPlaying && !m_isGathering && !m_isWaiting;
}

std::int64_t SharedClock::PositionLocked(std::int64_t now) const {
    if (!IsMovingLocked()) {
        return m_basePosition;
    }
    return m_basePosition +
           static_cast<std::int64_t>(static_cast<double>(now - m_baseTime) / 1000 * static_cast<double>(m_speed));
}

SharedClock::Reading SharedClock::Read(std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    const auto awaited =
        std::count_if(m_members.begin(), m_members.end(), [](const auto& member) { return member.second.IsAwaited(); });
    return {PositionLocked(now), m_speed, m_isPlaying, static_cast<int>(m_members.size()), static_cast<int>(awaited)};
}

bool SharedClock::IsMoving(std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    return IsMovingLocked();
}

std::int64_t SharedClock::Until(std::int64_t position, std::int64_t now) {
    const MutexLock lock(m_mutex);
    Settle(now);
    const double distance = static_cast<double>(position) - static_cast<double>(PositionLocked(now));
    if (!IsMovingLocked()) {
        return distance > 0 ? INT64_MAX : 0;
    }
    constexpr double limit = 9e18;
    return static_cast<std::int64_t>(std::clamp(distance * 1000 / static_cast<double>(m_speed), -limit, limit));
}

std::int64_t SharedClock::BeginEvent(int player, std::int64_t now) {
    constexpr std::int64_t weight = 4;        // of what was, against what is new
    constexpr std::int64_t margin = 1000000;  // nanoseconds: threads wait that long for a processor
    const MutexLock lock(m_mutex);
    Settle(now);
    const auto found = m_members.find(player);
    if (found == m_members.end()) {
        return PositionLocked(now);
    }
    Member& member = found->second;
    member.idleBefore += (now - m_lastEventEnd - member.idleBefore) / weight;
    const auto first = m_members.find(m_firstPlayer);
    if (first == m_members.end() || member.idleBefore > 2 * first->second.idleBefore + margin) {
        m_firstPlayer = player;
    }
    if (player == m_firstPlayer || member.tick == m_tick) {
        ++m_tick;
        m_tickPosition = TickPositionLocked(now);
    }
    member.tick = m_tick;
    return m_tickPosition;
}

std::int64_t SharedClock::TickPositionLocked(std::int64_t now) const {
    const std::int64_t position = PositionLocked(now);
    const auto slip = static_cast<std::int64_t>(static_cast<double>(c_Slip) * static_cast<double>(m_speed));
    std::int64_t foremost = INT64_MIN;
    for (const auto& [player, member] : m_members) {
        if (member.ready != c_HoldsNobodyBack) {
            foremost = std::max(foremost, std::min(member.ready, position));
        }
    }
    std::int64_t common = position;
    for (const auto& [player, member] : m_members) {
        if (foremost > INT64_MIN + slip && member.ready >= foremost - slip) {
            common = std::min(common, member.ready);
        }
    }
    return common;
}

void SharedClock::EndEvent(std::int64_t now) {
    const MutexLock lock(m_mutex);
    m_lastEventEnd = now;
}

}  // namespace Nimb::Plugin
