// Parts by repeated splitting: the part that its map serves worst is split around its worst vertex, then all vertices
// choose anew among all maps.
//
// The cost of a vertex under a map is the logarithm of its distance, about what a correction costs in bits, so a few
// vertices far off do not pull a map away from the many that it fits.
#include "Authoring/MotionParts.h"

#include "Authoring/LeastSquares.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace Authoring {
namespace {

constexpr std::size_t c_MaxParts = 64;
constexpr std::size_t c_MinVertices = 6;  // a smaller part cannot pay for its transform
constexpr int c_SettlingPasses = 4;
constexpr double c_WorthSplitting = 0.05;  // bits per vertex and pose that a map leaves

/// Binary logarithm by chords between powers of two: the same on every machine, and fast. `value` is at least 1.
double Log2(double value) {
    UINT64 bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return static_cast<double>(bits) * 0x1p-52 - 1023.0;
}

/// One affine map per pose after the first: displacement from the first pose.
struct PartMaps {
    struct Map {
        float columns[4][3];
    };
    std::vector<Map> maps;
    Vec3 origin{};
};

class Search {
public:
    Search(const std::vector<const std::vector<Vec3>*>& poses, const PartSearch& search)
        : m_Poses(poses),
          m_Search(search),
          m_Reference(*poses.front()),
          m_InverseTolerance(1.0 / (search.tolerance * search.tolerance)),
          m_Parts(m_Reference.size(), 0),
          m_Costs(m_Reference.size(), 0.0) {}

    std::vector<PartMap> Run();

private:
    PartMaps Fit(const std::vector<UINT32>& vertices) const;
    double Cost(const PartMaps& maps, std::size_t vertex) const;
    std::vector<std::vector<UINT32>> Members() const;
    void Refit();
    void Reassign();
    bool Split();
    void Claim(std::size_t part);
    void Settle();
    PartMap Smoothed() const;

    const std::vector<const std::vector<Vec3>*>& m_Poses;
    const PartSearch& m_Search;
    const std::vector<Vec3>& m_Reference;
    double m_InverseTolerance;
    PartMap m_Parts;
    std::vector<double> m_Costs;
    std::vector<PartMaps> m_Maps;
};

PartMaps Search::Fit(const std::vector<UINT32>& vertices) const {
    PartMaps result;
    double center[3] = {};
    for (const UINT32 i : vertices) {
        center[0] += m_Reference[i].x;
        center[1] += m_Reference[i].y;
        center[2] += m_Reference[i].z;
    }
    const double count = static_cast<double>(vertices.size());
    result.origin = {static_cast<float>(center[0] / count), static_cast<float>(center[1] / count),
                     static_cast<float>(center[2] / count)};
    for (std::size_t pose = 1; pose < m_Poses.size(); ++pose) {
        const std::vector<Vec3>& positions = *m_Poses[pose];
        NormalEquations<4, 3> equations;
        for (const UINT32 i : vertices) {
            const Vec3& r = m_Reference[i];
            const Vec3& p = positions[i];
            equations.Add(
                {double{r.x} - result.origin.x, double{r.y} - result.origin.y, double{r.z} - result.origin.z, 1.0},
                {double{p.x} - r.x, double{p.y} - r.y, double{p.z} - r.z}, 1.0);
        }
        for (std::size_t i = 0; i < 3; ++i) {
            equations.AddRidge(i, m_Search.tolerance * m_Search.tolerance);
        }
        const auto solution = equations.Solve();
        PartMaps::Map map;
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                map.columns[i][axis] = static_cast<float>(solution[i][axis]);
            }
        }
        result.maps.push_back(map);
    }
    return result;
}

double Search::Cost(const PartMaps& maps, std::size_t vertex) const {
    const Vec3& r = m_Reference[vertex];
    const float x = r.x - maps.origin.x, y = r.y - maps.origin.y, z = r.z - maps.origin.z;
    double bits = 0;
    for (std::size_t pose = 1; pose < m_Poses.size(); ++pose) {
        const auto& c = maps.maps[pose - 1].columns;
        const Vec3& p = (*m_Poses[pose])[vertex];
        const double dx = p.x - (r.x + (c[0][0] * x + c[1][0] * y + c[2][0] * z + c[3][0]));
        const double dy = p.y - (r.y + (c[0][1] * x + c[1][1] * y + c[2][1] * z + c[3][1]));
        const double dz = p.z - (r.z + (c[0][2] * x + c[1][2] * y + c[2][2] * z + c[3][2]));
        bits += Log2(1.0 + (dx * dx + dy * dy + dz * dz) * m_InverseTolerance);
    }
    return bits;
}

std::vector<std::vector<UINT32>> Search::Members() const {
    std::vector<std::vector<UINT32>> members(m_Maps.size());
    for (std::size_t i = 0; i < m_Parts.size(); ++i) {
        members[m_Parts[i]].push_back(static_cast<UINT32>(i));
    }
    return members;
}

/// New maps from the present members. Parts too small to keep disappear; their vertices go elsewhere with the next
/// Reassign.
void Search::Refit() {
    const std::vector<std::vector<UINT32>> members = Members();
    std::vector<PartMaps> maps;
    for (const std::vector<UINT32>& vertices : members) {
        if (vertices.size() >= c_MinVertices) {
            maps.push_back(Fit(vertices));
        }
    }
    if (!maps.empty()) {
        m_Maps = std::move(maps);
    }
}

