#include "NimbUnityPluginML/PlayerClocks.h"

#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/PlayerRegistry.h"
#include "NimbUnityPluginML/Times.h"

#include <optional>
#include <utility>

namespace Nimb::Plugin {
namespace {

/// Calls `call` for each player that has joined the clock.
template <class Call>
void ForEachPlayer(SharedClock& clock, Call&& call) {
    for (const int id : clock.Players()) {
        if (const PlayerRegistry::Pin player = PlayerRegistry::Instance().Find(id)) {
            call(id, *player);
        }
    }
}

/// The clock stands still while players are asked to go to a position.
class Gathering {
public:
    Gathering(SharedClock& clock, std::int64_t position, bool isPlaying) : m_clock(clock) {
        m_clock.BeginGathering(position, isPlaying);
    }
    ~Gathering() { m_clock.EndGathering(MonotonicNanoseconds()); }
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;

    /// Returns whether the player goes there.
    bool Ask(int id, QuorObject& player, std::int64_t position, std::uint32_t options) {
        const std::int64_t ticket = player.SeekInStep(position, options);
        if (ticket != 0) {
            m_clock.Expect(id, ticket);
        }
        return ticket != 0;
    }

private:
    SharedClock& m_clock;
};

}  // namespace

PlayerClocks& PlayerClocks::Instance() {
    static PlayerClocks instance;
    return instance;
}

int PlayerClocks::Create() {
    auto clock = std::make_shared<SharedClock>();
    const MutexLock lock(m_mutex);
    m_clocks.emplace(m_nextId, std::move(clock));
    return m_nextId++;
}

bool PlayerClocks::Destroy(int clock) {
    std::shared_ptr<SharedClock> found;
    {
        const MutexLock lock(m_mutex);
        const auto entry = m_clocks.find(clock);
        if (entry == m_clocks.end()) {
            return false;
        }
        found = std::move(entry->second);
        m_clocks.erase(entry);
    }
    ForEachPlayer(*found, [](int, QuorObject& player) { player.Follow(nullptr); });
    return true;
}

std::shared_ptr<SharedClock> PlayerClocks::Find(int clock) {
    const MutexLock lock(m_mutex);
    const auto entry = m_clocks.find(clock);
    if (entry == m_clocks.end()) {
        NIMB_LOG_ERROR("clock with id = %i not found", clock);
        return nullptr;
    }
    return entry->second;
}

bool PlayerClocks::Join(int clock, int player) {
    const std::shared_ptr<SharedClock> found = Find(clock);
    const PlayerRegistry::Pin pin = PlayerRegistry::Instance().Find(player);
    if (found == nullptr || !pin) {
        return false;
    }
    (*pin).Follow(found);
    return true;
}

bool PlayerClocks::Play(int clock) {
    const std::shared_ptr<SharedClock> found = Find(clock);
    if (found == nullptr) {
        return false;
    }
    const SharedClock::Reading reading = found->Read(MonotonicNanoseconds());
    // Those who are together go on without waiting for one that comes later.
    std::optional<Gathering> gathering;
    if (!reading.isPlaying) {
        gathering.emplace(*found, reading.position, true);
    }
    ForEachPlayer(*found, [&](int id, QuorObject& player) {
        const bool goesThere = !player.IsInStep() && (gathering ? gathering->Ask(id, player, reading.position, 0)
                                                                : player.SeekInStep(reading.position, 0) != 0);
        if (!goesThere) {
            player.PlayInStep();
        }
    });
    return true;
}

bool PlayerClocks::Pause(int clock) {
    const std::shared_ptr<SharedClock> found = Find(clock);
    if (found == nullptr) {
        return false;
    }
    found->Pause(MonotonicNanoseconds());
    ForEachPlayer(*found, [](int, QuorObject& player) { player.PauseInStep(); });
    return true;
}

int PlayerClocks::Seek(int clock, std::int64_t time, std::uint32_t options) {
    const std::shared_ptr<SharedClock> found = Find(clock);
    if (found == nullptr) {
        return 0;
    }
    const std::int64_t position = time / 10;
    int asked = 0;
    Gathering gathering(*found, position, (options & NimbSeekOption_Pause) == 0);
    ForEachPlayer(*found,
                  [&](int id, QuorObject& player) { asked += gathering.Ask(id, player, position, options) ? 1 : 0; });
    return asked;
}

bool PlayerClocks::SetSpeed(int clock, float speed) {
    constexpr float fastest = 1000;
    if (!(speed > 0 && speed <= fastest)) {
        NIMB_LOG_ERROR("a clock's speed must be above 0 and at most 1000, not %f", static_cast<double>(speed));
        return false;
    }
    const std::shared_ptr<SharedClock> found = Find(clock);
    if (found == nullptr) {
        return false;
    }
    found->SetSpeed(speed, MonotonicNanoseconds());
    ForEachPlayer(*found, [](int, QuorObject& player) { player.FollowSpeed(); });
    return true;
}

bool PlayerClocks::Read(int clock, NimbClockInfo* pInfo) {
    const std::shared_ptr<SharedClock> found = Find(clock);
    if (found == nullptr) {
        return false;
    }
    const SharedClock::Reading reading = found->Read(MonotonicNanoseconds());
    *pInfo = {};
    pInfo->time = WrappingMultiply(reading.position, 10);
    pInfo->speed = reading.speed;
    pInfo->players = static_cast<std::uint32_t>(reading.players);
    pInfo->awaited = static_cast<std::uint32_t>(reading.awaited);
    pInfo->isPlaying = reading.isPlaying ? 1 : 0;
    return true;
}

}  // namespace Nimb::Plugin
