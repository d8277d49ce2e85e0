#include "Bench/Peers.h"

#include "Authoring/Codec/VertexStreams.h"

#include <draco/mesh/triangle_soup_mesh_builder.h>
#include <meshoptimizer.h>

#include <cmath>
#include <cstring>

namespace Bench {

std::unique_ptr<draco::Mesh> MakeDracoMesh(const Nimb::Authoring::Mesh& mesh) {
    draco::TriangleSoupMeshBuilder builder;
    builder.Start(static_cast<int>(mesh.faces.size()));
    const int position = builder.AddAttribute(draco::GeometryAttribute::POSITION, 3, draco::DT_FLOAT32);
    const int texCoord = builder.AddAttribute(draco::GeometryAttribute::TEX_COORD, 2, draco::DT_FLOAT32);
    for (std::size_t f = 0; f < mesh.faces.size(); ++f) {
        const auto& v = mesh.faces[f].v;
        const draco::FaceIndex face(static_cast<std::uint32_t>(f));
        builder.SetAttributeValuesForFace(position, face, &mesh.positions[v[0]], &mesh.positions[v[1]],
                                          &mesh.positions[v[2]]);
        builder.SetAttributeValuesForFace(texCoord, face, &mesh.texCoords[v[0]], &mesh.texCoords[v[1]],
                                          &mesh.texCoords[v[2]]);
    }
    return builder.Finalize();
}

namespace {

/// A grid of just that step over the mesh's bounding cube.
void QuantiseByStep(const draco::Mesh& mesh, double step, draco::Encoder& encoder) {
    const draco::PointAttribute& positions = *mesh.GetNamedAttribute(draco::GeometryAttribute::POSITION);
    float low[3] = {}, high[3] = {};
    for (unsigned i = 0; i < positions.size(); ++i) {
        float p[3];
        positions.GetValue(draco::AttributeValueIndex(i), p);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = i == 0 ? p[axis] : std::min(low[axis], p[axis]);
            high[axis] = i == 0 ? p[axis] : std::max(high[axis], p[axis]);
        }
    }
    const double extent = std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
    int bits = 1;
    while (((1 << bits) - 1) * step < extent) {
        ++bits;
    }
    encoder.SetAttributeExplicitQuantization(draco::GeometryAttribute::POSITION, bits, 3, low,
                                             static_cast<float>(((1 << bits) - 1) * step));
}

}  // namespace

draco::EncoderBuffer EncodeWithDraco(const draco::Mesh& mesh, int speed, double positionStep) {
    draco::Encoder encoder;
    encoder.SetSpeedOptions(speed, speed);
    if (positionStep > 0) {
        QuantiseByStep(mesh, positionStep, encoder);
    } else {
        encoder.SetAttributeQuantization(draco::GeometryAttribute::POSITION, c_PeerPositionBits);
    }
    encoder.SetAttributeQuantization(draco::GeometryAttribute::TEX_COORD, c_PeerTexCoordBits);
    draco::EncoderBuffer buffer;
    if (!encoder.EncodeMeshToBuffer(mesh, &buffer).ok()) {
        buffer.Clear();
    }
    return buffer;
}

OptimisedMesh OptimiseForMeshoptimizer(const Nimb::Authoring::Mesh& mesh) {
    OptimisedMesh result;
    result.indices.resize(mesh.faces.size() * 3);
    std::memcpy(result.indices.data(), mesh.faces.data(), result.indices.size() * sizeof(unsigned));
    meshopt_optimizeVertexCache(result.indices.data(), result.indices.data(), result.indices.size(),
                                mesh.positions.size());

    Nimb::Authoring::ByteWriter writer;
    Nimb::Authoring::WriteVertexRecords(mesh, Nimb::Authoring::BoundingBox(mesh.positions), false, writer);
    const Nimb::Authoring::Bytes records = writer.Take();
    result.records.resize(records.size());
    result.vertices = meshopt_optimizeVertexFetch(result.records.data(), result.indices.data(), result.indices.size(),
                                                  records.data(), mesh.positions.size(), c_RecordBytes);
    result.records.resize(result.vertices * c_RecordBytes);
    return result;
}

std::vector<BYTE> EncodeVertices(const OptimisedMesh& mesh) {
    std::vector<BYTE> coded(meshopt_encodeVertexBufferBound(mesh.vertices, c_RecordBytes));
    coded.resize(
        meshopt_encodeVertexBuffer(coded.data(), coded.size(), mesh.records.data(), mesh.vertices, c_RecordBytes));
    return coded;
}

std::vector<BYTE> EncodeIndices(const OptimisedMesh& mesh) {
    std::vector<BYTE> coded(meshopt_encodeIndexBufferBound(mesh.indices.size(), mesh.vertices));
    coded.resize(meshopt_encodeIndexBuffer(coded.data(), coded.size(), mesh.indices.data(), mesh.indices.size()));
    return coded;
}

}  // namespace Bench
