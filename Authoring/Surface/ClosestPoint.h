// Where a surface is nearest to a point.
#pragma once

#include "Authoring/Scene/Triangle.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace Nimb::Authoring {

/// A tree of the boxes around a surface's triangles. Any thread may ask. Takes about 100 bytes a triangle.
class ClosestPoint {
public:
    /// O(n log n). Keeps nothing of the arguments. std::invalid_argument for faces beyond the positions, or coordinates
    /// that are not finite.
    ClosestPoint(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces);
    ~ClosestPoint();
    ClosestPoint(ClosestPoint&&) noexcept;
    ClosestPoint& operator=(ClosestPoint&&) noexcept;

    /// The same faces, whose corners have moved, in O(n) and a tenth of the time of a new tree: boxes are fitted anew,
    /// but hold the same faces together, so that searches become slower the further apart neighbours go. Nobody else
    /// may use the tree meanwhile. std::invalid_argument as above, or for another number of faces; the tree is then of
    /// no use.
    void Move(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces);

    bool IsEmpty() const;

    /// The nearest point of the surface, exact but for rounding; none when it is `limit` away, or further, or when
    /// there are no triangles. Among several as near, that of the triangle with the smallest number.
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
