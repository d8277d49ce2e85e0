#include "NimbUnityPluginML/SeekTickets.h"

namespace Nimb::Plugin {

std::int64_t SeekTickets::Begin(std::int64_t frame) {
    const MutexLock lock(m_mutex);
    EndLocked(NimbSeekResult_Superseded, NimbSeekReason_None, 0);
    m_frame = frame;
    m_active = ++m_last;
    return m_last;
}

void SeekTickets::End(std::int64_t ticket, NimbSeekResult result, NimbSeekReason reason, std::int64_t timeUs) {
    const MutexLock lock(m_mutex);
    if (ticket == m_active) {
        EndLocked(result, reason, timeUs);
    }
}

std::int64_t SeekTickets::Refuse(std::int64_t frame, NimbSeekReason reason) {
    const MutexLock lock(m_mutex);
    Add({++m_last, frame, 0, NimbSeekResult_Failed, reason});
    return m_last;
}

void SeekTickets::EndLocked(NimbSeekResult result, NimbSeekReason reason, std::int64_t timeUs) {
    if (const std::int64_t ticket = m_active.exchange(0); ticket != 0) {
        Add({ticket, m_frame, timeUs * 10, result, reason});
    }
}

void SeekTickets::Add(const NimbSeekEnd& end) {
    if (m_ends.size() == c_MaxEnds) {
        m_ends.pop_front();
    }
    m_ends.push_back(end);
}

bool SeekTickets::Take(NimbSeekEnd* pEnd) {
    const MutexLock lock(m_mutex);
    if (m_ends.empty()) {
        return false;
    }
    *pEnd = m_ends.front();
    m_ends.pop_front();
    return true;
}

}  // namespace Nimb::Plugin
