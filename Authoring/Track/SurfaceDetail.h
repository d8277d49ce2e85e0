// What a deformation graph is too coarse for: how far each vertex is off its moved surface.
#pragma once

#include "Authoring/Track/TrackedSurface.h"

#include <array>
#include <vector>

namespace Nimb::Authoring {

/// What a frame says about a vertex: its offset in metres from where the graph has it at rest. With weight 0 nothing.
struct OffsetObservation {
    glm::dvec3 offset{0};
    double weight = 0;
};

struct DetailWeights {
    double smoothness = 1;  ///< of a difference between neighbours, next to an observation
    double inertia = 0.2;   ///< of a difference from the frame before, likewise
};

/// Offsets that follow what is observed, but smoothly over the surface and from frame to frame: noise of single
/// vertices is left out (a screened Poisson equation over the surface's edges, solved by conjugate gradients).
class DetailSolver {
public:
    explicit DetailSolver(const WeldedSurface& surface);

    /// In place: from those of the frame before to those of this frame.
    void Solve(const std::vector<OffsetObservation>& observed, const DetailWeights& weights, Points& offsets) const;

private:
    void Multiply(const std::vector<double>& diagonal, double smoothness, const Points& in, Points& out) const;

    std::vector<std::array<UINT32, 2>> m_Edges;
    std::vector<double> m_Degree;
};

}  // namespace Nimb::Authoring
