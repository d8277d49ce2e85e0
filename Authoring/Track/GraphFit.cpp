#include "Authoring/Track/GraphFit.h"

#include <Eigen/Sparse>
#include <glm/geometric.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace Nimb::Authoring {
namespace {

constexpr int c_Unknowns = 6;  // of a node: a small turn, then a shift

constexpr int c_MostIterations = 12;
constexpr double c_EnoughOfResidual = 1e-3;

using Block = Eigen::Matrix<double, c_Unknowns, c_Unknowns>;
using Row = Eigen::Matrix<double, 1, c_Unknowns>;
using Rows = Eigen::Matrix<double, 3, c_Unknowns>;

Eigen::Vector3d VectorOfEigen(const glm::dvec3& v) {
    return {v.x, v.y, v.z};
}

/// How a point moves with a node that turns and shifts, when it is at `arm` from the node.
Rows MotionAt(const glm::dvec3& arm) {
    Rows rows;
    rows << 0, arm.z, -arm.y, 1, 0, 0,  //
        -arm.z, 0, arm.x, 0, 1, 0,      //
        arm.y, -arm.x, 0, 0, 0, 1;
    return rows;
}

glm::dmat3 Turn(const glm::dvec3& turn) {
    const double angle = glm::length(turn);
    if (angle < 1e-12) {
        return glm::dmat3(1);
    }
    // Rodrigues' formula.
    const glm::dvec3 a = turn / angle;
    const glm::dmat3 cross(0, a.z, -a.y, -a.z, 0, a.x, a.y, -a.x, 0);
    return glm::dmat3(1) + std::sin(angle) * cross + (1 - std::cos(angle)) * (cross * cross);
}

/// Keeps what rounding makes of a product of rotations a rotation (Gram-Schmidt).
glm::dmat3 Orthonormal(const glm::dmat3& m) {
    const glm::dvec3 x = glm::normalize(m[0]);
    const glm::dvec3 y = glm::normalize(m[1] - glm::dot(m[1], x) * x);
    return {x, y, glm::cross(x, y)};
}

}  // namespace

/// The normal equations: a block for each node and for each edge of the graph, the lower triangle alone.
class GraphFit::System {
public:
    explicit System(const DeformationGraph& graph) : m_Graph(graph), m_Nodes(graph.Nodes().size()) {
        m_Blocks.resize(m_Nodes + graph.Edges().size());
        m_Gradient.resize(static_cast<Eigen::Index>(m_Nodes * c_Unknowns));
        m_FirstEdge.assign(m_Nodes + 1, graph.Edges().size());
        for (std::size_t e = graph.Edges().size(); e-- > 0;) {
            m_FirstEdge[graph.Edges()[e][0]] = e;
        }
        for (std::size_t n = m_Nodes; n-- > 0;) {
            m_FirstEdge[n] = std::min(m_FirstEdge[n], m_FirstEdge[n + 1]);
        }
        MakePattern();
    }

    void Clear() {
        for (Block& block : m_Blocks) {
            block.setZero();
        }
        m_Gradient.setZero();
    }

