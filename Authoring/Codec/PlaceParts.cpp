#include "Authoring/Codec/PlaceParts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace Nimb::Authoring {
namespace {

using Member = std::pair<UINT32, UINT32>;  // the first vertex of the place, and one that is there, too

/// Of the parts of the vertices from `begin` to `end`, the one that most neighbours of theirs have.
BYTE PartOfPlace(const Member* begin, const Member* end, const PartMap& parts) {
    std::array<std::size_t, 256> neighbours{};
    for (const Member* member = begin; member != end; ++member) {
        const std::size_t v = member->second;
        if (v > 0) {
            ++neighbours[parts[v - 1]];
        }
        if (v + 1 < parts.size()) {
            ++neighbours[parts[v + 1]];
        }
    }
    const Member* const best = std::max_element(begin, end, [&](const Member& a, const Member& b) {
        return neighbours[parts[a.second]] < neighbours[parts[b.second]];
    });
    return parts[best->second];
}

}  // namespace

PartMap OnePartAPlace(const PartMap& parts, const EqualVertices& places) {
    std::vector<Member> members;  // of places with vertices of several parts, place by place
    const std::vector<UINT32>& first = places.First();
    std::vector<bool> isDivided(parts.size());
    for (std::size_t v = 0; v < parts.size(); ++v) {
        if (parts[v] != parts[first[v]]) {
            isDivided[first[v]] = true;
        }
    }
    for (std::size_t v = 0; v < parts.size(); ++v) {
        if (isDivided[first[v]]) {
            members.emplace_back(first[v], static_cast<UINT32>(v));
        }
    }
    std::sort(members.begin(), members.end());
    PartMap joined = parts;
    const Member* const end = members.data() + members.size();
    for (const Member* begin = members.data(); begin != end;) {
        const Member* const next =
            std::find_if(begin, end, [&](const Member& member) { return member.first != begin->first; });
        const BYTE part = PartOfPlace(begin, next, joined);
        for (const Member* member = begin; member != next; ++member) {
            joined[member->second] = part;
        }
        begin = next;
    }
    Compact(joined);
    return joined;
}

}  // namespace Nimb::Authoring
