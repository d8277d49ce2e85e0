#include "Authoring/Track/TrackedSurface.h"

#include "Authoring/Codec/Vectors.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <unordered_map>
#include <utility>

namespace Nimb::Authoring {
namespace {

// From a triangle to its corners' tangent planes (Boubekeur, Alexa: "Phong Tessellation", 2008). They take three
// quarters for a smooth look; half the way is where a surface of constant curvature is.
constexpr double c_Curvature = 0.5;

struct PlaceHash {
    std::size_t operator()(const std::array<float, 3>& p) const {
        std::size_t hash = 0;
        for (const float c : p) {
            hash = hash * 1000003 + std::hash<float>()(c);
        }
        return hash;
    }
};

/// An edge by its ends, smaller number first, and where it is: three times its face plus the corner across from it.
struct FaceEdge {
    UINT32 from, to;
    std::size_t place;
};

std::vector<FaceEdge> SortedEdges(const std::vector<TarnMeshFace>& faces) {
    std::vector<FaceEdge> edges;
    edges.reserve(faces.size() * 3);
    for (std::size_t f = 0; f < faces.size(); ++f) {
        for (std::size_t i = 0; i < 3; ++i) {
            const auto [from, to] = std::minmax(faces[f].v[(i + 1) % 3], faces[f].v[(i + 2) % 3]);
            edges.push_back({from, to, f * 3 + i});
        }
    }
    std::sort(edges.begin(), edges.end(), [](const FaceEdge& a, const FaceEdge& b) {
        return std::tie(a.from, a.to, a.place) < std::tie(b.from, b.to, b.place);
    });
    return edges;
}

/// Along the normal, twice as long as the area is large.
glm::dvec3 AreaVector(const Points& positions, const TarnMeshFace& face) {
    const glm::dvec3& a = positions[face.v[0]];
    return glm::cross(positions[face.v[1]] - a, positions[face.v[2]] - a);
}

/// Sets of vertices that grow together (union-find with path halving).
class Groups {
public:
    explicit Groups(std::size_t count) : m_Parent(count) { std::iota(m_Parent.begin(), m_Parent.end(), 0U); }

