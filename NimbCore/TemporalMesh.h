// Merging the sub-meshes of a temporal frame into its output buffers.
#pragma once

#include "NimbCore/LockedBuffer.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbCore/VertexMath.h"

#include <cstring>

namespace Nimb {

/// Appends sub-mesh after sub-mesh to a frame's locked buffers. Belongs to one frame; borrows header and buffers.
class SubMeshMerger {
public:
    SubMeshMerger(const CStreamingMeshHeader& header, UINT32 vertexFormat, const LockedBuffer& vertexOutput,
                  const LockedBuffer& indexOutput)
        : m_Header(header),
          m_VertexFormat(vertexFormat),
          m_Stride(CNimbMeshReader::VertexStride(vertexFormat)),
          m_Box(header),
          m_pVertexData(vertexOutput.Data()),
          m_pIndexData(indexOutput.Data()),
          m_IndexCapacity(indexOutput.Size() / 4) {}

    /// Appends one sub-mesh: indices shifted by the vertices before it, texture coordinates placed by `transform`,
    /// quantised positions moved to the frame's box. Asserts that the frame's counts are not exceeded. `indexBytes`:
    /// how much of `pIB` is indices, whatever room the allocator gave it.
    HRESULT MergeSubmesh(INimbBuffer* pVB, INimbBuffer* pIB, UINT32 indexBytes, const CStreamingMeshHeader& subHeader,
                         const STransform& transform);

    /// Zeroes what no sub-mesh filled.
    void ZeroUnwritten(const LockedBuffer& vertexOutput, const LockedBuffer& indexOutput) const {
        std::memset(m_pVertexData, 0,
                    static_cast<std::size_t>(vertexOutput.Data() + vertexOutput.Size() - m_pVertexData));
        std::memset(m_pIndexData, 0, static_cast<std::size_t>(indexOutput.Data() + indexOutput.Size() - m_pIndexData));
    }

private:
    void MergeVertex(const BYTE* in, const STransform& transform, const Box4& subBox);

    const CStreamingMeshHeader& m_Header;
    const UINT32 m_VertexFormat;
    const UINT32 m_Stride;
    const Box4 m_Box;

    BYTE* m_pVertexData;  // next vertex to write
    BYTE* m_pIndexData;   // next index to write
    UINT32 m_IndexCapacity;
    UINT32 m_VertexBase = 0;
    UINT64 m_NumVertices = 0;
    UINT64 m_NumIndices = 0;
};

}  // namespace Nimb
