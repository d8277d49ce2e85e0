// Texture coordinates say where on the surface a vertex is, up to vertices that share them. So faces are compared by
// the places of their corners. Faces whose triple of places is unique in both meshes correspond at once; a face that is
// not follows from a neighbour that does, with which it shares a vertex. Whatever is left then could correspond in
// several ways, and the meshes are refused.
#include "Authoring/Scene/TopologyMatch.h"

#include "Authoring/Scene/DisjointSets.h"
#include "Authoring/Scene/IndexLists.h"
#include "Authoring/Scene/MeshComparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// Places in texture space: the same number for vertices closer than the tolerance, in both meshes. Chains of close
/// vertices are one place too.
struct Places {
    std::vector<UINT32> ofReference;
    std::vector<UINT32> ofMesh;
};

Places FindPlaces(const Mesh& reference, const Mesh& mesh) {
    // Neighbouring cells of a grid whose cells are as large as the tolerance hold what may be close.
    std::unordered_map<std::uint64_t, UINT32> cells;
    const auto cellOf = [&](const Vec2& uv, int du, int dv) {
        const auto index = [](float value, int d) {
            const float cell = std::floor(std::clamp(value, 0.0F, 1.0F) / c_TexCoordTolerance);
            return static_cast<UINT32>(static_cast<int>(cell) + d + 1);
        };
        return std::uint64_t{index(uv.u, du)} << 32 | index(uv.v, dv);
    };
    const std::size_t count = reference.texCoords.size();
    cells.reserve(count * 2);
    const auto number = [&](const std::vector<Vec2>& texCoords) {
        std::vector<UINT32> places;
        for (const Vec2& uv : texCoords) {
            places.push_back(cells.try_emplace(cellOf(uv, 0, 0), static_cast<UINT32>(cells.size())).first->second);
        }
        return places;
    };
    Places places{number(reference.texCoords), number(mesh.texCoords)};
    DisjointSets joined(cells.size());
    const auto joinNeighbours = [&](const std::vector<Vec2>& texCoords, std::vector<UINT32>& own) {
        for (std::size_t i = 0; i < texCoords.size(); ++i) {
            for (const auto& [du, dv] : {std::pair(1, 0), {0, 1}, {1, 1}, {1, -1}}) {
                const auto neighbour = cells.find(cellOf(texCoords[i], du, dv));
                if (neighbour != cells.end()) {
                    joined.Join(own[i], neighbour->second);
                }
            }
        }
    };
    joinNeighbours(reference.texCoords, places.ofReference);
    joinNeighbours(mesh.texCoords, places.ofMesh);
    for (std::vector<UINT32>* own : {&places.ofReference, &places.ofMesh}) {
        for (UINT32& place : *own) {
            place = joined.Find(place);
        }
    }
    return places;
}

/// A face's places, turned so that the smallest comes first: what stays the same when a file lists the corners from
/// another one on. Its winding is kept.
struct FaceKey {
    std::array<UINT32, 3> places;
    UINT32 face;
    BYTE firstCorner;  ///< corner of the face that places[0] belongs to

    bool operator<(const FaceKey& other) const {
        return places != other.places ? places < other.places : face < other.face;
    }
};

