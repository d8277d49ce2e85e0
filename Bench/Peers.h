// Other mesh compressors, used as their documentation recommends.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <draco/compression/encode.h>

#include <memory>
#include <vector>

namespace Bench {

/// Positions in other codecs have so many bits an axis in benchmarks of speed.
constexpr int c_PeerPositionBits = 11;
constexpr int c_PeerTexCoordBits = 10;

/// The default of Draco's own encoder program is level 7, which is speed 3.
constexpr int c_DracoDefaultSpeed = 3;

/// Corners with equal attributes become one point, and equal positions one value, as Draco's own file readers do it.
std::unique_ptr<draco::Mesh> MakeDracoMesh(const Nimb::Authoring::Mesh& mesh);

/// Empty when Draco refuses the mesh. `positionStep`: quantise positions to multiples of it instead of to
/// c_PeerPositionBits.
draco::EncoderBuffer EncodeWithDraco(const draco::Mesh& mesh, int speed, double positionStep = 0);

/// A mesh in the order that meshoptimizer's codecs are made for: triangles for the vertex cache, vertices by first use.
struct OptimisedMesh {
    std::vector<BYTE> records;  ///< 12 bytes a vertex, the layout of this project's quantised output
    std::vector<unsigned> indices;
    std::size_t vertices;
};

constexpr std::size_t c_RecordBytes = 12;

OptimisedMesh OptimiseForMeshoptimizer(const Nimb::Authoring::Mesh& mesh);
std::vector<BYTE> EncodeVertices(const OptimisedMesh& mesh);
std::vector<BYTE> EncodeIndices(const OptimisedMesh& mesh);

}  // namespace Bench
