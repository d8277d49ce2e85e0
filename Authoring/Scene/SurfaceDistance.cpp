#include "Authoring/Scene/SurfaceDistance.h"

#include "Authoring/Scene/Triangle.h"

#include <glm/glm.hpp>
#include <glm/gtx/component_wise.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace Nimb::Authoring {
namespace {

using glm::dvec3;

constexpr int c_Cells = 64;  // along the longest axis

using Corners = TriangleCorners;

double LongestEdge(const Corners& t) {
    return std::max({glm::distance(t[0], t[1]), glm::distance(t[1], t[2]), glm::distance(t[2], t[0])});
}

/// Its height above the longest edge. What is thinner than rounding has no direction to speak of.
double Thickness(const Corners& t) {
    const double longest = LongestEdge(t);
    return longest > 0 ? glm::length(AreaVector(t)) / longest : 0;
}

struct Reach {
    dvec3 low, high;
};

Reach ReachOf(const Corners& t, double margin) {
    return {glm::min(glm::min(t[0], t[1]), t[2]) - margin, glm::max(glm::max(t[0], t[1]), t[2]) + margin};
}

bool Overlap(const Reach& a, const Reach& b) {
    return glm::all(glm::lessThanEqual(a.low, b.high)) && glm::all(glm::lessThanEqual(b.low, a.high));
}

/// What a measurement may cost, in distances of a point from a triangle or as much work: about half a second. Slivers
/// need a thousandth of it; triangles as large as the mesh, by the thousand, would need hours.
class Budget {
public:
    bool Spend(std::size_t work) {
        m_Left = work < m_Left ? m_Left - work : 0;
        return m_Left > 0;
    }

private:
    std::size_t m_Left = std::size_t{1} << 25;
};

/// Finds the largest distance of a triangle's points from the triangles near it, by halving it until corners and
/// insides cannot differ. The distance from one triangle is convex, so of a piece whose corners are all near the same
/// triangle, one of the corners is the furthest point.
class Measurement {
public:
    Measurement(std::vector<Corners> near, double limit, Budget& budget)
        : m_Near(std::move(near)), m_Limit(limit), m_Budget(budget) {}

    /// False when the limit or the budget is exceeded.
    bool Add(const Corners& piece) {
        if (!m_Budget.Spend(3 * m_Near.size() + 1)) {
            return false;
        }
        double bound = std::numeric_limits<double>::max();
        std::array<double, 3> ofCorner;
        ofCorner.fill(std::numeric_limits<double>::max());
        for (const Corners& triangle : m_Near) {
            double worst = 0;
            for (std::size_t i = 0; i < 3; ++i) {
                const double distance = std::sqrt(ClosestPointOfTriangle(piece[i], triangle).squaredDistance);
                ofCorner[i] = std::min(ofCorner[i], distance);
                worst = std::max(worst, distance);
            }
            bound = std::min(bound, worst);
        }
        const double largest = *std::max_element(ofCorner.begin(), ofCorner.end());
        if (largest > m_Limit) {
            return false;
        }
        m_Largest = std::max(m_Largest, largest);
        const double step = m_Limit / 16;
        if (bound <= m_Largest + step || LongestEdge(piece) <= step) {
            return true;
        }
        std::size_t a = 0;  // the longest edge runs from here to the next corner
        for (std::size_t i = 1; i < 3; ++i) {
            if (glm::distance(piece[i], piece[(i + 1) % 3]) > glm::distance(piece[a], piece[(a + 1) % 3])) {
                a = i;
            }
        }
        const dvec3 middle = (piece[a] + piece[(a + 1) % 3]) * 0.5;
        return Add({piece[a], middle, piece[(a + 2) % 3]}) && Add({middle, piece[(a + 1) % 3], piece[(a + 2) % 3]});
    }

    double Largest() const { return m_Largest; }

private:
    const std::vector<Corners> m_Near;
    const double m_Limit;
    Budget& m_Budget;
    double m_Largest = 0;
};

Corners CornersOf(const SurfaceView& surface, UINT32 face) {
    return TriangleOf(surface.positions, surface.faces[face]);
}

/// Cells of space.
class Grid {
public:
    explicit Grid(const Box& box)
        : m_Low(VectorOf(box.min)), m_CellSize(std::max(glm::compMax(VectorOf(box.max) - m_Low) / c_Cells, 1e-30)) {}

