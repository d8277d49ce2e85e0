// How far surfaces are apart, frame by frame.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <cstddef>

namespace Bench {

/// Metres, from the vertices and the middles of the triangles of each surface to the other one.
struct Gap {
    double mean = 0;
    double p95 = 0;
    double p99 = 0;
    double largest = 0;
};

/// Of each figure the larger of the two directions.
Gap GapBetween(const Nimb::Authoring::Mesh& a, const Nimb::Authoring::Mesh& b);

/// Over frames: means of all figures but the largest distance.
class Gaps {
public:
    void Add(const Gap& gap);
    Gap Mean() const;

private:
    Gap m_Sum;
    std::size_t m_Count = 0;
};

}  // namespace Bench
