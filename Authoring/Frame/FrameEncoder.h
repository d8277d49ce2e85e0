// Whole mesh frames: key frames, delta frames and temporal frames of a clip, in the order in which they are played.
//
// Closed loop: every frame is decoded with the core's own decoders, and the next one is predicted from what they made
// of it, so that errors never add up over time.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Frame/EncodedFrame.h"
#include "Authoring/Frame/FrameOptions.h"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// What a temporal frame has of one sub-mesh: a key frame, or a delta frame when `delta` is set. Each needs a sub-mesh
/// id of its own and no strips.
struct SubFrame {
    const Mesh* mesh = nullptr;
    KeyFrameOptions key;
    std::optional<DeltaFrameOptions> delta;                ///< its own subMeshId counts
    std::optional<std::array<float, 6>> textureTransform;  ///< stored coefficients (see SolveTransform); none: identity
};

/// One sub-mesh of a clip at one moment.
struct SubMesh {
    const Mesh* mesh = nullptr;
    UINT32 id = 0;
    std::optional<std::array<float, 6>> textureTransform;  ///< stored coefficients (see SolveTransform); none: identity
    bool newTopology = false;    ///< makes it a key frame even if faces are those of the frame before
    const Pose* pose = nullptr;  ///< for EncodeSegment: instead of the mesh's own positions and normals
};

class SubMeshEncoder;

/// Belongs to one thread. Methods throw std::invalid_argument for meshes and options that cannot be encoded; the
/// encoder's state is then as it was, unless the method says otherwise.
class FrameEncoder {
public:
    FrameEncoder();
    ~FrameEncoder();
    FrameEncoder(const FrameEncoder&) = delete;
    FrameEncoder& operator=(const FrameEncoder&) = delete;

    EncodedFrame KeyFrame(const Mesh& mesh, const KeyFrameOptions& options = {});

    /// Positions (and normals) of `mesh` in the topology of the sub-mesh's last key frame: vertices in the order of the
    /// mesh that was passed then. Faces and texture coordinates are ignored, but DeltaCoding::Quantised stores the
    /// latter.
    EncodedFrame DeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options = {});

    /// All sub-meshes of one moment as one frame. A reader forgets every sub-mesh that the frame leaves out, unless it
    /// was decoded by itself since the temporal frame before; so does the encoder. When it throws, sub-meshes may
    /// have been advanced: go on with key frames.
    EncodedFrame TemporalFrame(const std::vector<SubFrame>& subFrames, const FrameOptions& options = {});

    /// A delta frame where one meets the limit and the interval permits, otherwise a key frame. Faces or texture
    /// coordinates other than those of the last key frame make it a key frame too.
    EncodedFrame NextFrame(const Mesh& mesh, const CodingOptions& options);

    /// The same for all sub-meshes as one temporal frame, each of them a key frame or a delta frame by itself. When the
    /// interval is over, all are key frames. Sub-meshes may appear and disappear. See TemporalFrame for exceptions.
    EncodedFrame NextTemporalFrame(const std::vector<SubMesh>& subMeshes, const CodingOptions& options);

    /// Shows a mesh of the frames to come, in the topology of the sub-mesh's last key frame; meshes of another one are
    /// ignored. Transform deltas are smaller from the first on when they know how the figure is going to move.
    void LookAhead(const Mesh& mesh, UINT32 subMeshId = 0);

    /// Decoded vertex i of a sub-mesh is vertex VertexOrder()[i] of the mesh that its last key frame was made from.
    /// std::invalid_argument when it has had none.
    const std::vector<UINT32>& VertexOrder(UINT32 subMeshId = 0) const;

private:
    SubMeshEncoder* Find(UINT32 subMeshId) const;
    SubMeshEncoder& Get(UINT32 subMeshId) const;
    EncodedFrame EncodeKey(const Mesh& mesh, const KeyFrameOptions& options, bool mayBeStrips);
    void ForgetUnused();

    std::map<INT32, std::unique_ptr<SubMeshEncoder>> m_SubMeshes;  // those that have had a key frame
    std::size_t m_FramesSinceAllKeys = 0;                          // of NextTemporalFrame
};

}  // namespace Nimb::Authoring
