// Other mesh compressors, and memcpy, on the same meshes: what the numbers of this project's codecs are held against.
//
// Peers get the treatment that their documentation recommends, and only the decoding itself is timed: Draco ends with
// its own mesh object (nothing is copied out of it), meshoptimizer writes into memory that is already there.
#include "Bench/Subject.h"

#include "Authoring/VertexEncoder.h"

#include <draco/compression/decode.h>
#include <draco/compression/encode.h>
#include <draco/mesh/triangle_soup_mesh_builder.h>
#include <meshoptimizer.h>

#include <cstring>
#include <memory>

namespace Bench {
namespace {

using Authoring::Mesh;

constexpr int c_TexCoordBits = 10;

/// Corners with equal attributes become one point, and equal positions one value, as Draco's own file readers do it.
std::unique_ptr<draco::Mesh> MakeDracoMesh(const Mesh& mesh) {
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

draco::EncoderBuffer EncodeWithDraco(const draco::Mesh& mesh, int speed) {
    draco::Encoder encoder;
    encoder.SetSpeedOptions(speed, speed);
    encoder.SetAttributeQuantization(draco::GeometryAttribute::POSITION, c_PeerPositionBits);
    encoder.SetAttributeQuantization(draco::GeometryAttribute::TEX_COORD, c_TexCoordBits);
    draco::EncoderBuffer buffer;
    if (!encoder.EncodeMeshToBuffer(mesh, &buffer).ok()) {
        buffer.Clear();
    }
    return buffer;
}

/// What a decoded mesh amounts to as flat float vertices and 32-bit indices.
std::size_t FloatOutputBytes(const Subject& subject) {
    return subject.Vertices() * 20 + subject.Faces() * 12;
}

void DracoDecode(benchmark::State& state, const Subject& subject, int speed) {
    const draco::EncoderBuffer encoded = EncodeWithDraco(*MakeDracoMesh(subject.frames[0]), speed);
    for (auto _ : state) {
        draco::DecoderBuffer buffer;
        buffer.Init(encoded.data(), encoded.size());
        draco::Decoder decoder;
        auto decoded = decoder.DecodeMeshFromBuffer(&buffer);
        if (!decoded.ok() || decoded.value()->num_faces() != subject.Faces()) {
            state.SkipWithError("the mesh did not come back");
            return;
        }
        benchmark::DoNotOptimize(decoded.value()->num_points());
    }
    Report(state, subject.Vertices(), FloatOutputBytes(subject), encoded.size());
}

void DracoEncode(benchmark::State& state, const Subject& subject, int speed) {
    const std::unique_ptr<draco::Mesh> mesh = MakeDracoMesh(subject.frames[0]);
    std::size_t size = 0;
    for (auto _ : state) {
        size = EncodeWithDraco(*mesh, speed).size();
        if (size == 0) {
            state.SkipWithError("the mesh was refused");
            return;
        }
    }
    Report(state, subject.Vertices(), FloatOutputBytes(subject), size);
}

/// A mesh in the order that meshoptimizer's codecs are made for: triangles for the vertex cache, vertices by first use.
struct OptimisedMesh {
    std::vector<BYTE> records;  // 12 bytes a vertex, the layout of this project's quantised output
    std::vector<unsigned> indices;
    std::size_t vertices;
};

constexpr std::size_t c_RecordBytes = 12;

OptimisedMesh Optimise(const Mesh& mesh) {
    OptimisedMesh result;
    result.indices.resize(mesh.faces.size() * 3);
    std::memcpy(result.indices.data(), mesh.faces.data(), result.indices.size() * sizeof(unsigned));
    meshopt_optimizeVertexCache(result.indices.data(), result.indices.data(), result.indices.size(),
                                mesh.positions.size());

    Authoring::ByteWriter writer;
    Authoring::WriteVertexRecords(mesh, Authoring::BoundingBox(mesh.positions), false, writer);
    const Authoring::Bytes records = writer.Take();
    result.records.resize(records.size());
    result.vertices = meshopt_optimizeVertexFetch(result.records.data(), result.indices.data(), result.indices.size(),
                                                  records.data(), mesh.positions.size(), c_RecordBytes);
    result.records.resize(result.vertices * c_RecordBytes);
    return result;
}

enum class Sections { Vertices = 1, Indices = 2, Both = 3 };

void MeshoptimizerDecode(benchmark::State& state, const Subject& subject, Sections sections) {
    const OptimisedMesh mesh = Optimise(subject.frames[0]);
    const bool vertices = sections != Sections::Indices, indices = sections != Sections::Vertices;
    std::vector<BYTE> codedVertices(meshopt_encodeVertexBufferBound(mesh.vertices, c_RecordBytes));
    codedVertices.resize(meshopt_encodeVertexBuffer(codedVertices.data(), codedVertices.size(), mesh.records.data(),
                                                    mesh.vertices, c_RecordBytes));
    std::vector<BYTE> codedIndices(meshopt_encodeIndexBufferBound(mesh.indices.size(), mesh.vertices));
    codedIndices.resize(
        meshopt_encodeIndexBuffer(codedIndices.data(), codedIndices.size(), mesh.indices.data(), mesh.indices.size()));
    std::vector<BYTE> decodedVertices(mesh.records.size());
    std::vector<unsigned> decodedIndices(mesh.indices.size());
    for (auto _ : state) {
        int error = 0;
        if (vertices) {
            error |= meshopt_decodeVertexBuffer(decodedVertices.data(), mesh.vertices, c_RecordBytes,
                                                codedVertices.data(), codedVertices.size());
        }
        if (indices) {
            error |= meshopt_decodeIndexBuffer(decodedIndices.data(), decodedIndices.size(), codedIndices.data(),
                                               codedIndices.size());
        }
        if (error != 0) {
            state.SkipWithError("the mesh did not come back");
            return;
        }
        benchmark::ClobberMemory();
    }
    Report(state, indices && !vertices ? subject.Faces() : subject.Vertices(),
           (vertices ? decodedVertices.size() : 0) + (indices ? decodedIndices.size() * sizeof(unsigned) : 0),
           (vertices ? codedVertices.size() : 0) + (indices ? codedIndices.size() : 0));
}

void Memcpy(benchmark::State& state, const Subject& subject, std::size_t bytes) {
    const std::vector<BYTE> source(bytes, 1);
    std::vector<BYTE> target(bytes);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), bytes);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    Report(state, subject.Vertices(), bytes, bytes);
}

}  // namespace

