#include "NimbUnityPluginML/PlayerRegistry.h"

namespace Nimb::Plugin {

PlayerRegistry& PlayerRegistry::Instance() {
    static PlayerRegistry registry;
    return registry;
}

int PlayerRegistry::TakeId() {
    const MutexLock lock(m_mutex);
    return m_nextId++;
}

void PlayerRegistry::Add(int id, std::unique_ptr<QuorObject> player) {
    auto entry = std::make_shared<Entry>();
    entry->player = std::move(player);
    const MutexLock lock(m_mutex);
    m_players.emplace(id, std::move(entry));
}

PlayerRegistry::Pin PlayerRegistry::Find(int id) {
    const MutexLock lock(m_mutex);
    const auto it = m_players.find(id);
    if (it == m_players.end()) {
        return Pin();
    }
    ++PinsOf(*it->second);
    return Pin(this, it->second);
}

void PlayerRegistry::Unpin(Entry& entry) {
    {
        const MutexLock lock(m_mutex);
        --PinsOf(entry);
    }
    m_unpinned.NotifyAll();
}

bool PlayerRegistry::Destroy(int id) {
    std::shared_ptr<Entry> entry;
    {
        MutexLock lock(m_mutex);
        const auto it = m_players.find(id);
        if (it == m_players.end()) {
            return false;
        }
        entry = std::move(it->second);
        m_players.erase(it);
        m_unpinned.Wait(lock, [&]() NIMB_REQUIRES(m_mutex) { return PinsOf(*entry) == 0; });
    }
    entry->player.reset();
    return true;
}

}  // namespace Nimb::Plugin
