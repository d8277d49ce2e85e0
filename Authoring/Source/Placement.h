// From the input's axes and units to a clip's.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/MeshSources.h"

namespace Nimb::Authoring {

/// Turns and scales positions and turns normals. Throws InputError, beginning with `name`, for positions that leave the
/// range of float.
void Place(Mesh& mesh, const SourceOptions& options, const std::string& name);

}  // namespace Nimb::Authoring
