#include "Authoring/Scene/Warnings.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

bool IsBefore(const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

}  // namespace

void Warnings::Add(const std::string& what, const std::string& place) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    auto kind = std::find_if(m_Kinds.begin(), m_Kinds.end(), [&](const Kind& k) { return k.what == what; });
    if (kind == m_Kinds.end()) {
        kind = m_Kinds.insert(kind, Kind{what, {}, false});
    }
    std::vector<std::string>& places = kind->places;
    const auto at = std::lower_bound(places.begin(), places.end(), place, IsBefore);
    if (at == places.end() || *at != place) {
        places.insert(at, place);
    }
}

bool Warnings::HasNew() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return std::any_of(m_Kinds.begin(), m_Kinds.end(), [](const Kind& kind) { return !kind.isTaken; });
}

std::vector<std::string> Warnings::TakeNew() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    std::vector<std::string> texts;
    for (Kind& kind : m_Kinds) {
        if (!kind.isTaken) {
            const std::size_t more = kind.places.size() - 1;
            texts.push_back(kind.places.front() + (more == 0 ? "" : " and " + std::to_string(more) + " more") + ": " +
                            kind.what);
            kind.isTaken = true;
        }
    }
    return texts;
}

}  // namespace Nimb::Authoring