    void Add(const PlaneConstraint& constraint, double alongPlane, const GraphPose& pose) {
        const NodeInfluence& influence = constraint.influence;
        std::array<glm::dvec3, c_NodesOfVertex> arms;
        glm::dvec3 at(0);
        for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
            const UINT32 n = influence.nodes[i];
            arms[i] = pose[n].rotation * (constraint.rest - m_Graph.Nodes()[n]);
            at += influence.weights[i] * (arms[i] + pose[n].position);
        }
        const glm::dvec3 offset = at - constraint.place;
        AddRow(influence, arms, constraint.normal, glm::dot(constraint.normal, offset), constraint.weight);
        if (alongPlane > 0) {
            for (glm::length_t axis = 0; axis < 3; ++axis) {
                glm::dvec3 direction(0);
                direction[axis] = 1;
                AddRow(influence, arms, direction, offset[axis], constraint.weight * alongPlane);
            }
        }
    }

    /// Each end of an edge is where the other end's turn would have it.
    void AddEdges(const GraphPose& pose, double weight) {
        for (std::size_t e = 0; e < m_Graph.Edges().size(); ++e) {
            const auto [a, b] = m_Graph.Edges()[e];
            AddEdge(e, a, b, pose, weight);
            AddEdge(e, b, a, pose, weight);
        }
    }

    void AddInertia(const GraphPose& expected, const GraphPose& pose, double weight) {
        for (std::size_t n = 0; n < m_Nodes; ++n) {
            Block& block = m_Blocks[n];
            block.diagonal().tail<3>().array() += weight;
            Gradient(n).tail<3>() += weight * VectorOfEigen(pose[n].position - expected[n].position);
            // Turns that nothing else holds; small next to an edge of the graph.
            block.diagonal().head<3>().array() += 1e-3 * weight * m_Graph.Spacing() * m_Graph.Spacing();
        }
    }

    bool Solve(GraphPose& pose) {
        FillIn();
        Eigen::VectorXd step;
        if (!SolveWithOldFactor(step)) {
            m_Solver.factorize(m_Matrix);
            m_HasFactor = m_Solver.info() == Eigen::Success;
            if (!m_HasFactor) {
                return false;
            }
            step = m_Solver.solve(-m_Gradient);
        }
        if (!step.allFinite()) {
            return false;
        }
        for (std::size_t n = 0; n < m_Nodes; ++n) {
            const auto s = step.segment<c_Unknowns>(static_cast<Eigen::Index>(n) * c_Unknowns);
            pose[n].rotation = Orthonormal(Turn({s[0], s[1], s[2]}) * pose[n].rotation);
            pose[n].position += glm::dvec3(s[3], s[4], s[5]);
        }
        return true;
    }

