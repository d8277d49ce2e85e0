// All players of the process by id.
//
// The contract with the engine is one script thread, but render events look players up on the render thread meanwhile:
// a lock guards the map, and a player in use is pinned, so that Destroy waits for the use to end. Nobody holds the lock
// while calling into a player.
#pragma once

#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/QuorObject.h"

#include <map>
#include <memory>

namespace Nimb::Plugin {

class PlayerRegistry {
    struct Entry {
        std::unique_ptr<QuorObject> player;
        int pins = 0;
    };

public:
    /// Keeps a player alive. Empty when there is none with the id.
    class Pin {
    public:
        Pin() = default;
        Pin(PlayerRegistry* pRegistry, std::shared_ptr<Entry> entry)
            : m_pRegistry(pRegistry), m_entry(std::move(entry)) {}
        Pin(Pin&& other) noexcept = default;
        ~Pin() {
            if (m_entry != nullptr) {
                m_pRegistry->Unpin(*m_entry);
            }
        }
        Pin(const Pin&) = delete;
        Pin& operator=(const Pin&) = delete;
        Pin& operator=(Pin&&) = delete;

        explicit operator bool() const noexcept { return m_entry != nullptr; }
        QuorObject& operator*() const noexcept { return *m_entry->player; }

    private:
        PlayerRegistry* m_pRegistry = nullptr;
        std::shared_ptr<Entry> m_entry;
    };

    static PlayerRegistry& Instance();

    /// An id that was never given out before: 0, 1, 2, ...
    int TakeId();
    void Add(int id, std::unique_ptr<QuorObject> player);
    Pin Find(int id);

    /// Removes the player, waits until nobody uses it, and destroys it. False when there is none with the id.
    bool Destroy(int id);

private:
    void Unpin(Entry& entry);

    /// The only way to the count, so that clang sees who touches it without the lock.
    int& PinsOf(Entry& entry) NIMB_REQUIRES(m_mutex) { return entry.pins; }

    Mutex m_mutex;
    Condition m_unpinned;
    std::map<int, std::shared_ptr<Entry>> m_players NIMB_GUARDED_BY(m_mutex);
    int m_nextId NIMB_GUARDED_BY(m_mutex) = 0;
};

}  // namespace Nimb::Plugin
