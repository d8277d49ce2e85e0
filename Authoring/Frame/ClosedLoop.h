// Decoding what was just encoded, with the core's own decoders.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb::Authoring {

/// Decodes a vertex section, normals included, into a context and returns the largest distance between what a player
/// shows and `targets`. The vertex version of `header` says which decoder; its vertex count is taken from `targets`.
/// std::logic_error when the decoder refuses the section.
double DecodeAndMeasure(const Bytes& section, CStreamingMeshHeader header, const std::vector<Vec3>& targets,
                        Nimb::CNimbMeshReaderCtx& ctx);

}  // namespace Nimb::Authoring
