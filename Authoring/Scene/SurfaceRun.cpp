#include "Authoring/Scene/SurfaceRun.h"

#include "Authoring/Scene/SurfaceDistance.h"
#include "Authoring/Scene/TopologyMatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Nimb::Authoring {
namespace {

// More triangles than this share without a counterpart are no slivers: then nothing is measured.
constexpr double c_MostDiffering = 0.25;

void CheckArrays(const Mesh& mesh) {
    const std::size_t vertices = mesh.positions.size();
    bool isWhole = mesh.texCoords.size() == vertices && (mesh.normals.empty() || mesh.normals.size() == vertices);
    for (const TarnMeshFace& face : mesh.faces) {
        isWhole = isWhole && face.v[0] < vertices && face.v[1] < vertices && face.v[2] < vertices;
    }
    if (!isWhole) {
        throw std::invalid_argument("the mesh's arrays do not fit together");
    }
}

bool IsDegenerate(const std::array<UINT32, 3>& v) {
    return v[0] == v[1] || v[1] == v[2] || v[2] == v[0];
}

/// The corners, turned so that the smallest comes first: the same for a face that starts with another corner.
std::array<UINT32, 3> Turned(const std::array<UINT32, 3>& v) {
    if (v[0] <= v[1] && v[0] <= v[2]) {
        return v;
    }
    return v[1] <= v[2] ? std::array<UINT32, 3>{v[1], v[2], v[0]} : std::array<UINT32, 3>{v[2], v[0], v[1]};
}

std::array<UINT32, 3> CornersOf(const TarnMeshFace& face) {
    return {face.v[0], face.v[1], face.v[2]};
}

/// Faces that have no counterpart in the other list; the degenerate ones need none.
struct Unmatched {
    std::vector<UINT32> ofRun;
    std::vector<UINT32> ofMesh;

    std::size_t Count() const { return std::max(ofRun.size(), ofMesh.size()); }
};

Unmatched CompareFaces(const std::vector<TarnMeshFace>& run, const std::vector<TarnMeshFace>& mesh,
                       std::size_t vertices) {
    const IndexLists byCorner(vertices, [&](auto&& add) {
        for (std::size_t face = 0; face < mesh.size(); ++face) {
            const std::array<UINT32, 3> corners = CornersOf(mesh[face]);
            if (!IsDegenerate(corners)) {
                add(Turned(corners)[0], static_cast<UINT32>(face));
            }
        }
    });
    Unmatched unmatched;
    std::vector<bool> isTaken(mesh.size());
    for (std::size_t face = 0; face < run.size(); ++face) {
        const std::array<UINT32, 3> corners = Turned(CornersOf(run[face]));
        bool isMatched = IsDegenerate(corners);
        for (const UINT32 other : byCorner[corners[0]]) {
            if (!isMatched && !isTaken[other] && Turned(CornersOf(mesh[other])) == corners) {
                isTaken[other] = true;
                isMatched = true;
            }
        }
        if (!isMatched) {
            unmatched.ofRun.push_back(static_cast<UINT32>(face));
        }
    }
    for (std::size_t face = 0; face < mesh.size(); ++face) {
        if (!isTaken[face] && !IsDegenerate(CornersOf(mesh[face]))) {
            unmatched.ofMesh.push_back(static_cast<UINT32>(face));
        }
    }
    return unmatched;
}

bool AreClose(const Vec2& a, const Vec2& b) {
    return std::abs(a.u - b.u) <= c_TexCoordTolerance && std::abs(a.v - b.v) <= c_TexCoordTolerance;
}

float SquaredDistance(const Vec3& a, const Vec3& b) {
    const float x = a.x - b.x, y = a.y - b.y, z = a.z - b.z;
    return x * x + y * y + z * z;
}

/// Moves vertices without a counterpart as their neighbours move, in rings from those that have one.
void PlaceOrphans(const MatchTarget& target, const std::vector<Vec3>& before, std::vector<UINT32> orphans,
                  std::vector<Vec3>& positions) {
    std::vector<bool> isPlaced(positions.size(), true);
    for (const UINT32 v : orphans) {
        isPlaced[v] = false;
    }
    while (!orphans.empty()) {
        std::vector<UINT32> left, placed;
        for (const UINT32 v : orphans) {
            Vec3 moved{};
            float count = 0;
            for (const UINT32 face : target.FacesOf(v)) {
                for (const UINT32 other : target.Faces()[face].v) {
                    if (isPlaced[other]) {
                        const Vec3 &from = before[other], &to = positions[other];
                        moved = {moved.x + to.x - from.x, moved.y + to.y - from.y, moved.z + to.z - from.z};
                        ++count;
                    }
                }
            }
            if (count > 0) {
                const Vec3& p = before[v];
                positions[v] = {p.x + moved.x / count, p.y + moved.y / count, p.z + moved.z / count};
                placed.push_back(v);
            } else {
                left.push_back(v);
            }
        }
        if (placed.empty()) {
            return;
        }
        for (const UINT32 v : placed) {
            isPlaced[v] = true;
        }
        orphans = std::move(left);
    }
}

/// For each of the run's vertices the mean normal of those that coincide in the mesh; as it stands where there is one.
std::vector<Vec3> NormalsOf(const std::vector<UINT32>& vertexOf, const VertexMatch& match, const Mesh& mesh) {
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
    for (const UINT32 w : vertexOf) {
        Vec3 n = w == c_NoVertex ? Vec3{} : sums[w];
        const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        if (w != c_NoVertex && counts[w] > 1 && length > 0) {
            n = {n.x / length, n.y / length, n.z / length};
        }
        normals.push_back(n);
    }
    return normals;
}

}  // namespace

