// What all delta decoders share: the position history of a context, and the writing of a frame's records from
// positions.
#pragma once

#include "NimbCore/LockedBuffer.h"
#include "NimbCore/NimbMeshReader.h"

namespace Nimb {

/// Asserts what every delta decoder requires: header, out-parameter, and a previous frame with as many vertices.
void CheckDeltaContext(const CNimbMeshReaderCtx* pCtx, const CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer);

/// The vector that receives the new positions: the second history, or the context's own vector when there is none.
/// Where a second history is in use, its old positions are an input of the prediction: read element i before writing
/// it.
std::vector<__vector4>* NewPositions(CNimbMeshReaderCtx* pCtx);

/// Makes the vector that NewPositions returned the newest frame and the one that was newest the second history.
void AdvanceHistory(CNimbMeshReaderCtx* pCtx);

/// Writes the records of one delta frame: positions clamped to the header's box, texture coordinates of the key frame,
/// normal slots zero.
class DeltaFrameWriter {
public:
    /// Allocates the output for all vertices and makes sure that the context has what records need of it.
    HRESULT Begin(const NIMBCORE::CComPtr<INimbBufferAllocator>& pAllocator, UINT32 vertexFormat,
                  CNimbMeshReaderCtx* pCtx, const CStreamingMeshHeader* pHeader);

    /// Writes records `first` to `first + count - 1` from positions[0 .. count - 1].
    void Write(std::size_t first, std::size_t count, const __vector4* positions);

    INimbBuffer* Finish() { return m_Output.Detach(); }

private:
    template <bool WithNormals>
    void WriteFloat(std::size_t first, std::size_t count, const __vector4* positions);
    template <bool WithNormals>
    void WriteQuantised(std::size_t first, std::size_t count, const __vector4* positions);

    LockedBuffer m_Output;
    UINT32 m_VertexFormat = 0;
    const CNimbMeshReaderCtx* m_pCtx = nullptr;
    const CStreamingMeshHeader* m_pHeader = nullptr;
};

}  // namespace Nimb
