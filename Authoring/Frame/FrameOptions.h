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

/// How the frames of a clip are chosen. A choice that is left open is made frame by frame: the smallest that meets the
/// limit.
struct CodingOptions {
    FrameOptions frame;  ///< of each; in temporal frames what `normals` and `unsignedUVs` say is said of sub-meshes
    std::optional<IndexCoding> indices;  ///< of key frames
    bool keepVertexOrder = false;        ///< see KeyFrameOptions
    std::optional<DeltaCoding> delta;    ///< none or Smallest: open. Where it misses the limit, a key frame follows
    double maxError = 0;  ///< limit for delta frames, 0: none. Key frames have the error of 16-bit records
    std::size_t keyFrameInterval = 30;  ///< at most so many frames from one key frame to the next; 0: no limit
};

}  // namespace Nimb::Authoring
