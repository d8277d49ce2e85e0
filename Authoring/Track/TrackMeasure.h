// Whether a tracked surface still is the frame's.
#pragma once

#include "Authoring/Track/SurfaceTracker.h"
#include "Authoring/Track/TrackFrames.h"

namespace Nimb::Authoring {

/// See TrackQuality. `positions` are those of the key surface's vertices. All of it is looked at: vertices of both, and
/// the middles of triangles that became larger than they were, since a web between two limbs has no vertices.
TrackQuality MeasureTrack(const KeySurface& key, const Points& positions, const TargetSurface& target,
                          const TrackOptions& options);

}  // namespace Nimb::Authoring
