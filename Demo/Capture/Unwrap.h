// Charts of a surface: patches that are flat enough to be projected, packed into a square.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Demo/Capture/Grid.h"

#include <cstdint>
#include <vector>

namespace Nimb::Authoring::Capture {

/// The surface cut open. Faces are in the surface's order.
struct Unwrapped {
    std::vector<UINT32> origin;   ///< of each vertex, the surface's point
    std::vector<Vec2> texCoords;  ///< (0, 0) is the picture's top left corner
    std::vector<TarnMeshFace> faces;
    std::size_t charts = 0;
};

constexpr double c_ChartPadding = 3;  ///< texels around every chart

/// No two triangles overlap in the picture. `seed` decides where charts are cut. `size`: of the picture, in texels.
Unwrapped Unwrap(const Surface& surface, std::size_t size, std::uint64_t seed);

}  // namespace Nimb::Authoring::Capture
