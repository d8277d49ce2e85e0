// The two index decoders behind CNimbMeshReader::ReadIndices.
#pragma once

#include "NimbCore/NimbMeshReader.h"

namespace Nimb {

// Both decode the index section that `pStream` stands at into `outLen` bytes of 32-bit indices at `out`; bytes that the
// section does not cover become zero. Violations are assertions; see Docs/format.md for the encodings.
HRESULT DecompressTriangleList(IStream* pStream, CStreamingMeshHeader* pHeader, BYTE* out, UINT outLen);
HRESULT DecompressTriangleStrips(IStream* pStream, CStreamingMeshHeader* pHeader, BYTE* out, UINT outLen);

}  // namespace Nimb
