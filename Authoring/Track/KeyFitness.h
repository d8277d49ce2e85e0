// How well a frame's surface serves as that of a run.
#pragma once

#include "Authoring/Track/TrackedSurface.h"

namespace Nimb::Authoring {

/// Twice the number of components less twice the number of their handles, with holes closed; components with less than
/// a hundredth of the faces do not count. A hand that touches the hip makes a handle, two people who touch are one
/// component: of two frames, the one with the larger number shows more of the surface apart.
int Apartness(const WeldedSurface& surface);

/// Metres: of the edges at which two faces make a valley of less than 120 degrees. That is where what touches is grown
/// together, and where a skirt is about to touch a knee; what parts there later drags a web behind it.
double CreaseLength(const WeldedSurface& surface);

/// The larger, the more of a surface can be followed from its frame to others: what is apart can be followed until it
/// touches, but not from there until it parts. In units of Apartness, whatever the size of the surface.
double KeyFitness(const WeldedSurface& surface);

}  // namespace Nimb::Authoring
