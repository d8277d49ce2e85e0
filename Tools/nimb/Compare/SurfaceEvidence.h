// What is wrong with a surface when it is not where it should be: all of it is shifted, or some of it is missing.
#pragma once

#include "Authoring/Surface/SurfaceComparison.h"

#include <glm/vec3.hpp>

#include <algorithm>

namespace Nimb::Tool {

/// The one shift that would bring the clip's surface nearest to the source's: the point-to-plane step of Chen and
/// Medioni 1992, over samples that are not much further away than most.
struct SurfaceShift {
    glm::dvec3 offset{0};  ///< of the clip against the source, metres
    double before = 0;     ///< root mean square of the distance to the tangent planes, metres
    double after = 0;      ///< what would be left of it without the shift

    /// The shift is above the noise and explains most of the distance. `peak`: as SurfaceComparison has it.
    bool IsFault(double peak) const;
};

SurfaceShift FindShift(const Authoring::SurfaceComparison& comparison);

/// What of one surface has no counterpart near it.
struct LonePart {
    double share = 0;  ///< of the surface's area
    double reach = 0;  ///< the largest distance, metres
    glm::dvec3 centre{0};
};

struct LoneParts {
    LonePart missing;  ///< of the source
    LonePart extra;    ///< of the clip

    bool IsMissing() const { return missing.share >= c_LeastShare && extra.share < missing.share / 4; }
    bool IsExtra() const { return extra.share >= c_LeastShare && missing.share < extra.share / 4; }
    bool IsMisplaced() const {
        return !IsMissing() && !IsExtra() && std::max(missing.share, extra.share) >= c_LeastShare;
    }

    static constexpr double c_LeastShare = 0.001;
};

/// Counts what is further away than a hundredth of the source's size.
LoneParts FindLoneParts(const Authoring::SurfaceComparison& comparison);

}  // namespace Nimb::Tool
