#include "NimbUnityPluginML/PlayerRegistry.h"

namespace Nimb::Plugin {

PlayerRegistry& PlayerRegistry::Instance() {
    static PlayerRegistry registry;
    return registry;
}

int PlayerRegistry::TakeId() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_NextId++;
}

void PlayerRegistry::Add(int id, std::unique_ptr<QuorObject> player) {
    auto entry = std::make_shared<Entry>();
    entry->player = std::move(player);
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Players.emplace(id, std::move(entry));
}

PlayerRegistry::Pin PlayerRegistry::Find(int id) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const auto it = m_Players.find(id);
    if (it == m_Players.end()) {
        return Pin();
    }
    ++it->second->pins;
    return Pin(this, it->second);
}

void PlayerRegistry::Unpin(Entry& entry) {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        --entry.pins;
    }
    m_Unpinned.notify_all();
}

bool PlayerRegistry::Destroy(int id) {
    std::shared_ptr<Entry> entry;
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        const auto it = m_Players.find(id);
        if (it == m_Players.end()) {
            return false;
        }
        entry = std::move(it->second);
        m_Players.erase(it);
        m_Unpinned.wait(lock, [&entry] { return entry->pins == 0; });
    }
    entry->player.reset();
    return true;
}

}  // namespace Nimb::Plugin
