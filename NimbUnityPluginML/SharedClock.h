// A clock that several players go by, so that they show the same moment of their files at every render event.
//
// It knows a position in time, and nothing of what players do: they ask it when a picture is due. Three things keep
// them together:
//   - After the clock has gone somewhere it stands still until all players have arrived there, or until c_Patience is
//     over: one that takes longer catches up by dropping pictures, and the others do not wait for it.
//   - Render events of one engine frame come one after another. They belong to one tick, and all see the position that
//     the clock had at the first of them. A new tick begins with the player before whose events nothing happens for
//     longest, on the average, as between two engine frames; and when a player comes that had its event already.
//   - A tick's position is no later than what all players have on their surfaces, but for those that are further behind
//     the foremost one than c_Slip: they drop pictures, and the others do not wait for them. When the machine cannot
//     keep up, all are late together.
//
// Positions are microseconds of the players' files. Times are those of MonotonicNanoseconds, and are handed in.
#pragma once

#include "NimbUnityPluginML/Mutex.h"

#include <cstdint>
#include <map>
#include <vector>

namespace Nimb::Plugin {

/// Any thread. It calls nobody, so that it may be asked under any lock.
class SharedClock {
public:
    /// How long the clock waits for players to arrive, nanoseconds.
    static constexpr std::int64_t c_Patience = 2000000000;

    /// How far, in microseconds of real time, a player may be behind the foremost one and hold back the others.
    static constexpr std::int64_t c_Slip = 150000;

    struct Reading {
        std::int64_t position;
        float speed;
        bool isPlaying;  ///< also while it waits for players
        int players;
        int awaited;
    };

    // ---- Members ----

    void Add(int player);
    /// Nobody waits for it any more.
    void Remove(int player, std::int64_t now);
    std::vector<int> Players();

    // ---- The clock's controls ----

    void Play(std::int64_t now);
    void Pause(std::int64_t now);
    /// `speed`: above 0, at most 1000.
    void SetSpeed(float speed, std::int64_t now);

    /// Stands still at a position until EndGathering, while players are asked to go there one by one; for each that has
    /// been, Expect is called.
    void BeginGathering(std::int64_t position, bool isPlaying);
    void Expect(int player, std::int64_t ticket);
    /// From now on it waits for those who have not arrived.
    void EndGathering(std::int64_t now);

    /// A player's request has ended, however.
    void NoteArrival(int player, std::int64_t ticket, std::int64_t now);

    /// A player has pictures on its surface up to this position. c_HoldsNobodyBack: it goes its own way, or has ended.
    void NoteReady(int player, std::int64_t position);
    static constexpr std::int64_t c_HoldsNobodyBack = INT64_MAX;

    // ---- Reading it ----

    Reading Read(std::int64_t now);
    std::int64_t Position(std::int64_t now) { return Read(now).position; }

    /// Nanoseconds until the clock gets to a position, below 0 if it was there before; INT64_MAX while it stands still
    /// before it.
    std::int64_t Until(std::int64_t position, std::int64_t now);

    bool IsMoving(std::int64_t now);

    /// A render event of this player. Returns the position of its tick.
    std::int64_t BeginEvent(int player, std::int64_t now);
    void EndEvent(std::int64_t now);

private:
    struct Member {
        std::uint64_t tick = 0;       // of its last render event
        std::int64_t idleBefore = 0;  // how long no event ran before its own, nanoseconds, on the average
        std::int64_t ready = c_HoldsNobodyBack;
        std::int64_t expected = 0;  // the ticket that it was asked with
        std::int64_t arrived = 0;   // the last ticket that ended
        bool IsAwaited() const { return arrived < expected; }
    };

    bool IsMovingLocked() const NIMB_REQUIRES(m_mutex);
    std::int64_t PositionLocked(std::int64_t now) const NIMB_REQUIRES(m_mutex);
    std::int64_t TickPositionLocked(std::int64_t now) const NIMB_REQUIRES(m_mutex);
    /// Goes on when the patience is over.
    void Settle(std::int64_t now) NIMB_REQUIRES(m_mutex);
    /// Goes on when nobody is awaited any more.
    void StartIfComplete(std::int64_t now) NIMB_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::map<int, Member> m_members NIMB_GUARDED_BY(m_mutex);
    bool m_isPlaying NIMB_GUARDED_BY(m_mutex) = false;
    bool m_isGathering NIMB_GUARDED_BY(m_mutex) = false;
    bool m_isWaiting NIMB_GUARDED_BY(m_mutex) = false;
    float m_speed NIMB_GUARDED_BY(m_mutex) = 1;
    std::int64_t m_patienceEnd NIMB_GUARDED_BY(m_mutex) = 0;
    // Where it was, and when, at the last change.
    std::int64_t m_basePosition NIMB_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_baseTime NIMB_GUARDED_BY(m_mutex) = 0;
    // Ticks. The first player is the one whose event begins an engine frame.
    std::uint64_t m_tick NIMB_GUARDED_BY(m_mutex) = 0;
    int m_firstPlayer NIMB_GUARDED_BY(m_mutex) = -1;
    std::int64_t m_lastEventEnd NIMB_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_tickPosition NIMB_GUARDED_BY(m_mutex) = 0;
};

}  // namespace Nimb::Plugin