std::vector<FaceKey> SortedKeys(const std::vector<TarnMeshFace>& faces, const std::vector<UINT32>& placeOf) {
    std::vector<FaceKey> keys;
    keys.reserve(faces.size());
    for (std::size_t i = 0; i < faces.size(); ++i) {
        FaceKey best{{c_NoVertex, c_NoVertex, c_NoVertex}, static_cast<UINT32>(i), 0};
        for (BYTE turn = 0; turn < 3; ++turn) {
            const UINT32* v = faces[i].v;
            const std::array<UINT32, 3> places{placeOf[v[turn]], placeOf[v[(turn + 1) % 3]],
                                               placeOf[v[(turn + 2) % 3]]};
            if (places < best.places) {
                best.places = places;
                best.firstCorner = turn;
            }
        }
        keys.push_back(best);
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

bool HasDistinctPlaces(const FaceKey& key) {
    return key.places[0] != key.places[1] && key.places[1] != key.places[2] && key.places[0] != key.places[2];
}

class TopologyMatcher {
public:
    TopologyMatcher(const Mesh& reference, const Mesh& mesh)
        : m_Reference(reference),
          m_Mesh(mesh),
          m_VertexOf(reference.positions.size(), c_NoVertex),
          m_IsDone(reference.faces.size()),
          m_IsTaken(mesh.faces.size()) {
        const Places places = FindPlaces(reference, mesh);
        m_ReferenceKeys = SortedKeys(reference.faces, places.ofReference);
        m_MeshKeys = SortedKeys(mesh.faces, places.ofMesh);
        WeldMesh(places.ofMesh);
    }

    std::optional<Mesh> Match() {
        if (m_ReferenceKeys.size() != m_MeshKeys.size()) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < m_MeshKeys.size(); ++i) {
            if (m_ReferenceKeys[i].places != m_MeshKeys[i].places) {
                return std::nullopt;
            }
        }
        m_KeyOf.resize(m_ReferenceKeys.size());
        for (std::size_t i = 0; i < m_ReferenceKeys.size(); ++i) {
            m_KeyOf[m_ReferenceKeys[i].face] = static_cast<UINT32>(i);
        }
        m_FacesOf = FacesOfVertices(m_Reference.faces, m_Reference.positions.size());
        if (!MatchUniqueFaces() || !MatchNeighbours() || m_Done != m_Reference.faces.size()) {
            return std::nullopt;
        }
        return Result();
    }

private:
    /// Vertices of the mesh in one place of the texture and of space are one vertex that the exporter split.
    void WeldMesh(const std::vector<UINT32>& placeOf) {
        const std::vector<Vec3>& positions = m_Mesh.positions;
        const float tolerance = SplitTolerance(positions);
        std::vector<UINT32> order(positions.size());
        std::iota(order.begin(), order.end(), 0U);
        std::sort(order.begin(), order.end(), [&](UINT32 a, UINT32 b) {
            const Vec3 &p = positions[a], &q = positions[b];
            return std::tie(placeOf[a], p.x, p.y, p.z, a) < std::tie(placeOf[b], q.x, q.y, q.z, b);
        });
        m_Weld.resize(positions.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            const UINT32 v = order[i], before = i == 0 ? v : order[i - 1];
            const Vec3 &p = positions[v], &q = positions[before];
            const bool isSame = placeOf[v] == placeOf[before] && std::abs(p.x - q.x) <= tolerance &&
                                std::abs(p.y - q.y) <= tolerance && std::abs(p.z - q.z) <= tolerance;
            m_Weld[v] = isSame && i > 0 ? m_Weld[before] : v;
        }
    }

    bool MatchUniqueFaces() {
        const std::size_t count = m_ReferenceKeys.size();
        for (std::size_t i = 0; i < count; ++i) {
            const bool isUnique = (i == 0 || m_ReferenceKeys[i - 1].places != m_ReferenceKeys[i].places) &&
                                  (i + 1 == count || m_ReferenceKeys[i + 1].places != m_ReferenceKeys[i].places);
            if (isUnique && HasDistinctPlaces(m_ReferenceKeys[i])) {
                const BYTE turn =
                    static_cast<BYTE>((m_MeshKeys[i].firstCorner + 3 - m_ReferenceKeys[i].firstCorner) % 3);
                if (!Take(m_ReferenceKeys[i].face, m_MeshKeys[i].face, turn)) {
                    return false;
                }
            }
        }
        return true;
    }

    /// Corner c of the reference's face corresponds to corner c + turn of the mesh's. False when a vertex would have
    /// two counterparts, or one elsewhere in the texture.
    bool Take(UINT32 face, UINT32 other, BYTE turn) {
        m_IsDone[face] = true;
        m_IsTaken[other] = true;
        ++m_Done;
        for (BYTE c = 0; c < 3; ++c) {
            const UINT32 v = m_Reference.faces[face].v[c];
            const UINT32 w = m_Mesh.faces[other].v[(c + turn) % 3];
            if (!AreClose(m_Reference.texCoords[v], m_Mesh.texCoords[w])) {
                return false;
            }
            m_Pairs.push_back({v, w});
            if (m_VertexOf[v] == c_NoVertex) {
                m_VertexOf[v] = m_Weld[w];
                m_NewVertices.push_back(v);
            } else if (m_VertexOf[v] != m_Weld[w]) {
                return false;
            }
        }
        return true;
    }

    bool MatchNeighbours() {
        while (!m_NewVertices.empty()) {
            const UINT32 v = m_NewVertices.back();
            m_NewVertices.pop_back();
            for (const UINT32 face : m_FacesOf[v]) {
                if (!m_IsDone[face] && !MatchByVertices(face)) {
                    return false;
                }
            }
        }
        return true;
    }

    /// Takes the mesh's face that agrees with all vertices known so far, if there is exactly one. False when there is
    /// none.
    bool MatchByVertices(UINT32 face) {
        const std::size_t own = m_KeyOf[face];
        const std::array<UINT32, 3>& places = m_ReferenceKeys[own].places;
        std::size_t first = own;
        while (first > 0 && m_MeshKeys[first - 1].places == places && own - first < c_MaxCandidates) {
            --first;
        }
        std::size_t agreeing = 0;
        UINT32 other = 0;
        BYTE turn = 0;
        std::size_t seen = 0;
        for (std::size_t i = first; i < m_MeshKeys.size() && m_MeshKeys[i].places == places; ++i) {
            if (++seen > c_MaxCandidates) {
                return true;
            }
            for (BYTE t = 0; t < 3 && !m_IsTaken[m_MeshKeys[i].face]; ++t) {
                if (Agrees(face, m_MeshKeys[i].face, t)) {
                    ++agreeing;
                    other = m_MeshKeys[i].face;
                    turn = t;
                }
            }
        }
        return agreeing == 1 ? Take(face, other, turn) : agreeing > 1;
    }

    bool Agrees(UINT32 face, UINT32 other, BYTE turn) const {
        for (BYTE c = 0; c < 3; ++c) {
            const UINT32 v = m_Reference.faces[face].v[c];
            const UINT32 w = m_Mesh.faces[other].v[(c + turn) % 3];
            if ((m_VertexOf[v] != c_NoVertex && m_VertexOf[v] != m_Weld[w]) ||
                !AreClose(m_Reference.texCoords[v], m_Mesh.texCoords[w])) {
                return false;
            }
        }
        return true;
    }

    std::optional<Mesh> Result() const {
        Mesh result;
        result.texCoords = m_Reference.texCoords;
        result.faces = m_Reference.faces;
        for (const UINT32 w : m_VertexOf) {
            if (w == c_NoVertex) {
                return std::nullopt;
            }
            result.positions.push_back(m_Mesh.positions[w]);
        }
        if (!m_Mesh.normals.empty()) {
            result.normals = MeanNormals();
        }
        return result;
    }

    /// Where a vertex has one counterpart, its normal as it stands.
    std::vector<Vec3> MeanNormals() const {
        std::vector<Vec3> normals(m_VertexOf.size());
        std::vector<UINT32> counterpart(m_VertexOf.size(), c_NoVertex);
        std::vector<bool> isMean(m_VertexOf.size());
        for (const auto& [v, w] : m_Pairs) {
            const Vec3& n = m_Mesh.normals[w];
            Vec3& sum = normals[v];
            if (counterpart[v] != w || isMean[v]) {
                isMean[v] = counterpart[v] != c_NoVertex;
                counterpart[v] = w;
                sum = {sum.x + n.x, sum.y + n.y, sum.z + n.z};
            }
        }
        for (std::size_t v = 0; v < normals.size(); ++v) {
            Vec3& n = normals[v];
            const float length = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
            if (isMean[v] && length > 0) {
                n = {n.x / length, n.y / length, n.z / length};
            }
        }
        return normals;
    }

    // Faces in one place; more of them are not worth the time, since only chance would tell them apart.
    static constexpr std::size_t c_MaxCandidates = 64;

    struct Pair {
        UINT32 reference;
        UINT32 mesh;
    };

    const Mesh& m_Reference;
    const Mesh& m_Mesh;
    std::vector<FaceKey> m_ReferenceKeys;
    std::vector<FaceKey> m_MeshKeys;  ///< places at i are those of m_ReferenceKeys[i]
    std::vector<UINT32> m_KeyOf;      ///< for each of the reference's faces, where its key is
    std::vector<UINT32> m_Weld;       ///< for each of the mesh's vertices, the first one of those that coincide
    IndexLists m_FacesOf;             ///< of the reference's vertices

    std::vector<UINT32> m_VertexOf;  ///< for each of the reference's vertices, the mesh's, welded
    std::vector<bool> m_IsDone;      ///< for each of the reference's faces
    std::vector<bool> m_IsTaken;     ///< for each of the mesh's faces
    std::size_t m_Done = 0;
    std::vector<UINT32> m_NewVertices;
    std::vector<Pair> m_Pairs;
};

}  // namespace

std::optional<Mesh> InTopologyOf(const Mesh& reference, const Mesh& mesh) {
    CheckArrays(reference);
    CheckArrays(mesh);
    if (reference.normals.empty() != mesh.normals.empty()) {
        return std::nullopt;
    }
    if (HaveSameFaces(reference, mesh)) {
        return Mesh{mesh.positions, reference.texCoords, mesh.normals, reference.faces};
    }
    return TopologyMatcher(reference, mesh).Match();
}

}  // namespace Nimb::Authoring
