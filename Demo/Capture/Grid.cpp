#include "Demo/Capture/Grid.h"

#include "Authoring/Scene/DisjointSets.h"
#include "Authoring/Scene/Triangle.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

namespace Nimb::Authoring::Capture {
namespace {

// The lattice is made of the corners of cubes, at even coordinates, and their centres, at odd ones. A tetrahedron has
// an edge from centre to centre through a face of a cube, and opposite to it one of that face's four edges; all are
// alike (as in Labelle and Shewchuk, "Isosurface Stuffing", 2007).
using Site = glm::ivec3;

/// One number for a site, or for the sum of an edge's two: no two edges of the lattice have the same middle.
std::uint64_t KeyOf(const Site& site) {
    constexpr int middle = 1 << 20;
    return (static_cast<std::uint64_t>(site.x + middle) << 42) | (static_cast<std::uint64_t>(site.y + middle) << 21) |
           static_cast<std::uint64_t>(site.z + middle);
}

struct Corner {
    Site site;
    Point at;
    double distance;
};

class Marcher {
public:
    Marcher(const Solid& solid, const Lattice& lattice) : m_Solid(solid), m_Lattice(lattice) {}

    Surface March() {
        for (const Site& cube : CubesAtSurface()) {
            for (int axis = 0; axis < 3; ++axis) {
                MarchFace(cube, axis);
                Site before = cube;
                before[axis] -= 2;
                if (m_Cubes.count(KeyOf(before)) == 0) {
                    MarchFace(before, axis);  // no other cube will
                }
            }
        }
        return std::move(m_Out);
    }

private:
    static constexpr int c_Blocks = 16;  ///< cubes along the edge of the largest block

    Point Place(const Point& site) const { return m_Lattice.origin + m_Lattice.turn * (site * (0.5 * m_Lattice.cell)); }

    /// Corners with the least coordinates of cubes that the surface may pass through.
    const std::vector<Site>& CubesAtSurface() {
        const Bounds around = m_Solid.Around();
        Point low(1e9), high(-1e9);
        for (int corner = 0; corner < 8; ++corner) {
            const Point at((corner & 1) != 0 ? around.max.x : around.min.x,
                           (corner & 2) != 0 ? around.max.y : around.min.y,
                           (corner & 4) != 0 ? around.max.z : around.min.z);
            const Point site = glm::transpose(m_Lattice.turn) * (at - m_Lattice.origin) / (0.5 * m_Lattice.cell);
            low = glm::min(low, site);
            high = glm::max(high, site);
        }
        constexpr int step = 2 * c_Blocks;
        const Site first = Site(glm::floor(low / double{step})) * step - step;
        const Site last = Site(glm::floor(high / double{step})) * step + step;
        for (int z = first.z; z <= last.z; z += step) {
            for (int y = first.y; y <= last.y; y += step) {
                for (int x = first.x; x <= last.x; x += step) {
                    Descend({x, y, z}, c_Blocks);
                }
            }
        }
        return m_CubeList;
    }

    /// `size`: cubes along the block's edge.
    void Descend(const Site& corner, int size) {
        const Point centre = Place(Point(corner) + double(size));
        const double reach = 0.5 * std::sqrt(3.0) * size * m_Lattice.cell;
        constexpr double allowance = 1.35;  // distances are not exact
        if (std::abs(m_Solid.Distance(centre)) > allowance * reach) {
            return;
        }
        if (size == 1) {
            m_Cubes.emplace(KeyOf(corner), true);
            m_CubeList.push_back(corner);
            return;
        }
        for (int part = 0; part < 8; ++part) {
            Descend(corner + Site(part & 1, (part >> 1) & 1, part >> 2) * size, size / 2);
        }
    }

    Corner At(const Site& site) {
        const Point place = Place(Point(site));
        const auto [known, isNew] = m_Distances.try_emplace(KeyOf(site), 0.0);
        if (isNew) {
            known->second = m_Solid.Distance(place);
        }
        return {site, place, known->second};
    }

    /// The four tetrahedra between a cube and the next one along the axis.
    void MarchFace(const Site& cube, int axis) {
        Site step(0), across(0), up(0);
        step[axis] = 2;
        across[(axis + 1) % 3] = 2;
        up[(axis + 2) % 3] = 2;
        const Corner centre = At(cube + 1), next = At(cube + 1 + step);
        const Site face = cube + step;
        const std::array<Corner, 4> ring{At(face), At(face + across), At(face + across + up), At(face + up)};
        for (std::size_t i = 0; i < 4; ++i) {
            MarchTetrahedron({centre, next, ring[i], ring[(i + 1) % 4]});
        }
    }

    void MarchTetrahedron(std::array<Corner, 4> corners) {
        const auto inside = [](const Corner& corner) { return corner.distance < 0; };
        const auto begin = std::stable_partition(corners.begin(), corners.end(), inside);
        const auto& c = corners;
        switch (begin - corners.begin()) {
            case 1:
                AddFace(c, {Cut(c[0], c[1]), Cut(c[0], c[2]), Cut(c[0], c[3])});
                break;
            case 2: {
                const UINT32 a = Cut(c[0], c[2]), b = Cut(c[0], c[3]), d = Cut(c[1], c[3]), e = Cut(c[1], c[2]);
                AddFace(c, {a, b, d});
                AddFace(c, {a, d, e});
                break;
            }
            case 3:
                AddFace(c, {Cut(c[0], c[3]), Cut(c[1], c[3]), Cut(c[2], c[3])});
                break;
            default:
                break;
        }
    }

