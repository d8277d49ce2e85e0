// Requests to go to a frame, and how each of them ends.
//
// At most one is being fulfilled: a newer one supersedes it. Each ends exactly once, and its end waits here until
// somebody takes it.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"

#include <atomic>
#include <cstdint>
#include <deque>

namespace Nimb::Plugin {

/// Any thread.
class SeekTickets {
public:
    /// Ends that nobody takes are forgotten, the oldest first, from this many on.
    static constexpr std::size_t c_MaxEnds = 1024;

    /// A new request for this frame. One that is under way ends as superseded.
    std::int64_t Begin(std::int64_t frame);

    /// The request that is under way ends: done, or failed for a reason. Nothing happens if that is another one by now,
    /// or none.
    void End(std::int64_t ticket, NimbSeekResult result, NimbSeekReason reason, std::int64_t timeUs);

    /// A request that cannot even begin.
    std::int64_t Refuse(std::int64_t frame, NimbSeekReason reason);

    /// Of the request under way, 0: there is none.
    std::int64_t Active() const noexcept { return m_active; }

    /// The frame of the request under way; meaningless without one.
    std::int64_t Frame() const noexcept { return m_frame; }

    /// The oldest end that nobody has taken yet. False: there is none.
    bool Take(NimbSeekEnd* pEnd);

private:
    void EndLocked(NimbSeekResult result, NimbSeekReason reason, std::int64_t timeUs) NIMB_REQUIRES(m_mutex);
    void Add(const NimbSeekEnd& end) NIMB_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::atomic<std::int64_t> m_active{0};  // written under the mutex
    std::atomic<std::int64_t> m_frame{0};   // likewise
    std::int64_t m_last NIMB_GUARDED_BY(m_mutex) = 0;
    std::deque<NimbSeekEnd> m_ends NIMB_GUARDED_BY(m_mutex);
};

}  // namespace Nimb::Plugin
