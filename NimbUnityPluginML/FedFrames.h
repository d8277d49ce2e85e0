// Which frames of the file have been fed lately, by the number that picture and mesh of a sample have in common.
#pragma once

#include "NimbUnityPluginML/Mutex.h"

#include <cstddef>
#include <cstdint>

namespace Nimb::Plugin {

/// Any thread. Calls nobody.
class FedFrames {
public:
    void Add(std::int64_t number, std::int64_t frame) {
        const MutexLock lock(m_mutex);
        m_entries[IndexOf(number)] = {number, frame};
    }

    /// -1: unknown, or it was long ago.
    std::int64_t FrameOf(std::int64_t number) const {
        const MutexLock lock(m_mutex);
        const Entry& entry = m_entries[IndexOf(number)];
        return entry.number == number ? entry.frame : -1;
    }

    void Clear() {
        const MutexLock lock(m_mutex);
        for (Entry& entry : m_entries) {
            entry = {};
        }
    }

private:
    /// More than there are on their way: slots, and what decoders hold.
    static constexpr std::size_t c_Entries = 64;

    static std::size_t IndexOf(std::int64_t number) { return static_cast<std::uint64_t>(number) % c_Entries; }

    struct Entry {
        std::int64_t number = -1;
        std::int64_t frame = -1;
    };
    mutable Mutex m_mutex;
    Entry m_entries[c_Entries] NIMB_GUARDED_BY(m_mutex);
};

}  // namespace Nimb::Plugin
