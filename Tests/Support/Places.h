// Whether what is one place in the source is one place when decoded.
#pragma once

#include "Tests/Support/TestSupport.h"

#include <array>
#include <map>
#include <set>
#include <tuple>

namespace NimbTest {

/// Watches the vertices of a clip from a key frame on.
class PlaceWatch {
public:
    /// Of the places where several vertices have been together in all frames so far, the number that come apart when
    /// decoded. `source`: of the key frame's mesh and of those after it; vertex i is decoded from source[order[i]].
    std::size_t Apart(const std::vector<Nimb::Authoring::Vec3>& source, const std::vector<UINT32>& order,
                      const DecodedFrame& decoded) {
        m_PlaceOf.resize(order.size());
        std::map<std::tuple<std::size_t, float, float, float>, std::size_t> places;
        std::map<std::size_t, std::set<std::array<UINT32, 3>>> shown;
        const std::size_t record = decoded.vertices.size() / order.size();
        for (std::size_t i = 0; i < order.size(); ++i) {
            const Nimb::Authoring::Vec3& p = source[order[i]];
            m_PlaceOf[i] = places.try_emplace({m_PlaceOf[i], p.x, p.y, p.z}, places.size()).first->second;
            shown[m_PlaceOf[i]].insert({decoded.Field<UINT32>(record * i), decoded.Field<UINT32>(record * i + 4),
                                        decoded.Field<UINT32>(record * i + 8)});
        }
        m_Shared = order.size() - shown.size();
        return static_cast<std::size_t>(
            std::count_if(shown.begin(), shown.end(), [](const auto& place) { return place.second.size() > 1; }));
    }

    /// How many vertices are where another one is, in all frames so far.
    std::size_t Shared() const { return m_Shared; }

private:
    std::vector<std::size_t> m_PlaceOf;
    std::size_t m_Shared = 0;
};

}  // namespace NimbTest