/// A frame's correspondence to the run, and what the run's topology has to become for it.
struct SurfaceRun::Refinement {
    Refinement(const std::vector<TarnMeshFace>& runFaces, const VertexMatch& match, const Mesh& frame)
        : faces(runFaces), vertexOf(match.vertexOf), mesh(frame), firstNew(vertexOf.size()) {
        const std::size_t count = mesh.positions.size() + vertexOf.size();
        mapped.reserve(faces.size());
        for (const TarnMeshFace& face : faces) {
            mapped.push_back({{Numbered(face.v[0]), Numbered(face.v[1]), Numbered(face.v[2])}});
        }
        unmatched = CompareFaces(mapped, match.faces, count);
        differing = unmatched.Count();
        if (!unmatched.ofMesh.empty()) {
            SplitVertices(match);
            TurnToSplitVertices(match);
            AddSlivers(match);
        }
    }

    std::vector<TarnMeshFace> faces;
    std::vector<UINT32> vertexOf;   // of the new vertices, too
    std::vector<UINT32> splitFrom;  // of the new vertices
    Unmatched unmatched;
    std::size_t differing = 0;

private:
    /// A vertex of the run as the mesh numbers it; one without a counterpart has a number of its own.
    UINT32 Numbered(UINT32 v) const {
        return vertexOf[v] != c_NoVertex ? vertexOf[v] : static_cast<UINT32>(mesh.positions.size()) + v;
    }

    /// Each of the mesh's vertices in faces without a counterpart that no vertex of the run corresponds to becomes one:
    /// split from the nearest of those that share its texture coordinates.
    void SplitVertices(const VertexMatch& match) {
        std::vector<bool> isKnown(mesh.positions.size());
        for (const UINT32 w : vertexOf) {
            if (w != c_NoVertex) {
                isKnown[w] = true;
            }
        }
        std::map<UINT32, UINT32> parents;  // of the mesh's vertices
        for (const UINT32 face : unmatched.ofMesh) {
            for (const UINT32 w : match.faces[face].v) {
                if (!isKnown[w]) {
                    parents[w] = c_NoVertex;
                }
            }
        }
        for (UINT32 v = 0; v < firstNew && !parents.empty(); ++v) {
            if (match.candidates[v].size() < 2 || vertexOf[v] == c_NoVertex) {
                continue;
            }
            for (const UINT32 w : match.candidates[v]) {
                const auto parent = parents.find(w);
                if (parent != parents.end() &&
                    (parent->second == c_NoVertex || Apart(w, v) < Apart(w, parent->second))) {
                    parent->second = v;
                }
            }
        }
        for (const auto& [w, parent] : parents) {
            if (parent != c_NoVertex) {
                splits[parent].push_back(static_cast<UINT32>(vertexOf.size()));
                vertexOf.push_back(w);
                splitFrom.push_back(parent);
            }
        }
        runVertexOf.assign(mesh.positions.size(), {});
        for (UINT32 v = 0; v < vertexOf.size(); ++v) {
            if (vertexOf[v] != c_NoVertex) {
                RunVertex& known = runVertexOf[vertexOf[v]];
                known.v = v;
                ++known.count;
            }
        }
    }

