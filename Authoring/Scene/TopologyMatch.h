// Frames of one surface whose exporter numbers the vertices anew in each file.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <optional>

namespace Nimb::Authoring {

/// `mesh` with the vertices and faces of `reference`, as a delta frame needs it: positions and normals are those of
/// `mesh`, texture coordinates and faces those of `reference`. None when the two are not the same surface: the same
/// triangles, winding kept, in texture space (within 2/65535), connected in the same way. Vertices and faces may come
/// in another order, and vertices that coincide in `mesh` may be merged in either. None, too, when more than one
/// correspondence is possible, as where two separate pieces share one area of the texture; but meshes with the same
/// face list always correspond vertex by vertex.
///
/// Both must have normals or neither. Where a vertex of `reference` is several in `mesh`, its normal is their mean.
/// O(n log n). Throws std::invalid_argument for meshes whose arrays do not fit together or hold
/// numbers that are not finite.
std::optional<Mesh> InTopologyOf(const Mesh& reference, const Mesh& mesh);

}  // namespace Nimb::Authoring
