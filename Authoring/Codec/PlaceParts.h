// One part for all vertices of one place.
//
// Vertices that share a place, as on both sides of a chart's border, have to share it when decoded, or the surface
// shows a crack there. A prediction is a function of a vertex's history and of its part, and a correction one of the
// prediction and the target. So vertices that start in one place and have always had the same part and the same targets
// are decoded to the same bits.
#pragma once

#include "Authoring/Codec/EqualVertices.h"
#include "Authoring/Codec/MotionParts.h"

namespace Nimb::Authoring {

/// The parts, changed so that vertices of one place have the same one: of those that they have, the one that their
/// neighbours in the vertex order have most, which keeps runs of a part long. Numbered without gaps.
PartMap OnePartAPlace(const PartMap& parts, const EqualVertices& places);

}  // namespace Nimb::Authoring
