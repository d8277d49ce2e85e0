// One decoded mesh on its way from the mesh thread to the engine's buffers.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "NimbCore/NimbComPtr.h"

#include <cstdint>
#include <vector>

namespace Nimb::Plugin {

/// Of a frame in the file.
struct ClipPlace {
    std::int64_t frame = -1;  ///< counted from 0; -1: unknown
    std::int64_t timeUs = 0;
};

/// Built on the mesh thread, uploaded once on the render thread, shared between them by std::shared_ptr.
class MeshFrame {
public:
    /// Takes references to both buffers and copies the frame's attributes from the vertex buffer; what is missing stays
    /// 0. `timeStamp`: presentation time of the sample, nanoseconds.
    MeshFrame(const NIMBCORE::CComPtr<INimbBuffer>& vertices, const NIMBCORE::CComPtr<INimbBuffer>& indices,
              long timeStamp);

    /// Writes the frame into the engine's buffers and lets go of its own. Render thread, context current; asserts that
    /// the buffers are still there, so at most once.
    ///
    /// `vb`, `ib`: GL names. `ibCount`, `vbCount`: their capacities in indices and in 32-byte vertices; what does not
    /// fit is cut, and indices beyond the frame's become 0. `computeNormals`: smooth normals from the triangles,
    /// otherwise the frame's own. `copyIndices`: false leaves `ib` alone. GL state left changed: bindings of
    /// GL_ELEMENT_ARRAY_BUFFER (with `copyIndices`) and GL_ARRAY_BUFFER.
    void CopyToGLBuffers(unsigned int vb, unsigned int ib, unsigned int ibCount, unsigned int vbCount,
                         bool computeNormals, bool copyIndices);

    INimbBuffer* IndexBuffer() const noexcept { return m_indices; }

    UINT32 m_vertexCount = 0;
    UINT32 m_indexCount = 0;
    UINT32 m_frameId = 0;
    double m_minX = 0, m_minY = 0, m_minZ = 0;
    double m_maxX = 0, m_maxY = 0, m_maxZ = 0;
    std::int64_t m_timeStamp;
    std::int64_t m_frameNumber = 0;   ///< set by the player; matched with the number of the texture frame
    ClipPlace m_place;                ///< set by the player
    std::uint32_t m_renderCount = 0;  ///< takes by the render thread; under the frames' mutex

private:
    void CopyIndices(const NimbLockedMemory& indices, unsigned int ib, unsigned int ibCount);
    void CopyVertices(const NimbLockedMemory& vertices, const NimbLockedMemory* pIndices, unsigned int vb,
                      unsigned int vbCount, bool computeNormals);

    NIMBCORE::CComPtr<INimbBuffer> m_vertices;
    NIMBCORE::CComPtr<INimbBuffer> m_indices;
    std::vector<UINT32> m_zeroFiller;
};

}  // namespace Nimb::Plugin
