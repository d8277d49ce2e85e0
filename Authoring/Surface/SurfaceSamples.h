// Points spread over a surface, and where another surface is nearest to each.
#pragma once

#include "Authoring/Scene/SurfaceDistance.h"
#include "Authoring/Surface/ClosestPoint.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// A point of a surface that was measured to another one.
struct SurfaceSample {
    UINT32 face = 0;
    glm::dvec3 weights{0};  ///< of the face's corners
    glm::dvec3 position{0};
    glm::dvec3 normal{0};  ///< of the face, of length 1; zeros for a face without an area
    SurfacePoint nearest;  ///< of the other surface; none when that has no faces
    glm::dvec3 nearestNormal{0};
    bool isFlipped = false;  ///< the other surface is there, but looks the other way: see LooksAway
};

/// Where in a triangle the point of this number is: the R2 sequence (Roberts 2018, a two-dimensional low-discrepancy
/// sequence), so that figures converge with the number of points and not with its root. The same everywhere.
glm::dvec3 SpreadWeights(std::size_t number);

/// `count` points, each for the same share of the area, in the order of the faces, at SpreadWeights in them. Only the
/// fields of the point itself are set. When the surface has no area, the points are its faces' corners; none without
/// faces. std::invalid_argument for faces beyond the positions.
std::vector<SurfaceSample> SpreadSamples(const SurfaceView& surface, std::size_t count);

/// Sets what a sample has of the other surface, whose tree is `tree`. `tolerance`: metres, for LooksAway.
void Measure(std::vector<SurfaceSample>& samples, const SurfaceView& other, const ClosestPoint& tree, double tolerance);

/// Normal of length 1; zeros for a face without an area.
glm::dvec3 NormalOf(const SurfaceView& surface, UINT32 face);

}  // namespace Nimb::Authoring
