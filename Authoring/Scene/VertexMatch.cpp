// Most vertices of a capture have texture coordinates of their own and are found by them. The rest are settled in rings
// around these: a triangle of which two corners are known names the third. What no triangle settles goes to the nearest
// candidate, the clearest case first, and from there on by triangles again. A wrong guess does no harm that would not
// be noticed: whoever asks compares the triangles that result.
#include "Authoring/Scene/VertexMatch.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

namespace Nimb::Authoring {
namespace {

// More would say nothing about which is which, and cost time that grows with their square.
constexpr std::size_t c_MostCandidates = 64;
// Whatever the neighbours of a vertex have not settled after so many attempts, further ones will not.
constexpr BYTE c_MostAttempts = 64;

class VertexMatcher {
public:
    VertexMatcher(const MatchTarget& target, const std::vector<Vec3>& expected, const Mesh& mesh)
        : m_Target(target),
          m_Expected(expected),
          m_Mesh(mesh),
          m_Same(SplitTolerance(mesh.positions)),
          m_VertexOf(target.VertexCount(), c_NoVertex),
          m_Attempts(target.VertexCount()) {
        FindCandidates();
        Weld();
        m_MeshFacesOf = FacesOfVertices(m_Faces, mesh.positions.size());
        AssignClearCases();
        m_Queue = m_Unsettled;
        Flood();
        SettleByNearness();
    }

    VertexMatch Take() {
        return {std::move(m_VertexOf), std::move(m_Faces), std::move(m_WeldOf), std::move(m_Candidates)};
    }

private:
    void FindCandidates() {
        std::vector<std::pair<UINT32, UINT32>> pairs;
        pairs.reserve(m_Mesh.positions.size() * 5 / 4);
        for (std::size_t w = 0; w < m_Mesh.texCoords.size(); ++w) {
            m_Target.ForEachAt(m_Mesh.texCoords[w], [&](UINT32 v) { pairs.emplace_back(v, static_cast<UINT32>(w)); });
        }
        std::vector<UINT32> counts(m_VertexOf.size());
        for (const auto& [v, w] : pairs) {
            ++counts[v];
        }
        m_Candidates = IndexLists(m_VertexOf.size(), [&](auto&& add) {
            for (const auto& [v, w] : pairs) {
                if (counts[v] <= c_MostCandidates) {
                    add(v, w);
                }
            }
        });
    }

    /// Vertices of the mesh in one place of the texture and of space are one.
    void Weld() {
        m_WeldOf.resize(m_Mesh.positions.size());
        std::iota(m_WeldOf.begin(), m_WeldOf.end(), 0U);
        for (std::size_t v = 0; v < m_VertexOf.size(); ++v) {
            const IndexLists::Range candidates = m_Candidates[v];
            for (const UINT32* later = candidates.begin() + (candidates.size() > 0 ? 1 : 0); later != candidates.end();
                 ++later) {
                for (const UINT32* first = candidates.begin(); first != later && m_WeldOf[*later] == *later; ++first) {
                    if (SquaredDistance(m_Mesh.positions[*first], m_Mesh.positions[*later]) <= m_Same * m_Same) {
                        m_WeldOf[*later] = m_WeldOf[*first];
                    }
                }
            }
        }
        m_Faces.reserve(m_Mesh.faces.size());
        for (const TarnMeshFace& face : m_Mesh.faces) {
            m_Faces.push_back({{m_WeldOf[face.v[0]], m_WeldOf[face.v[1]], m_WeldOf[face.v[2]]}});
        }
    }

    void AssignClearCases() {
        for (UINT32 v = 0; v < m_VertexOf.size(); ++v) {
            UINT32 only = c_NoVertex;
            bool isClear = true;
            for (const UINT32 w : m_Candidates[v]) {
                isClear = isClear && (only == c_NoVertex || only == m_WeldOf[w]);
                only = m_WeldOf[w];
            }
            if (only != c_NoVertex && isClear) {
                m_VertexOf[v] = only;
            } else if (only != c_NoVertex) {
                m_Unsettled.push_back(v);
            }
        }
    }

    void Assign(UINT32 v, UINT32 w) {
        m_VertexOf[v] = w;
        for (const UINT32 face : m_Target.FacesOf(v)) {
            for (const UINT32 other : m_Target.Faces()[face].v) {
                Enqueue(other);
            }
        }
        for (UINT32 twin = m_Target.NextTwin(v); twin != v; twin = m_Target.NextTwin(twin)) {
            Enqueue(twin);
        }
    }

    void Enqueue(UINT32 v) {
        if (m_VertexOf[v] == c_NoVertex && m_Candidates[v].size() > 0 && m_Attempts[v] < c_MostAttempts) {
            ++m_Attempts[v];
            m_Queue.push_back(v);
        }
    }

