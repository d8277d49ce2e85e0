// Pictures of a scene's vertex colours.
#pragma once

#include "Authoring/Source/Scene.h"

#include <string>

namespace Nimb::Authoring {

/// Gives a painting to each material that has vertex colours, or that `sizeOf` wants painted, and texture coordinates
/// to its primitives. Throws InputError, beginning with `name`, for more triangles than fit into a picture.
void PaintScene(Scene& scene, const std::string& name, const PaintSizeOf& sizeOf);

}  // namespace Nimb::Authoring
