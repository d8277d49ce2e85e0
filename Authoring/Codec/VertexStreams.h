// Vertex records of version 2, and the normal block behind delta streams. NimbCore/VertexStreams.cpp reads both.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb::Authoring {

/// std::invalid_argument unless the arrays fit together, faces stay inside the vertices and every number is finite and
/// no larger than 1e18.
void CheckMesh(const Mesh& mesh);

/// Quantises all vertices against a box: 12-byte records, or 20-byte records with the mesh's normals. Every component
/// takes the code that decodes nearest to it; what lies outside the box or outside [0, 1] is clamped to it. An axis
/// without extent is coded 0, which is what the quantised output of delta frames has there too.
void WriteVertexRecords(const Mesh& mesh, const Box& box, bool withNormals, ByteWriter& out);

/// Three unsigned 16-bit components a vertex.
void WriteNormalBlock(const std::vector<Vec3>& normals, ByteWriter& out);

}  // namespace Nimb::Authoring
