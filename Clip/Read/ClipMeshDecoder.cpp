#include "Clip/Read/ClipMeshDecoder.h"

#include "Clip/Read/MeshStream.h"
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbCrossPlatform.h"

namespace Nimb::Authoring {
namespace {

constexpr UINT32 c_FloatWithNormals = 15;  // as the player asks for

template <class T>
void View(INimbBuffer& buffer, const T** ppElements, std::size_t* pCount) {
    NimbLockedMemory memory{};
    buffer.LockBuffer(&memory);
    buffer.UnlockBuffer();
    *ppElements = reinterpret_cast<const T*>(memory.pData);
    *pCount = memory.cbMaxLength / sizeof(T);
}

}  // namespace

static_assert(sizeof(DecodedVertex) == 32, "the layout of the core's output");

ClipMeshDecoder::ClipMeshDecoder() {
    const NIMBCORE::CComPtr<INimbBufferAllocator> allocator(new NimbCrossPlatform::BufferAllocator);
    m_Reader.Initialize(allocator, c_FloatWithNormals);
}

DecodedMesh ClipMeshDecoder::Decode(const Bytes& frame, std::int64_t time) {
    DecodedMesh mesh;
    const NIMBCORE::CComPtr<MeshStream> stream(new MeshStream(frame));
    const Nimb::AssertionCapture assertions;
    const HRESULT hr = m_Reader.ReadMesh(stream, time, &mesh.vertexBuffer, &mesh.indexBuffer);
    mesh.missingBytes = stream->Missing();
    mesh.unusedBytes = stream->Unread();
    if (Failed(hr)) {
        mesh.error = assertions.Text()[0] != '\0'
                         ? assertions.Text()
                         : "refused: its sizes exceed the format's limits, or the bytes of the frame";
        return mesh;
    }
    View(*mesh.vertexBuffer, &mesh.vertices, &mesh.vertexCount);
    View(*mesh.indexBuffer, &mesh.indices, &mesh.indexCount);
    return mesh;
}

}  // namespace Nimb::Authoring
