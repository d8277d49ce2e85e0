// The frames of one mesh segment, from the source to checked frame bytes.
#pragma once

#include "Authoring/Frame/FrameEncoder.h"
#include "Authoring/Scene/Atlas.h"
#include "Authoring/Scene/MatchRule.h"
#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/TrackedStretch.h"

#include <array>
#include <atomic>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// A sub-mesh of the clip and its place in the atlas.
struct PlacedSubMesh {
    std::size_t subMesh = 0;                               ///< its number in SubMeshSource
    std::optional<std::array<float, 6>> textureTransform;  ///< none: it is the only one, and frames are plain
};

struct SegmentOptions {
    MatchRule match = MatchRule::Surface;
    double surfaceLimit = 0;  ///< see ClipPlan
    CodingOptions coding;     ///< `maxError` is the limit for the sum of both errors
    std::size_t threads = 1;  ///< that load frames for one segment
};

/// A frame as it goes into the file.
struct SegmentFrame {
    EncodedFrame encoded;
    double surfaceError = 0;                  ///< no point of the source's surface, or of the decoded one, is further
                                              ///< from the other
    std::optional<KeyFrameReason> keyReason;  ///< of a key frame
};

/// Loads and encodes the frames of a segment, and decodes them again with a player's reader. Any number of threads may
/// each encode a segment. Returns early, with fewer frames, when `stop` is set.
///
/// `pTracked`: where the frames of a segment come from that has been tracked; null otherwise.
///
/// Throws InputError for frames that cannot be encoded, std::logic_error when a frame does not come back as it was or
/// misses the limit.
std::vector<SegmentFrame> EncodeMeshSegment(const SubMeshSource& source, const std::vector<PlacedSubMesh>& subMeshes,
                                            const MeshSegment& segment, const TrackedStretch* pTracked,
                                            const SegmentOptions& options, const std::atomic<bool>& stop);

}  // namespace Nimb::Authoring
