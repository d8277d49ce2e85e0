// Temporal frames, put together from the frames of their sub-meshes.
#pragma once

#include "Authoring/Frame/EncodedFrame.h"
#include "Authoring/Frame/FrameOptions.h"

#include <array>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// One sub-frame: the frame of a sub-mesh, and where its texture coordinates go.
struct PlacedFrame {
    EncodedFrame frame;
    std::optional<std::array<float, 6>> textureTransform;  ///< stored coefficients (see SolveTransform); none: identity
};

EncodedFrame AssembleTemporalFrame(const std::vector<PlacedFrame>& subFrames, const FrameOptions& options);

}  // namespace Nimb::Authoring
