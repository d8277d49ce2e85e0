// Whole mesh frames: key frames, delta frames and temporal frames of a clip, in the order in which they are played.
//
// Closed loop: every frame is decoded with the core's own decoders, and the next one is predicted from what they made
// of it, so that errors never add up over time.
#pragma once

#include "Authoring/ByteWriter.h"
#include "Authoring/FrameOptions.h"
#include "Authoring/Mesh.h"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace Authoring {

struct EncodedFrame {
    Bytes bytes;
    double maxError = 0;  ///< largest distance of a decoded position from its target
    bool isKeyFrame = false;
    BYTE vertexVersion = 0;  ///< as the header has it
    Box box;                 ///< likewise
    UINT32 numVertices = 0;  ///< of the decoded mesh
    UINT32 numIndices = 0;   ///< likewise
};

/// One sub-mesh of a temporal frame: a key frame, or a delta frame when `delta` is set. Each needs a sub-mesh id of its
/// own and no strips.
struct SubFrame {
    const Mesh* mesh = nullptr;
    KeyFrameOptions key;
    std::optional<DeltaFrameOptions> delta;         ///< its own subMeshId counts
    std::optional<std::array<float, 6>> transform;  ///< stored coefficients (see SolveTransform); none: identity
};

/// How NextFrame chooses.
struct ClipOptions {
    KeyFrameOptions key;
    double maxError = 0;                ///< limit for delta frames; key frames have the error of 16-bit quantisation
    std::size_t keyFrameInterval = 30;  ///< at most so many frames from one key frame to the next; 0: no limit
};

struct DeltaSection;

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

    /// A delta frame in the smallest coding where one meets the limit and the interval permits, otherwise a key frame.
    EncodedFrame NextFrame(const Mesh& mesh, const ClipOptions& options);

    /// Decoded vertex i of a sub-mesh is vertex VertexOrder()[i] of the mesh that its last key frame was made from.
    /// std::invalid_argument when it has had none.
    const std::vector<UINT32>& VertexOrder(UINT32 subMeshId = 0) const;

private:
    struct SubMeshState;

    SubMeshState& StateOf(UINT32 subMeshId) const;
    static Mesh OrderedForDelta(const SubMeshState& state, const Mesh& mesh, const FrameOptions& options);
    static EncodedFrame CommitDelta(SubMeshState& state, const Mesh& ordered, const Box& box,
                                    const DeltaFrameOptions& options, const DeltaSection& section);
    void SweepStates();

    std::map<INT32, std::unique_ptr<SubMeshState>> m_States;
};

}  // namespace Authoring