    UINT32 Cut(const Corner& inside, const Corner& outside) {
        const auto [known, isNew] =
            m_Cuts.try_emplace(KeyOf(inside.site + outside.site), static_cast<UINT32>(m_Out.points.size()));
        if (isNew) {
            const double share = std::clamp(inside.distance / (inside.distance - outside.distance), 0.05, 0.95);
            m_Out.points.push_back(glm::mix(inside.at, outside.at, share));
        }
        return known->second;
    }

    /// Its front is where the corners outside are.
    void AddFace(const std::array<Corner, 4>& corners, std::array<UINT32, 3> v) {
        const Point& a = m_Out.points[v[0]];
        const Point normal = AreaVector({a, m_Out.points[v[1]], m_Out.points[v[2]]});
        if (glm::dot(normal, corners[3].at - a) < glm::dot(normal, corners[0].at - a)) {
            std::swap(v[1], v[2]);
        }
        m_Out.faces.push_back({{v[0], v[1], v[2]}});
    }

    const Solid& m_Solid;
    const Lattice m_Lattice;
    std::unordered_map<std::uint64_t, bool> m_Cubes;
    std::vector<Site> m_CubeList;
    std::unordered_map<std::uint64_t, double> m_Distances;
    std::unordered_map<std::uint64_t, UINT32> m_Cuts;
    Surface m_Out;
};

/// Leaves out pieces with an area below the limit, and points that no triangle has.
Surface WithoutCrumbs(const Surface& surface, double limit) {
    DisjointSets pieces(surface.points.size());
    for (const TarnMeshFace& face : surface.faces) {
        pieces.Join(face.v[1], face.v[0]);
        pieces.Join(face.v[2], face.v[0]);
    }
    std::vector<double> areas(surface.points.size());
    for (const TarnMeshFace& face : surface.faces) {
        areas[pieces.Find(face.v[0])] += glm::length(AreaVector(TriangleOf(surface.points, face))) / 2;
    }
    Surface out;
    std::vector<UINT32> numbers(surface.points.size(), 0xFFFFFFFF);
    for (TarnMeshFace face : surface.faces) {
        if (areas[pieces.Find(face.v[0])] < limit) {
            continue;
        }
        for (UINT32& v : face.v) {
            if (numbers[v] == 0xFFFFFFFF) {
                numbers[v] = static_cast<UINT32>(out.points.size());
                out.points.push_back(surface.points[v]);
            }
            v = numbers[v];
        }
        out.faces.push_back(face);
    }
    return out;
}

/// Each point half of the way towards the middle of its neighbours, along the surface.
void Spread(Surface& surface, const Solid& solid, const std::vector<Point>& normals) {
    std::vector<Point> sums(surface.points.size(), Point(0));
    std::vector<double> counts(surface.points.size());
    for (const TarnMeshFace& face : surface.faces) {
        for (std::size_t i = 0; i < 3; ++i) {
            sums[face.v[i]] += surface.points[face.v[(i + 1) % 3]];
            counts[face.v[i]] += 1;
        }
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
        const Point to = sums[i] / counts[i] - surface.points[i];
        Point& p = surface.points[i];
        p += 0.5 * (to - glm::dot(to, normals[i]) * normals[i]);
        p -= solid.Distance(p) * normals[i];
    }
}

/// Each point away from the surface by what triangles around it lie below.
void Balance(Surface& surface, const Solid& solid, const std::vector<Point>& normals) {
    std::vector<double> sums(surface.points.size()), counts(surface.points.size());
    for (const TarnMeshFace& face : surface.faces) {
        const Point middle = (surface.points[face.v[0]] + surface.points[face.v[1]] + surface.points[face.v[2]]) / 3.0;
        const double distance = solid.Distance(middle);
        for (const UINT32 v : face.v) {
            sums[v] += distance;
            counts[v] += 1;
        }
    }
    constexpr double c_Share = 0.75, c_Most = 1e-3;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        surface.points[i] -= std::clamp(c_Share * sums[i] / counts[i], -c_Most, c_Most) * normals[i];
    }
}

}  // namespace

Surface Polygonise(const Solid& solid, const Lattice& lattice) {
    constexpr double crumbs = 1e-3;  // square metres
    return WithoutCrumbs(Marcher(solid, lattice).March(), crumbs);
}

std::vector<Point> NormalsOf(const Surface& surface) {
    std::vector<Point> normals(surface.points.size(), Point(0));
    for (const TarnMeshFace& face : surface.faces) {
        const Point normal = AreaVector(TriangleOf(surface.points, face));
        for (const UINT32 v : face.v) {
            normals[v] += normal;
        }
    }
    for (Point& normal : normals) {
        const double length = glm::length(normal);
        normal = length > 0 ? normal / length : Point(0, 1, 0);
    }
    return normals;
}

void Relax(Surface& surface, const Solid& solid) {
    constexpr int rounds = 4;
    for (int i = 0; i < rounds; ++i) {
        Spread(surface, solid, NormalsOf(surface));
    }
    for (Point& p : surface.points) {
        p = OntoSurface(solid, p);
    }
    Balance(surface, solid, NormalsOf(surface));
}

double CellFor(const Solid& solid, std::size_t points) {
    // As many points as the surface has area: four times as many on a lattice half as wide.
    Lattice lattice;
    lattice.cell = 0.035;
    const auto found = static_cast<double>(Polygonise(solid, lattice).points.size());
    return lattice.cell * std::sqrt(std::max(found, 1.0) / static_cast<double>(points));
}

}  // namespace Nimb::Authoring::Capture
