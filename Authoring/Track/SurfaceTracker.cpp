#include "Authoring/Track/SurfaceTracker.h"

#include "Authoring/Track/OutlierFit.h"

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
    int steps;           // at most
};
constexpr Level c_Levels[] = {{3, 4.0, 8, 12}, {0.3, 1.5, 8, 8}, {0.03, 1.0, 4, 6}, {0.003, 0.5, 2, 3}};

// Found by trial on the simulator's dancer; stiffer ones lose hems and elbows.
constexpr double c_AlongPlane = 0.05;
constexpr double c_Inertia = 0.02;

constexpr double c_LeastAgreement = 0.5;  // cosine between the normals of a point and of what it is taken for
constexpr int c_DetailSteps = 2;
constexpr std::size_t c_MisfitSamples = 800;

// In node spacings.
constexpr double c_ReverseReach = 0.75;  // at least: what nothing shows yet has to be reached
constexpr double c_ShortWay = 0.03;
constexpr double c_DetailReach = 0.25;
constexpr double c_Settled = 0.05;  // when all nodes move by less, a level is done

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

double LargestMove(const GraphPose& a, const GraphPose& b) {
    double largest = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        largest = std::max(largest, glm::distance(a[i].position, b[i].position));
    }
    return largest;
}

/// Tukey's weight: from 1 to 0 at the limit.
double RobustWeight(double distance, double limit) {
    const double share = std::min(distance / limit, 1.0);
    return (1 - share * share) * (1 - share * share);
}

}  // namespace

KeySurface::KeySurface(const Mesh& mesh)
    : surface(WeldByPlace(mesh)),
      normals(surface.positions, surface.faces),
      graph(surface, SpacingFor(surface)),
      detail(surface) {}

SurfaceTracker::SurfaceTracker(const KeySurface& key)
    : m_Key(key), m_Pose(key.graph.Rest()), m_Before(m_Pose), m_Offsets(key.surface.positions.size(), glm::dvec3(0)) {
    for (std::size_t i = 0; i < std::size(c_Levels); ++i) {
        m_Fits.push_back(std::make_unique<GraphFit>(key.graph));
    }
}

glm::dvec3 SurfaceTracker::RestOf(std::size_t vertex) const {
    return m_Key.surface.positions[vertex] + m_Offsets[vertex];
}

glm::dvec3 SurfaceTracker::Moved(std::size_t vertex) const {
    return m_Key.graph.Moved(m_Key.graph.Influences()[vertex], m_Pose, RestOf(vertex));
}

glm::dmat3 SurfaceTracker::TurnOf(std::size_t vertex) const {
    const NodeInfluence& influence = m_Key.graph.Influences()[vertex];
    glm::dmat3 turn(0);
    for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
        turn += influence.weights[i] * m_Pose[influence.nodes[i]].rotation;
    }
    return turn;
}

glm::dvec3 SurfaceTracker::NormalOf(std::size_t vertex, const GraphPose& pose) const {
    const NodeInfluence& influence = m_Key.graph.Influences()[vertex];
    glm::dvec3 normal(0);
    for (std::size_t i = 0; i < c_NodesOfVertex; ++i) {
        normal += influence.weights[i] * (pose[influence.nodes[i]].rotation * m_Key.normals.OfVertices()[vertex]);
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
            constraints.push_back({v, m_Key.graph.Influences()[v], RestOf(v), match.position, match.normal,
                                   RobustWeight(match.distance, reach)});
        }
    }
}

/// Within a frame little moves, and one tree is fitted to all of it.
const ClosestPoint& SurfaceTracker::ClosestTo(const Points& moved) {
    if (m_Closest) {
        m_Closest->Move(PlainOf(moved), m_Key.surface.faces);
    } else {
        m_Closest.emplace(PlainOf(moved), m_Key.surface.faces);
    }
    return *m_Closest;
}

void SurfaceTracker::AddReverse(const TargetSurface& target, double reach, std::size_t stride,
                                std::vector<PlaneConstraint>& constraints) {
    Points moved(m_Key.surface.positions.size());
    for (std::size_t v = 0; v < moved.size(); ++v) {
        moved[v] = Moved(v);
    }
    const ClosestPoint& closest = ClosestTo(moved);
    const Points& places = target.Surface().positions;
    for (std::size_t v = 0; v < places.size(); v += stride) {
        const glm::dvec3& normal = target.Normals()[v];
        const SurfacePoint found = closest.Facing(places[v], normal, reach);
        if (!found) {
            continue;
        }
        const UINT32 vertex = NearestCorner(m_Key.surface.faces[found.face], found);
        // Along the way between them, which at a hem or a fingertip is not the normal. Short ways are noise.
        const glm::dvec3 way = places[v] - found.position;
        const double distance = std::sqrt(found.squaredDistance);
        constraints.push_back({vertex, m_Key.graph.Influences()[vertex], RestOf(vertex), moved[vertex] + way,
                               distance > c_ShortWay * m_Key.graph.Spacing() ? way / distance : normal,
                               RobustWeight(distance, reach)});
    }
}

