// Delta frames: three correction bytes a vertex around a position extrapolated from the two frames before.
//
// This is the common back end of the plain, the Huffman-coded and the Golomb-coded delta streams; the transform deltas
// share the record writer below.
#include "Nimb/NimbAssert.h"
#include "NimbCore/DeltaArithmetic.h"
#include "NimbCore/DeltaOutput.h"
#include "NimbCore/VertexMath.h"

#include <algorithm>
#include <cstring>

namespace Nimb {
namespace {

/// Vertices handled at a time, so that positions are still in the first cache when their records are written.
constexpr std::size_t c_BlockVertices = 256;

/// All corrections that a byte of each axis can stand for: min + range x (byte / 255), one lane per axis.
class CorrectionTable {
public:
    CorrectionTable(Float4 min, Float4 max) {
        const Float4 range = max - min;
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const Float4 correction = CorrectionOf(Float4::All(static_cast<float>(byte)), min, range);
            float lanes[4];
            correction.Store(lanes);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                std::memcpy(&m_Entries[axis][byte][axis], &lanes[axis], sizeof(float));
            }
        }
    }

    /// The corrections of the three bytes at `p` in lanes x, y, z.
    Float4 operator()(const BYTE* p) const noexcept {
        return Float4::Load(m_Entries[0][p[0]]) | Float4::Load(m_Entries[1][p[1]]) | Float4::Load(m_Entries[2][p[2]]);
    }

private:
    // Entries of an axis are zero in the other lanes, so that three of them combine by their bits.
    alignas(16) float m_Entries[3][256][4] = {};
};

/// positions[i] = extrapolation + correction. Where there is a second history it is `positions` itself.
template <bool HasOlder>
void Extrapolate(const __vector4* previous, const BYTE* deltas, const CorrectionTable& corrections, std::size_t count,
                 __vector4* positions) {
    for (std::size_t i = 0; i < count; ++i) {
        const Float4 prev = Float4::Load(&previous[i]);
        const Float4 prediction = HasOlder ? PredictPosition(prev, Float4::Load(&positions[i])) : PredictPosition(prev);
        (prediction + corrections(deltas + 3 * i)).Store(&positions[i]);
    }
}

/// Float texture coordinates are the same in every delta frame after a key frame: they are decoded once, on first use.
void EnsureFloatTexCoords(CNimbMeshReaderCtx* pCtx) {
    const std::size_t count = pCtx->m_QuantisedVertices.size();
    if (pCtx->m_TexCoords.size() == count) {
        return;
    }
    std::vector<STexCoord> texCoords(count);
    for (std::size_t i = 0; i < count; ++i) {
        const SQuantisedVertex& record = pCtx->m_QuantisedVertices[i];
        const Float4 q = Float4::Of(record.u, record.v, 0.0f, 0.0f);
        DequantiseTexCoords(q).StoreLow(&texCoords[i]);
    }
    pCtx->m_TexCoords = std::move(texCoords);
}

}  // namespace

void CheckDeltaContext(const CNimbMeshReaderCtx* pCtx, const CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer) {
    NIMB_ASSERT(pHeader);
    NIMB_ASSERT(ppBuffer);
    NIMB_ASSERT(pCtx->m_pPrevMesh);
    NIMB_ASSERT(pHeader->m_numVertices == pCtx->m_pPrevMesh->size());
}

std::vector<__vector4>* NewPositions(CNimbMeshReaderCtx* pCtx) {
    return pCtx->m_pPrevPrevMesh != nullptr ? pCtx->m_pPrevPrevMesh : &pCtx->m_HistoryPositions;
}

void AdvanceHistory(CNimbMeshReaderCtx* pCtx) {
    std::vector<__vector4>* const newest = NewPositions(pCtx);
    pCtx->m_pPrevPrevMesh = pCtx->m_pPrevMesh;
    pCtx->m_pPrevMesh = newest;
}

HRESULT DeltaFrameWriter::Begin(const NIMBCORE::CComPtr<INimbBufferAllocator>& pAllocator, UINT32 vertexFormat,
                                CNimbMeshReaderCtx* pCtx, const CStreamingMeshHeader* pHeader) {
    m_VertexFormat = vertexFormat;
    m_pCtx = pCtx;
    m_pHeader = pHeader;
    if ((vertexFormat & NTarnOutputFormat::c_Float) != 0) {
        EnsureFloatTexCoords(pCtx);
    }
    const UINT32 stride = CNimbMeshReader::VertexStride(vertexFormat);
    return m_Output.Create(pAllocator, UINT64{stride} * pHeader->m_numVertices, stride);
}

