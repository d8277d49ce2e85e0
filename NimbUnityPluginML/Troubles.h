// What went wrong in playback, until a script takes it.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"

#include <cstddef>
#include <cstdint>

namespace Nimb::Plugin {

/// Any thread. Allocates nothing and calls nobody.
class Troubles {
public:
    /// From now on they are those of another file; what was not taken is forgotten. `file`: that of a
    /// FrameQueue::Ticket.
    void BeginFile(std::uint32_t file);

    /// Of a file that is not the present one nothing is kept. `frame`: -1 when it is unknown.
    void Add(std::uint32_t file, NimbTroubleReason reason, std::int64_t frame);

    /// The oldest one. False: there is none.
    bool Take(NimbTrouble* pTrouble);

private:
    static constexpr std::size_t c_Reasons = 4;
    /// From here on what has a reason that is here already is counted there: each reason finds room.
    static constexpr std::size_t c_Different = 28;

    NimbTrouble* FindLocked(NimbTroubleReason reason, std::int64_t frame) NIMB_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::uint32_t m_file NIMB_GUARDED_BY(m_mutex) = 0;
    std::size_t m_count NIMB_GUARDED_BY(m_mutex) = 0;
    NimbTrouble m_troubles[c_Different + c_Reasons] NIMB_GUARDED_BY(m_mutex) = {};
};

}  // namespace Nimb::Plugin
