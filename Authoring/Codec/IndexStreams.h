// Index sections: triangle lists (versions 1, 2 and 4) and triangle strips (versions 1 and 2).
// NimbCore/IndexStreams.cpp reads them.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "NimbCore/EdgeBreaker.h"

#include <vector>

namespace Nimb::Authoring {

/// Version 1: 32-bit indices as they are. Serves lists and strips alike.
Bytes WriteRawIndices(const std::vector<UINT32>& indices);

/// Version 2, lists: a control byte and three differences to the triangle before. The faces must be in the order and
/// rotation that they are to be decoded in.
Bytes WriteListDeltas(const std::vector<TarnMeshFace>& faces);

/// Rotates each face, keeping its winding, so that WriteListDeltas needs the fewest bytes.
std::vector<TarnMeshFace> RotateForListDeltas(std::vector<TarnMeshFace> faces);

/// Version 4. Vertices are renumbered by the traversal and repeated along cuts.
struct EdgeBreakerIndices {
    Bytes section;
    std::vector<UINT32> vertexOrder;  ///< decoded vertex i is the caller's vertex vertexOrder[i]; unused ones are gone
};
EdgeBreakerIndices WriteEdgeBreaker(const std::vector<TarnMeshFace>& faces);

/// Version 2, strips: each index as a length byte and a big-endian difference to the index before.
Bytes WriteStripDeltas(const std::vector<UINT32>& strip);

/// One strip of all faces, windings kept: runs of neighbouring triangles joined by triangles without area.
std::vector<UINT32> MakeStrip(const std::vector<TarnMeshFace>& faces);

/// The triangles of a strip, those without area left out.
std::vector<TarnMeshFace> FacesOfStrip(const std::vector<UINT32>& strip);

/// Lists as the indices that they are.
std::vector<UINT32> FlattenFaces(const std::vector<TarnMeshFace>& faces);

}  // namespace Nimb::Authoring
