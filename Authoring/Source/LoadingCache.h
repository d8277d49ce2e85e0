// Values that are loaded when first asked for. The few that were used last are kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <mutex>

namespace Nimb::Authoring {

/// Any thread may call Get, several at once: those that want one value wait for the one that loads it. A value that
/// could not be loaded is tried again the next time.
template <class Key, class Value>
class LoadingCache {
public:
    explicit LoadingCache(std::size_t capacity) : m_Capacity(capacity) {}

    /// `load` makes the value; what it throws, Get throws.
    template <class Load>
    std::shared_ptr<const Value> Get(const Key& key, const Load& load) {
        std::promise<std::shared_ptr<const Value>> promise;
        std::shared_future<std::shared_ptr<const Value>> future;
        if (Find(key, promise, future)) {
            return future.get();
        }
        try {
            promise.set_value(std::make_shared<const Value>(load()));
        } catch (...) {
            promise.set_exception(std::current_exception());
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Entries.erase(key);
        }
        return future.get();
    }

private:
    using Future = std::shared_future<std::shared_ptr<const Value>>;

    struct Entry {
        Future future;
        std::uint64_t lastUse = 0;
    };

    /// False: the entry is new, and the caller has to keep the promise.
    bool Find(const Key& key, std::promise<std::shared_ptr<const Value>>& promise, Future& future) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const auto found = m_Entries.find(key);
        if (found != m_Entries.end()) {
            found->second.lastUse = ++m_Uses;
            future = found->second.future;
            return true;
        }
        if (m_Entries.size() >= m_Capacity) {
            auto oldest = m_Entries.begin();
            for (auto entry = m_Entries.begin(); entry != m_Entries.end(); ++entry) {
                if (entry->second.lastUse < oldest->second.lastUse) {
                    oldest = entry;
                }
            }
            m_Entries.erase(oldest);
        }
        future = promise.get_future().share();
        m_Entries[key] = {future, ++m_Uses};
        return false;
    }

    const std::size_t m_Capacity;
    std::mutex m_Mutex;
    std::map<Key, Entry> m_Entries;
    std::uint64_t m_Uses = 0;
};

}  // namespace Nimb::Authoring
