// A frame's surface as the tracker sees it: one vertex for each place, whatever charts meet in it.
#pragma once

#include "Authoring/Surface/ClosestPoint.h"
#include "Authoring/Surface/Pseudonormals.h"

#include <glm/vec3.hpp>

#include <cstddef>
#include <limits>
#include <vector>

namespace Nimb::Authoring {

/// Vertices of a mesh that are in one place are one vertex. Faces that lose a corner by that are left out.
struct WeldedSurface {
    Points positions;
    std::vector<TarnMeshFace> faces;
    std::vector<UINT32> vertexOf;  ///< for each vertex of the mesh its number here
};

WeldedSurface WeldByPlace(const Mesh& mesh);

double SurfaceArea(const Points& positions, const std::vector<TarnMeshFace>& faces);

/// Which vertex of the face stands for a point of it: the one that is nearest.
UINT32 NearestCorner(const TarnMeshFace& face, const SurfacePoint& point);

Vec3 PlainOf(const glm::dvec3& p);
std::vector<Vec3> PlainOf(const Points& points);

/// What a frame's points are compared with. Any thread may ask.
class TargetSurface {
public:
    explicit TargetSurface(const Mesh& mesh);

    const WeldedSurface& Surface() const { return m_Surface; }
    const Points& Normals() const { return m_Normals.OfVertices(); }

    struct Match {
        glm::dvec3 position{0};
        glm::dvec3 normal{0};  ///< smooth, of unit length
        double distance = std::numeric_limits<double>::infinity();
        bool isFound = false;
        bool isInside = false;    ///< the point that was asked for is on the surface's inner side
        bool isBoundary = false;  ///< at the rim of a hole: what belongs to the point may be missing
    };

    /// The nearest point within `limit` that looks the same way as `normal`.
    Match Facing(const glm::dvec3& point, const glm::dvec3& normal, double limit) const;

    /// The nearest point, wherever it looks.
    Match Nearest(const glm::dvec3& point) const;

private:
    Match MatchOf(const glm::dvec3& point, const SurfacePoint& found) const;

    WeldedSurface m_Surface;
    Pseudonormals m_Normals;
    ClosestPoint m_Closest;
};

}  // namespace Nimb::Authoring