void RegisterPeerBenchmarks(const Subject& subject) {
    const std::string prefix = "Peer/" + subject.name + "/";
    // The default of Draco's own encoder program is level 7, which is speed 3.
    for (const auto& [name, speed] : {std::pair{"default", 3}, std::pair{"fastest", 10}}) {
        Register(prefix + "DracoDecode/" + name,
                 [&subject, s = speed](auto& state) { DracoDecode(state, subject, s); });
        Register(prefix + "DracoEncode/" + name,
                 [&subject, s = speed](auto& state) { DracoEncode(state, subject, s); });
    }
    for (const auto& [name, sections] :
         {std::pair{"vertices", Sections::Vertices}, std::pair{"indices", Sections::Indices},
          std::pair{"vertices+indices", Sections::Both}}) {
        Register(prefix + "MeshoptimizerDecode/" + name,
                 [&subject, s = sections](auto& state) { MeshoptimizerDecode(state, subject, s); });
    }
    const std::size_t vertices = subject.Vertices(), indices = subject.Faces() * 12;
    for (const auto& [name, stride] :
         {std::pair{"int16", 12}, std::pair{"float", 20}, std::pair{"float-normals", 32}}) {
        const std::size_t bytes = vertices * static_cast<std::size_t>(stride);
        Register(prefix + "Memcpy/" + name + "/vertices", [&subject, bytes](auto& s) { Memcpy(s, subject, bytes); });
        Register(prefix + "Memcpy/" + name + "/frame",
                 [&subject, bytes, indices](auto& s) { Memcpy(s, subject, bytes + indices); });
    }
}

}  // namespace Bench
