#include "Authoring/Surface/Pseudonormals.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

glm::dvec3 UnitOf(const glm::dvec3& v) {
    const double length = glm::length(v);
    return length > 0 ? v / length : glm::dvec3(0);
}

/// Each face weighted by its angle at the vertex.
Points VertexNormals(const Points& positions, const std::vector<TarnMeshFace>& faces) {
    Points normals(positions.size(), glm::dvec3(0));
    for (const TarnMeshFace& face : faces) {
        const TriangleCorners corners = TriangleOf(positions, face);
        const glm::dvec3 normal = AreaVector(corners);
        const double area = glm::length(normal);
        for (std::size_t i = 0; i < 3 && area > 0; ++i) {
            const glm::dvec3 a = corners[(i + 1) % 3] - corners[i], b = corners[(i + 2) % 3] - corners[i];
            normals[face.v[i]] += std::atan2(area, glm::dot(a, b)) / area * normal;
        }
    }
    std::transform(normals.begin(), normals.end(), normals.begin(), UnitOf);
    return normals;
}

}  // namespace

Pseudonormals::Pseudonormals(const Points& positions, const std::vector<TarnMeshFace>& faces)
    : m_Faces(faces), m_OfVertices(VertexNormals(positions, faces)), m_Across(FacesAcross(faces)) {
    for (const TarnMeshFace& face : faces) {
        m_OfFaces.push_back(UnitOf(AreaVector(TriangleOf(positions, face))));
    }
}

bool Pseudonormals::IsAtRim(const SurfacePoint& point) const {
    for (glm::length_t i = 0; i < 3; ++i) {
        if (point.weights[i] <= 0 && m_Across[point.face][static_cast<std::size_t>(i)] == c_NoFace) {
            return true;
        }
    }
    return false;
}

glm::dvec3 Pseudonormals::At(const SurfacePoint& point) const {
    const glm::dvec3& w = point.weights;
    for (glm::length_t i = 0; i < 3; ++i) {
        if (w[(i + 1) % 3] <= 0 && w[(i + 2) % 3] <= 0) {
            return m_OfVertices[m_Faces[point.face].v[i]];
        }
    }
    for (glm::length_t i = 0; i < 3; ++i) {
        if (w[i] <= 0) {
            const UINT32 across = m_Across[point.face][static_cast<std::size_t>(i)];
            return m_OfFaces[point.face] + (across == c_NoFace ? glm::dvec3(0) : m_OfFaces[across]);
        }
    }
    return m_OfFaces[point.face];
}

}  // namespace Nimb::Authoring
