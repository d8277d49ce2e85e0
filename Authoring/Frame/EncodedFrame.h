// What comes of encoding a frame.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"

namespace Nimb::Authoring {

struct EncodedFrame {
    Bytes bytes;
    double maxError = 0;  ///< largest distance of a decoded position from its target
    bool isKeyFrame = false;
    BYTE vertexVersion = 0;  ///< as the header has it; of a temporal frame that of a delta frame in it, if there is one
    Box box;                 ///< likewise
    UINT32 numVertices = 0;  ///< of the decoded mesh
    UINT32 numIndices = 0;   ///< likewise
    bool oneDeltaVersion = true;  ///< all delta frames in a temporal frame have the same vertex version
};

}  // namespace Nimb::Authoring
