// Writing the header of a mesh frame or of a sub-mesh. NimbCore/MeshHeader.cpp reads it.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb::Authoring {

/// Appends the fields that the header's own version and flags call for. Versions 5, 6 and 7; std::invalid_argument for
/// any other, since readers convert or refuse those.
void WriteFrameHeader(const CStreamingMeshHeader& header, ByteWriter& out);

void SetBox(CStreamingMeshHeader& header, const Box& box);

}  // namespace Nimb::Authoring
