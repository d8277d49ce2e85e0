#include "Authoring/Track/TrackedSurface.h"

#include <glm/geometric.hpp>

#include <array>
#include <cmath>
#include <unordered_map>

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

double SurfaceArea(const Points& positions, const std::vector<TarnMeshFace>& faces) {
    double area = 0;
    for (const TarnMeshFace& face : faces) {
        area += glm::length(AreaVector(TriangleOf(positions, face))) / 2;
    }
    return area;
}

UINT32 NearestCorner(const TarnMeshFace& face, const SurfacePoint& point) {
    const glm::dvec3& w = point.weights;
    const std::size_t corner = w[0] > w[1] ? 0 : 1;
    return face.v[w[2] > w[static_cast<glm::length_t>(corner)] ? 2 : corner];
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

TargetSurface::TargetSurface(const Mesh& mesh)
    : m_Surface(WeldByPlace(mesh)),
      m_Normals(m_Surface.positions, m_Surface.faces),
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
        const glm::dvec3 &corner = m_Surface.positions[face.v[i]], &normal = Normals()[face.v[i]];
        onTangentPlanes += found.weights[i] * (found.position + glm::dot(corner - found.position, normal) * normal);
        match.normal += found.weights[i] * normal;
    }
    match.isBoundary = m_Normals.IsAtRim(found);
    match.position = glm::mix(found.position, onTangentPlanes, c_Curvature);
    match.isInside = glm::dot(point - found.position, m_Normals.At(found)) < 0;
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
