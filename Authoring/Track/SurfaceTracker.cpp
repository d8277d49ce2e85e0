#include "Authoring/Track/SurfaceTracker.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Nimb::Authoring {
namespace {

// On a standing person a node for each patch of the size of a palm; less would bend arms as one. On a coarse mesh there
// is nothing to be gained by as many nodes as vertices.
constexpr double c_MostNodes = 700;
constexpr double c_VerticesOfNode = 10;

// What a fit does, stiff and far-reaching first. `reach`: of a correspondence, in node spacings.
struct Level {
    double stiffness;
    double reach;
    std::size_t stride;  // every n-th vertex
    int steps;
};
constexpr Level c_Levels[] = {{300, 2.0, 8, 2}, {60, 1.0, 8, 2}, {12, 0.5, 4, 2}, {4, 0.25, 4, 1}};

constexpr double c_LeastAgreement = 0.5;  // cosine between the normals of a point and of what it is taken for
constexpr double c_AlongPlane = 0.05;
constexpr double c_Inertia = 0.02;
constexpr std::size_t c_MisfitSamples = 800;

double SpacingFor(const WeldedSurface& surface) {
    const double nodes = std::min(c_MostNodes, static_cast<double>(surface.positions.size()) / c_VerticesOfNode);
    return std::sqrt(SurfaceArea(surface.positions, surface.faces) / nodes);
}

/// Where a motion goes on as it came.
GraphPose Extrapolated(const GraphPose& before, const GraphPose& last) {
    GraphPose next(last.size());
    for (std::size_t i = 0; i < last.size(); ++i) {
        next[i].rotation = last[i].rotation * glm::transpose(before[i].rotation) * last[i].rotation;
        next[i].position = 2.0 * last[i].position - before[i].position;
    }
    return next;
}

/// Tukey's weight: from 1 to 0 at the limit.
double RobustWeight(double distance, double limit) {
    const double share = std::min(distance / limit, 1.0);
    return (1 - share * share) * (1 - share * share);
}

std::vector<Vec3> PlainOf(const Points& points) {
    std::vector<Vec3> out;
    out.reserve(points.size());
    for (const glm::dvec3& p : points) {
        out.push_back({static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
    }
    return out;
}

}  // namespace

KeySurface::KeySurface(const Mesh& mesh)
    : surface(WeldByPlace(mesh)),
      normals(VertexNormals(surface.positions, surface.faces)),
      boundary(BoundaryEdges(surface.faces)),
      graph(surface, SpacingFor(surface)),
      detail(surface) {}

SurfaceTracker::SurfaceTracker(const KeySurface& key)
    : m_Key(key), m_Pose(key.graph.Rest()), m_Before(m_Pose), m_Offsets(key.surface.positions.size()) {
    for (std::size_t i = 0; i < std::size(c_Levels); ++i) {
        m_Fits.push_back(std::make_unique<GraphFit>(key.graph));
    }
}

glm::dvec3 SurfaceTracker::RestOf(std::size_t vertex) const {
    return m_Key.surface.positions[vertex] + m_Offsets[vertex] * m_Key.normals[vertex];
}

glm::dvec3 SurfaceTracker::Moved(std::size_t vertex) const {
    return m_Key.graph.Moved(m_Key.graph.Influences()[vertex], m_Pose, RestOf(vertex));
}

glm::dvec3 SurfaceTracker::NormalOf(std::size_t vertex, const GraphPose& pose) const {
    const NodeInfluence& influence = m_Key.graph.Influences()[vertex];
    glm::dvec3 normal(0);
    for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
        normal += influence.weights[i] * (pose[influence.nodes[i]].rotation * m_Key.normals[vertex]);
    }
    const double length = glm::length(normal);
    return length > 0 ? normal / length : normal;
}

double SurfaceTracker::Misfit(const TargetSurface& target, const GraphPose& pose) const {
    const double reach = 2 * m_Key.graph.Spacing();
    const std::size_t count = m_Key.surface.positions.size();
    double sum = 0;
    for (std::size_t v = 0; v < count; v += std::max<std::size_t>(count / c_MisfitSamples, 1)) {
        const TargetSurface::Match match =
            target.Facing(m_Key.graph.Moved(m_Key.graph.Influences()[v], pose, RestOf(v)), NormalOf(v, pose), reach);
        sum += match.isFound ? match.distance * match.distance : reach * reach;
    }
    return sum;
}

void SurfaceTracker::Predict(const TargetSurface& target) {
    m_Expected = Extrapolated(m_Before, m_Pose);
    if (Misfit(target, m_Pose) < Misfit(target, m_Expected)) {
        m_Expected = m_Pose;
    }
    m_Before = std::move(m_Pose);
    m_Pose = m_Expected;
}

void SurfaceTracker::AddForward(const TargetSurface& target, double reach, std::size_t stride,
                                std::vector<PlaneConstraint>& constraints) const {
    for (std::size_t v = 0; v < m_Key.surface.positions.size(); v += stride) {
        const glm::dvec3 normal = NormalOf(v, m_Pose);
        const TargetSurface::Match match = target.Facing(Moved(v), normal, reach);
        if (match.isFound && !match.isBoundary && glm::dot(normal, match.normal) >= c_LeastAgreement) {
            constraints.push_back({m_Key.graph.Influences()[v], RestOf(v), match.position, match.normal,
                                   RobustWeight(match.distance, reach)});
        }
    }
}

void SurfaceTracker::AddReverse(const TargetSurface& target, double reach, std::size_t stride,
                                std::vector<PlaneConstraint>& constraints) const {
    Points moved(m_Key.surface.positions.size());
    for (std::size_t v = 0; v < moved.size(); ++v) {
        moved[v] = Moved(v);
    }
    const ClosestPoint closest(PlainOf(moved), m_Key.surface.faces);
    const Points& places = target.Surface().positions;
    for (std::size_t v = 0; v < places.size(); v += stride) {
        const glm::dvec3& normal = target.Normals()[v];
        const SurfacePoint found = closest.Facing(places[v], normal, reach);
        if (!found) {
            continue;
        }
        // The corner that is nearest stands for the point: it has to move as the point should.
        glm::length_t corner = found.weights[0] > found.weights[1] ? 0 : 1;
        corner = found.weights[2] > found.weights[corner] ? 2 : corner;
        const UINT32 vertex = m_Key.surface.faces[found.face].v[corner];
        if (glm::dot(normal, NormalOf(vertex, m_Pose)) >= c_LeastAgreement) {
            constraints.push_back({m_Key.graph.Influences()[vertex], RestOf(vertex),
                                   moved[vertex] + places[v] - found.position, normal,
                                   RobustWeight(std::sqrt(found.squaredDistance), reach)});
        }
    }
}

FittedFrame SurfaceTracker::Next(const TargetSurface& target) {
    Predict(target);
    const std::size_t count = m_Key.surface.positions.size();
    for (std::size_t i = 0; i < std::size(c_Levels); ++i) {
        const Level& level = c_Levels[i];
        const double reach = level.reach * m_Key.graph.Spacing();
        std::vector<PlaneConstraint> reverse;  // for all steps of the level, as a tree has to be made for it
        AddReverse(target, reach, level.stride, reverse);
        for (int step = 0; step < level.steps; ++step) {
            std::vector<PlaneConstraint> constraints = reverse;
            AddForward(target, reach, level.stride, constraints);
            // Stiffness next to the constraints of a node, whose number depends on the frames' vertices.
            const double share = static_cast<double>(constraints.size()) / static_cast<double>(m_Pose.size()) / 20;
            m_Fits[i]->Step(constraints, m_Expected, {level.stiffness * share, c_AlongPlane, c_Inertia * share},
                            m_Pose);
        }
    }
    FittedFrame fitted;
    fitted.positions.resize(count);
    fitted.normals.resize(count);
    FitDetail(target, fitted);
    return fitted;
}

void SurfaceTracker::FitDetail(const TargetSurface& target, FittedFrame& fitted) {
    const std::size_t count = m_Key.surface.positions.size();
    const double reach = 0.25 * m_Key.graph.Spacing();
    std::vector<OffsetObservation> observed(count);
    for (std::size_t v = 0; v < count; ++v) {
        const glm::dvec3 normal = NormalOf(v, m_Pose);
        const glm::dvec3 at = Moved(v);
        const TargetSurface::Match match = target.Facing(at, normal, reach);
        const double agreement = glm::dot(normal, match.normal);
        if (match.isFound && !match.isBoundary && agreement >= c_LeastAgreement) {
            observed[v] = {m_Offsets[v] + glm::dot(match.position - at, match.normal) / agreement,
                           RobustWeight(match.distance, reach)};
        }
    }
    m_Key.detail.Solve(observed, {}, m_Offsets);
    fitted.leftOver.assign(count, std::numeric_limits<double>::quiet_NaN());
    for (std::size_t v = 0; v < count; ++v) {
        fitted.positions[v] = Moved(v);
        fitted.normals[v] = NormalOf(v, m_Pose);
        if (observed[v].weight > 0) {
            fitted.leftOver[v] = observed[v].offset - m_Offsets[v];
        }
    }
}

}  // namespace Nimb::Authoring
