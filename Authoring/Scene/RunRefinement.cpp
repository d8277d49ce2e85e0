#include "Authoring/Scene/RunRefinement.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

namespace Nimb::Authoring {
namespace {

// Both keep the time linear in meshes made to take long; no capture comes near them.
constexpr std::size_t c_MostAlike = 64;  // faces that are compared with one
constexpr std::size_t c_MostSplits = 8;  // vertices that are split from one

/// Turned so that the smallest corner comes first: the same for a face that starts with another corner.
FaceCorners Turned(const FaceCorners& v) {
    if (v[0] <= v[1] && v[0] <= v[2]) {
        return v;
    }
    return v[1] <= v[2] ? FaceCorners{v[1], v[2], v[0]} : FaceCorners{v[2], v[0], v[1]};
}

bool AreSame(const FaceCorners& a, const FaceCorners& b) {
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];  // operator== calls a library function
}

UnmatchedFaces FindUnmatched(const std::vector<TarnMeshFace>& run, const std::vector<TarnMeshFace>& mesh) {
    const std::size_t lists = ListsFor(mesh.size());
    std::vector<FaceCorners> meshCorners;
    meshCorners.reserve(mesh.size());
    for (const TarnMeshFace& face : mesh) {
        meshCorners.push_back(Turned(CornersOf(face)));
    }
    const IndexLists byCorners(lists, [&](auto&& add) {
        for (std::size_t face = 0; face < mesh.size(); ++face) {
            if (!IsDegenerate(meshCorners[face])) {
                add(ListOfKey(meshCorners[face], lists), static_cast<UINT32>(face));
            }
        }
    });
    UnmatchedFaces unmatched;
    std::vector<bool> isTaken(mesh.size());
    for (std::size_t face = 0; face < run.size(); ++face) {
        const FaceCorners corners = Turned(CornersOf(run[face]));
        bool isMatched = IsDegenerate(corners);
        std::size_t seen = 0;
        for (const UINT32 other : byCorners[ListOfKey(corners, lists)]) {
            if (isMatched || ++seen > c_MostAlike) {
                break;
            }
            isMatched = !isTaken[other] && AreSame(meshCorners[other], corners);
            isTaken[other] = isTaken[other] || isMatched;
        }
        if (!isMatched) {
            unmatched.ofRun.push_back(static_cast<UINT32>(face));
        }
    }
    for (std::size_t face = 0; face < mesh.size(); ++face) {
        if (!isTaken[face] && !IsDegenerate(meshCorners[face])) {
            unmatched.ofMesh.push_back(static_cast<UINT32>(face));
        }
    }
    return unmatched;
}

class Refiner {
public:
    Refiner(const std::vector<TarnMeshFace>& runFaces, const VertexMatch& match, const Mesh& mesh)
        : m_Match(match), m_Mesh(mesh), m_RunVertices(match.vertexOf.size()) {
        m_Result.faces = runFaces;
        m_Result.vertexOf = match.vertexOf;
    }

    RunRefinement Run() {
        std::vector<TarnMeshFace> numbered;
        numbered.reserve(m_Result.faces.size());
        for (const TarnMeshFace& face : m_Result.faces) {
            numbered.push_back({{Numbered(face.v[0]), Numbered(face.v[1]), Numbered(face.v[2])}});
        }
        m_Result.unmatched = FindUnmatched(numbered, m_Match.faces);
        m_Result.difference = {m_Result.unmatched.Count(), std::max(m_Result.faces.size(), m_Match.faces.size())};
        if (!m_Result.unmatched.ofMesh.empty() && m_Result.difference.Share() <= c_MostDiffering) {
            SplitVertices();
            TurnToSplitVertices();
            AddSlivers();
        }
        return std::move(m_Result);
    }

private:
    using Wanted = std::map<FaceCorners, std::size_t>;  // where in unmatched.ofMesh the face is

    /// A vertex of the run as the mesh numbers it; one without a counterpart has a number of its own.
    UINT32 Numbered(UINT32 v) const {
        const UINT32 w = m_Result.vertexOf[v];
        return w != c_NoVertex ? w : static_cast<UINT32>(m_Mesh.positions.size()) + v;
    }

    float Apart(UINT32 w, UINT32 v) const {
        return SquaredDistance(m_Mesh.positions[w], m_Mesh.positions[m_Result.vertexOf[v]]);
    }

    /// Each of the mesh's vertices in faces without a counterpart that no vertex of the run corresponds to becomes one:
    /// split from the nearest of those that share its texture coordinates.
    void SplitVertices() {
        for (const auto& [w, parent] : FindParents()) {
            if (parent != c_NoVertex && m_Splits[parent].size() < c_MostSplits) {
                m_Splits[parent].push_back(static_cast<UINT32>(m_Result.vertexOf.size()));
                m_Result.vertexOf.push_back(w);
                m_Result.splitFrom.push_back(parent);
            }
        }
        m_RunVertexOf.assign(m_Mesh.positions.size(), c_NoVertex);
        for (UINT32 v = 0; v < m_Result.vertexOf.size(); ++v) {
            if (m_Result.vertexOf[v] != c_NoVertex) {
                m_RunVertexOf[m_Result.vertexOf[v]] = v;
            }
        }
    }

