// What a capture does to a surface: noise, and holes where no camera looked.
#pragma once

#include "Demo/Capture/Grid.h"

#include <cstdint>

namespace Nimb::Authoring::Capture {

/// Moves points along their normals by `deviation` metres (standard deviation). Three quarters of the variance are
/// waves of about four centimetres, the rest differs from point to point.
void AddNoise(Surface& surface, double deviation, std::uint64_t seed);

/// Cuts discs of one to two and a half centimetres' radius: the first half at the places that the solid hides, as far
/// as there are any, the others anywhere. What remains has at most one border through a point.
void CutHoles(Surface& surface, const Solid& solid, std::size_t count, std::uint64_t seed);

}  // namespace Nimb::Authoring::Capture
