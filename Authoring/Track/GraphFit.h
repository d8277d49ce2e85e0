// Moves a deformation graph so that its surface fits a frame's.
#pragma once

#include "Authoring/Track/DeformationGraph.h"

#include <memory>
#include <vector>

namespace Nimb::Authoring {

/// A point of the graph's surface that belongs onto a plane of the frame.
struct PlaneConstraint {
    std::size_t vertex = 0;  ///< of the surface: the point
    NodeInfluence influence;
    glm::dvec3 rest{0};    ///< the point, in the graph's rest pose
    glm::dvec3 place{0};   ///< a point of the plane, near which it should be
    glm::dvec3 normal{0};  ///< of the plane
    double weight = 1;
};

struct FitWeights {
    double stiffness = 1;   ///< of the graph's edges, next to a plane constraint
    double alongPlane = 0;  ///< share of a constraint's weight that holds the point along the plane, too
    double inertia = 0;     ///< holds each node at its place in the expected pose
};

/// Minimises the squared distances from the planes plus an as-rigid-as-possible term over the graph's edges (Sorkine,
/// Alexa 2007) by Gauss-Newton steps, each one sparse Cholesky factorisation. The pattern of the system is analysed
/// once for a graph. Belongs to one thread.
class GraphFit {
public:
    explicit GraphFit(const DeformationGraph& graph);
    ~GraphFit();
    GraphFit(const GraphFit&) = delete;
    GraphFit& operator=(const GraphFit&) = delete;

    /// One step. False when the system has no solution, which leaves the pose as it is.
    bool Step(const std::vector<PlaneConstraint>& constraints, const GraphPose& expected, const FitWeights& weights,
              GraphPose& pose);

private:
    class System;
    std::unique_ptr<System> m_System;
};

}  // namespace Nimb::Authoring
