#include "NimbUnityPluginML/MeshFrame.h"

#include "NimbUnityPluginML/GlErrors.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/MeshUpload.h"

#include <GLES3/gl3.h>

#include <algorithm>

namespace Nimb::Plugin {
namespace {

GLsizeiptr Bytes(std::size_t count, std::size_t size) {
    return static_cast<GLsizeiptr>(count * size);
}

/// Unlocks a buffer that was locked.
class BufferLock {
public:
    explicit BufferLock(INimbBuffer* pBuffer) : m_pBuffer(pBuffer), m_locked(pBuffer->LockBuffer(&m_memory) >= 0) {}
    ~BufferLock() {
        if (m_locked) {
            m_pBuffer->UnlockBuffer();
        }
    }
    BufferLock(const BufferLock&) = delete;
    BufferLock& operator=(const BufferLock&) = delete;

    const NimbLockedMemory* Memory() const noexcept { return m_locked ? &m_memory : nullptr; }

private:
    INimbBuffer* m_pBuffer;
    NimbLockedMemory m_memory{};
    bool m_locked;
};

}  // namespace

MeshFrame::MeshFrame(const NIMBCORE::CComPtr<INimbBuffer>& vertices, const NIMBCORE::CComPtr<INimbBuffer>& indices,
                     long timeStamp)
    : m_timeStamp(timeStamp), m_vertices(vertices), m_indices(indices) {
    NIMBCORE::CComPtr<INimbAttributesCore> pAttributes;
    if (Failed(m_vertices->QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&pAttributes)))) {
        return;
    }
    pAttributes->GetDouble(NimbAttrib_BBoxMinX, &m_minX);
    pAttributes->GetDouble(NimbAttrib_BBoxMaxX, &m_maxX);
    pAttributes->GetDouble(NimbAttrib_BBoxMinY, &m_minY);
    pAttributes->GetDouble(NimbAttrib_BBoxMaxY, &m_maxY);
    pAttributes->GetDouble(NimbAttrib_BBoxMinZ, &m_minZ);
    pAttributes->GetDouble(NimbAttrib_BBoxMaxZ, &m_maxZ);
    pAttributes->GetUINT32(NimbAttrib_NumIndices, &m_indexCount);
    pAttributes->GetUINT32(NimbAttrib_NumVertices, &m_vertexCount);
    pAttributes->GetUINT32(NimbAttrib_FrameId, &m_frameId);
}

void MeshFrame::CopyToGLBuffers(unsigned int vb, unsigned int ib, unsigned int ibCount, unsigned int vbCount,
                                bool computeNormals, bool copyIndices) {
    // The checks of the pointers, before anything is written.
    NIMB_ASSERT_MSG(m_vertices.p != nullptr && m_indices.p != nullptr, "p != __null");
    {
        const BufferLock indices(m_indices);
        if (indices.Memory() != nullptr && copyIndices) {
            CopyIndices(*indices.Memory(), ib, ibCount);
        }
        const BufferLock vertices(m_vertices);
        if (vertices.Memory() != nullptr) {
            CopyVertices(*vertices.Memory(), indices.Memory(), vb, vbCount, computeNormals);
        }
    }
    m_vertices.Release();
    m_indices.Release();
}

void MeshFrame::CopyIndices(const NimbLockedMemory& indices, unsigned int ib, unsigned int ibCount) {
    const std::size_t available = std::min<std::size_t>(m_indexCount, indices.cbMaxLength / sizeof(UINT32));
    const std::size_t n = std::min<std::size_t>(available, ibCount);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, ib);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 0, Bytes(n, sizeof(UINT32)), indices.pData);
    if (n < ibCount) {
        // The rest of the engine's buffer becomes degenerate triangles on vertex 0.
        const std::size_t rest = ibCount - n;
        if (m_zeroFiller.size() < rest) {
            m_zeroFiller.resize(rest);
        }
        glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, Bytes(n, sizeof(UINT32)), Bytes(rest, sizeof(UINT32)),
                        m_zeroFiller.data());
    }
    CheckGLError("MeshFrame::CopyToGLBuffers: copy indices");
}

void MeshFrame::CopyVertices(const NimbLockedMemory& vertices, const NimbLockedMemory* pIndices, unsigned int vb,
                             unsigned int vbCount, bool computeNormals) {
    const MeshUpload::Source source = MeshUpload::MakeSource(vertices.pData, vertices.cbMaxLength, m_vertexCount,
                                                             {m_minX, m_minY, m_minZ}, {m_maxX, m_maxY, m_maxZ});
    const std::size_t m = std::min<std::size_t>(source.numVertices, vbCount);

    std::vector<MeshUpload::Vertex> scratch;
    if (computeNormals) {
        // Over all vertices, also those that the engine's buffer has no room for.
        scratch.resize(source.numVertices);
        MeshUpload::Convert(source, 0, source.numVertices, true, scratch.data());
        const UINT32* const indices = pIndices != nullptr ? reinterpret_cast<const UINT32*>(pIndices->pData) : nullptr;
        const std::size_t numIndices =
            pIndices != nullptr ? std::min<std::size_t>(m_indexCount, pIndices->cbMaxLength / sizeof(UINT32)) : 0;
        MeshUpload::ComputeNormals(scratch.data(), static_cast<UINT32>(scratch.size()), indices, numIndices,
                                   [](UINT32 a, UINT32 b, UINT32 c, UINT32 limit) {
                                       NIMB_LOG_WARNING("Out of bounds in normal calculation at %i: %i %i limit %i",
                                                        static_cast<int>(a), static_cast<int>(b), static_cast<int>(c),
                                                        static_cast<int>(limit));
                                   });
    }

    glBindBuffer(GL_ARRAY_BUFFER, vb);
    if (m > 0) {
        void* const mapped = glMapBufferRange(GL_ARRAY_BUFFER, 0, Bytes(m, sizeof(MeshUpload::Vertex)),
                                              GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT);
        if (mapped != nullptr) {
            auto* const out = static_cast<MeshUpload::Vertex*>(mapped);
            if (computeNormals) {
                std::copy_n(scratch.data(), m, out);
            } else {
                MeshUpload::Convert(source, 0, m, false, out);
            }
            glUnmapBuffer(GL_ARRAY_BUFFER);
        }
    }
    CheckGLError("MeshFrame::Initialize: copy verts");
}

}  // namespace Nimb::Plugin
