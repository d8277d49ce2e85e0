#include "Authoring/Track/DeformationGraph.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <queue>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// The vertices that each vertex shares an edge with.
class Neighbours {
public:
    explicit Neighbours(const WeldedSurface& surface) : m_Begin(surface.positions.size() + 1) {
        for (const TarnMeshFace& face : surface.faces) {
            for (const UINT32 v : face.v) {
                m_Begin[v + 1] += 2;
            }
        }
        for (std::size_t v = 1; v < m_Begin.size(); ++v) {
            m_Begin[v] += m_Begin[v - 1];
        }
        m_Vertices.resize(m_Begin.back());
        std::vector<std::size_t> end(m_Begin.begin(), m_Begin.end() - 1);
        for (const TarnMeshFace& face : surface.faces) {
            for (std::size_t i = 0; i < 3; ++i) {
                m_Vertices[end[face.v[i]]++] = face.v[(i + 1) % 3];
                m_Vertices[end[face.v[i]]++] = face.v[(i + 2) % 3];
            }
        }
    }

    const UINT32* begin(UINT32 v) const { return m_Vertices.data() + m_Begin[v]; }
    const UINT32* end(UINT32 v) const { return m_Vertices.data() + m_Begin[v + 1]; }

private:
    std::vector<std::size_t> m_Begin;
    std::vector<UINT32> m_Vertices;  // inner edges' ends occur twice
};

struct NodeDistance {
    UINT32 node;
    double distance;
};

/// Calls `reach` for all vertices within `radius` of `start` along the edges (Dijkstra).
template <class Reach>
void Walk(const WeldedSurface& surface, const Neighbours& neighbours, UINT32 start, double radius,
          std::vector<double>& distances, const Reach& reach) {
    using Step = std::pair<double, UINT32>;
    std::priority_queue<Step, std::vector<Step>, std::greater<>> next;
    std::vector<UINT32> touched{start};
    distances[start] = 0;
    next.push({0, start});
    while (!next.empty()) {
        const auto [distance, v] = next.top();
        next.pop();
        if (distance > distances[v]) {
            continue;
        }
        reach(v, distance);
        for (const UINT32* w = neighbours.begin(v); w != neighbours.end(v); ++w) {
            const double further = distance + glm::distance(surface.positions[v], surface.positions[*w]);
            if (further <= radius && further < distances[*w]) {
                distances[*w] = further;
                touched.push_back(*w);
                next.push({further, *w});
            }
        }
    }
    for (const UINT32 v : touched) {
        distances[v] = std::numeric_limits<double>::infinity();
    }
}

/// Nearer nodes weigh more; the one that is just not among them would weigh nothing (Sumner et al., equation 4).
NodeInfluence InfluenceOf(std::vector<NodeDistance> near, double furthest) {
    std::sort(near.begin(), near.end(), [](const NodeDistance& a, const NodeDistance& b) {
        return std::tie(a.distance, a.node) < std::tie(b.distance, b.node);
    });
    NodeInfluence influence;
    const double reach = near.size() > c_NodesOfVertex ? near[c_NodesOfVertex].distance : furthest;
    double sum = 0;
    for (std::size_t i = 0; i < std::min(near.size(), c_NodesOfVertex); ++i) {
        const double weight = 1 - near[i].distance / reach;
        influence.nodes[i] = near[i].node;
        influence.weights[i] = weight * weight;
        sum += influence.weights[i];
    }
    if (sum > 0) {
        for (double& weight : influence.weights) {
            weight /= sum;
        }
    } else {
        influence.weights[0] = 1;
    }
    for (std::size_t i = near.size(); i < c_NodesOfVertex; ++i) {
        influence.nodes[i] = influence.nodes[0];  // with weight 0
    }
    return influence;
}

}  // namespace

DeformationGraph::DeformationGraph(const WeldedSurface& surface, double spacing) : m_Spacing(spacing) {
    PlaceNodes(surface);
    std::vector<std::array<UINT32, 2>> edges;
    for (const NodeInfluence& influence : m_Influences) {
        for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
            for (std::size_t k = 0; k < c_NodesOfVertex; ++k) {
                if (influence.nodes[i] < influence.nodes[k]) {
                    edges.push_back({influence.nodes[i], influence.nodes[k]});
                }
            }
        }
    }
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    m_Edges = std::move(edges);
}

void DeformationGraph::PlaceNodes(const WeldedSurface& surface) {
    const Neighbours neighbours(surface);
    const double reach = 2.5 * m_Spacing;
    std::vector<double> distances(surface.positions.size(), std::numeric_limits<double>::infinity());
    std::vector<std::vector<NodeDistance>> near(surface.positions.size());
    std::vector<bool> isCovered(surface.positions.size());
    for (UINT32 v = 0; v < surface.positions.size(); ++v) {
        if (isCovered[v]) {
            continue;
        }
        const auto node = static_cast<UINT32>(m_Nodes.size());
        m_Nodes.push_back(surface.positions[v]);
        Walk(surface, neighbours, v, reach, distances, [&](UINT32 reached, double distance) {
            near[reached].push_back({node, distance});
            isCovered[reached] = isCovered[reached] || distance <= m_Spacing;
        });
    }
    m_Influences.reserve(near.size());
    for (std::vector<NodeDistance>& nodes : near) {
        m_Influences.push_back(InfluenceOf(std::move(nodes), reach));
    }
}

GraphPose DeformationGraph::Rest() const {
    GraphPose pose(m_Nodes.size());
    for (std::size_t i = 0; i < pose.size(); ++i) {
        pose[i].position = m_Nodes[i];
    }
    return pose;
}

glm::dvec3 DeformationGraph::Moved(const NodeInfluence& influence, const GraphPose& pose,
                                   const glm::dvec3& rest) const {
    glm::dvec3 moved(0);
    for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
        const UINT32 n = influence.nodes[i];
        moved += influence.weights[i] * (pose[n].rotation * (rest - m_Nodes[n]) + pose[n].position);
    }
    return moved;
}

}  // namespace Nimb::Authoring
