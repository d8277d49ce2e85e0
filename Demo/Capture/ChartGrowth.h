// Patches of a surface that can be projected onto a plane each without overlap.
#pragma once

#include "Demo/Capture/Grid.h"

#include <glm/vec2.hpp>

#include <cstdint>
#include <vector>

namespace Nimb::Authoring::Capture {

struct Patch {
    Point right{0}, up{0};  ///< of the plane
    std::vector<UINT32> faces;

    glm::dvec2 Project(const Point& p) const { return {glm::dot(p, right), glm::dot(p, up)}; }
};

/// Every face is in one patch.
std::vector<Patch> GrowPatches(const Surface& surface, std::uint64_t seed);

}  // namespace Nimb::Authoring::Capture
