// Frame assembly: key and delta frames, the contexts of sub-meshes, the attributes, and the quad of empty frames.
#include "Nimb/NimbAssert.h"
#include "NimbCore/Codings.h"
#include "NimbCore/LockedBuffer.h"
#include "NimbCore/NimbMeshReader.h"

#include <cstring>

namespace Nimb {
namespace {

namespace HeaderVersion = NTarnStudioMeshHeaderVersion;
namespace VertexVersion = NTarnStudioVertexVersion;
namespace FormatFlags = NTarnStudioFormatFlags;

/// For what only looks whether a frame decodes: quantised, without normals.
constexpr UINT32 c_QuickFormat = 0x05;

/// Frame id of a header without one: frames at 30 per second, counted from 1. The 30 added before the division is
/// deliberate. Hostile times wrap.
UINT32 FrameIdFromTime(LONGLONG time) {
    const LONGLONG scaled = static_cast<LONGLONG>(UINT64{30} * static_cast<UINT64>(time) + 30);
    return static_cast<UINT32>(scaled / 10000000 + 1);
}

}  // namespace

UINT32 CNimbMeshReader::VertexStride(UINT32 vertexFormat) {
    const bool withNormals = (vertexFormat & NTarnOutputFormat::c_Normals) != 0;
    if ((vertexFormat & NTarnOutputFormat::c_Float) != 0) {
        return withNormals ? 32 : 20;
    }
    return withNormals ? 20 : 12;
}

HRESULT CNimbMeshReader::Initialize(INimbBufferAllocator* pBufferAllocator, UINT32 vertexFormat) {
    return GuardAssertions([&] {
        NIMB_ASSERT(pBufferAllocator);
        m_pBufferAllocator = pBufferAllocator;
        m_VertexFormat = vertexFormat;
        return S_OK;
    });
}

HRESULT CNimbMeshReader::ReadMesh(IStream* pStream, LONGLONG time, INimbBuffer** ppVertexBuffer,
                                  INimbBuffer** ppIndexBuffer) {
    return GuardAssertions([&] {
        NIMB_ASSERT(ppVertexBuffer);
        NIMB_ASSERT(ppIndexBuffer);
        *ppVertexBuffer = nullptr;
        *ppIndexBuffer = nullptr;
        return pStream == nullptr ? BuildSingleQuadMesh(time, ppVertexBuffer, ppIndexBuffer)
                                  : ReadMeshChecked(pStream, time, ppVertexBuffer, ppIndexBuffer);
    });
}

bool CNimbMeshReader::IsKeyFrame(IStream* pStream, INimbBufferAllocator* pBufferAllocator) {
    const auto read = [&] {
        CStreamingMeshHeader header;
        const HRESULT hr = header.Read(pStream);
        if (Failed(hr) || header.m_Version.v.m_MeshHeaderVersion != HeaderVersion::c_MeshHeaderVersion_Temporal) {
            const bool isDelta =
                header.m_Version.v.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_DeltaFrame;
            return Succeeded(hr) && isDelta ? HRESULT{E_UNEXPECTED} : hr;
        }
        CNimbMeshReader reader;
        reader.Initialize(pBufferAllocator, c_QuickFormat);
        reader.m_RefusesDeltas = true;
        NIMBCORE::CComPtr<INimbBuffer> vertices;
        NIMBCORE::CComPtr<INimbBuffer> indices;
        return reader.ReadTemporalMesh(pStream, header, &vertices, &indices);
    };
    return Succeeded(GuardAssertions(read));
}

HRESULT CNimbMeshReader::ReadMeshChecked(IStream* pStream, LONGLONG time, INimbBuffer** ppVertexBuffer,
                                         INimbBuffer** ppIndexBuffer) {
    CStreamingMeshHeader header;
    HRESULT hr = header.Read(pStream);
    if (Failed(hr)) {
        return hr;
    }
    NIMBCORE::CComPtr<INimbBuffer> pVertexBuffer;
    NIMBCORE::CComPtr<INimbBuffer> pIndexBuffer;
    UINT32 indexBytes = 0;
    hr = header.m_Version.v.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_Temporal
             ? ReadTemporalMesh(pStream, header, &pVertexBuffer, &pIndexBuffer)
             : ReadSubMesh(pStream, header, &pVertexBuffer, &pIndexBuffer, &indexBytes);
    if (Failed(hr)) {
        return hr;
    }
    const bool hasNormals = (m_VertexFormat & NTarnOutputFormat::c_Normals) != 0;
    if (Failed(hr = SetAttributes(pVertexBuffer, &header, hasNormals, time)) ||
        Failed(hr = SetAttributes(pIndexBuffer, &header, hasNormals, time))) {
        return hr;
    }
    *ppVertexBuffer = pVertexBuffer.Detach();
    *ppIndexBuffer = pIndexBuffer.Detach();
    return S_OK;
}

HRESULT CNimbMeshReader::ReadSubMesh(IStream* pStream, CStreamingMeshHeader& header, INimbBuffer** ppVertexBuffer,
                                     INimbBuffer** ppIndexBuffer, UINT32* pIndexBytes) {
    NIMB_ASSERT(ppVertexBuffer);
    NIMB_ASSERT(ppIndexBuffer);

    const bool isDelta = header.m_Version.v.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_DeltaFrame;
    if (isDelta && m_RefusesDeltas) {
        return E_UNEXPECTED;
    }
    const INT32 subMeshId = static_cast<INT32>(header.m_SubMeshId);
    auto it = m_Contexts.find(subMeshId);
    if (it == m_Contexts.end()) {
        it = m_Contexts.emplace(subMeshId, std::make_shared<CNimbMeshReaderCtx>()).first;
    }
    CNimbMeshReaderCtx& ctx = *it->second;
    struct Settlement {
        CNimbMeshReader& reader;
        CNimbMeshReaderCtx& ctx;
        ~Settlement() { reader.SettleContext(ctx); }
    } const settlement{*this, ctx};
    ctx.m_InUse = true;
    const HRESULT hr = isDelta ? ReadDeltaFrame(ctx, pStream, header, ppVertexBuffer, ppIndexBuffer)
                               : ReadKeyFrame(ctx, pStream, header, ppVertexBuffer, ppIndexBuffer);
    *pIndexBytes = ctx.m_IndexBytes;
    return hr;
}

HRESULT CNimbMeshReader::ReadDeltaFrame(CNimbMeshReaderCtx& ctx, IStream* pStream, CStreamingMeshHeader& header,
                                        INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer) {
    header.m_numFaces = ctx.m_numFaces;
    header.m_numIndices = ctx.m_numIndices;
    header.m_numVertices = ctx.m_numVertices;
    if (!RestoreContext(ctx)) {
        return E_UNEXPECTED;
    }

    const VertexCoding* const coding = FindVertexCoding(header.m_Version.v.m_VertexVersion);
    NIMB_ASSERT_MSG(coding != nullptr, "Unsupported vertex format");
    const HRESULT hr = (this->*coding->decode)(&ctx, pStream, &header, ppVertexBuffer);
    if (Failed(hr)) {
        return hr;
    }
    // The index buffer of the key frame itself, not a copy. After a key frame that failed half-way it is, deliberately,
    // the one before, whose size need not be what the counts say.
    *ppIndexBuffer = NIMBCORE::CComPtr<INimbBuffer>(ctx.m_pIndexBuffer).Detach();
    return hr;
}

HRESULT CNimbMeshReader::ReadKeyFrame(CNimbMeshReaderCtx& ctx, IStream* pStream, CStreamingMeshHeader& header,
                                      INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer) {
    ctx.m_numIndices = header.m_numIndices;
    ctx.m_numVertices = header.m_numVertices;
    ctx.m_numFaces = header.m_numFaces;
    NIMB_ASSERT(header.m_Version.v.m_VertexVersion == NTarnStudioVertexVersion::c_UnwrappedXYZUV);
    if (!MakeRoom(ctx, header.m_numVertices, UINT32{4} * header.m_numIndices)) {
        return E_UNEXPECTED;
    }

    if ((header.m_Version.v.m_FormatFlags & FormatFlags::c_IndicesFirst) != 0) {
        const HRESULT hr = ReadIndices(&ctx, pStream, &header, ppIndexBuffer);
        return Failed(hr) ? hr : ReadVertices(&ctx, pStream, &header, ppVertexBuffer);
    }
    const HRESULT hr = ReadVertices(&ctx, pStream, &header, ppVertexBuffer);
    return Failed(hr) ? hr : ReadIndices(&ctx, pStream, &header, ppIndexBuffer);
}

HRESULT CNimbMeshReader::SetAttributes(INimbBuffer* pBuffer, CStreamingMeshHeader* pHeader, bool hasNormals,
                                       LONGLONG time) {
    NIMB_ASSERT(pBuffer);
    NIMB_ASSERT(pHeader);
    NIMBCORE::CComPtr<INimbAttributesCore> pAttributes;
    HRESULT hr = pBuffer->QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&pAttributes));
    if (Failed(hr)) {
        return hr;
    }

    const BYTE flags = pHeader->m_Version.v.m_FormatFlags;
    const struct {
        const _GUID& key;
        double value;
    } boxValues[] = {
        {NimbAttrib_BBoxMinX, pHeader->m_BBoxMin[0]}, {NimbAttrib_BBoxMinY, pHeader->m_BBoxMin[1]},
        {NimbAttrib_BBoxMinZ, pHeader->m_BBoxMin[2]}, {NimbAttrib_BBoxMaxX, pHeader->m_BBoxMax[0]},
        {NimbAttrib_BBoxMaxY, pHeader->m_BBoxMax[1]}, {NimbAttrib_BBoxMaxZ, pHeader->m_BBoxMax[2]},
    };
    for (const auto& entry : boxValues) {
        if (Failed(hr = pAttributes->SetDouble(entry.key, entry.value))) {
            return hr;
        }
    }
    const struct {
        const _GUID& key;
        UINT32 value;
    } counts[] = {
        {NimbAttrib_UseTriList, (flags & FormatFlags::c_TriList) != 0 ? 1u : 0u},
        {NimbAttrib_NumFaces, pHeader->m_numFaces},
        {NimbAttrib_NumIndices, pHeader->m_numIndices},
        {NimbAttrib_NumVertices, pHeader->m_numVertices},
        {NimbAttrib_VertHasNormals, hasNormals ? 1u : 0u},
        {NimbAttrib_UseUnsignedUVs, (flags & FormatFlags::c_UnsignedUVs) != 0 ? 1u : 0u},
        {NimbAttrib_FrameId, pHeader->m_FrameId != 0 ? pHeader->m_FrameId : FrameIdFromTime(time)},
    };
    for (const auto& entry : counts) {
        if (Failed(hr = pAttributes->SetUINT32(entry.key, entry.value))) {
            return hr;
        }
    }
    if (Failed(hr = pAttributes->SetUINT64(NimbAttrib_FrameTimestamp, static_cast<UINT64>(time))) ||
        Failed(hr = pAttributes->SetUINT32(NimbAttrib_VertexFormatFlags, pHeader->m_Version.word))) {
        return hr;
    }
    const bool isKeyFrame = pHeader->m_Version.v.m_VertexVersion == VertexVersion::c_UnwrappedXYZUV;
    return pAttributes->SetUINT32(NimbAttrib_IsKeyFrame, isKeyFrame ? 1 : 0);
}

