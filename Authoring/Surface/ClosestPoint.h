// Where a surface is nearest to a point.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <glm/vec3.hpp>

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace Nimb::Authoring {

/// A point of a surface.
struct SurfacePoint {
    UINT32 face = 0xFFFFFFFF;
    glm::dvec3 weights{0};  ///< of the face's corners; they add up to 1
    glm::dvec3 position{0};
    double squaredDistance = std::numeric_limits<double>::infinity();  ///< from the point that was asked for

    explicit operator bool() const { return face != 0xFFFFFFFF; }
};

/// The point of a triangle that is nearest to `p`; `face` is left alone. Exact, also for triangles without an area.
SurfacePoint ClosestPointOfTriangle(const glm::dvec3& p, const glm::dvec3& a, const glm::dvec3& b, const glm::dvec3& c);

/// A tree of the boxes around a surface's triangles. Any thread may ask. Takes about 100 bytes a triangle.
class ClosestPoint {
public:
    /// O(n log n). Keeps nothing of the arguments. std::invalid_argument for faces beyond the positions, or coordinates
    /// that are not finite.
    ClosestPoint(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces);
    ~ClosestPoint();
    ClosestPoint(ClosestPoint&&) noexcept;
    ClosestPoint& operator=(ClosestPoint&&) noexcept;

    bool IsEmpty() const;

    /// The nearest point of the surface, exact but for rounding; none when it is `limit` away, or further, or when
    /// there are no triangles. Among several as near, that of any triangle.
    SurfacePoint To(const glm::dvec3& point, double limit = std::numeric_limits<double>::infinity()) const;

    /// The same among triangles that look within 90 degrees of `normal`'s direction, so that a thin part's other side
    /// is not found.
    SurfacePoint Facing(const glm::dvec3& point, const glm::dvec3& normal,
                        double limit = std::numeric_limits<double>::infinity()) const;

    /// The numbers of the triangles whose boxes come within `reach` of the box from `min` to `max`, ascending.
    std::vector<UINT32> Near(const glm::dvec3& min, const glm::dvec3& max, double reach) const;

private:
    class Tree;
    std::unique_ptr<Tree> m_Tree;
};

}  // namespace Nimb::Authoring
