// Encodes a triangle, hides it in a sample, and finds and decodes it again. The argument is the assertion mode that the
// core must have.
#include "Authoring/Codec/MeshPayload.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbCore/NimbMeshReader.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

int main(int, char** argv) {
    const bool aborts = Nimb::GetAssertMode() == Nimb::AssertMode::Abort;
    if (aborts != (std::string(argv[1]) == "abort")) {
        std::puts("wrong assertion mode");
        return 1;
    }

    const Nimb::Authoring::Mesh mesh{{{0, 0, 0}, {1, 0, 0}, {0, 2, 0}}, {{0, 0}, {1, 0}, {0, 1}}, {}, {{0, 1, 2}}};
    Nimb::Authoring::FrameEncoder encoder;
    const Nimb::Authoring::EncodedFrame frame = encoder.KeyFrame(mesh);
    const auto sample =
        Nimb::Authoring::WriteMeshNalUnit(frame.bytes.data(), frame.bytes.size(), Nimb::Authoring::NalFraming::AnnexB);

    const NIMBCORE::CComPtr<IStream> stream(NimbCrossPlatform::FindCompressedMesh(sample.data(), sample.size()));
    const NIMBCORE::CComPtr<INimbBufferAllocator> allocator(new NimbCrossPlatform::BufferAllocator);
    Nimb::CNimbMeshReader reader;
    NIMBCORE::CComPtr<INimbBuffer> vertices, indices;
    if (stream.p == nullptr || reader.Initialize(allocator.p, 13) != S_OK ||
        reader.ReadMesh(stream.p, 0, &vertices, &indices) != S_OK) {
        std::puts("the frame does not decode");
        return 1;
    }

    NimbLockedMemory memory{};
    vertices->LockBuffer(&memory);
    float sum = 0;
    for (int vertex = 0; vertex < 3; ++vertex) {
        float position[3];
        std::memcpy(position, memory.pData + 20 * vertex, sizeof(position));
        sum += position[0] + position[1] + position[2];
    }
    vertices->UnlockBuffer();
    std::printf("%zu bytes, coordinates add up to %g\n", frame.bytes.size(), static_cast<double>(sum));
    return std::fabs(sum - 3) < 0.001f ? 0 : 1;
}
