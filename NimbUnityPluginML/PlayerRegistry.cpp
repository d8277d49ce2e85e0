#include "NimbUnityPluginML/PlayerRegistry.h"

namespace Nimb::Plugin {

PlayerRegistry& PlayerRegistry::Instance() {
    static PlayerRegistry registry;
    return registry;
}

int PlayerRegistry::TakeId() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_nextId++;
}

void PlayerRegistry::Add(int id, std::unique_ptr<QuorObject> player) {
    auto entry = std::make_shared<Entry>();
    entry->player = std::move(player);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_players.emplace(id, std::move(entry));
}

PlayerRegistry::Pin PlayerRegistry::Find(int id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_players.find(id);
    if (it == m_players.end()) {
        return Pin();
    }
    ++it->second->pins;
    return Pin(this, it->second);
}

void PlayerRegistry::Unpin(Entry& entry) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --entry.pins;
    }
    m_unpinned.notify_all();
}

bool PlayerRegistry::Destroy(int id) {
    std::shared_ptr<Entry> entry;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto it = m_players.find(id);
        if (it == m_players.end()) {
            return false;
        }
        entry = std::move(it->second);
        m_players.erase(it);
        m_unpinned.wait(lock, [&entry] { return entry->pins == 0; });
    }
    entry->player.reset();
    return true;
}

}  // namespace Nimb::Plugin
