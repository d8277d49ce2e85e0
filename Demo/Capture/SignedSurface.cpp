// The sign is that of the side of the angle-weighted pseudonormal at the nearest point, be it of a face, an edge or a
// corner (Baerentzen and Aanaes, "Signed Distance Computation Using the Angle Weighted Pseudonormal", 2005).
#include "Demo/Capture/SignedSurface.h"

#include "Authoring/Codec/Vectors.h"

#include <algorithm>

namespace Nimb::Authoring::Capture {
namespace {

/// Whether every edge has one face on either side.
bool IsClosed(const std::vector<TarnMeshFace>& faces) {
    std::map<std::pair<UINT32, UINT32>, int> edges;
    for (const TarnMeshFace& face : faces) {
        for (std::size_t i = 0; i < 3; ++i) {
            ++edges[{face.v[i], face.v[(i + 1) % 3]}];
        }
    }
    return std::all_of(edges.begin(), edges.end(), [&](const auto& entry) {
        const auto other = edges.find({entry.first.second, entry.first.first});
        return entry.second == 1 && other != edges.end();
    });
}

}  // namespace

SignedSurface::SignedSurface(const std::vector<Vec3>& positions, std::vector<TarnMeshFace> faces, double thickness)
    : m_Faces(std::move(faces)), m_Tree(positions, m_Faces), m_Thickness(thickness), m_IsClosed(IsClosed(m_Faces)) {
    if (m_IsClosed) {
        AddNormals(positions);
    }
}

void SignedSurface::AddNormals(const std::vector<Vec3>& positions) {
    double volume = 0;
    for (const TarnMeshFace& face : m_Faces) {
        const std::array<Point, 3> p{VectorOf(positions[face.v[0]]), VectorOf(positions[face.v[1]]),
                                     VectorOf(positions[face.v[2]])};
        const Point cross = glm::cross(p[1] - p[0], p[2] - p[0]);
        const double length = glm::length(cross);
        const Point normal = length > 0 ? cross / length : Point(0);
        volume += glm::dot(p[0], cross);
        m_FaceNormals.push_back(normal);
        for (std::size_t i = 0; i < 3; ++i) {
            const Point a = p[(i + 1) % 3] - p[i], b = p[(i + 2) % 3] - p[i];
            const double lengths = glm::length(a) * glm::length(b);
            const double angle = lengths > 0 ? std::acos(std::clamp(glm::dot(a, b) / lengths, -1.0, 1.0)) : 0;
            m_PointNormals.try_emplace(face.v[i], Point(0)).first->second += angle * normal;
            m_EdgeNormals.try_emplace(std::minmax(face.v[i], face.v[(i + 1) % 3]), Point(0)).first->second += normal;
        }
    }
    m_Sign = volume < 0 ? -1 : 1;
}

Point SignedSurface::PseudonormalAt(const SurfacePoint& at) const {
    const UINT32* const v = m_Faces[at.face].v;
    std::array<UINT32, 3> used{};
    std::size_t count = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        if (at.weights[static_cast<int>(i)] != 0) {
            used[count++] = v[i];
        }
    }
    return count == 1   ? m_PointNormals.at(used[0])
           : count == 2 ? m_EdgeNormals.at(std::minmax(used[0], used[1]))
                        : m_FaceNormals[at.face];
}

SignedSurface::Nearest SignedSurface::To(const Point& p, double limit) const {
    const SurfacePoint at = m_Tree.To(p, limit);
    if (!at) {
        return {at, limit};
    }
    const double distance = std::sqrt(at.squaredDistance);
    if (!m_IsClosed) {
        return {at, distance - m_Thickness / 2};
    }
    const bool isInside = m_Sign * glm::dot(p - at.position, PseudonormalAt(at)) < 0;
    return {at, isInside ? -distance : distance};
}

}  // namespace Nimb::Authoring::Capture