    void Flood() {
        while (!m_Queue.empty()) {
            const UINT32 v = m_Queue.back();
            m_Queue.pop_back();
            if (m_VertexOf[v] == c_NoVertex) {
                const UINT32 w = ByNeighbours(v);
                if (w != c_NoVertex) {
                    Assign(v, w);
                }
            }
        }
    }

    /// The candidate that completes a triangle of which two corners are known; else the one beside a twin's place; else
    /// the one that shares an edge with a known neighbour. None where that names no candidate, or several.
    UINT32 ByNeighbours(UINT32 v) const {
        for (const UINT32 face : m_Target.FacesOf(v)) {
            const std::pair<UINT32, UINT32> others = OtherCorners(m_Target.Faces()[face], v);
            const UINT32 a = others.first, b = others.second;  // clang 14 cannot capture a structured binding
            if (m_VertexOf[a] != c_NoVertex && m_VertexOf[b] != c_NoVertex) {
                const UINT32 found =
                    OnlyCandidate(v, [&](UINT32 w) { return HasFace(w, m_VertexOf[a], m_VertexOf[b]); });
                if (found != c_NoVertex) {
                    return found;
                }
            }
        }
        for (UINT32 twin = m_Target.NextTwin(v); twin != v; twin = m_Target.NextTwin(twin)) {
            // Vertices that share texture coordinates too may part in other frames.
            if (m_VertexOf[twin] != c_NoVertex && !m_Target.ShareTexCoords(v, twin)) {
                const Vec3& place = m_Mesh.positions[m_VertexOf[twin]];
                const UINT32 found = OnlyCandidate(
                    v, [&](UINT32 w) { return SquaredDistance(m_Mesh.positions[w], place) <= m_Same * m_Same; });
                if (found != c_NoVertex) {
                    return found;
                }
            }
        }
        for (const UINT32 face : m_Target.FacesOf(v)) {
            for (const UINT32 other : m_Target.Faces()[face].v) {
                if (m_VertexOf[other] != c_NoVertex) {
                    const UINT32 found = OnlyCandidate(v, [&](UINT32 w) { return HasEdge(w, m_VertexOf[other]); });
                    if (found != c_NoVertex) {
                        return found;
                    }
                }
            }
        }
        return c_NoVertex;
    }

    static std::pair<UINT32, UINT32> OtherCorners(const TarnMeshFace& face, UINT32 v) {
        const UINT32* c = face.v;
        return c[0] == v ? std::pair(c[1], c[2]) : c[1] == v ? std::pair(c[2], c[0]) : std::pair(c[0], c[1]);
    }

    template <class Fits>
    UINT32 OnlyCandidate(UINT32 v, Fits fits) const {
        UINT32 only = c_NoVertex;
        for (const UINT32 candidate : m_Candidates[v]) {
            const UINT32 w = m_WeldOf[candidate];
            if (w != only && fits(w)) {
                if (only != c_NoVertex) {
                    return c_NoVertex;
                }
                only = w;
            }
        }
        return only;
    }

    bool HasFace(UINT32 w, UINT32 a, UINT32 b) const {
        // Around the corner with the fewest faces, so that a fan's hub is not gone round for each vertex of its rim.
        FaceCorners wanted{w, a, b};
        while (m_MeshFacesOf[wanted[0]].size() >
               std::min(m_MeshFacesOf[wanted[1]].size(), m_MeshFacesOf[wanted[2]].size())) {
            std::rotate(wanted.begin(), wanted.begin() + 1, wanted.end());
        }
        const auto isWanted = [&](UINT32 face) {
            const TarnMeshFace& corners = m_Faces[face];
            return !IsDegenerate(CornersOf(corners)) &&
                   OtherCorners(corners, wanted[0]) == std::pair(wanted[1], wanted[2]);
        };
        const IndexLists::Range faces = m_MeshFacesOf[wanted[0]];
        return std::any_of(faces.begin(), faces.end(), isWanted);
    }

    bool HasEdge(UINT32 w, UINT32 other) const {
        UINT32 few = w, end = other;
        if (m_MeshFacesOf[few].size() > m_MeshFacesOf[end].size()) {
            std::swap(few, end);
        }
        const auto hasEnd = [&](UINT32 face) {
            const FaceCorners corners = CornersOf(m_Faces[face]);
            return std::find(corners.begin(), corners.end(), end) != corners.end();
        };
        const IndexLists::Range faces = m_MeshFacesOf[few];
        return w != other && std::any_of(faces.begin(), faces.end(), hasEnd);
    }

