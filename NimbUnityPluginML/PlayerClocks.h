// All clocks of the process that players share, by id, and what they do to the players that have joined them.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"
#include "NimbUnityPluginML/SharedClock.h"

#include <cstdint>
#include <map>
#include <memory>

namespace Nimb::Plugin {

/// The exported functions say what these do. One thread at a time for a clock and its players; they return 0 or false
/// when there is no such clock.
class PlayerClocks {
public:
    static PlayerClocks& Instance();

    int Create();
    bool Destroy(int clock);
    bool Join(int clock, int player);
    bool Play(int clock);
    bool Pause(int clock);
    int Seek(int clock, std::int64_t time, std::uint32_t options);
    bool SetSpeed(int clock, float speed);
    bool Read(int clock, NimbClockInfo* pInfo);

private:
    /// Null when there is none.
    std::shared_ptr<SharedClock> Find(int clock);

    Mutex m_mutex;
    std::map<int, std::shared_ptr<SharedClock>> m_clocks NIMB_GUARDED_BY(m_mutex);
    int m_nextId NIMB_GUARDED_BY(m_mutex) = 0;
};

}  // namespace Nimb::Plugin