    /// Calls visit(cell) for all cells that the box touches; what lies outside counts to the cells at the rim. False
    /// when that exceeds the budget.
    template <class Visit>
    bool ForEachCell(const Reach& box, Budget& budget, Visit visit) const {
        const glm::ivec3 low = CellOf(box.low), high = CellOf(box.high), count = high - low + 1;
        if (!budget.Spend(static_cast<std::size_t>(count.x * count.y * count.z) / 8 + 1)) {
            return false;
        }
        for (int z = low.z; z <= high.z; ++z) {
            for (int y = low.y; y <= high.y; ++y) {
                for (int x = low.x; x <= high.x; ++x) {
                    visit(static_cast<std::size_t>((z * c_Cells + y) * c_Cells + x));
                }
            }
        }
        return true;
    }

    static constexpr std::size_t c_Count = std::size_t{c_Cells} * c_Cells * c_Cells;

private:
    glm::ivec3 CellOf(const dvec3& p) const {
        return {glm::clamp(glm::floor((p - m_Low) / m_CellSize), 0.0, c_Cells - 1.0)};
    }

    dvec3 m_Low;
    double m_CellSize;
};

/// The faces of a surface by the cells that they touch; of those cells alone that something is measured in, which are
/// few as a rule.
class NearFaces {
public:
    NearFaces(const SurfaceView& surface, const Box& box) : m_Surface(surface), m_Grid(box), m_ListOf(Grid::c_Count) {}

    /// To be called for all places that are asked for later, then Fill.
    bool Want(const Reach& place, Budget& budget) {
        return m_Grid.ForEachCell(place, budget, [&](std::size_t cell) {
            if (m_ListOf[cell] == 0) {
                m_ListOf[cell] = static_cast<UINT32>(m_Lists.size());
                m_Lists.emplace_back();
            }
        });
    }

    bool Fill(Budget& budget) {
        for (UINT32 face = 0; face < m_Surface.faces.size(); ++face) {
            const bool isWithin =
                m_Grid.ForEachCell(ReachOf(CornersOf(m_Surface, face), 0), budget, [&](std::size_t cell) {
                    if (m_ListOf[cell] != 0) {
                        m_Lists[m_ListOf[cell]].push_back(face);
                    }
                });
            if (!isWithin) {
                return false;
            }
        }
        return true;
    }

    /// Each once, ascending; none when that exceeds the budget.
    std::optional<std::vector<UINT32>> At(const Reach& place, Budget& budget) const {
        std::vector<UINT32> faces;
        std::size_t count = 0;
        if (!m_Grid.ForEachCell(place, budget, [&](std::size_t cell) { count += m_Lists[m_ListOf[cell]].size(); }) ||
            !budget.Spend(count)) {
            return std::nullopt;
        }
        faces.reserve(count);
        m_Grid.ForEachCell(place, budget, [&](std::size_t cell) {
            faces.insert(faces.end(), m_Lists[m_ListOf[cell]].begin(), m_Lists[m_ListOf[cell]].end());
        });
        std::sort(faces.begin(), faces.end());
        faces.erase(std::unique(faces.begin(), faces.end()), faces.end());
        return faces;
    }

private:
    const SurfaceView& m_Surface;
    const Grid m_Grid;
    std::vector<UINT32> m_ListOf;  // of each cell; 0: nothing is measured there
    std::vector<std::vector<UINT32>> m_Lists = std::vector<std::vector<UINT32>>(1);
};

}  // namespace

std::optional<double> LargestDistance(const SurfaceView& from, const std::vector<UINT32>& numbers,
                                      const SurfaceView& to, double limit) {
    Budget budget;
    NearFaces nearFaces(to, Union(BoundingBox(from.positions), BoundingBox(to.positions)));
    for (const UINT32 face : numbers) {
        if (!nearFaces.Want(ReachOf(CornersOf(from, face), limit), budget)) {
            return std::nullopt;
        }
    }
    if (!nearFaces.Fill(budget)) {
        return std::nullopt;
    }
    double largest = 0;
    for (const UINT32 face : numbers) {
        const Corners corners = CornersOf(from, face);
        const Reach reach = ReachOf(corners, limit);
        const std::optional<std::vector<UINT32>> close = nearFaces.At(reach, budget);
        if (!close) {
            return std::nullopt;
        }
        const bool hasDirection = Thickness(corners) > limit;
        std::vector<Corners> near;
        for (const UINT32 other : *close) {
            const Corners candidate = CornersOf(to, other);
            const bool isTurned = hasDirection && Thickness(candidate) > limit &&
                                  glm::dot(AreaVector(corners), AreaVector(candidate)) < 0;
            if (!isTurned && Overlap(ReachOf(candidate, 0), reach)) {
                near.push_back(candidate);
            }
        }
        Measurement measurement(std::move(near), limit, budget);
        if (!measurement.Add(corners)) {
            return std::nullopt;
        }
        largest = std::max(largest, measurement.Largest());
    }
    return largest;
}

}  // namespace Nimb::Authoring
