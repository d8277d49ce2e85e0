// Scenes from glTF files.
#pragma once

#include "Authoring/Source/ImportedMesh.h"
#include "Authoring/Source/MeshSources.h"
#include "Authoring/Source/Scene.h"

#include <optional>
#include <string>

namespace Nimb::Authoring {

/// The file's default scene with one animation, named by its name or its index; empty: the first one, if there is any;
/// std::nullopt: none. With Materials::Ignore the scene has one material without a picture. Of `options` only the names
/// to skip and the warnings count. Vertex colours are not painted yet (PaintScene). Vertices of a primitive that are
/// equal in all that is stored are one, but not without an animation: what is a frame of a sequence then may have to be
/// like the others (see FrameWeld). Throws InputError.
Scene ReadGltfScene(const std::string& path, const std::optional<std::string>& animation, Materials materials,
                    const SourceOptions& options);

}  // namespace Nimb::Authoring
