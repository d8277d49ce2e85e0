// Transform deltas (vertex version 5): delta frames of figures that move in parts. NimbCore/TransformDeltas.cpp reads
// them.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/DeltaVertices.h"
#include "Authoring/Codec/EqualVertices.h"
#include "Authoring/Codec/Mesh.h"
#include "Authoring/Codec/MotionParts.h"

#include <optional>
#include <vector>

namespace Nimb::Authoring {

struct TransformDeltaOptions {
    double maxError = 0.0005;  ///< largest distance of a decoded position from its target that is good enough
    UINT32 numTransforms = 0;  ///< largest number of transforms, 1 to 64; 0: whatever number makes the section smallest
};

/// One encoded frame.
struct TransformDeltaFrame {
    Bytes section;                           ///< without normals
    std::vector<Nimb::__vector4> positions;  ///< as decoded, before clamping to a box
    double maxError = 0;                     ///< largest distance of a decoded position from its target
    UINT32 numTransforms = 0;
    PartMap parts;  ///< of the vertices, as the decoder knows them after this frame
};

/// Encodes the delta frames of one sub-mesh in order. Learns from the frames that it sees which vertices move together,
/// and tells the decoder when it pays. Vertices that are decoded to one place at a key frame, and have one target in
/// every frame since, stay in one place. Belongs to one thread.
class TransformDeltaEncoder {
public:
    /// Call at every key frame: the decoder forgets the parts. What has been learned of the motion is kept while the
    /// vertex count stays the same, since a clip mostly repeats its topology.
    void Reset() {
        m_DecoderParts.clear();
        m_Places.reset();
    }

    /// Shows a pose of the clip in advance, so that parts are known from the first delta frame on. Optional.
    void Learn(const std::vector<Vec3>& positions);

    /// std::invalid_argument when there are no vertices, when the counts of history and targets differ, when `maxError`
    /// is not positive, or when a position is not finite or beyond 1e9; std::range_error when a correction is too large
    /// for the format at this `maxError`.
    ///
    /// 30,000 vertices take a few milliseconds; a tenth of a second when parts are looked for, which happens each time
    /// that the number of frames seen has doubled.
    TransformDeltaFrame Encode(const DeltaHistory& history, const std::vector<Vec3>& targets,
                               const TransformDeltaOptions& options);

    /// Tells that the frame that Encode returned last is the one that the decoder gets.
    void Accept(const TransformDeltaFrame& frame) { m_DecoderParts = frame.parts; }

private:
    void FindPlaces(const DeltaHistory& history, const std::vector<Vec3>& targets);
    std::vector<PartMap> Candidates(double tolerance, std::size_t maxParts) const;

    PartMap m_DecoderParts;
    std::optional<EqualVertices> m_Places;  // since the key frame
    PartMap m_LearnedParts;
    std::vector<std::vector<Vec3>> m_Poses;  // a sample of all seen, evenly spread over time
    std::size_t m_PosesSeen = 0;
    std::size_t m_PoseStride = 1;
    std::size_t m_NextSearch = 2;  // poses seen when looking for parts is next worth the time
};

}  // namespace Nimb::Authoring
