// Pieces of the vertex streams that more than one decoder reads.
#pragma once

#include "NimbCore/NimbMeshReader.h"

namespace Nimb {

/// The range that the correction bytes of a delta frame span, per axis.
struct CorrectionBox {
    float min[3] = {};
    float max[3] = {};
};

/// Reads the six floats of a plain or Golomb-coded delta section. A failing read returns its status, a short one is an
/// assertion; for the last float both are.
HRESULT ReadCorrectionBox(IStream* pStream, CorrectionBox* pBox);

/// Gives the context's arrays `numVertices` records and makes the position array the previous mesh, without one before.
/// `isCutShort`: the stream did not deliver all of the records.
void ResizeContext(CNimbMeshReaderCtx* pCtx, std::size_t numVertices, bool isCutShort);

}  // namespace Nimb
