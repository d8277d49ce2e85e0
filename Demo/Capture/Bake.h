// The picture of a captured surface.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Demo/Capture/Unwrap.h"

namespace Nimb::Authoring::Capture {

/// Every texel of a chart has the colour of the solid at its place on the surface, and a few around each chart go on
/// with its border's. `shading`: how much darker than from above light is from below, from 0 to 1.
Image Bake(const Unwrapped& charts, const Surface& surface, const Solid& solid, std::size_t size, double shading);

}  // namespace Nimb::Authoring::Capture