    float Apart(UINT32 w, UINT32 v) const { return SquaredDistance(mesh.positions[w], mesh.positions[vertexOf[v]]); }

    /// Faces of the run that have a counterpart when some of their corners move to a vertex split from them.
    void TurnToSplitVertices(const VertexMatch& match) {
        std::map<std::array<UINT32, 3>, UINT32> wanted;  // to where in unmatched.ofMesh it is
        for (std::size_t i = 0; i < unmatched.ofMesh.size(); ++i) {
            wanted[Turned(CornersOf(match.faces[unmatched.ofMesh[i]]))] = static_cast<UINT32>(i);
        }
        std::vector<UINT32> left;
        std::vector<bool> isFound(unmatched.ofMesh.size());
        for (const UINT32 face : unmatched.ofRun) {
            const auto found = FindTurned(face, wanted);
            if (found.first == wanted.end()) {
                left.push_back(face);
                continue;
            }
            for (std::size_t i = 0; i < 3; ++i) {
                faces[face].v[i] = found.second[i];
            }
            isFound[found.first->second] = true;
            wanted.erase(found.first);
        }
        unmatched.ofRun = std::move(left);
        KeepWithout(isFound);
    }

    using Wanted = std::map<std::array<UINT32, 3>, UINT32>;
    std::pair<Wanted::iterator, std::array<UINT32, 3>> FindTurned(UINT32 face, Wanted& wanted) const {
        std::array<std::vector<UINT32>, 3> choices;
        for (std::size_t i = 0; i < 3; ++i) {
            choices[i].push_back(faces[face].v[i]);
            const auto split = splits.find(faces[face].v[i]);
            if (split != splits.end()) {
                choices[i].insert(choices[i].end(), split->second.begin(), split->second.end());
            }
        }
        for (const UINT32 a : choices[0]) {
            for (const UINT32 b : choices[1]) {
                for (const UINT32 c : choices[2]) {
                    const auto found = wanted.find(Turned({Numbered(a), Numbered(b), Numbered(c)}));
                    if (found != wanted.end()) {
                        return {found, {a, b, c}};
                    }
                }
            }
        }
        return {wanted.end(), {}};
    }

    /// Faces of the mesh whose corners are known and of which two were one vertex until now: without area in all frames
    /// before.
    void AddSlivers(const VertexMatch& match) {
        std::vector<bool> isFound(unmatched.ofMesh.size());
        for (std::size_t i = 0; i < unmatched.ofMesh.size(); ++i) {
            std::array<UINT32, 3> corners{}, origins{};
            bool isKnown = true;
            for (std::size_t c = 0; c < 3; ++c) {
                const RunVertex& known = runVertexOf[match.faces[unmatched.ofMesh[i]].v[c]];
                isKnown = isKnown && known.count == 1;
                corners[c] = known.v;
                origins[c] = corners[c] < firstNew ? corners[c] : splitFrom[corners[c] - firstNew];
            }
            if (isKnown && IsDegenerate(origins)) {
                faces.push_back({{corners[0], corners[1], corners[2]}});
                isFound[i] = true;
            }
        }
        KeepWithout(isFound);
    }

    void KeepWithout(const std::vector<bool>& isFound) {
        std::vector<UINT32> left;
        for (std::size_t i = 0; i < unmatched.ofMesh.size(); ++i) {
            if (!isFound[i]) {
                left.push_back(unmatched.ofMesh[i]);
            }
        }
        unmatched.ofMesh = std::move(left);
    }

    const Mesh& mesh;
    const std::size_t firstNew;
    std::vector<TarnMeshFace> mapped;              // the run's faces in the mesh's numbers
    std::map<UINT32, std::vector<UINT32>> splits;  // new vertices by the one that they are split from

    struct RunVertex {
        UINT32 v = 0;
        UINT32 count = 0;  // of the run's vertices that fall together here
    };
    std::vector<RunVertex> runVertexOf;  // by the mesh's vertices
};

SurfaceRun::SurfaceRun(Mesh first, MatchRule rule)
    : m_Rule(rule),
      m_First(std::move(first)),
      m_FirstFaces(m_First.faces.size()),
      m_FirstVertices(m_First.positions.size()),
      m_LastPositions(m_First.positions) {
    CheckArrays(m_First);
    m_Poses.push_back({m_First.positions, m_First.normals});
}

