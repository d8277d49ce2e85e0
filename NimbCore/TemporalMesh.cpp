// Temporal frames: several sub-meshes, each placed in the atlas by its own transform, merged into one mesh.
#include "NimbCore/TemporalMesh.h"
#include "Nimb/NimbAssert.h"
#include "NimbCore/FloatToInt.h"
#include "NimbCore/LockedBuffer.h"
#include "NimbCore/StreamReader.h"
#include "NimbCore/TextureTransform.h"
#include "NimbCore/VertexMath.h"

#include <algorithm>
#include <cstring>

namespace Nimb {
namespace {

constexpr BYTE c_AffineTransform = 1;

struct TexCoord {
    float u;
    float v;
};

/// Places texture coordinates in the atlas. Transforms work on s = 1 - v.
TexCoord Place(const STransform& transform, TexCoord c) {
    const float(&t)[6] = transform.t;
    const float s = 1.0f - c.v;
    const float u = t[4] + (c.u * t[0] + s * t[2]);
    const float v = 1.0f - (t[5] + (c.u * t[1] + s * t[3]));
    return {u, v};
}

void PlaceFloatTexCoords(const STransform& transform, const BYTE* in, BYTE* out) {
    TexCoord c;
    std::memcpy(&c, in, sizeof(c));
    c = Place(transform, c);
    c = {CanonicalNaN(c.u), CanonicalNaN(c.v)};
    std::memcpy(out, &c, sizeof(c));
}

void PlaceQuantisedTexCoords(const STransform& transform, const BYTE* in, BYTE* out) {
    std::int16_t q[2];
    std::memcpy(q, in, sizeof(q));
    TexCoord c{(static_cast<float>(q[0]) + 32768.0f) / 65535.0f, (static_cast<float>(q[1]) + 32768.0f) / 65535.0f};
    c = Place(transform, c);
    q[0] = TruncateToInt16(c.u * 65535.0f - 32768.0f);
    q[1] = TruncateToInt16(c.v * 65535.0f - 32768.0f);
    std::memcpy(out, q, sizeof(q));
}

/// Moves a quantised position from the sub-mesh's box to the frame's.
void RequantisePosition(const Box4& subBox, const Box4& box, const BYTE* in, BYTE* out) {
    const Float4 t = ToFloat(LoadInt16x4(in)) + Float4::All(32768.0f);
    const Float4 position = subBox.min + (subBox.extent * t) / Float4::All(65535.0f);
    const Float4 clamped = ClampToBox(position, box);
    std::int16_t q[4];
    StoreTruncatedInt16x4(q, QuantisePosition(clamped, box.min, box.extent));
    q[3] = 0;
    std::memcpy(out, q, sizeof(q));
}

}  // namespace

void SubMeshMerger::MergeVertex(const BYTE* in, const STransform& transform, const Box4& subBox) {
    const bool withNormals = (m_VertexFormat & NTarnOutputFormat::c_Normals) != 0;
    if ((m_VertexFormat & NTarnOutputFormat::c_Float) != 0) {
        std::memcpy(m_pVertexData, in, m_Stride - 8);
        PlaceFloatTexCoords(transform, in + m_Stride - 8, m_pVertexData + m_Stride - 8);
        return;
    }
    RequantisePosition(subBox, m_Box, in, m_pVertexData);
    if (withNormals) {
        std::memcpy(m_pVertexData + 8, in + 8, 6);
        std::memset(m_pVertexData + 14, 0, 2);
    }
    PlaceQuantisedTexCoords(transform, in + m_Stride - 4, m_pVertexData + m_Stride - 4);
}

HRESULT SubMeshMerger::MergeSubmesh(INimbBuffer* pVB, INimbBuffer* pIB, UINT32 indexBytes,
                                    const CStreamingMeshHeader& subHeader, const STransform& transform) {
    BYTE* const pVertexData = m_pVertexData;
    BYTE* const pIndexData = m_pIndexData;
    NIMB_ASSERT(pVB);
    NIMB_ASSERT(pIB);
    NIMB_ASSERT(pVertexData);
    NIMB_ASSERT(pIndexData);

    LockedBuffer indices;
    HRESULT hr = indices.Open(pIB);
    if (Failed(hr)) {
        return hr;
    }
    const UINT32 indexCount = std::min(indices.Size(), indexBytes) / 4;
    NIMB_ASSERT_MSG(indexCount <= m_IndexCapacity, "false");
    UINT64 numIndices = m_NumIndices;
    for (UINT32 k = 0; k < indexCount; ++k) {
        UINT32 index;
        std::memcpy(&index, indices.Data() + std::size_t{4} * k, sizeof(index));
        index += m_VertexBase;
        ++numIndices;
        NIMB_ASSERT_MSG(numIndices <= m_Header.m_numIndices, "numIndices <= header.m_numIndices");
        std::memcpy(m_pIndexData + std::size_t{4} * k, &index, sizeof(index));
    }

    LockedBuffer vertices;
    if (Failed(hr = vertices.Open(pVB))) {
        return hr;
    }
    const Box4 subBox(subHeader);
    const UINT32 vertexCount = std::min(vertices.Size() / m_Stride, subHeader.m_numVertices);
    UINT64 numVertices = m_NumVertices;
    const BYTE* in = vertices.Data();
    for (UINT32 i = 0; i < vertexCount; ++i, in += m_Stride, m_pVertexData += m_Stride) {
        ++numVertices;
        NIMB_ASSERT_MSG(numVertices <= m_Header.m_numVertices, "numVertices <= header.m_numVertices");
        MergeVertex(in, transform, subBox);
    }

    m_NumIndices = numIndices;
    m_NumVertices = numVertices;
    m_pIndexData += std::size_t{4} * indexCount;
    m_IndexCapacity -= indexCount;
    m_VertexBase += vertexCount;
    return S_OK;
}

HRESULT CNimbMeshReader::ReadTransforms(IStream* pStream, CStreamingMeshHeader& header,
                                        std::vector<STransform>* pTransforms) {
    if (UINT64{header.m_numTransforms} * sizeof(STransform) > c_MaxBufferBytes) {
        return E_UNEXPECTED;
    }
    for (UINT32 i = 0; i < header.m_numTransforms; ++i) {
        BYTE kind = 0;
        UINT32 read = 0;
        HRESULT hr = ReadField(pStream, &kind, &read);
        if (Failed(hr)) {
            return hr;
        }
        if (read == 0) {
            return E_UNEXPECTED;  // the stream does not back the count
        }
        STransform transform{{1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f}};
        if (kind == c_AffineTransform) {
            float m[6] = {};
            if (Failed(hr = ReadField(pStream, &m))) {
                return hr;
            }
            transform = InvertTransform(m);
        }
        pTransforms->push_back(transform);
    }
    return S_OK;
}

HRESULT CNimbMeshReader::ReadTemporalMesh(IStream* pStream, CStreamingMeshHeader& header, INimbBuffer** ppVertexBuffer,
                                          INimbBuffer** ppIndexBuffer) {
    NIMB_ASSERT(pStream);
    NIMB_ASSERT(ppVertexBuffer);
    NIMB_ASSERT(ppIndexBuffer);

    std::vector<STransform> transforms;
    HRESULT hr = ReadTransforms(pStream, header, &transforms);
    if (Failed(hr)) {
        return hr;
    }
    LockedBuffer indexOutput;
    LockedBuffer vertexOutput;
    const UINT32 stride = VertexStride(m_VertexFormat);
    if (Failed(hr = indexOutput.Allocate(m_pBufferAllocator, UINT64{4} * header.m_numIndices, 4)) ||
        Failed(hr = vertexOutput.Allocate(m_pBufferAllocator, UINT64{stride} * header.m_numVertices, stride)) ||
        Failed(hr = indexOutput.Lock()) || Failed(hr = vertexOutput.Lock())) {
        return hr;
    }

    SubMeshMerger merger(header, m_VertexFormat, vertexOutput, indexOutput);
    for (const STransform& transform : transforms) {
        CStreamingMeshHeader subHeader;
        if (Failed(hr = subHeader.Read(pStream))) {
            return hr;
        }
        NIMBCORE::CComPtr<INimbBuffer> pVertexBuffer;
        NIMBCORE::CComPtr<INimbBuffer> pIndexBuffer;
        UINT32 indexBytes = 0;
        if (Failed(hr = ReadSubMesh(pStream, subHeader, &pVertexBuffer, &pIndexBuffer, &indexBytes)) ||
            Failed(hr = merger.MergeSubmesh(pVertexBuffer, pIndexBuffer, indexBytes, subHeader, transform))) {
            return hr;
        }
    }
    merger.ZeroUnwritten(vertexOutput, indexOutput);
    SweepContexts();
    *ppVertexBuffer = vertexOutput.Detach();
    *ppIndexBuffer = indexOutput.Detach();
    return S_OK;
}

}  // namespace Nimb