    UINT32 Of(UINT32 v) {
        while (m_Parent[v] != v) {
            m_Parent[v] = m_Parent[m_Parent[v]];
            v = m_Parent[v];
        }
        return v;
    }
    void Join(UINT32 a, UINT32 b) { m_Parent[Of(a)] = Of(b); }

private:
    std::vector<UINT32> m_Parent;
};

}  // namespace

WeldedSurface WeldByPlace(const Mesh& mesh) {
    WeldedSurface surface;
    std::unordered_map<std::array<float, 3>, UINT32, PlaceHash> numbers;
    for (const Vec3& p : mesh.positions) {
        const auto [known, isNew] = numbers.try_emplace({p.x, p.y, p.z}, static_cast<UINT32>(surface.positions.size()));
        if (isNew) {
            surface.positions.push_back(VectorOf(p));
        }
        surface.vertexOf.push_back(known->second);
    }
    for (const TarnMeshFace& face : mesh.faces) {
        const TarnMeshFace welded{
            {surface.vertexOf[face.v[0]], surface.vertexOf[face.v[1]], surface.vertexOf[face.v[2]]}};
        if (welded.v[0] != welded.v[1] && welded.v[1] != welded.v[2] && welded.v[2] != welded.v[0]) {
            surface.faces.push_back(welded);
        }
    }
    return surface;
}

Points VertexNormals(const Points& positions, const std::vector<TarnMeshFace>& faces) {
    Points normals(positions.size(), glm::dvec3(0));
    for (const TarnMeshFace& face : faces) {
        const glm::dvec3 normal = AreaVector(positions, face);
        const double area = glm::length(normal);
        for (std::size_t i = 0; i < 3 && area > 0; ++i) {
            const glm::dvec3& p = positions[face.v[i]];
            const glm::dvec3 a = positions[face.v[(i + 1) % 3]] - p, b = positions[face.v[(i + 2) % 3]] - p;
            normals[face.v[i]] += std::atan2(area, glm::dot(a, b)) / area * normal;
        }
    }
    for (glm::dvec3& normal : normals) {
        const double length = glm::length(normal);
        normal = length > 0 ? normal / length : glm::dvec3(0);
    }
    return normals;
}

double SurfaceArea(const Points& positions, const std::vector<TarnMeshFace>& faces) {
    double area = 0;
    for (const TarnMeshFace& face : faces) {
        area += glm::length(AreaVector(positions, face)) / 2;
    }
    return area;
}

std::vector<BYTE> BoundaryEdges(const std::vector<TarnMeshFace>& faces) {
    std::vector<BYTE> boundary(faces.size());
    const std::vector<FaceEdge> edges = SortedEdges(faces);
    for (std::size_t i = 0; i < edges.size();) {
        std::size_t end = i + 1;
        while (end < edges.size() && edges[end].from == edges[i].from && edges[end].to == edges[i].to) {
            ++end;
        }
        if (end - i == 1) {
            boundary[edges[i].place / 3] |= static_cast<BYTE>(1 << (edges[i].place % 3));
        }
        i = end;
    }
    return boundary;
}

Vec3 PlainOf(const glm::dvec3& p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

std::vector<Vec3> PlainOf(const Points& points) {
    std::vector<Vec3> out;
    out.reserve(points.size());
    for (const glm::dvec3& p : points) {
        out.push_back(PlainOf(p));
    }
    return out;
}

bool IsAtRim(const std::vector<BYTE>& boundary, const SurfacePoint& point) {
    for (glm::length_t i = 0; i < 3; ++i) {
        if (point.weights[i] <= 0 && ((boundary[point.face] >> i) & 1) != 0) {
            return true;
        }
    }
    return false;
}

int Apartness(const WeldedSurface& surface) {
    Groups parts(surface.positions.size());
    for (const TarnMeshFace& face : surface.faces) {
        parts.Join(face.v[0], face.v[1]);
        parts.Join(face.v[0], face.v[2]);
    }
    struct Count {
        int vertices = 0, edges = 0, faces = 0, holes = 0;
    };
    std::unordered_map<UINT32, Count> counts;
    std::vector<bool> isUsed(surface.positions.size());
    for (const TarnMeshFace& face : surface.faces) {
        ++counts[parts.Of(face.v[0])].faces;
        for (const UINT32 v : face.v) {
            isUsed[v] = true;
        }
    }
    for (UINT32 v = 0; v < surface.positions.size(); ++v) {
        if (isUsed[v]) {
            ++counts[parts.Of(v)].vertices;
        }
    }
    const std::vector<FaceEdge> edges = SortedEdges(surface.faces);
    Groups rims(surface.positions.size());
    std::vector<UINT32> rimVertices;
    for (std::size_t i = 0; i < edges.size();) {
        std::size_t end = i + 1;
        while (end < edges.size() && edges[end].from == edges[i].from && edges[end].to == edges[i].to) {
            ++end;
        }
        ++counts[parts.Of(edges[i].from)].edges;
        if (end - i == 1) {
            rims.Join(edges[i].from, edges[i].to);
            rimVertices.push_back(edges[i].from);
        }
        i = end;
    }
    std::vector<bool> isCounted(surface.positions.size());
    for (const UINT32 v : rimVertices) {
        if (!isCounted[rims.Of(v)]) {
            isCounted[rims.Of(v)] = true;
            ++counts[parts.Of(v)].holes;
        }
    }
    int apartness = 0;
    for (const auto& [part, count] : counts) {
        if (static_cast<std::size_t>(count.faces) * 100 >= surface.faces.size()) {
            apartness += count.vertices - count.edges + count.faces + count.holes;
        }
    }
    return apartness;
}

TargetSurface::TargetSurface(const Mesh& mesh)
    : m_Surface(WeldByPlace(mesh)),
      m_Normals(VertexNormals(m_Surface.positions, m_Surface.faces)),
      m_Boundary(BoundaryEdges(m_Surface.faces)),
      m_Closest(PlainOf(m_Surface.positions), m_Surface.faces) {}

TargetSurface::Match TargetSurface::MatchOf(const glm::dvec3& point, const SurfacePoint& found) const {
    Match match;
    if (!found) {
        return match;
    }
    const TarnMeshFace& face = m_Surface.faces[found.face];
    match.isFound = true;
    match.distance = std::sqrt(found.squaredDistance);
    glm::dvec3 onTangentPlanes(0);
    for (glm::length_t i = 0; i < 3; ++i) {
        const glm::dvec3 &corner = m_Surface.positions[face.v[i]], &normal = m_Normals[face.v[i]];
        onTangentPlanes += found.weights[i] * (found.position + glm::dot(corner - found.position, normal) * normal);
        match.normal += found.weights[i] * m_Normals[face.v[i]];
    }
    match.isBoundary = IsAtRim(m_Boundary, found);
    match.position = glm::mix(found.position, onTangentPlanes, c_Curvature);
    // On a face its own normal tells the sides apart, on its edges and corners the normals there (Baerentzen, Aanaes:
    // "Signed Distance Computation Using the Angle Weighted Pseudonormal", 2005).
    const bool isOnFace = found.weights.x > 0 && found.weights.y > 0 && found.weights.z > 0;
    match.isInside =
        glm::dot(point - found.position, isOnFace ? AreaVector(m_Surface.positions, face) : match.normal) < 0;
    const double length = glm::length(match.normal);
    match.isFound = length > 0.1;  // otherwise the surface is folded there
    match.normal = match.isFound ? match.normal / length : glm::dvec3(0);
    return match;
}

TargetSurface::Match TargetSurface::Facing(const glm::dvec3& point, const glm::dvec3& normal, double limit) const {
    return MatchOf(point, m_Closest.Facing(point, normal, limit));
}

TargetSurface::Match TargetSurface::Nearest(const glm::dvec3& point) const {
    return MatchOf(point, m_Closest.To(point));
}

}  // namespace Nimb::Authoring