SurfaceRun::~SurfaceRun() = default;

bool SurfaceRun::IsNumberedAlike(const Mesh& mesh) const {
    const auto isSameFace = [](const TarnMeshFace& a, const TarnMeshFace& b) {
        return a.v[0] == b.v[0] && a.v[1] == b.v[1] && a.v[2] == b.v[2];
    };
    // Faces that a frame has changed since still have the first frame's corners in that frame.
    return m_SplitFrom.empty() && mesh.positions.size() == m_FirstVertices && mesh.faces.size() == m_FirstFaces &&
           std::equal(mesh.faces.begin(), mesh.faces.end(), m_First.faces.begin(), isSameFace) &&
           std::equal(mesh.texCoords.begin(), mesh.texCoords.end(), m_First.texCoords.begin(), AreClose);
}

void SurfaceRun::AddAlike(const Mesh& mesh) {
    m_LastPositions = mesh.positions;
    m_Poses.push_back({mesh.positions, mesh.normals});
}

SurfaceMatch SurfaceRun::AddExactly(const Mesh& mesh) {
    SurfaceMatch result;
    if (std::optional<Mesh> matched = InTopologyOf(m_First, mesh)) {
        m_Poses.push_back({std::move(matched->positions), std::move(matched->normals)});
        result.joined = true;
    }
    return result;
}

SurfaceMatch SurfaceRun::Add(const Mesh& mesh, double limit) {
    CheckArrays(mesh);
    if (mesh.normals.empty() != m_First.normals.empty()) {
        throw std::invalid_argument("some frames have normals and others have none");
    }
    SurfaceMatch result;
    if (IsNumberedAlike(mesh)) {
        AddAlike(mesh);
        result.joined = true;
        return result;
    }
    if (m_Target == nullptr) {
        m_Target = std::make_unique<const MatchTarget>(m_First.positions, m_First.texCoords, m_First.faces);
    }
    const VertexMatch match = MatchVertices(*m_Target, m_LastPositions, mesh);
    Refinement refined(m_First.faces, match, mesh);
    result.differing = refined.differing;
    if (m_Rule == MatchRule::Exact) {
        const SurfaceMatch exact = AddExactly(mesh);
        result.joined = exact.joined;
        result.differing = exact.joined ? 0 : result.differing;
        return result;
    }
    if (static_cast<double>(result.differing) >
        c_MostDiffering * static_cast<double>(std::min(m_First.faces.size(), mesh.faces.size()))) {
        return result;
    }

    Pose pose;
    std::vector<Vec3> before = m_LastPositions;
    for (const UINT32 v : refined.splitFrom) {
        before.push_back(before[v]);
    }
    std::vector<UINT32> orphans;
    pose.positions = before;
    for (UINT32 v = 0; v < refined.vertexOf.size(); ++v) {
        if (refined.vertexOf[v] != c_NoVertex) {
            pose.positions[v] = mesh.positions[refined.vertexOf[v]];
        } else {
            orphans.push_back(v);
        }
    }
    PlaceOrphans(*m_Target, before, orphans, pose.positions);
    if (!mesh.normals.empty()) {
        pose.normals = NormalsOf(refined.vertexOf, match, mesh);
    }
    if (refined.unmatched.Count() > 0) {
        const SurfaceView shown{pose.positions, refined.faces}, wanted{mesh.positions, mesh.faces};
        const std::optional<double> lacking = LargestDistance(wanted, refined.unmatched.ofMesh, shown, limit);
        const std::optional<double> extra =
            lacking ? LargestDistance(shown, refined.unmatched.ofRun, wanted, limit) : std::nullopt;
        if (!extra) {
            return result;
        }
        result.distance = std::max(*lacking, *extra);
    }
    if (!refined.splitFrom.empty()) {
        m_Target.reset();  // before what it refers to changes
        for (const UINT32 v : refined.splitFrom) {
            m_SplitFrom.push_back(v);
            m_First.positions.push_back(m_First.positions[v]);
            m_First.texCoords.push_back(m_First.texCoords[v]);
            if (!m_First.normals.empty()) {
                m_First.normals.push_back(m_First.normals[v]);
            }
        }
        m_First.faces = std::move(refined.faces);
    }
    m_LastPositions = pose.positions;
    m_Poses.push_back(std::move(pose));
    result.joined = true;
    return result;
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