HRESULT CNimbMeshReader::BuildSingleQuadMesh(LONGLONG time, INimbBuffer** ppVertexBuffer, INimbBuffer** ppIndexBuffer) {
    // Both windings, so that the quad is visible from both sides.
    static constexpr UINT32 indices[12] = {0, 1, 3, 3, 1, 2, 0, 3, 1, 3, 2, 1};
    static constexpr SQuantisedVertex vertices[4] = {
        {-32768, -32768, 0, 0, -32768, -32768},
        {-32768, 32767, 0, 0, -32768, 32767},
        {32767, 32767, 0, 0, 32767, 32767},
        {32767, -32768, 0, 0, 32767, -32768},
    };

    // 12-byte records whatever the vertex format says: consumers tell by the size.
    LockedBuffer indexOutput;
    HRESULT hr = indexOutput.Create(m_pBufferAllocator, sizeof(indices), 4);
    if (Failed(hr)) {
        return hr;
    }
    std::memcpy(indexOutput.Data(), indices, sizeof(indices));
    LockedBuffer vertexOutput;
    if (Failed(hr = vertexOutput.Create(m_pBufferAllocator, sizeof(vertices), sizeof(SQuantisedVertex)))) {
        return hr;
    }
    std::memcpy(vertexOutput.Data(), vertices, sizeof(vertices));

    CStreamingMeshHeader header;
    for (int axis = 0; axis < 3; ++axis) {
        header.m_BBoxMin[axis] = -1.0f;
        header.m_BBoxMax[axis] = 1.0f;
    }
    header.m_numVertices = 4;
    header.m_numFaces = 4;
    header.m_numIndices = 12;
    header.m_FrameId = 1;
    if (Failed(hr = SetAttributes(vertexOutput.Get(), &header, false, time)) ||
        Failed(hr = SetAttributes(indexOutput.Get(), &header, false, time))) {
        return hr;
    }
    *ppVertexBuffer = vertexOutput.Detach();
    *ppIndexBuffer = indexOutput.Detach();
    return S_OK;
}

}  // namespace Nimb
