// Distances as colours on a surface: each vertex gets a place in a picture of all colours, from near to far and from
// shade to light.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"

#include <string>
#include <vector>

namespace Nimb::Tool {

/// Colours from left (no distance) to right, the darkest shade at the top.
Authoring::Image ErrorColours();

/// The colours in full light as CSS, from left to right.
std::string ErrorGradient();

/// The mesh with texture coordinates into that picture. `distances`: of each vertex; those of `most` and more get the
/// last colour. Lit from the front, above and to the right, since colours alone show no shape.
Authoring::Mesh PaintErrors(const Authoring::Mesh& mesh, const std::vector<float>& distances, double most);

}  // namespace Nimb::Tool
