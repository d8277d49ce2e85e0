// The animated figure of a glTF file, sampled into frames of constant topology.
#pragma once

#include "Authoring/Mesh.h"

#include <string>

namespace Bench {

/// Loads the first mesh of the file and skins it with the file's first animation, one frame for each 1/30 s of it.
/// Vertex order, faces and texture coordinates are those of the file in every frame. Throws std::runtime_error, naming
/// the path, when the file cannot be read or holds no triangles with texture coordinates.
std::vector<Authoring::Mesh> LoadFigureClip(const std::string& path);

}  // namespace Bench
