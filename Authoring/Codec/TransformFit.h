// Finding the transform that carries a part of a figure from one frame to the next.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "NimbCore/TransformDeltas.h"

#include <vector>

namespace Nimb::Authoring {

/// How precisely transforms are stored and what counts as a hit.
struct FitPrecision {
    double maxError;          ///< a prediction this close needs no correction
    double step;              ///< of corrections
    UINT32 translationShift;  ///< translations are whole multiples of step x 2^-translationShift
    double linearTolerance;   ///< displacement at the part's rim that one unit of the linear part may make
};

/// Vertices of one part, all of them or an even selection. There is at least one.
struct PartSamples {
    Nimb::__vector4 pivot{};
    std::vector<Nimb::__vector4> previous;
    std::vector<Nimb::__vector4> last;  ///< previous - older; zeros where there is no older frame
    std::vector<Vec3> targets;
    double verticesPerSample = 1;
};

struct FittedTransform {
    Nimb::TransformDeltas::Transform transform;
    double bits = 0;  ///< estimate for storing the transform and what it leaves to correct
};

/// Tries every kind of transform and every amount of extrapolation and returns what is cheapest. `hasOlder`: whether
/// there is any motion to extrapolate.
FittedTransform FitTransform(const PartSamples& samples, const FitPrecision& precision, bool hasOlder);

/// Estimated bits of a vertex's correction when its prediction is off by this distance, squared.
double CorrectionBits(double squaredDistance, const FitPrecision& precision);

}  // namespace Nimb::Authoring
