// Transform deltas (vertex version 5): positions carried along by the transforms of a figure's parts, then corrected.
//
// A section is parsed completely before the first position is written, because with two frames of history the new
// positions take the place of the older ones: a section that turns out to be bad must leave the history intact.
#include "Nimb/NimbAssert.h"
#include "NimbCore/DeltaOutput.h"
#include "NimbCore/StreamReader.h"
#include "NimbCore/TransformSection.h"

#include <algorithm>
#include <array>

namespace Nimb {
namespace {

using namespace TransformDeltas;

/// Vertices handled at a time, so that positions are still in the first cache when their records are written.
constexpr std::size_t c_MovedAtATime = 256;

/// Each part turns about the previous position of its first vertex.
std::array<Motion, 256> MakeMotions(const Section& section, const std::vector<BYTE>& parts, const __vector4* previous) {
    std::array<const __vector4*, 256> pivots{};
    UINT32 found = 0;
    for (std::size_t i = 0; i < parts.size() && found < section.numTransforms; ++i) {
        if (pivots[parts[i]] == nullptr) {
            pivots[parts[i]] = &previous[i];
            found += parts[i] < section.numTransforms ? 1 : 0;
        }
    }
    std::array<Motion, 256> motions;
    for (std::size_t part = 0; part < motions.size(); ++part) {
        const __vector4 pivot = pivots[part] != nullptr ? *pivots[part] : __vector4{};
        motions[part] = MakeMotion(section.transforms[part], section.translationUnit, pivot);
    }
    return motions;
}

/// positions[i] = prediction + correction. Where there is a second history it is `positions` itself.
template <bool HasOlder>
void Move(const Motion* motions, const BYTE* parts, const Correction* corrections, Float4 step,
          const __vector4* previous, std::size_t count, __vector4* positions) {
    for (std::size_t i = 0; i < count; ++i) {
        const Float4 prev = Float4::Load(&previous[i]);
        Float4 last = Float4::All(0.0f);
        if (HasOlder) {
            last = prev - Float4::Load(&positions[i]);
        }
        Correct(Predict(motions[parts[i]], prev, last), corrections[i], step).Store(&positions[i]);
    }
}

}  // namespace

HRESULT CNimbMeshReader::ReadTransformDeltaVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream,
                                                    CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        CheckDeltaContext(pCtx, pHeader, ppBuffer);
        *ppBuffer = nullptr;

        UINT32 numDeltas = 0;
        HRESULT hr = S_OK;
        if (Failed(hr = ReadField(pStream, &numDeltas))) {
            return hr;
        }
        NIMB_ASSERT(numDeltas > 0);
        if (numDeltas != pHeader->m_numVertices) {
            return E_UNEXPECTED;
        }
        Section section;
        if (Failed(hr = ReadSection(pStream, numDeltas, pCtx->m_TransformIndices.size(), section))) {
            return hr;
        }
        DeltaFrameWriter writer;
        if (Failed(hr = writer.Begin(m_pBufferAllocator, m_VertexFormat, pCtx, pHeader))) {
            return hr;
        }
        if (!section.partsKept) {
            pCtx->m_TransformIndices.swap(section.parts);
        }

        const BYTE* const parts = pCtx->m_TransformIndices.data();
        const __vector4* const previous = pCtx->m_pPrevMesh->data();
        __vector4* const positions = NewPositions(pCtx)->data();
        const std::array<Motion, 256> motions = MakeMotions(section, pCtx->m_TransformIndices, previous);
        const Float4 step = Float4::All(section.step);
        const bool hasOlder = pCtx->m_pPrevPrevMesh != nullptr;
        for (std::size_t first = 0; first < numDeltas; first += c_MovedAtATime) {
            const std::size_t count = std::min<std::size_t>(c_MovedAtATime, numDeltas - first);
            const Correction* const corrections = section.corrections.data() + first;
            if (hasOlder) {
                Move<true>(motions.data(), parts + first, corrections, step, previous + first, count,
                           positions + first);
            } else {
                Move<false>(motions.data(), parts + first, corrections, step, previous + first, count,
                            positions + first);
            }
            writer.Write(first, count, positions + first);
        }
        AdvanceHistory(pCtx);
        *ppBuffer = writer.Finish();
        return ReadNormals(pStream, pHeader, *ppBuffer);
    });
}

}  // namespace Nimb
