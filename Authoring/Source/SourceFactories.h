// The kinds of sources behind OpenMeshSource.
#pragma once

#include "Authoring/Source/MeshSources.h"

#include <memory>

namespace Nimb::Authoring {

std::unique_ptr<MeshSource> OpenSceneSource(const SourceOptions& options);
std::unique_ptr<MeshSource> OpenSequenceSource(const SourceOptions& options);

}  // namespace Nimb::Authoring
