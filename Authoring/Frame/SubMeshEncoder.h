// The frames of one sub-mesh. Closed loop: every frame is decoded with the core's own decoders, and the next one is
// predicted from what they made of it.
#pragma once

#include "Authoring/Codec/TransformDeltas.h"
#include "Authoring/Frame/EncodedFrame.h"
#include "Authoring/Frame/FrameOptions.h"
#include "Authoring/Frame/Topology.h"
#include "NimbCore/NimbMeshReader.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Nimb::Authoring {

/// One sub-mesh as a reader knows it, and as the caller does. The first frame is a key frame. When a method throws, all
/// is as it was.
class SubMeshEncoder {
public:
    EncodedFrame KeyFrame(const Mesh& mesh, const KeyFrameOptions& options, bool mayBeStrips);
    EncodedFrame DeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options);

    /// A delta frame if the mesh has the faces and texture coordinates of the key frame, and the limit can be met.
    std::optional<EncodedFrame> TryDeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options);

    /// See FrameEncoder::LookAhead.
    void LookAhead(const Mesh& mesh);

    const std::vector<UINT32>& VertexOrder() const { return m_Key.topology.vertexOrder; }
    std::size_t FramesSinceKey() const { return m_FramesSinceKey; }

    /// Whether there was a frame since this was last asked: what a reader asks after every temporal frame.
    bool TakeIsInUse() { return std::exchange(m_IsInUse, false); }

private:
    /// The last key frame: its source, and how it was laid out.
    struct Key {
        std::vector<TarnMeshFace> faces;
        std::vector<Vec2> texCoords;
        TopologyChoice choice;
        Topology topology;
    };

    Topology TopologyOf(const Mesh& mesh, const TopologyChoice& choice) const;
    Mesh OrderedForDelta(const Mesh& mesh, const FrameOptions& options) const;
    EncodedFrame CommitDelta(const Mesh& ordered, const Box& box, const DeltaFrameOptions& options,
                             const DeltaSection& section);

    std::unique_ptr<Nimb::CNimbMeshReaderCtx> m_Ctx;
    TransformDeltaEncoder m_TransformDeltas;
    std::size_t m_FramesSinceKey = 0;
    bool m_IsInUse = false;
    Key m_Key;
};

}  // namespace Nimb::Authoring