    /// By the mesh's vertices that have to become the run's.
    std::map<UINT32, UINT32> FindParents() const {
        std::vector<bool> isKnown(m_Mesh.positions.size());
        for (const UINT32 w : m_Result.vertexOf) {
            if (w != c_NoVertex) {
                isKnown[w] = true;
            }
        }
        std::map<UINT32, UINT32> parents;
        for (const UINT32 face : m_Result.unmatched.ofMesh) {
            for (const UINT32 w : m_Match.faces[face].v) {
                if (!isKnown[w]) {
                    parents[w] = c_NoVertex;
                }
            }
        }
        for (UINT32 v = 0; v < m_RunVertices && !parents.empty(); ++v) {
            if (m_Match.candidates[v].size() < 2 || m_Result.vertexOf[v] == c_NoVertex) {
                continue;
            }
            for (const UINT32 w : m_Match.candidates[v]) {
                const auto parent = parents.find(w);
                if (parent != parents.end() &&
                    (parent->second == c_NoVertex || Apart(w, v) < Apart(w, parent->second))) {
                    parent->second = v;
                }
            }
        }
        return parents;
    }

    /// Faces of the run that have a counterpart when some of their corners move to a vertex split from them.
    void TurnToSplitVertices() {
        Wanted wanted;
        for (std::size_t i = 0; i < m_Result.unmatched.ofMesh.size(); ++i) {
            wanted[Turned(CornersOf(m_Match.faces[m_Result.unmatched.ofMesh[i]]))] = i;
        }
        std::vector<UINT32> left;
        std::vector<bool> isFound(m_Result.unmatched.ofMesh.size());
        for (const UINT32 face : m_Result.unmatched.ofRun) {
            const auto [found, corners] = FindTurned(face, wanted);
            if (found == wanted.end()) {
                left.push_back(face);
                continue;
            }
            std::copy(corners.begin(), corners.end(), m_Result.faces[face].v);
            isFound[found->second] = true;
            wanted.erase(found);
        }
        m_Result.unmatched.ofRun = std::move(left);
        KeepWithout(isFound);
    }

    std::pair<Wanted::const_iterator, FaceCorners> FindTurned(UINT32 face, const Wanted& wanted) const {
        std::array<std::vector<UINT32>, 3> choices;
        for (std::size_t i = 0; i < 3; ++i) {
            choices[i].push_back(m_Result.faces[face].v[i]);
            const auto split = m_Splits.find(m_Result.faces[face].v[i]);
            if (split != m_Splits.end()) {
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
    /// before, whichever vertex of the run the third is.
    void AddSlivers() {
        std::vector<bool> isFound(m_Result.unmatched.ofMesh.size());
        for (std::size_t i = 0; i < m_Result.unmatched.ofMesh.size(); ++i) {
            const FaceCorners corners = RunCorners(CornersOf(m_Match.faces[m_Result.unmatched.ofMesh[i]]));
            const bool isKnown = std::count(corners.begin(), corners.end(), c_NoVertex) == 0;
            if (isKnown && IsDegenerate({OriginOf(corners[0]), OriginOf(corners[1]), OriginOf(corners[2])})) {
                m_Result.faces.push_back({{corners[0], corners[1], corners[2]}});
                isFound[i] = true;
            }
        }
        KeepWithout(isFound);
    }

    /// Where several of the run's vertices fall together, the one that another corner was split from.
    FaceCorners RunCorners(const FaceCorners& ofMesh) const {
        FaceCorners corners{};
        for (std::size_t c = 0; c < 3; ++c) {
            corners[c] = m_RunVertexOf[ofMesh[c]];
        }
        for (std::size_t c = 0; c < 3; ++c) {
            for (const UINT32 other : corners) {
                if (other != c_NoVertex && m_Result.vertexOf[OriginOf(other)] == ofMesh[c]) {
                    corners[c] = OriginOf(other);
                }
            }
        }
        return corners;
    }

    UINT32 OriginOf(UINT32 v) const { return v < m_RunVertices ? v : m_Result.splitFrom[v - m_RunVertices]; }

    void KeepWithout(const std::vector<bool>& isFound) {
        std::vector<UINT32> left;
        for (std::size_t i = 0; i < m_Result.unmatched.ofMesh.size(); ++i) {
            if (!isFound[i]) {
                left.push_back(m_Result.unmatched.ofMesh[i]);
            }
        }
        m_Result.unmatched.ofMesh = std::move(left);
    }

    const VertexMatch& m_Match;
    const Mesh& m_Mesh;
    const std::size_t m_RunVertices;
    RunRefinement m_Result;
    std::map<UINT32, std::vector<UINT32>> m_Splits;  ///< new vertices by the one that they are split from
    std::vector<UINT32> m_RunVertexOf;               ///< by the mesh's vertices: one of those that correspond to it
};

}  // namespace

std::size_t UnmatchedFaces::Count() const {
    return std::max(ofRun.size(), ofMesh.size());
}

RunRefinement RefineRun(const std::vector<TarnMeshFace>& runFaces, const VertexMatch& match, const Mesh& mesh) {
    return Refiner(runFaces, match, mesh).Run();
}

}  // namespace Nimb::Authoring