void DeltaFrameWriter::Write(std::size_t first, std::size_t count, const __vector4* positions) {
    const bool withNormals = (m_VertexFormat & NTarnOutputFormat::c_Normals) != 0;
    if ((m_VertexFormat & NTarnOutputFormat::c_Float) != 0) {
        withNormals ? WriteFloat<true>(first, count, positions) : WriteFloat<false>(first, count, positions);
    } else {
        withNormals ? WriteQuantised<true>(first, count, positions) : WriteQuantised<false>(first, count, positions);
    }
}

template <bool WithNormals>
void DeltaFrameWriter::WriteFloat(std::size_t first, std::size_t count, const __vector4* positions) {
    constexpr std::size_t stride = WithNormals ? 32 : 20;
    const Box4 box(*m_pHeader);
    const STexCoord* const texCoords = m_pCtx->m_TexCoords.data() + first;
    BYTE* out = m_Output.Data() + first * stride;
    for (std::size_t i = 0; i < count; ++i, out += stride) {
        // Four floats are stored, the fourth is overwritten by what follows the position.
        CanonicalNaN(ClampToBox(Float4::Load(&positions[i]), box)).Store(out);
        if (WithNormals) {
            std::memset(out + 12, 0, 12);
        }
        std::memcpy(out + stride - 8, &texCoords[i], 8);
    }
}

template <bool WithNormals>
void DeltaFrameWriter::WriteQuantised(std::size_t first, std::size_t count, const __vector4* positions) {
    constexpr std::size_t stride = WithNormals ? 20 : 12;
    const Box4 box(*m_pHeader);
    const SQuantisedVertex* const records = m_pCtx->m_QuantisedVertices.data() + first;
    BYTE* out = m_Output.Data() + first * stride;
    for (std::size_t i = 0; i < count; ++i, out += stride) {
        const Float4 position = ClampToBox(Float4::Load(&positions[i]), box);
        StoreTruncatedInt16x4(out, QuantisePosition(position, box.min, box.extent));
        // The padding word, and the normal of records that have one, which is filled in later.
        std::memset(out + 6, 0, stride - 10);
        std::memcpy(out + stride - 4, &records[i].u, 4);
    }
}

HRESULT CNimbMeshReader::DecodeDeltas(CNimbMeshReaderCtx* pCtx, const CStreamingMeshHeader* pHeader, const BYTE* deltas,
                                      UINT32 deltasLen, float minX, float minY, float minZ, float maxX, float maxY,
                                      float maxZ, INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        CheckDeltaContext(pCtx, pHeader, ppBuffer);
        *ppBuffer = nullptr;
        DeltaFrameWriter writer;
        const HRESULT hr = writer.Begin(m_pBufferAllocator, m_VertexFormat, pCtx, pHeader);
        if (Failed(hr)) {
            return hr;
        }
        const std::size_t numVertices = pCtx->m_pPrevMesh->size();
        NIMB_ASSERT_MSG(UINT64{3} * numVertices <= deltasLen, "Mesh size doesn't match compressed size");

        const CorrectionTable corrections(Float4::Of(minX, minY, minZ, 0.0f), Float4::Of(maxX, maxY, maxZ, 0.0f));
        const __vector4* const previous = pCtx->m_pPrevMesh->data();
        __vector4* const positions = NewPositions(pCtx)->data();
        const bool hasOlder = pCtx->m_pPrevPrevMesh != nullptr;
        for (std::size_t first = 0; first < numVertices; first += c_BlockVertices) {
            const std::size_t count = std::min(c_BlockVertices, numVertices - first);
            const BYTE* const block = deltas + 3 * first;
            if (hasOlder) {
                Extrapolate<true>(previous + first, block, corrections, count, positions + first);
            } else {
                Extrapolate<false>(previous + first, block, corrections, count, positions + first);
            }
            writer.Write(first, count, positions + first);
        }
        AdvanceHistory(pCtx);
        *ppBuffer = writer.Finish();
        return hr;
    });
}

}  // namespace Nimb
