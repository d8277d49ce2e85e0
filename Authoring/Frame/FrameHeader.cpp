#include "Authoring/Frame/FrameHeader.h"

#include "Authoring/Codec/MeshHeader.h"
#include "Authoring/Codec/VertexStreams.h"

#include <stdexcept>

namespace Nimb::Authoring {
namespace {

namespace HeaderVersion = NTarnStudioMeshHeaderVersion;
namespace VertexVersion = NTarnStudioVertexVersion;
namespace IndexVersion = NTarnStudioIndexVersion;
namespace FormatFlags = NTarnStudioFormatFlags;

/// What all headers have; counts are left to those that store them.
CStreamingMeshHeader MakeHeader(const FrameOptions& options, BYTE vertexVersion, BYTE headerVersion, BYTE indexVersion,
                                BYTE topologyFlag, const Box& box) {
    CStreamingMeshHeader header;
    auto& version = header.m_Version.v;
    version.m_VertexVersion = vertexVersion;
    version.m_MeshHeaderVersion = headerVersion;
    version.m_IndexVersion = indexVersion;
    UINT32 flags = topologyFlag;
    flags |= options.subMeshId ? FormatFlags::c_HasSubMeshId : 0u;
    flags |= options.frameId ? FormatFlags::c_HasFrameId : 0u;
    flags |= options.normals ? FormatFlags::c_HasNormals : 0u;
    flags |= options.unsignedUVs ? FormatFlags::c_UnsignedUVs : 0u;
    version.m_FormatFlags = static_cast<BYTE>(flags);
    header.m_SubMeshId = options.subMeshId.value_or(0);
    header.m_FrameId = options.frameId.value_or(0);
    SetBox(header, box);
    return header;
}

}  // namespace

void CheckOptions(const Mesh& mesh, const FrameOptions& options) {
    if (options.normals && mesh.normals.size() != mesh.positions.size()) {
        throw std::invalid_argument("normals are asked for, but the mesh has none");
    }
    if (options.box) {
        const Box& box = *options.box;
        CheckMesh({{box.min, box.max}, {{}, {}}, {}, {}});
        if (box.min.x > box.max.x || box.min.y > box.max.y || box.min.z > box.max.z) {
            throw std::invalid_argument("a box is turned inside out");
        }
    }
}

CStreamingMeshHeader MakeKeyHeader(const KeyFrameOptions& options, const Topology& topology, std::size_t numVertices,
                                   std::size_t numFaces, const Box& box) {
    const UINT32 flags = topology.Flags() | (options.indicesFirst ? FormatFlags::c_IndicesFirst : 0u);
    CStreamingMeshHeader header =
        MakeHeader(options, VertexVersion::c_UnwrappedXYZUV, HeaderVersion::c_MeshHeaderVersion_KeyFrame,
                   topology.IndexVersion(), static_cast<BYTE>(flags), box);
    header.m_numVertices = static_cast<UINT32>(numVertices);
    header.m_numFaces = static_cast<UINT32>(numFaces);
    header.m_numIndices = static_cast<UINT32>(topology.numIndices);
    return header;
}

CStreamingMeshHeader MakeDeltaHeader(const FrameOptions& options, BYTE vertexVersion, const Topology& topology,
                                     const Box& box) {
    return MakeHeader(options, vertexVersion, HeaderVersion::c_MeshHeaderVersion_DeltaFrame, topology.IndexVersion(),
                      topology.Flags(), box);
}

CStreamingMeshHeader MakeTemporalHeader(const FrameOptions& options, const EncodedFrame& frame,
                                        std::size_t numSubFrames) {
    // The outer header carries no vertices of its own: its versions only describe the sub-frames.
    CStreamingMeshHeader header = MakeHeader(options, frame.vertexVersion, HeaderVersion::c_MeshHeaderVersion_Temporal,
                                             IndexVersion::c_UncompressedIndices, FormatFlags::c_TriList, frame.box);
    header.m_numTransforms = static_cast<UINT32>(numSubFrames);
    header.m_numVertices = frame.numVertices;
    header.m_numFaces = frame.numIndices / 3;
    header.m_numIndices = frame.numIndices;
    return header;
}

}  // namespace Nimb::Authoring
