// Meshes and frames store plain numbers, and what users include needs no other library; to reckon with vectors, this
// turns them into glm's.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <glm/vec3.hpp>

namespace Nimb::Authoring {

/// Anything with x, y and z.
template <class Plain>
glm::dvec3 VectorOf(const Plain& p) {
    return {p.x, p.y, p.z};
}

}  // namespace Nimb::Authoring
