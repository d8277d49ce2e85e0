// Any bytes as a small mesh, options and motion: every frame that the encoder makes is accepted by the reader, has the
// faces that it was made from, and is exactly as far from the mesh as the encoder says.
#include "Authoring/Codec/IndexStreams.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Fuzz/Require.h"
#include "Tests/Support/TestSupport.h"

#include <stdexcept>

namespace {

using namespace Nimb::Authoring;

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_Data(data), m_Left(size) {}
    bool AtEnd() const { return m_Left == 0; }
    UINT32 Byte() {
        if (m_Left == 0) {
            return 0;
        }
        --m_Left;
        return *m_Data++;
    }
    float Signed() { return (static_cast<float>(Byte()) - 128) / 16; }

private:
    const std::uint8_t* m_Data;
    std::size_t m_Left;
};

Mesh MakeMesh(Input& in) {
    Mesh mesh;
    const UINT32 numVertices = in.Byte() % 32;
    const UINT32 numFaces = numVertices == 0 ? 0 : in.Byte() % 48;
    for (UINT32 i = 0; i < numVertices; ++i) {
        mesh.positions.push_back({in.Signed(), in.Signed(), in.Signed()});
        mesh.texCoords.push_back({static_cast<float>(in.Byte()) / 255, static_cast<float>(i) / 32});
        mesh.normals.push_back({0, static_cast<float>(i) / 32, 1});
    }
    for (UINT32 i = 0; i < numFaces; ++i) {
        mesh.faces.push_back({{in.Byte() % numVertices, in.Byte() % numVertices, in.Byte() % numVertices}});
    }
    return mesh;
}

/// Mostly the quick ones. Fitting transforms takes far longer than all else here, so an input gets one
/// chance.
DeltaCoding CodingOf(UINT32 choice, bool& transforms) {
    if (choice < 30 || transforms) {
        std::vector<DeltaCoding> quick;
        for (const DeltaCoder& coder : DeltaCoders()) {
            if (!coder.fitsMotions) {
                quick.push_back(coder.coding);
            }
        }
        return quick[choice % quick.size()];
    }
    transforms = true;
    return choice == 30 ? DeltaCoding::Transform : DeltaCoding::Smallest;
}

void CheckFrame(const EncodedFrame& frame, const Mesh& mesh, const std::vector<UINT32>& order, bool strips,
                NimbTest::FrameReader& reader) {
    const NimbTest::DecodedFrame decoded = reader.Decode(frame.bytes);
    Require(decoded.hr == S_OK);
    Require(NimbTest::ErrorOf(decoded, 20, mesh, order) == frame.maxError);
    std::vector<TarnMeshFace> wanted = mesh.faces;
    std::vector<UINT32> indices = decoded.indices;
    if (strips) {
        // A strip cannot say where its triangles without area come from.
        indices = FlattenFaces(FacesOfStrip(indices));
        wanted.erase(std::remove_if(wanted.begin(), wanted.end(),
                                    [](const TarnMeshFace& f) {
                                        return f.v[0] == f.v[1] || f.v[1] == f.v[2] || f.v[2] == f.v[0];
                                    }),
                     wanted.end());
    }
    Require(NimbTest::FaceSet(indices, order) == NimbTest::FaceSet(FlattenFaces(wanted)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    KeyFrameOptions key;
    key.indices = static_cast<IndexCoding>(in.Byte() % 5);
    const bool strips = key.indices == IndexCoding::Strips1 || key.indices == IndexCoding::Strips2;
    const UINT32 flags = strips ? 0 : in.Byte();
    key.indicesFirst = (flags & 1) != 0;
    key.normals = (flags & 2) != 0;
    key.subMeshId = (flags & 4) != 0 ? std::optional<UINT32>(flags) : std::nullopt;
    key.frameId = (flags & 8) != 0 ? std::optional<UINT32>(flags) : std::nullopt;
    Mesh mesh = MakeMesh(in);

    FrameEncoder encoder;
    NimbTest::FrameReader reader(13);
    const UINT32 id = key.subMeshId.value_or(0);
    bool transforms = false;
    CheckFrame(encoder.KeyFrame(mesh, key), mesh, encoder.VertexOrder(id), strips, reader);
    for (UINT32 frame = 0; frame < 3 && !in.AtEnd(); ++frame) {
        DeltaFrameOptions delta;
        static_cast<FrameOptions&>(delta) = key;
        delta.coding = CodingOf(in.Byte() % 32, transforms);
        delta.maxError = in.Byte() / 1024.0 + (delta.coding == DeltaCoding::Transform ? 0.001 : 0);
        for (Vec3& p : mesh.positions) {
            p = {p.x + in.Signed() / 64, p.y + in.Signed(), p.z};
        }
        if (delta.coding == DeltaCoding::Transform && encoder.VertexOrder(id).empty()) {
            continue;  // transforms need something to transform
        }
        try {
            CheckFrame(encoder.DeltaFrame(mesh, delta), mesh, encoder.VertexOrder(id), strips, reader);
        } catch (const std::range_error&) {
            // Motion too large for transform deltas is refused, and the clip goes on.
        }
    }
    return 0;
}
