#include "Demo/Capture/SignedSurface.h"

namespace Nimb::Authoring::Capture {

SignedSurface::SignedSurface(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces,
                             double thickness)
    : m_Tree(positions, faces), m_Thickness(thickness) {
    if (!IsClosed(faces)) {
        return;
    }
    Points points;
    for (const Vec3& p : positions) {
        points.push_back(VectorOf(p));
    }
    m_Normals.emplace(points, faces);
    double volume = 0;
    for (const TarnMeshFace& face : faces) {
        const TriangleCorners corners = TriangleOf(points, face);
        volume += glm::dot(corners[0], AreaVector(corners));
    }
    m_Sign = volume < 0 ? -1 : 1;
}

SignedSurface::Nearest SignedSurface::To(const Point& p, double limit) const {
    const SurfacePoint at = m_Tree.To(p, limit);
    if (!at) {
        return {at, limit};
    }
    const double distance = std::sqrt(at.squaredDistance);
    if (!m_Normals) {
        return {at, distance - m_Thickness / 2};
    }
    const bool isInside = m_Sign * glm::dot(p - at.position, m_Normals->At(at)) < 0;
    return {at, isInside ? -distance : distance};
}

}  // namespace Nimb::Authoring::Capture
