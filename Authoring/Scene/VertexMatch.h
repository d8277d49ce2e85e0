// Which vertex of one frame is which of another, when both show one surface and are numbered differently.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/IndexLists.h"
#include "Authoring/Scene/MeshComparison.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// What is looked up in a mesh when others are matched to it. Keeps references.
class MatchTarget {
public:
    MatchTarget(const std::vector<Vec3>& positions, const std::vector<Vec2>& texCoords,
                const std::vector<TarnMeshFace>& faces);

    /// Calls visit(vertex) for the vertices whose texture coordinates are these, within 2/65535; for none where too
    /// many are close to each other to tell anything, as in a mesh without texture coordinates of its own.
    template <class Visit>
    void ForEachAt(const Vec2& t, Visit visit) const {
        const std::size_t right = Along(t.u + c_TexCoordTolerance), bottom = Along(t.v + c_TexCoordTolerance);
        for (std::size_t y = Along(t.v - c_TexCoordTolerance); y <= bottom; ++y) {
            for (std::size_t x = Along(t.u - c_TexCoordTolerance); x <= right; ++x) {
                const IndexLists::Range cell = m_Cells[y * c_Cells + x];
                for (std::size_t i = 0; i < cell.size() && cell.size() <= c_MostInCell; ++i) {
                    const UINT32 v = cell.begin()[i];
                    if (AreClose(m_TexCoords[v], t)) {
                        visit(v);
                    }
                }
            }
        }
    }

    const std::vector<TarnMeshFace>& Faces() const { return m_Faces; }
    std::size_t VertexCount() const { return m_TexCoords.size(); }
    IndexLists::Range FacesOf(UINT32 v) const { return m_FacesOf[v]; }

    /// The next of the vertices that are in one place of space, round about; itself where there are too many.
    UINT32 NextTwin(UINT32 v) const { return m_NextTwin[v]; }

    /// Whether two vertices are in one place of the texture.
    bool ShareTexCoords(UINT32 a, UINT32 b) const { return AreClose(m_TexCoords[a], m_TexCoords[b]); }

private:
    static constexpr std::size_t c_Cells = 1024;
    static constexpr std::size_t c_MostInCell = 32;
    static constexpr std::size_t c_MostTwins = 32;

    static std::size_t Along(float value) {
        return static_cast<std::size_t>(std::clamp(value, 0.0F, 1.0F) * (c_Cells - 1));
    }
    void FindTwins(const std::vector<Vec3>& positions);

    const std::vector<Vec2>& m_TexCoords;
    const std::vector<TarnMeshFace>& m_Faces;
    IndexLists m_Cells;
    IndexLists m_FacesOf;
    std::vector<UINT32> m_NextTwin;
};

/// The vertices of a mesh that correspond to those of a target.
struct VertexMatch {
    std::vector<UINT32> vertexOf;     ///< for each of the target's vertices one of the mesh's, or c_NoVertex
    std::vector<TarnMeshFace> faces;  ///< the mesh's, of the vertices named here: of those that coincide, the first
    std::vector<UINT32> weldOf;       ///< for each of the mesh's vertices the first that coincides with it
    IndexLists candidates;            ///< for each of the target's, all with its texture coordinates
};

/// `expected`: where the target's vertices are thought to be in the mesh, roughly.
VertexMatch MatchVertices(const MatchTarget& target, const std::vector<Vec3>& expected, const Mesh& mesh);

}  // namespace Nimb::Authoring
