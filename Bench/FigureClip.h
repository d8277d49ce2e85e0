// The animated figure of a glTF file, sampled into frames of constant topology.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <string>
#include <vector>

namespace Bench {

/// The first material's mesh of a scene in its first animation, at 30 frames a second. Throws std::runtime_error,
/// naming the file, when there is none.
std::vector<Nimb::Authoring::Mesh> LoadFigureClip(const std::string& path);

}  // namespace Bench
