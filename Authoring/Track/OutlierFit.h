// The last step of a fit: vertices that are still far off.
#pragma once

#include "Authoring/Track/SurfaceTracker.h"

namespace Nimb::Authoring {

/// Moves vertices of a key's surface that are far from a frame's, and those of which the frame's vertices are far, to
/// where they are nearest, with little care for smoothness: hems and fingertips, whose normals say nothing, and webs
/// between what touched in the key frame, which then lie on the one or the other side. What is so far off that it is
/// lost stays where it is, and so does what is inside the frame's surface or at the rim of a hole. `positions`: of the
/// key surface's vertices, metres. `closest`: a tree of the key's faces, to be moved along.
void FitOutliers(const KeySurface& key, const TargetSurface& target, ClosestPoint& closest, Points& positions);

}  // namespace Nimb::Authoring
