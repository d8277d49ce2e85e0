#include "Authoring/Track/SurfaceDetail.h"

#include <glm/geometric.hpp>

namespace Nimb::Authoring {
namespace {

constexpr int c_MostSteps = 40;
constexpr double c_Enough = 1e-4;  // of the first residual's length

double Dot(const Points& a, const Points& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += glm::dot(a[i], b[i]);
    }
    return sum;
}

}  // namespace

DetailSolver::DetailSolver(const WeldedSurface& surface) : m_Degree(surface.positions.size()) {
    ForEachEdge(SortedEdges(surface.faces), [this](const FaceEdge* edge, const FaceEdge*) {
        m_Edges.push_back({edge->from, edge->to});
    });
    for (const auto& [a, b] : m_Edges) {
        ++m_Degree[a];
        ++m_Degree[b];
    }
}

void DetailSolver::Multiply(const std::vector<double>& diagonal, double smoothness, const Points& in,
                            Points& out) const {
    for (std::size_t v = 0; v < in.size(); ++v) {
        out[v] = diagonal[v] * in[v];
    }
    for (const auto& [a, b] : m_Edges) {
        out[a] -= smoothness * in[b];
        out[b] -= smoothness * in[a];
    }
}

void DetailSolver::Solve(const std::vector<OffsetObservation>& observed, const DetailWeights& weights,
                         Points& offsets) const {
    const std::size_t count = offsets.size();
    std::vector<double> diagonal(count);
    Points residual(count), scaled(count), direction, product(count);
    for (std::size_t v = 0; v < count; ++v) {
        diagonal[v] = observed[v].weight + weights.inertia + weights.smoothness * m_Degree[v];
        residual[v] = observed[v].weight * observed[v].offset + weights.inertia * offsets[v];
    }
    Multiply(diagonal, weights.smoothness, offsets, product);
    for (std::size_t v = 0; v < count; ++v) {
        residual[v] -= product[v];
        scaled[v] = residual[v] / diagonal[v];
    }
    direction = scaled;
    double length = Dot(residual, scaled);
    const double enough = length * c_Enough * c_Enough;
    for (int i = 0; i < c_MostSteps && length > enough; ++i) {
        Multiply(diagonal, weights.smoothness, direction, product);
        const double step = length / Dot(direction, product);
        for (std::size_t v = 0; v < count; ++v) {
            offsets[v] += step * direction[v];
            residual[v] -= step * product[v];
            scaled[v] = residual[v] / diagonal[v];
        }
        const double before = length;
        length = Dot(residual, scaled);
        for (std::size_t v = 0; v < count; ++v) {
            direction[v] = scaled[v] + length / before * direction[v];
        }
    }
}

}  // namespace Nimb::Authoring
