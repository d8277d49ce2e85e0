// Meshes and frames store plain numbers, so that installed headers need no other library. For arithmetic, these
// functions convert them to glm's vectors and back.
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
