// Why a frame of a clip is a key frame: each costs as much as many delta frames.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>

namespace Nimb::Authoring {

struct KeyFrameReason {
    enum class Cause {
        First,        ///< of the clip
        Interval,     ///< the key frame interval is over
        NewTopology,  ///< it does not show the surface of the frame before
        ErrorLimit,   ///< no delta frame keeps the limit
    };

    Cause cause = Cause::First;

    // Of a new topology:
    std::size_t differing = 0;  ///< triangles without a counterpart in the frame before, or the other way round
    std::size_t faces = 0;      ///< of the frame's sub-mesh

    double Share() const {
        return static_cast<double>(differing) / static_cast<double>(std::max<std::size_t>(faces, 1));
    }
};

struct KeyFrameNote {
    std::size_t frame = 0;
    KeyFrameReason reason;
};

}  // namespace Nimb::Authoring
