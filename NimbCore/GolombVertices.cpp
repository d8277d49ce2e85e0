// Golomb-coded delta frames (vertex version 4).
#include "Nimb/NimbAssert.h"
#include "NimbCore/Golomb.h"
#include "NimbCore/StreamReader.h"
#include "NimbCore/VertexStreams.h"

namespace Nimb {
namespace {

/// What stands between the correction box and the code words, one entry an axis.
struct GolombParameters {
    BYTE deltaCenter[3] = {};
    BYTE deltaMedian[3] = {};
    UINT32 numBits[3] = {};
};

HRESULT ReadParameters(IStream* pStream, GolombParameters* p) {
    UINT32 bytesRead = 0;
    for (BYTE& center : p->deltaCenter) {
        const HRESULT hr = ReadField(pStream, &center, &bytesRead);
        if (Failed(hr)) {
            return hr;
        }
        NIMB_ASSERT_MSG(bytesRead == sizeof(center), "bytesRead == sizeof(deltaCenter[i])");
    }
    for (BYTE& median : p->deltaMedian) {
        const HRESULT hr = ReadField(pStream, &median, &bytesRead);
        if (Failed(hr)) {
            return hr;
        }
        NIMB_ASSERT_MSG(bytesRead == sizeof(median), "bytesRead == sizeof(deltaMedian[i])");
    }
    for (UINT32& bits : p->numBits) {
        const HRESULT hr = ReadField(pStream, &bits, &bytesRead);
        if (Failed(hr)) {
            return hr;
        }
        NIMB_ASSERT_MSG(bytesRead == sizeof(bits), "bytesRead == sizeof(numBits[i])");
    }
    return S_OK;
}

}  // namespace

HRESULT CNimbMeshReader::ReadGolombCodedVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream,
                                                 CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        NIMB_ASSERT(ppBuffer);
        *ppBuffer = nullptr;

        CorrectionBox box;
        HRESULT hr = ReadCorrectionBox(pStream, &box);
        if (Failed(hr)) {
            return hr;
        }
        GolombParameters parameters;
        if (Failed(hr = ReadParameters(pStream, &parameters))) {
            return hr;
        }
        std::vector<UINT32> words[3];
        std::array<GolombStream, 3> axes{};
        std::array<std::size_t, 3> counts{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const UINT32 numBits = parameters.numBits[axis];
            if (Failed(hr = ReadCodeWords(pStream, numBits, words[axis]))) {
                // An axis is decoded before the next is read, so a fault in the ones before this comes first.
                CGolombDecompressor().DecompressInterleaved(axes, 0, nullptr, counts);
                return hr;
            }
            axes[axis] = {words[axis].data(), numBits, parameters.deltaMedian[axis], parameters.deltaCenter[axis]};
        }

        // An axis may hold more bytes than there are vertices; the surplus is counted but not kept. Neither is anything
        // for a context that DecodeDeltas refuses, whatever vertices it claims.
        const bool fits = pCtx->m_pPrevMesh != nullptr && pCtx->m_pPrevMesh->size() == pHeader->m_numVertices;
        const std::size_t numVertices = fits ? pHeader->m_numVertices : 0;
        std::vector<BYTE> interleaved(3 * numVertices);
        CGolombDecompressor().DecompressInterleaved(axes, numVertices, interleaved.data(), counts);
        NIMB_ASSERT_MSG(counts[0] == counts[1] && counts[0] == counts[2],
                        "len == decompressedDataSingleAxis[1].size() && len == decompressedDataSingleAxis[2].size()");

        const UINT32 deltasLen = static_cast<UINT32>(3 * std::min(counts[0], numVertices));
        hr = DecodeDeltas(pCtx, pHeader, interleaved.data(), deltasLen, box.min[0], box.min[1], box.min[2], box.max[0],
                          box.max[1], box.max[2], ppBuffer);
        return Failed(hr) ? hr : ReadNormals(pStream, pHeader, *ppBuffer);
    });
}

}  // namespace Nimb
