#include "NimbUnityPluginML/PlayerClocks.h"

#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/PlayerRegistry.h"
#include "NimbUnityPluginML/Times.h"

#include <cmath>
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
    const std::int64_t now = MonotonicNanoseconds();
    const SharedClock::Reading reading = found->Read(now);
    // Those who are together go on without waiting for one that comes later.
    if (!reading.isPlaying) {
        found->BeginGathering(reading.position, true);
    }
    ForEachPlayer(*found, [&](int id, QuorObject& player) {
        const std::int64_t ticket = player.IsInStep() ? 0 : player.SeekInStep(reading.position, 0);
        if (ticket == 0) {
            player.PlayInStep();
        } else if (!reading.isPlaying) {
            found->Expect(id, ticket);
        }
    });
    if (!reading.isPlaying) {
        found->EndGathering(MonotonicNanoseconds());
    }
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
    found->BeginGathering(position, (options & NimbSeekOption_Pause) == 0);
    ForEachPlayer(*found, [&](int id, QuorObject& player) {
        const std::int64_t ticket = player.SeekInStep(position, options);
        if (ticket != 0) {
            ++asked;
            found->Expect(id, ticket);
        }
    });
    found->EndGathering(MonotonicNanoseconds());
    return asked;
}

bool PlayerClocks::SetSpeed(int clock, float speed) {
    if (!std::isfinite(speed) || speed <= 0) {
        NIMB_LOG_ERROR("a clock's speed must be above 0, not %f", static_cast<double>(speed));
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
