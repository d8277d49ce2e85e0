// Cutting a figure into parts that move as one, from poses that it has been seen in.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <vector>

namespace Nimb::Authoring {

/// The part of each vertex: at most 64 of them, numbered from 0 without gaps.
using PartMap = std::vector<BYTE>;

constexpr std::size_t c_MaxPartPoses = 9;

struct PartSearch {
    double tolerance;      ///< distance from a part's motion that is as good as none
    double runBits;        ///< what it costs, in bits over all poses, to change the part between neighbouring vertices
    std::size_t maxParts;  ///< 1 to 64
};

/// Finds parts whose vertices go from the first pose to each other one by an affine map. There are at least two poses
/// and at most c_MaxPartPoses, all of one vertex count, which is not zero. Returns a map of few parts and one of as
/// many as it found worth having; a single one when few suffice. Deterministic.
std::vector<PartMap> FindParts(const std::vector<const std::vector<Vec3>*>& poses, const PartSearch& search);

/// Renumbers so that no number is without a vertex.
void Compact(PartMap& parts);

}  // namespace Nimb::Authoring
