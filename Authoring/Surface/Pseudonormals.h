// Normals of corners and edges that tell on which side of a surface a point is.
#pragma once

#include "Authoring/Scene/Triangle.h"
#include "Authoring/Surface/FaceEdges.h"

#include <array>
#include <vector>

namespace Nimb::Authoring {

using Points = std::vector<glm::dvec3>;

/// Angle-weighted pseudonormals (Baerentzen, Aanaes: "Signed Distance Computation Using the Angle Weighted
/// Pseudonormal", 2005). Any thread may ask.
class Pseudonormals {
public:
    /// `positions`: each place once, or faces do not meet at edges. Keeps nothing of the arguments.
    Pseudonormals(const Points& positions, const std::vector<TarnMeshFace>& faces);

    /// Of unit length; zero for vertices without a face that has an area.
    const Points& OfVertices() const { return m_OfVertices; }

    /// Whether an edge of the face that the point lies on, or ends at, is one that no other face has.
    bool IsAtRim(const SurfacePoint& point) const;

    /// Not of unit length; zero where the surface has no direction. Points that have this one as their nearest are
    /// outside when they lie in its direction.
    glm::dvec3 At(const SurfacePoint& point) const;

private:
    std::vector<TarnMeshFace> m_Faces;
    Points m_OfVertices, m_OfFaces;
    std::vector<std::array<UINT32, 3>> m_Across;
};

}  // namespace Nimb::Authoring
