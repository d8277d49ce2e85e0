#include "Authoring/Track/OutlierFit.h"

#include <glm/geometric.hpp>

#include <cmath>
#include <numeric>
#include <utility>

namespace Nimb::Authoring {
namespace {

// Node spacings: a millimetre and three centimetres on a standing person. What is further off is lost, which is not to
// be covered up.
constexpr double c_Far = 0.018;
constexpr double c_Lost = 0.5;

// A face that became so many times as large as in the key frame may span what is apart, with its corners in place.
constexpr double c_Stretched = 1.5;
constexpr double c_FarOfFace = 2;  // times the distance of a vertex

constexpr int c_Steps = 3;
constexpr DetailWeights c_Weights{0.2, 0};

class OutlierFit {
public:
    OutlierFit(const KeySurface& key, const TargetSurface& target, ClosestPoint& closest, Points& positions)
        : m_Key(key),
          m_Target(target),
          m_Closest(closest),
          m_Positions(positions),
          m_Far(c_Far * key.graph.Spacing()),
          m_Lost(c_Lost * key.graph.Spacing()),
          m_Vertices(positions.size()),
          m_Places(target.Surface().positions.size()) {
        std::iota(m_Vertices.begin(), m_Vertices.end(), 0U);
        std::iota(m_Places.begin(), m_Places.end(), 0U);
    }

    void Run() {
        for (int step = 0; step < c_Steps; ++step) {
            m_Asked.assign(m_Positions.size(), {});
            AskVertices();
            AskForPlaces();
            AskStretchedFaces();
            for (OffsetObservation& asked : m_Asked) {
                asked.offset = asked.weight > 0 ? asked.offset / asked.weight : glm::dvec3(0);
                asked.weight = 1;
            }
            Points moves(m_Positions.size(), glm::dvec3(0));
            m_Key.detail.Solve(m_Asked, c_Weights, moves);
            for (std::size_t v = 0; v < moves.size(); ++v) {
                m_Positions[v] += moves[v];
            }
        }
    }

private:
    void Ask(UINT32 vertex, const glm::dvec3& move) {
        m_Asked[vertex].offset += move;
        m_Asked[vertex].weight += 1;
    }

    /// From the point to the frame's surface; zero where it is near or has nothing to be near to.
    glm::dvec3 WayFrom(const glm::dvec3& point, double far) const {
        const TargetSurface::Match match = m_Target.Nearest(point);
        const bool isFar =
            match.isFound && match.distance > far && match.distance < m_Lost && !match.isInside && !match.isBoundary;
        return isFar ? match.position - point : glm::dvec3(0);
    }

    /// Those that are near are not looked at again.
    void AskVertices() {
        std::vector<UINT32> far;
        for (const UINT32 v : m_Vertices) {
            const glm::dvec3 way = WayFrom(m_Positions[v], m_Far);
            if (way != glm::dvec3(0)) {
                Ask(v, way);
                far.push_back(v);
            }
        }
        m_Vertices = std::move(far);
    }

    void AskForPlaces() {
        m_Closest.Move(PlainOf(m_Positions), m_Key.surface.faces);
        std::vector<UINT32> far;
        for (const UINT32 p : m_Places) {
            const glm::dvec3& place = m_Target.Surface().positions[p];
            const SurfacePoint found = m_Closest.To(place);
            const double distance = std::sqrt(found.squaredDistance);
            if (distance > m_Far && distance < m_Lost && !m_Key.normals.IsAtRim(found)) {
                Ask(NearestCorner(m_Key.surface.faces[found.face], found), place - found.position);
                far.push_back(p);
            }
        }
        m_Places = std::move(far);
    }

    void AskStretchedFaces() {
        for (const TarnMeshFace& face : m_Key.surface.faces) {
            const TriangleCorners now = TriangleOf(m_Positions, face);
            const double before = glm::length(AreaVector(TriangleOf(m_Key.surface.positions, face)));
            if (glm::length(AreaVector(now)) > c_Stretched * before) {
                const glm::dvec3 way = WayFrom((now[0] + now[1] + now[2]) / 3.0, c_FarOfFace * m_Far);
                if (way != glm::dvec3(0)) {
                    for (const UINT32 v : face.v) {
                        Ask(v, way);
                    }
                }
            }
        }
    }

    const KeySurface& m_Key;
    const TargetSurface& m_Target;
    ClosestPoint& m_Closest;
    Points& m_Positions;
    const double m_Far, m_Lost;
    std::vector<UINT32> m_Vertices, m_Places;  // to be looked at: the key's, the frame's
    std::vector<OffsetObservation> m_Asked;
};

}  // namespace

void FitOutliers(const KeySurface& key, const TargetSurface& target, ClosestPoint& closest, Points& positions) {
    OutlierFit(key, target, closest, positions).Run();
}

}  // namespace Nimb::Authoring
