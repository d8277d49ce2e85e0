// Why a frame of a clip is a key frame: each costs as much as many delta frames.
#pragma once

#include "Authoring/Scene/FaceDifference.h"
#include "Authoring/Track/TrackFrames.h"

#include <cstddef>

namespace Nimb::Authoring {

struct KeyFrameReason {
    enum class Cause {
        First,        ///< of the clip
        Interval,     ///< the key frame interval is over
        NewTopology,  ///< it does not show the surface of the frame before
        ErrorLimit,   ///< no delta frame keeps the limit
        TrackLost,    ///< the topology before it cannot be put onto its surface
    };

    Cause cause = Cause::First;

    FaceDifference difference;  ///< of a new topology, from the frame before: in the sub-mesh with the smallest share

    TrackQuality lost;  ///< where the track is lost: of the surface before, in this frame, or the other way round
};

struct KeyFrameNote {
    std::size_t frame = 0;
    KeyFrameReason reason;
};

}  // namespace Nimb::Authoring