private:
    /// Conjugate gradients with the factor of a matrix like this one, from a step or a frame before, as preconditioner:
    /// some steps of it cost a quarter of a factorisation. False when that factor no longer helps.
    bool SolveWithOldFactor(Eigen::VectorXd& step) const {
        if (!m_HasFactor) {
            return false;
        }
        step.setZero(m_Gradient.size());
        Eigen::VectorXd residual = -m_Gradient;
        Eigen::VectorXd scaled = m_Solver.solve(residual);
        Eigen::VectorXd direction = scaled;
        double length = residual.dot(scaled);
        const double enough = length * c_EnoughOfResidual * c_EnoughOfResidual;
        for (int i = 0; i < c_MostIterations; ++i) {
            const Eigen::VectorXd product = m_Matrix.selfadjointView<Eigen::Lower>() * direction;
            const double along = length / direction.dot(product);
            step += along * direction;
            residual -= along * product;
            scaled = m_Solver.solve(residual);
            const double before = length;
            length = residual.dot(scaled);
            if (length <= enough) {
                return true;
            }
            direction = scaled + length / before * direction;
        }
        return false;
    }

    Eigen::VectorBlock<Eigen::VectorXd, c_Unknowns> Gradient(std::size_t node) {
        return m_Gradient.segment<c_Unknowns>(static_cast<Eigen::Index>(node) * c_Unknowns);
    }

    std::size_t EdgeBlock(UINT32 a, UINT32 b) const {
        const auto begin = m_Graph.Edges().begin();
        const auto found =
            std::lower_bound(begin + static_cast<std::ptrdiff_t>(m_FirstEdge[a]),
                             begin + static_cast<std::ptrdiff_t>(m_FirstEdge[a + 1]), std::array<UINT32, 2>{a, b});
        return m_Nodes + static_cast<std::size_t>(found - begin);
    }

    void AddRow(const NodeInfluence& influence, const std::array<glm::dvec3, c_NodesOfVertex>& arms,
                const glm::dvec3& direction, double residual, double weight) {
        std::array<Row, c_NodesOfVertex> rows;
        for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
            const double w = influence.weights[i];
            const glm::dvec3 turn = w * glm::cross(arms[i], direction);
            rows[i] << turn.x, turn.y, turn.z, w * direction.x, w * direction.y, w * direction.z;
        }
        for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
            if (influence.weights[i] <= 0) {
                continue;
            }
            const UINT32 n = influence.nodes[i];
            m_Blocks[n].noalias() += weight * rows[i].transpose() * rows[i];
            Gradient(n) += weight * residual * rows[i].transpose();
            for (std::size_t k = 0; k < c_NodesOfVertex; ++k) {
                // The block of an edge has the rows of the node with the larger number.
                if (influence.nodes[k] > n && influence.weights[k] > 0) {
                    m_Blocks[EdgeBlock(n, influence.nodes[k])].noalias() += weight * rows[k].transpose() * rows[i];
                }
            }
        }
    }

    void AddEdge(std::size_t edge, UINT32 from, UINT32 to, const GraphPose& pose, double weight) {
        const glm::dvec3 arm = pose[from].rotation * (m_Graph.Nodes()[to] - m_Graph.Nodes()[from]);
        const Rows motion = MotionAt(arm);
        const Eigen::Vector3d residual = VectorOfEigen(arm + pose[from].position - pose[to].position);
        m_Blocks[from].noalias() += weight * motion.transpose() * motion;
        m_Blocks[to].diagonal().tail<3>().array() += weight;
        Gradient(from) += weight * motion.transpose() * residual;
        Gradient(to).tail<3>() -= weight * residual;
        Block& between = m_Blocks[m_Nodes + edge];
        if (to > from) {
            between.bottomRows<3>() -= weight * motion;
        } else {
            between.rightCols<3>() -= weight * motion.transpose();
        }
    }

    /// Calls `visit` with the block and the rows and columns of each entry, column by column.
    template <class Visit>
    void VisitEntries(const Visit& visit) const {
        for (std::size_t n = 0; n < m_Nodes; ++n) {
            for (int c = 0; c < c_Unknowns; ++c) {
                for (int r = c; r < c_Unknowns; ++r) {
                    visit(n, n, n, r, c);
                }
                for (std::size_t e = m_FirstEdge[n]; e < m_FirstEdge[n + 1]; ++e) {
                    for (int r = 0; r < c_Unknowns; ++r) {
                        visit(m_Nodes + e, m_Graph.Edges()[e][1], n, r, c);
                    }
                }
            }
        }
    }

    void MakePattern() {
        std::vector<Eigen::Triplet<double>> entries;
        VisitEntries([&entries](std::size_t, std::size_t row, std::size_t column, int r, int c) {
            entries.emplace_back(static_cast<int>(row) * c_Unknowns + r, static_cast<int>(column) * c_Unknowns + c, 1);
        });
        const auto size = static_cast<Eigen::Index>(m_Nodes * c_Unknowns);
        m_Matrix.resize(size, size);
        m_Matrix.setFromTriplets(entries.begin(), entries.end());
        m_Solver.analyzePattern(m_Matrix);
    }

    void FillIn() {
        double* value = m_Matrix.valuePtr();
        VisitEntries([this, &value](std::size_t block, std::size_t, std::size_t, int r, int c) {
            *value++ = m_Blocks[block](r, c);
        });
    }

    const DeformationGraph& m_Graph;
    const std::size_t m_Nodes;
    std::vector<Block, Eigen::aligned_allocator<Block>> m_Blocks;  // of the nodes, then of the edges
    std::vector<std::size_t> m_FirstEdge;                          // by the node with the smaller number
    Eigen::VectorXd m_Gradient;
    Eigen::SparseMatrix<double> m_Matrix;
    Eigen::SimplicialLLT<Eigen::SparseMatrix<double>, Eigen::Lower> m_Solver;
    bool m_HasFactor = false;
};

GraphFit::GraphFit(const DeformationGraph& graph) : m_System(std::make_unique<System>(graph)) {}

GraphFit::~GraphFit() = default;

bool GraphFit::Step(const std::vector<PlaneConstraint>& constraints, const GraphPose& expected,
                    const FitWeights& weights, GraphPose& pose) {
    m_System->Clear();
    for (const PlaneConstraint& constraint : constraints) {
        m_System->Add(constraint, weights.alongPlane, pose);
    }
    m_System->AddEdges(pose, weights.stiffness);
    m_System->AddInertia(expected, pose, weights.inertia);
    return m_System->Solve(pose);
}

}  // namespace Nimb::Authoring
