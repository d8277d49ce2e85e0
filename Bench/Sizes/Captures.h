// Clips as captures deliver them.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <vector>

namespace Bench {

/// Prints, as Markdown, what matching and coding make of a clip of constant topology whose frames come as they are, in
/// Draco files and numbered anew, and meshed anew in every frame.
void PrintCaptures(const char* name, const std::vector<Nimb::Authoring::Mesh>& clip);

}  // namespace Bench
