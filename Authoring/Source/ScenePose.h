// A scene at one moment.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/Scene.h"

namespace Nimb::Authoring {

/// What the scene's tracks and skins make of its primitives at `time` seconds: one mesh for each material, instances in
/// their order. Faces of instances that a matrix mirrors are turned over, so that they face outwards again. Vertex
/// order, faces and texture coordinates do not depend on the time, except for such mirroring.
SourceFrame PoseAt(const Scene& scene, double time);

}  // namespace Nimb::Authoring
