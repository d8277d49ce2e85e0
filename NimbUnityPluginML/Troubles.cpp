#include "NimbUnityPluginML/Troubles.h"

#include <algorithm>

namespace Nimb::Plugin {

void Troubles::BeginFile(std::uint32_t file) {
    const MutexLock lock(m_mutex);
    m_file = file;
    m_count = 0;
}

void Troubles::Add(std::uint32_t file, NimbTroubleReason reason, std::int64_t frame) {
    const MutexLock lock(m_mutex);
    if (file != m_file) {
        return;
    }
    if (NimbTrouble* const same = FindLocked(reason, frame)) {
        ++same->count;
    } else {
        m_troubles[m_count++] = {frame, reason, 1};
    }
}

/// The one that another with this reason and frame is counted with; null: it has a place of its own.
NimbTrouble* Troubles::FindLocked(NimbTroubleReason reason, std::int64_t frame) {
    NimbTrouble* last = nullptr;
    for (std::size_t i = 0; i < m_count; ++i) {
        NimbTrouble& trouble = m_troubles[i];
        if (trouble.reason == reason && trouble.frame == frame) {
            return &trouble;
        }
        last = trouble.reason == reason ? &trouble : last;
    }
    return m_count >= c_Different ? last : nullptr;
}

bool Troubles::Take(NimbTrouble* pTrouble) {
    const MutexLock lock(m_mutex);
    if (m_count == 0) {
        return false;
    }
    *pTrouble = m_troubles[0];
    std::copy(m_troubles + 1, m_troubles + m_count, m_troubles);
    --m_count;
    return true;
}

}  // namespace Nimb::Plugin
