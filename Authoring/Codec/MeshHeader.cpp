#include "Authoring/Codec/MeshHeader.h"

#include <stdexcept>

namespace Nimb::Authoring {

void SetBox(CStreamingMeshHeader& header, const Box& box) {
    header.m_BBoxMin[0] = box.min.x;
    header.m_BBoxMin[1] = box.min.y;
    header.m_BBoxMin[2] = box.min.z;
    header.m_BBoxMax[0] = box.max.x;
    header.m_BBoxMax[1] = box.max.y;
    header.m_BBoxMax[2] = box.max.z;
}

void WriteFrameHeader(const CStreamingMeshHeader& header, ByteWriter& out) {
    namespace HeaderVersion = NTarnStudioMeshHeaderVersion;
    const auto& version = header.m_Version.v;
    const bool temporal = version.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_Temporal;
    const bool counts = temporal || version.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_KeyFrame;
    if (!counts && version.m_MeshHeaderVersion != HeaderVersion::c_MeshHeaderVersion_DeltaFrame) {
        throw std::invalid_argument("a mesh frame header must have version 5, 6 or 7");
    }

    out.U8(version.m_VertexVersion);
    out.U8(version.m_FormatFlags);
    out.U8(version.m_MeshHeaderVersion);
    out.U8(version.m_IndexVersion);
    for (const float value : header.m_BBoxMin) {
        out.F32(value);
    }
    for (const float value : header.m_BBoxMax) {
        out.F32(value);
    }
    if ((version.m_FormatFlags & NTarnStudioFormatFlags::c_HasSubMeshId) != 0) {
        out.U32(header.m_SubMeshId);
    }
    if ((version.m_FormatFlags & NTarnStudioFormatFlags::c_HasFrameId) != 0) {
        out.U32(header.m_FrameId);
    }
    if (temporal) {
        out.U32(header.m_numTransforms);
    }
    if (counts) {
        out.U32(header.m_numVertices);
        out.U32(header.m_numFaces);
        out.U32(header.m_numIndices);
    }
}

}  // namespace Nimb::Authoring
