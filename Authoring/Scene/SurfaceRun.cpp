#include "Authoring/Scene/SurfaceRun.h"

#include "Authoring/Scene/MeshComparison.h"
#include "Authoring/Scene/RunRefinement.h"
#include "Authoring/Scene/SurfaceDistance.h"
#include "Authoring/Scene/TopologyMatch.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// Moves vertices without a counterpart as their neighbours move, in rings from those that have one.
class OrphanPlacement {
public:
    OrphanPlacement(const MatchTarget& target, const std::vector<Vec3>& before, std::vector<Vec3>& positions)
        : m_Target(target), m_Before(before), m_Positions(positions), m_State(positions.size(), State::Placed) {}

    void Run(const std::vector<UINT32>& orphans) {
        for (const UINT32 v : orphans) {
            m_State[v] = State::Left;
        }
        std::vector<UINT32> ring;
        for (const UINT32 v : orphans) {
            for (const UINT32 other : Neighbours(v)) {
                if (m_State[other] == State::Placed && m_State[v] == State::Left) {
                    m_State[v] = State::Next;
                    ring.push_back(v);
                }
            }
        }
        while (!ring.empty()) {
            for (const UINT32 v : ring) {
                Place(v);
            }
            std::vector<UINT32> next;
            for (const UINT32 v : ring) {
                m_State[v] = State::Placed;
                for (const UINT32 other : Neighbours(v)) {
                    if (m_State[other] == State::Left) {
                        m_State[other] = State::Next;
                        next.push_back(other);
                    }
                }
            }
            ring = std::move(next);
        }
    }

private:
    enum class State : BYTE { Left, Next, Placed };

    std::vector<UINT32> Neighbours(UINT32 v) const {
        std::vector<UINT32> neighbours;
        for (const UINT32 face : m_Target.FacesOf(v)) {
            const TarnMeshFace& corners = m_Target.Faces()[face];
            neighbours.insert(neighbours.end(), std::begin(corners.v), std::end(corners.v));
        }
        return neighbours;
    }

    void Place(UINT32 v) {
        Vec3 moved{};
        float count = 0;
        for (const UINT32 other : Neighbours(v)) {
            if (m_State[other] == State::Placed) {
                const Vec3 &from = m_Before[other], &to = m_Positions[other];
                moved = {moved.x + to.x - from.x, moved.y + to.y - from.y, moved.z + to.z - from.z};
                ++count;
            }
        }
        const Vec3& p = m_Before[v];
        m_Positions[v] = {p.x + moved.x / count, p.y + moved.y / count, p.z + moved.z / count};
    }

    const MatchTarget& m_Target;
    const std::vector<Vec3>& m_Before;
    std::vector<Vec3>& m_Positions;
    std::vector<State> m_State;
};

/// For each of the run's vertices the mean normal of those that coincide in the mesh, as it stands where there is one,
/// and the first frame's where there is none.
std::vector<Vec3> NormalsOf(const std::vector<UINT32>& vertexOf, const std::vector<Vec3>& first,
                            const VertexMatch& match, const Mesh& mesh) {
    std::vector<Vec3> sums(mesh.positions.size());
    std::vector<UINT32> counts(mesh.positions.size());
    for (std::size_t w = 0; w < mesh.positions.size(); ++w) {
        const Vec3& n = mesh.normals[w];
        Vec3& sum = sums[match.weldOf[w]];
        sum = {sum.x + n.x, sum.y + n.y, sum.z + n.z};
        ++counts[match.weldOf[w]];
    }
    std::vector<Vec3> normals;
    normals.reserve(vertexOf.size());
    for (std::size_t v = 0; v < vertexOf.size(); ++v) {
        const UINT32 w = vertexOf[v];
        Vec3 n = w == c_NoVertex ? first[v] : sums[w];
        const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        if (w != c_NoVertex && counts[w] > 1 && length > 0) {
            n = {n.x / length, n.y / length, n.z / length};
        }
        normals.push_back(n);
    }
    return normals;
}

}  // namespace

FaceDifference CompareFaces(const Mesh& before, const Mesh& mesh) {
    CheckArrays(before);
    CheckArrays(mesh);
    if (HaveSameFaces(before, mesh)) {
        return {0, mesh.faces.size()};
    }
    const MatchTarget target(before.positions, before.texCoords, before.faces);
    return RefineRun(before.faces, MatchVertices(target, before.positions, mesh), mesh).difference;
}

SurfaceRun::SurfaceRun(Mesh first, MatchRule rule)
    : m_Rule(rule),
      m_First(std::move(first)),
      m_FirstVertices(m_First.positions.size()),
      m_LastPositions(m_First.positions) {
    CheckArrays(m_First);
    m_Poses.push_back({m_First.positions, m_First.normals});
}

