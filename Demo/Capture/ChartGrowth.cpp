// Patches grow from random faces over neighbours that look in the same direction. Small ones are given to their
// neighbours, as far as they fit.
#include "Demo/Capture/ChartGrowth.h"

#include "Authoring/Surface/FaceEdges.h"
#include "Demo/Capture/Random.h"

#include <algorithm>
#include <array>
#include <deque>
#include <unordered_map>
#include <utility>

namespace Nimb::Authoring::Capture {
namespace {

constexpr double c_Flat = 0.64;   ///< cosine of the largest angle between a face and its patch's plane, 50 degrees
constexpr double c_Steep = 0.27;  ///< the same for what is left over, 74 degrees
constexpr double c_Reach = 0.2;   ///< metres from the first face
constexpr std::size_t c_SmallPatch = 60;

using Triangle = std::array<glm::dvec2, 3>;

double Cross(const glm::dvec2& a, const glm::dvec2& b) {
    return a.x * b.y - a.y * b.x;
}

/// Whether all of `b` is beyond one of the edges of `a`. Both are counter-clockwise.
bool IsBeyondAnEdge(const Triangle& a, const Triangle& b) {
    constexpr double tolerance = 1e-10;  // square metres, for edges that both have
    for (std::size_t i = 0; i < 3; ++i) {
        const glm::dvec2 edge = a[(i + 1) % 3] - a[i];
        if (std::all_of(b.begin(), b.end(), [&](const glm::dvec2& p) { return Cross(edge, p - a[i]) <= tolerance; })) {
            return true;
        }
    }
    return false;
}

/// For each face, across the edges that begin at its corners.
std::vector<std::array<UINT32, 3>> NeighboursOf(const std::vector<TarnMeshFace>& faces) {
    std::vector<std::array<UINT32, 3>> neighbours = FacesAcross(faces);
    for (std::array<UINT32, 3>& across : neighbours) {
        std::rotate(across.begin(), across.begin() + 2, across.end());
    }
    return neighbours;
}

/// A patch with what it takes to see whether another face fits.
struct Growing {
    Patch patch;
    Point axis{0};
    std::unordered_map<std::uint64_t, std::vector<Triangle>> cells;
};

class Grower {
public:
    Grower(const Surface& surface, std::uint64_t seed)
        : m_Surface(surface), m_Neighbours(NeighboursOf(surface.faces)), m_Owner(surface.faces.size(), c_NoFace) {
        double area = 0;
        for (const TarnMeshFace& face : surface.faces) {
            const Point normal = AreaVector(TriangleOf(surface.points, face));
            const double length = glm::length(normal);
            area += length / 2;
            m_Normals.push_back(length > 0 ? normal / length : Point(0, 1, 0));
        }
        m_Cell = 3 * std::sqrt(area / static_cast<double>(std::max<std::size_t>(surface.faces.size(), 1)));
        m_Order.resize(surface.faces.size());
        Random random(seed);
        for (std::size_t i = 0; i < m_Order.size(); ++i) {
            m_Order[i] = static_cast<UINT32>(i);
            std::swap(m_Order[i], m_Order[random.Below(i + 1)]);
        }
    }

    std::vector<Patch> Grow() {
        GrowAll(c_Flat);
        DissolveSmall();
        while (JoinNeighbours()) {
        }
        GrowAll(c_Steep);
        std::vector<Patch> patches;
        for (Growing& growing : m_Patches) {
            if (!growing.patch.faces.empty()) {
                patches.push_back(std::move(growing.patch));
            }
        }
        return patches;
    }

private:
    void GrowAll(double limit) {
        for (const UINT32 face : m_Order) {
            if (m_Owner[face] == c_NoFace) {
                GrowFrom(face, limit);
            }
        }
    }

    void GrowFrom(UINT32 seed, double limit) {
        m_Patches.emplace_back();
        Growing& growing = m_Patches.back();
        growing.axis = AxisAround(seed);
        const Point aside = std::abs(growing.axis.y) < 0.9 ? Point(0, 1, 0) : Point(0, 0, 1);
        growing.patch.right = glm::normalize(glm::cross(aside, growing.axis));
        growing.patch.up = glm::cross(growing.axis, growing.patch.right);
        std::deque<UINT32> waiting{seed};
        while (!waiting.empty()) {
            const UINT32 face = waiting.front();
            waiting.pop_front();
            if (!Join(face, static_cast<UINT32>(m_Patches.size() - 1), face == seed ? 0.0 : limit)) {
                continue;
            }
            for (const UINT32 next : m_Neighbours[face]) {
                if (next != c_NoFace && m_Owner[next] == c_NoFace &&
                    glm::distance(Start(next), Start(seed)) < c_Reach) {
                    waiting.push_back(next);
                }
            }
        }
    }

