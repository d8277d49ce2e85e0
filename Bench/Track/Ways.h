// What becomes of a capture in a clip: as it is, tracked, and with Draco. Each way hands out what a player shows.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <cstddef>
#include <vector>

namespace Bench {

struct Outcome {
    double bytes = 0;                            ///< mean of a frame, meshes alone
    std::vector<Nimb::Authoring::Mesh> decoded;  ///< of each frame
    std::vector<std::size_t> runs;               ///< their lengths, in order
    double seconds = 0;                          ///< of processor time a frame, for tracking alone
    double megabytes = 0;                        ///< likewise, the most memory above that of the frames
};

/// Every frame a key frame: what `nimb encode` makes of frames that share no topology.
Outcome EncodeUntracked(const std::vector<Nimb::Authoring::Mesh>& capture);

/// In runs of one topology. `maxError`: of coding, in metres.
Outcome EncodeTracked(const std::vector<Nimb::Authoring::Mesh>& capture, double maxError);

/// Positions are multiples of `step` metres.
Outcome EncodeAllWithDraco(const std::vector<Nimb::Authoring::Mesh>& capture, double step);

}  // namespace Bench
