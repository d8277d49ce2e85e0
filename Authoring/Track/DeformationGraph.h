// A surface's motion as that of some hundred nodes spread over it, each with a rotation and a place: an embedded
// deformation graph (Sumner, Schmid, Pauly: "Embedded Deformation for Shape Manipulation", 2007).
#pragma once

#include "Authoring/Track/TrackedSurface.h"

#include <glm/mat3x3.hpp>

#include <array>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

constexpr std::size_t c_NodesOfVertex = 4;

/// Which nodes move a vertex; weights add up to 1. Where a component has fewer nodes, the rest have weight 0.
struct NodeInfluence {
    std::array<UINT32, c_NodesOfVertex> nodes{};
    std::array<double, c_NodesOfVertex> weights{};
};

/// Where a node is and how it is turned against the surface that the graph was made of.
struct NodePose {
    glm::dmat3 rotation{1};
    glm::dvec3 position{0};
};
using GraphPose = std::vector<NodePose>;

/// Neighbourhood is along the surface's edges: parts that are near each other without being joined do not share nodes.
class DeformationGraph {
public:
    /// Nodes are at most about `spacing` apart along the surface. O(vertices x nodes around one).
    DeformationGraph(const WeldedSurface& surface, double spacing);

    double Spacing() const { return m_Spacing; }
    const Points& Nodes() const { return m_Nodes; }
    const std::vector<NodeInfluence>& Influences() const { return m_Influences; }

    /// Pairs of nodes that move a vertex together, smaller number first, ascending.
    const std::vector<std::array<UINT32, 2>>& Edges() const { return m_Edges; }

    /// As it was made.
    GraphPose Rest() const;

    /// Where a point goes that rested at `rest` and has these influences.
    glm::dvec3 Moved(const NodeInfluence& influence, const GraphPose& pose, const glm::dvec3& rest) const;

private:
    void PlaceNodes(const WeldedSurface& surface);

    double m_Spacing;
    Points m_Nodes;
    std::vector<NodeInfluence> m_Influences;
    std::vector<std::array<UINT32, 2>> m_Edges;
};

}  // namespace Nimb::Authoring
