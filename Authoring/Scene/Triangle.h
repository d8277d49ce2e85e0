// Single triangles, in double precision.
#pragma once

#include "Authoring/Codec/Vectors.h"

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

#include <array>
#include <limits>
#include <vector>

namespace Nimb::Authoring {

/// In place of a face's number.
constexpr UINT32 c_NoFace = 0xFFFFFFFF;

using TriangleCorners = std::array<glm::dvec3, 3>;

/// Of a face within its mesh. Positions are anything with x, y and z.
template <class Position>
TriangleCorners TriangleOf(const std::vector<Position>& positions, const TarnMeshFace& face) {
    return {VectorOf(positions[face.v[0]]), VectorOf(positions[face.v[1]]), VectorOf(positions[face.v[2]])};
}

/// Along the normal, twice as long as the area is large.
inline glm::dvec3 AreaVector(const TriangleCorners& t) {
    return glm::cross(t[1] - t[0], t[2] - t[0]);
}

/// `weights` of the corners add up to 1.
inline glm::dvec3 PointAt(const TriangleCorners& t, const glm::dvec3& weights) {
    return t[0] * weights[0] + t[1] * weights[1] + t[2] * weights[2];
}

/// A point of a surface.
struct SurfacePoint {
    UINT32 face = c_NoFace;
    glm::dvec3 weights{0};  ///< of the face's corners; they add up to 1
    glm::dvec3 position{0};
    double squaredDistance = std::numeric_limits<double>::infinity();  ///< from the point that was asked for

    explicit operator bool() const { return face != c_NoFace; }
};

/// The point of a triangle that is nearest to `p`; `face` is left alone. Exact, also for triangles without an area. On
/// an edge or a corner, the weights of the others are 0.
SurfacePoint ClosestPointOfTriangle(const glm::dvec3& p, const TriangleCorners& t);

}  // namespace Nimb::Authoring
