// Other mesh compressors, and memcpy, on the same meshes: what the numbers of this project's codecs are held against.
//
// Peers get the treatment that their documentation recommends, and only the decoding itself is timed: Draco ends with
// its own mesh object (nothing is copied out of it), meshoptimizer writes into memory that is already there.
#include "Bench/Peers.h"
#include "Bench/Subject.h"

#include <draco/compression/decode.h>
#include <meshoptimizer.h>

#include <cstring>

namespace Bench {
namespace {

using Nimb::Authoring::Mesh;

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

enum class Sections { Vertices = 1, Indices = 2, Both = 3 };

void MeshoptimizerDecode(benchmark::State& state, const Subject& subject, Sections sections) {
    const OptimisedMesh mesh = OptimiseForMeshoptimizer(subject.frames[0]);
    const bool vertices = sections != Sections::Indices, indices = sections != Sections::Vertices;
    const std::vector<BYTE> codedVertices = EncodeVertices(mesh), codedIndices = EncodeIndices(mesh);
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