SurfaceRun::~SurfaceRun() = default;

SurfaceMatch SurfaceRun::Join(Pose pose, double distance) {
    m_LastPositions = pose.positions;
    m_Poses.push_back(std::move(pose));
    SurfaceMatch result;
    result.joined = true;
    result.distance = distance;
    return result;
}

SurfaceMatch SurfaceRun::Add(const Mesh& mesh, double limit) {
    CheckArrays(mesh);
    if (mesh.normals.empty() != m_First.normals.empty()) {
        throw std::invalid_argument("some frames have normals and others have none");
    }
    if (m_SplitFrom.empty() && HaveSameFaces(m_First, mesh)) {
        return Join({mesh.positions, mesh.normals}, 0);
    }
    if (m_Rule == MatchRule::Exact) {
        if (std::optional<Mesh> matched = InTopologyOf(m_First, mesh)) {
            return Join({std::move(matched->positions), std::move(matched->normals)}, 0);
        }
    }
    if (m_Target == nullptr) {
        m_Target = std::make_unique<const MatchTarget>(m_First.positions, m_First.texCoords, m_First.faces);
    }
    const VertexMatch match = MatchVertices(*m_Target, m_LastPositions, mesh);
    const RunRefinement refined = RefineRun(m_First.faces, match, mesh);
    SurfaceMatch refused;
    refused.difference = refined.difference;
    if (m_Rule == MatchRule::Exact) {
        // Also those that the frame lacks because they have no area in it.
        const std::size_t fewer = std::min(m_First.faces.size(), mesh.faces.size());
        refused.difference.differing = std::max(refined.difference.differing, refined.difference.faces - fewer);
        return refused;
    }
    if (refined.difference.Share() > c_MostDiffering) {
        return refused;
    }

    Pose pose = PoseOf(refined, match, mesh);
    double distance = 0;
    if (refined.unmatched.Count() > 0) {
        const SurfaceView shown{pose.positions, refined.faces}, wanted{mesh.positions, mesh.faces};
        const std::optional<double> lacking = LargestDistance(wanted, refined.unmatched.ofMesh, shown, limit);
        const std::optional<double> extra =
            lacking ? LargestDistance(shown, refined.unmatched.ofRun, wanted, limit) : std::nullopt;
        if (!extra) {
            return refused;
        }
        distance = std::max(*lacking, *extra);
    }
    if (!refined.splitFrom.empty()) {
        Grow(refined);
    }
    SurfaceMatch result = Join(std::move(pose), distance);
    result.difference = refined.difference;
    return result;
}

Pose SurfaceRun::PoseOf(const RunRefinement& refined, const VertexMatch& match, const Mesh& mesh) const {
    std::vector<Vec3> before = m_LastPositions;
    std::vector<Vec3> firstNormals = m_First.normals;
    for (const UINT32 v : refined.splitFrom) {
        before.push_back(before[v]);
        if (!firstNormals.empty()) {
            firstNormals.push_back(firstNormals[v]);
        }
    }
    Pose pose;
    pose.positions = before;
    std::vector<UINT32> orphans;
    for (UINT32 v = 0; v < refined.vertexOf.size(); ++v) {
        if (refined.vertexOf[v] != c_NoVertex) {
            pose.positions[v] = mesh.positions[refined.vertexOf[v]];
        } else {
            orphans.push_back(v);
        }
    }
    if (!orphans.empty()) {
        OrphanPlacement(*m_Target, before, pose.positions).Run(orphans);
    }
    if (!mesh.normals.empty()) {
        pose.normals = NormalsOf(refined.vertexOf, firstNormals, match, mesh);
    }
    return pose;
}

void SurfaceRun::Grow(const RunRefinement& refined) {
    m_Target.reset();  // before what it refers to changes
    for (const UINT32 v : refined.splitFrom) {
        m_SplitFrom.push_back(v);
        m_First.positions.push_back(m_First.positions[v]);
        m_First.texCoords.push_back(m_First.texCoords[v]);
        if (!m_First.normals.empty()) {
            m_First.normals.push_back(m_First.normals[v]);
        }
    }
    m_First.faces = refined.faces;
}

void SurfaceRun::Finish() {
    const auto complete = [this](std::vector<Vec3>& values) {
        for (std::size_t v = values.size(); v < m_First.positions.size(); ++v) {
            values.push_back(values[m_SplitFrom[v - m_FirstVertices]]);
        }
    };
    for (Pose& pose : m_Poses) {
        complete(pose.positions);
        if (!m_First.normals.empty()) {
            complete(pose.normals);
        }
    }
    m_Target.reset();
}

}  // namespace Nimb::Authoring