void Search::Reassign() {
    for (std::size_t i = 0; i < m_Parts.size(); ++i) {
        double best = 0;
        for (std::size_t part = 0; part < m_Maps.size(); ++part) {
            const double cost = Cost(m_Maps[part], i);
            if (part == 0 || cost < best) {
                best = cost;
                m_Parts[i] = static_cast<BYTE>(part);
            }
        }
        m_Costs[i] = best;
    }
}

/// Lets all vertices choose among all maps, and the maps follow, until little changes.
void Search::Settle() {
    for (int pass = 0; pass < c_SettlingPasses; ++pass) {
        Reassign();
        Refit();
    }
    Reassign();
}

/// Takes the quarter of the costliest part's vertices that is nearest to its worst vertex for a new part. False when no
/// part is worth it.
bool Search::Split() {
    const std::vector<std::vector<UINT32>> members = Members();
    std::size_t worst = 0;
    double worstCost = 0;
    for (std::size_t part = 0; part < members.size(); ++part) {
        double cost = 0;
        for (const UINT32 i : members[part]) {
            cost += m_Costs[i];
        }
        if (cost > worstCost && members[part].size() >= 2 * c_MinVertices) {
            worst = part;
            worstCost = cost;
        }
    }
    std::vector<UINT32> vertices = members[worst];
    if (vertices.empty() ||
        worstCost < c_WorthSplitting * static_cast<double>(vertices.size() * (m_Poses.size() - 1))) {
        return false;
    }
    const UINT32 seed = *std::max_element(vertices.begin(), vertices.end(),
                                          [this](UINT32 a, UINT32 b) { return m_Costs[a] < m_Costs[b]; });
    const Vec3 center = m_Reference[seed];
    const auto distance = [&](UINT32 i) {
        const Vec3& p = m_Reference[i];
        const float dx = p.x - center.x, dy = p.y - center.y, dz = p.z - center.z;
        return dx * dx + dy * dy + dz * dz;
    };
    std::stable_sort(vertices.begin(), vertices.end(), [&](UINT32 a, UINT32 b) { return distance(a) < distance(b); });
    vertices.resize(std::max(c_MinVertices, vertices.size() / 4));
    m_Maps.push_back(Fit(vertices));
    // The new map is first compared with the present choices alone. A second time its fit has found its members.
    Claim(m_Maps.size() - 1);
    vertices = Members().back();
    if (vertices.size() >= c_MinVertices) {
        m_Maps.back() = Fit(vertices);
        Claim(m_Maps.size() - 1);
    }
    return true;
}

/// Gives a part the vertices that its map serves better than their own does.
void Search::Claim(std::size_t part) {
    for (std::size_t i = 0; i < m_Parts.size(); ++i) {
        const double cost = Cost(m_Maps[part], i);
        if (cost < m_Costs[i] || m_Parts[i] == part) {
            m_Costs[i] = cost;
            m_Parts[i] = static_cast<BYTE>(part);
        }
    }
}

/// The cheapest map of vertices to parts when changing the part along the vertex order costs too.
PartMap Search::Smoothed() const {
    const std::size_t numParts = m_Maps.size();
    const std::size_t count = m_Parts.size();
    std::vector<BYTE> cameFrom(count * numParts);
    std::vector<double> total(numParts, 0.0);
    for (std::size_t i = 0; i < count; ++i) {
        const auto cheapest = static_cast<std::size_t>(std::min_element(total.begin(), total.end()) - total.begin());
        const double changed = total[cheapest] + m_Search.runBits;
        for (std::size_t part = 0; part < numParts; ++part) {
            const bool stays = total[part] <= changed;
            cameFrom[i * numParts + part] = static_cast<BYTE>(stays ? part : cheapest);
            total[part] = (stays ? total[part] : changed) + Cost(m_Maps[part], i);
        }
    }
    PartMap parts(count);
    auto part = static_cast<BYTE>(std::min_element(total.begin(), total.end()) - total.begin());
    for (std::size_t i = count; i-- > 0;) {
        parts[i] = part;
        part = cameFrom[i * numParts + part];
    }
    return parts;
}

/// Renumbers so that no number is without a vertex.
void Compact(PartMap& parts) {
    std::vector<int> numbers(256, -1);
    int next = 0;
    for (BYTE& part : parts) {
        if (numbers[part] < 0) {
            numbers[part] = next++;
        }
        part = static_cast<BYTE>(numbers[part]);
    }
}

std::vector<PartMap> Search::Run() {
    std::vector<PartMap> results;
    std::vector<UINT32> all(m_Reference.size());
    std::iota(all.begin(), all.end(), 0u);
    m_Maps.assign(1, Fit(all));
    Reassign();
    const std::size_t maxParts = std::clamp<std::size_t>(m_Search.maxParts, 1, c_MaxParts);
    std::size_t nextResult = std::min<std::size_t>(4, maxParts);
    for (std::size_t target = 2; target <= maxParts; ++target) {
        const bool done = !Split();
        if (target == nextResult || target == maxParts || done) {
            Settle();
            results.push_back(Smoothed());
            Compact(results.back());
            nextResult = std::min(maxParts, target + std::max<std::size_t>(target / 2, 4));
        }
        if (done) {
            break;
        }
    }
    return results;
}

}  // namespace

std::vector<PartMap> FindParts(const std::vector<const std::vector<Vec3>*>& poses, const PartSearch& search) {
    return Search(poses, search).Run();
}

}  // namespace Authoring