    /// The mean normal of free faces around one, unless the face itself does not look there.
    Point AxisAround(UINT32 seed) const {
        constexpr std::size_t count = 60;
        std::vector<UINT32> around{seed};
        Point sum(0);
        for (std::size_t i = 0; i < around.size(); ++i) {
            sum += m_Normals[around[i]];
            for (const UINT32 next : m_Neighbours[around[i]]) {
                if (around.size() < count && next != c_NoFace && m_Owner[next] == c_NoFace &&
                    std::find(around.begin(), around.end(), next) == around.end()) {
                    around.push_back(next);
                }
            }
        }
        const double length = glm::length(sum);
        const bool isUseful = length > 0 && glm::dot(sum / length, m_Normals[seed]) > c_Flat;
        return isUseful ? sum / length : m_Normals[seed];
    }

    const Point& Start(UINT32 face) const { return m_Surface.points[m_Surface.faces[face].v[0]]; }

    bool Join(UINT32 face, UINT32 patch, double limit) {
        Growing& growing = m_Patches[patch];
        if (m_Owner[face] != c_NoFace || glm::dot(m_Normals[face], growing.axis) <= limit) {
            return false;
        }
        Triangle flat;
        for (std::size_t i = 0; i < 3; ++i) {
            flat[i] = growing.patch.Project(m_Surface.points[m_Surface.faces[face].v[i]]);
        }
        std::vector<std::uint64_t> keys = CellsOf(flat);
        for (const std::uint64_t key : keys) {
            const auto cell = growing.cells.find(key);
            if (cell == growing.cells.end()) {
                continue;
            }
            for (const Triangle& other : cell->second) {
                if (!IsBeyondAnEdge(flat, other) && !IsBeyondAnEdge(other, flat)) {
                    return false;
                }
            }
        }
        for (const std::uint64_t key : keys) {
            growing.cells[key].push_back(flat);
        }
        growing.patch.faces.push_back(face);
        m_Owner[face] = patch;
        return true;
    }

    /// Of a grid over the patch's plane, those that the triangle's box touches.
    std::vector<std::uint64_t> CellsOf(const Triangle& t) const {
        const auto low = glm::min(t[0], glm::min(t[1], t[2])) / m_Cell;
        const auto high = glm::max(t[0], glm::max(t[1], t[2])) / m_Cell;
        std::vector<std::uint64_t> keys;
        for (auto y = static_cast<std::int64_t>(std::floor(low.y)); static_cast<double>(y) <= high.y; ++y) {
            for (auto x = static_cast<std::int64_t>(std::floor(low.x)); static_cast<double>(x) <= high.x; ++x) {
                keys.push_back((static_cast<std::uint64_t>(x) << 32) ^ (static_cast<std::uint64_t>(y) & 0xFFFFFFFF));
            }
        }
        return keys;
    }

    void DissolveSmall() {
        for (Growing& growing : m_Patches) {
            if (growing.patch.faces.size() < c_SmallPatch) {
                for (const UINT32 face : growing.patch.faces) {
                    m_Owner[face] = c_NoFace;
                }
                growing.patch.faces.clear();
                growing.cells.clear();
            }
        }
    }

    bool JoinNeighbours() {
        bool isAny = false;
        for (const UINT32 face : m_Order) {
            for (const UINT32 next : m_Neighbours[face]) {
                if (m_Owner[face] == c_NoFace && next != c_NoFace && m_Owner[next] != c_NoFace) {
                    isAny = Join(face, m_Owner[next], c_Steep) || isAny;
                }
            }
        }
        return isAny;
    }

    const Surface& m_Surface;
    const std::vector<std::array<UINT32, 3>> m_Neighbours;
    std::vector<Point> m_Normals;  // of faces
    std::vector<UINT32> m_Owner;   // the face's patch
    std::vector<UINT32> m_Order;
    double m_Cell = 1;
    std::vector<Growing> m_Patches;
};

}  // namespace

std::vector<Patch> GrowPatches(const Surface& surface, std::uint64_t seed) {
    return Grower(surface, seed).Grow();
}

}  // namespace Nimb::Authoring::Capture
