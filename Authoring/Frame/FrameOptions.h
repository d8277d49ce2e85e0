// How the frames of a clip are to be coded.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Frame/DeltaCodings.h"

#include <optional>

namespace Nimb::Authoring {

enum class IndexCoding { List1, List2, EdgeBreaker, Strips1, Strips2 };

/// What a frame says about itself. A strip frame has no room for any of it but the box.
struct FrameOptions {
    std::optional<UINT32> subMeshId;
    std::optional<UINT32> frameId;
    bool normals = false;      ///< store the mesh's normals
    bool unsignedUVs = false;  ///< set the flag that says so; storage does not change
    std::optional<Box> box;    ///< instead of the mesh's own; positions are clamped to it
};

struct KeyFrameOptions : FrameOptions {
    std::optional<IndexCoding> indices;  ///< none: the one that makes the frame smallest, in temporal frames no strips
    bool keepVertexOrder = false;        ///< such an open choice excludes EdgeBreaker, which alone reorders vertices
    bool indicesFirst = false;           ///< the index section precedes the vertex section
};

struct DeltaFrameOptions : FrameOptions {
    DeltaCoding coding = DeltaCoding::Smallest;
    double maxError = 0;  ///< position error that is good enough, see QuantiseCorrections; 0: as exact as bytes
                          ///< allow (Transform needs a limit)
};

}  // namespace Nimb::Authoring