FittedFrame SurfaceTracker::Next(const TargetSurface& target) {
    Predict(target);
    m_Closest.reset();
    for (std::size_t i = 0; i < std::size(c_Levels); ++i) {
        const Level& level = c_Levels[i];
        const double reach = level.reach * m_Key.graph.Spacing();
        std::vector<PlaneConstraint> reverse;
        for (int step = 0; step < level.steps; ++step) {
            if (step % 2 == 0) {  // all of the surface has to be moved for it
                reverse.clear();
                AddReverse(target, std::max(reach, c_ReverseReach * m_Key.graph.Spacing()), level.stride, reverse);
            }
            std::vector<PlaneConstraint> constraints = reverse;
            AddForward(target, reach, level.stride, constraints);
            // Stiffness next to the constraints of a node, whose number depends on the frames' vertices.
            const double share = static_cast<double>(constraints.size()) / static_cast<double>(m_Pose.size()) / 20;
            const GraphPose before = m_Pose;
            m_Fits[i]->Step(constraints, m_Expected, {level.stiffness * share, c_AlongPlane, c_Inertia * share},
                            m_Pose);
            if (LargestMove(before, m_Pose) < c_Settled * m_Key.graph.Spacing()) {
                break;
            }
        }
    }
    FitDetail(target);
    return Fitted(target);
}

void SurfaceTracker::FitDetail(const TargetSurface& target) {
    const double reach = c_DetailReach * m_Key.graph.Spacing();
    for (int step = 0; step < c_DetailSteps; ++step) {
        std::vector<PlaneConstraint> constraints;
        AddForward(target, reach, 1, constraints);
        AddReverse(target, 2 * reach, 1, constraints);
        m_Key.detail.Solve(Observe(constraints), {}, m_Offsets);
    }
}

/// The means of what the constraints ask of each vertex. Where the frame's surface ends, as at a hem or a fingertip,
/// the frame's points ask for more than a move along the normal.
std::vector<OffsetObservation> SurfaceTracker::Observe(const std::vector<PlaneConstraint>& constraints) const {
    std::vector<OffsetObservation> observed(m_Offsets.size());
    for (const PlaneConstraint& constraint : constraints) {
        OffsetObservation& observation = observed[constraint.vertex];
        observation.offset += constraint.weight * (constraint.place - Moved(constraint.vertex));
        observation.weight += constraint.weight;
    }
    for (std::size_t v = 0; v < observed.size(); ++v) {
        if (observed[v].weight > 0) {
            observed[v].offset = m_Offsets[v] + glm::transpose(TurnOf(v)) * (observed[v].offset / observed[v].weight);
        }
    }
    return observed;
}

FittedFrame SurfaceTracker::Fitted(const TargetSurface& target) {
    const double reach = c_DetailReach * m_Key.graph.Spacing();
    FittedFrame fitted;
    for (std::size_t v = 0; v < m_Offsets.size(); ++v) {
        fitted.positions.push_back(Moved(v));
        fitted.normals.push_back(NormalOf(v, m_Pose));
        fitted.offset.push_back(glm::dot(m_Offsets[v], m_Key.normals.OfVertices()[v]));
    }
    // Not taken along into the next frame: what a fold has lost here it need not lose there.
    FitOutliers(m_Key, target, *m_Closest, fitted.positions);
    for (std::size_t v = 0; v < m_Offsets.size(); ++v) {
        const TargetSurface::Match match = target.Facing(fitted.positions[v], fitted.normals[v], reach);
        const double agreement = glm::dot(fitted.normals[v], match.normal);
        const bool isSeen = match.isFound && !match.isBoundary && agreement >= c_LeastAgreement;
        fitted.leftOver.push_back(isSeen ? glm::dot(match.position - fitted.positions[v], match.normal) / agreement
                                         : std::numeric_limits<double>::quiet_NaN());
    }
    return fitted;
}

}  // namespace Nimb::Authoring
