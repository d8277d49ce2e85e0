// What an upload writes, apart from the GL calls that write it: the layouts a frame can have, their conversion to the
// upload layout, and smooth normals.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <functional>

namespace Nimb::Plugin {

namespace MeshUpload {

/// The upload layout, 32 bytes.
struct Vertex {
    float x, y, z;
    float nx, ny, nz;
    float u, v;
};
static_assert(sizeof(Vertex) == 32, "the engine's vertex buffers have 32-byte records");

/// A frame's records as they come from the mesh reader.
struct Source {
    const BYTE* data;
    std::size_t numVertices;  ///< complete records that are there: never more than the bytes hold
    std::size_t stride;       ///< 32: upload layout; 20: position and texture coordinates; 12: quantised
    double boxMin[3];         ///< of quantised records
    double boxMax[3];
};

/// Looks at `numBytes` of records that are meant to be `vertexCount`. A size that is none of the three strides leaves
/// no vertices.
Source MakeSource(const BYTE* data, std::size_t numBytes, std::size_t vertexCount, const double (&boxMin)[3],
                  const double (&boxMax)[3]);

/// Converts records first .. first + count - 1. Normals are those of the source, or 0 if it has none or `dropNormals`.
void Convert(const Source& source, std::size_t first, std::size_t count, bool dropNormals, Vertex* out);

/// Called for a triangle with an index out of range.
using OutOfBounds = std::function<void(UINT32 a, UINT32 b, UINT32 c, UINT32 limit)>;

/// Each vertex's normal becomes the sum of the face normals of its triangles, whose lengths are twice their areas,
/// normalised. Triangles with an index out of range are reported and skipped. A vertex without a triangle gets NaN,
/// deliberately.
void ComputeNormals(Vertex* vertices, UINT32 numVertices, const UINT32* indices, std::size_t numIndices,
                    const OutOfBounds& outOfBounds);

}  // namespace MeshUpload

}  // namespace Nimb::Plugin
