// The header of a mesh frame and of each sub-mesh, with the conversion of version words that older exporters wrote.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbCore/StreamReader.h"

using Nimb::ReadField;

namespace HeaderVersion = NTarnStudioMeshHeaderVersion;
namespace VertexVersion = NTarnStudioVertexVersion;
namespace IndexVersion = NTarnStudioIndexVersion;
namespace FormatFlags = NTarnStudioFormatFlags;

#define OLD_FORMAT_CHECK "m_Version.v.m_MeshHeaderVersion >= NTarnStudioMeshHeaderVersion::c_MeshHeaderVersion_KeyFrame"

namespace {

CStreamingMeshHeader::Version MakeVersion(BYTE vertexVersion, BYTE headerVersion, BYTE indexVersion) {
    CStreamingMeshHeader::Version version{};
    version.v.m_VertexVersion = vertexVersion;
    version.v.m_FormatFlags = FormatFlags::c_TriList;
    version.v.m_MeshHeaderVersion = headerVersion;
    version.v.m_IndexVersion = indexVersion;
    return version;
}

}  // namespace

/// Rewrites an old version word and tells whether it was one. All old words stand for triangle lists without options.
bool CStreamingMeshHeader::ConvertOldVersion() {
    const BYTE vertexVersion = m_Version.v.m_VertexVersion;
    const BYTE headerVersion = m_Version.v.m_MeshHeaderVersion;

    if (vertexVersion == VertexVersion::c_Deprecated_DeltaLayout && (headerVersion == 2 || headerVersion == 3)) {
        NIMB_ASSERT(m_Version.v.m_FormatFlags == 0);
        m_Version =
            MakeVersion(headerVersion == 2 ? VertexVersion::c_CompressedDeltas : VertexVersion::c_GolombDeltas,
                        HeaderVersion::c_MeshHeaderVersion_DeltaFrame, IndexVersion::c_FixedByteDeltaEncodedIndices);
        return true;
    }
    if (headerVersion <= 1) {
        NIMB_ASSERT(m_Version.v.m_FormatFlags == 0);
        NIMB_ASSERT(m_Version.v.m_VertexVersion == NTarnStudioVertexVersion::c_Deprecated_UnwrappedVertexVersion);
        m_Version = MakeVersion(
            VertexVersion::c_UnwrappedXYZUV, HeaderVersion::c_MeshHeaderVersion_KeyFrame,
            headerVersion == 1 ? IndexVersion::c_FixedByteDeltaEncodedIndices : IndexVersion::c_UncompressedIndices);
        return true;
    }
    NIMB_ASSERT_MSG(headerVersion >= HeaderVersion::c_MeshHeaderVersion_KeyFrame,
                    OLD_FORMAT_CHECK ": Unknown old format encountered");
    return false;
}

HRESULT CStreamingMeshHeader::Read(IStream* pStream) {
    return Nimb::GuardAssertions([&] { return ReadChecked(pStream); });
}

HRESULT CStreamingMeshHeader::ReadChecked(IStream* pStream) {
    HRESULT hr = ReadField(pStream, &m_Version);
    // The version word is judged before the status of its read.
    NIMB_ASSERT_MSG(m_Version.v.m_VertexVersion != VertexVersion::c_Deprecated_HiResMesh,
                    "Unsupported format! We no longer support the hi-res mesh");
    const bool converted = ConvertOldVersion();
    if (Failed(hr)) {
        return hr;
    }

    if (Failed(hr = ReadField(pStream, &m_BBoxMin)) || Failed(hr = ReadField(pStream, &m_BBoxMax))) {
        return hr;
    }
    if ((m_Version.v.m_FormatFlags & FormatFlags::c_HasSubMeshId) != 0 &&
        Failed(hr = ReadField(pStream, &m_SubMeshId))) {
        return hr;
    }
    if ((m_Version.v.m_FormatFlags & FormatFlags::c_HasFrameId) != 0 && Failed(hr = ReadField(pStream, &m_FrameId))) {
        return hr;
    }

    const BYTE headerVersion = m_Version.v.m_MeshHeaderVersion;
    NIMB_ASSERT_MSG(headerVersion >= HeaderVersion::c_MeshHeaderVersion_KeyFrame,
                    OLD_FORMAT_CHECK ": Mesh is in old format. Need to re-export!");
    if (headerVersion == HeaderVersion::c_MeshHeaderVersion_Temporal &&
        Failed(hr = ReadField(pStream, &m_numTransforms))) {
        return hr;
    }
    if (headerVersion != HeaderVersion::c_MeshHeaderVersion_KeyFrame &&
        headerVersion != HeaderVersion::c_MeshHeaderVersion_Temporal) {
        return hr;
    }
    if (Failed(hr = ReadField(pStream, &m_numVertices)) || Failed(hr = ReadField(pStream, &m_numFaces))) {
        return hr;
    }
    if (converted) {
        m_numIndices = 3 * m_numFaces;  // wraps like the field itself; index streams compare the two in 64 bits
        return hr;
    }
    return ReadField(pStream, &m_numIndices);
}