    /// What is left, the clearest case first; each settles those around it.
    void SettleByNearness() {
        struct Case {
            float unclearness;
            UINT32 v;
        };
        std::vector<Case> cases;
        for (const UINT32 v : m_Unsettled) {
            if (m_VertexOf[v] == c_NoVertex) {
                cases.push_back({Nearest(v).second, v});
            }
        }
        std::sort(cases.begin(), cases.end(), [](const Case& a, const Case& b) {
            return a.unclearness != b.unclearness ? a.unclearness < b.unclearness : a.v < b.v;
        });
        for (const Case& next : cases) {
            if (m_VertexOf[next.v] == c_NoVertex) {
                Assign(next.v, Nearest(next.v).first);
                Flood();
            }
        }
    }

    /// The candidate nearest to where the vertex is expected, and its squared distance relative to the second nearest.
    std::pair<UINT32, float> Nearest(UINT32 v) const {
        const Vec3 place = Expected(v);
        UINT32 nearest = c_NoVertex;
        float first = std::numeric_limits<float>::max(), second = first;
        for (const UINT32 candidate : m_Candidates[v]) {
            const UINT32 w = m_WeldOf[candidate];
            const float distance = SquaredDistance(m_Mesh.positions[w], place);
            if (w == nearest) {
                continue;
            }
            if (distance < first) {
                second = first;
                first = distance;
                nearest = w;
            } else {
                second = std::min(second, distance);
            }
        }
        return {nearest, second > 0 ? first / second : 1};
    }

    /// Where it was, moved as its neighbours have moved.
    Vec3 Expected(UINT32 v) const {
        Vec3 moved{};
        float count = 0;
        for (const UINT32 face : m_Target.FacesOf(v)) {
            for (const UINT32 other : m_Target.Faces()[face].v) {
                if (m_VertexOf[other] != c_NoVertex) {
                    const Vec3 &from = m_Expected[other], &to = m_Mesh.positions[m_VertexOf[other]];
                    moved = {moved.x + to.x - from.x, moved.y + to.y - from.y, moved.z + to.z - from.z};
                    ++count;
                }
            }
        }
        const Vec3& p = m_Expected[v];
        return count == 0 ? p : Vec3{p.x + moved.x / count, p.y + moved.y / count, p.z + moved.z / count};
    }

    const MatchTarget& m_Target;
    const std::vector<Vec3>& m_Expected;
    const Mesh& m_Mesh;
    const float m_Same;
    IndexLists m_Candidates;  ///< for each of the target's vertices, the mesh's with its texture coordinates
    std::vector<UINT32> m_WeldOf;
    std::vector<TarnMeshFace> m_Faces;
    IndexLists m_MeshFacesOf;
    std::vector<UINT32> m_VertexOf;
    std::vector<BYTE> m_Attempts;  ///< to settle each of the target's vertices by its neighbours
    std::vector<UINT32> m_Unsettled;
    std::vector<UINT32> m_Queue;
};

}  // namespace

MatchTarget::MatchTarget(const std::vector<Vec3>& positions, const std::vector<Vec2>& texCoords,
                         const std::vector<TarnMeshFace>& faces)
    : m_TexCoords(texCoords),
      m_Faces(faces),
      m_Cells(c_Cells * c_Cells,
              [&](auto&& add) {
                  for (std::size_t i = 0; i < texCoords.size(); ++i) {
                      add(Along(texCoords[i].v) * c_Cells + Along(texCoords[i].u), static_cast<UINT32>(i));
                  }
              }),
      m_FacesOf(FacesOfVertices(faces, texCoords.size())) {
    FindTwins(positions);
}

void MatchTarget::FindTwins(const std::vector<Vec3>& positions) {
    const std::size_t lists = ListsFor(positions.size());
    const IndexLists byPlace(lists, [&](auto&& add) {
        for (std::size_t v = 0; v < positions.size(); ++v) {
            const Vec3 place{positions[v].x + 0.0F, positions[v].y + 0.0F, positions[v].z + 0.0F};  // -0 is 0
            std::array<UINT32, 3> key{};
            std::memcpy(key.data(), &place, sizeof(key));
            add(ListOfKey(key, lists), static_cast<UINT32>(v));
        }
    });
    m_NextTwin.resize(positions.size());
    std::iota(m_NextTwin.begin(), m_NextTwin.end(), 0U);
    for (std::size_t list = 0; list < lists; ++list) {
        const IndexLists::Range near = byPlace[list];
        for (const UINT32* v = near.begin(); v != near.end() && near.size() <= c_MostTwins; ++v) {
            const UINT32* const twin = std::find_if(
                near.begin(), v, [&](UINT32 w) { return SquaredDistance(positions[w], positions[*v]) == 0; });
            if (twin != v) {
                m_NextTwin[*v] = std::exchange(m_NextTwin[*twin], *v);
            }
        }
    }
}

VertexMatch MatchVertices(const MatchTarget& target, const std::vector<Vec3>& expected, const Mesh& mesh) {
    return VertexMatcher(target, expected, mesh).Take();
}

}  // namespace Nimb::Authoring
