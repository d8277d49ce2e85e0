// A scene at one moment.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/Scene.h"

namespace Nimb::Authoring {

/// What the scene's tracks and skins make of its primitives at `time` seconds: one mesh for each material, instances in
/// their order. Faces of instances that a transform mirrors are turned over, so that they look outwards again. Vertex
/// order, faces and texture coordinates depend on the scene alone, but for such mirrors.
SourceFrame PoseAt(const Scene& scene, double time);

}  // namespace Nimb::Authoring
