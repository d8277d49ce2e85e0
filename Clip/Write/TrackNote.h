// What tracking made of a frame whose source has a topology of its own.
#pragma once

#include "Authoring/Track/TrackFrames.h"

#include <cstddef>

namespace Nimb::Authoring {

struct TrackNote {
    std::size_t frame = 0;    ///< of the clip
    bool beginsRun = false;   ///< it does not go on with the topology of the frame before
    TrackQuality distance;    ///< of the tracked surface and the source's
    double lumaError = 0;     ///< of the baked textures: mean squared, 0 to 255^2; see SquaredLumaError
    double unseenTexels = 0;  ///< likewise: the share of texels that see nothing of the source, 0 to 1
};

}  // namespace Nimb::Authoring
