#include "Demo/Capture/MeshSubject.h"

#include "Authoring/Codec/VertexStreams.h"
#include "Authoring/Scene/DisjointSets.h"
#include "Demo/Capture/SignedSurface.h"

#include <glm/gtx/component_wise.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <map>
#include <numeric>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace Nimb::Authoring::Capture {
namespace {

constexpr double c_ShellThickness = 0.008;
constexpr double c_LargestScene = 20;  ///< metres: whatever is larger is in other units

/// A connected piece of one material.
struct Piece {
    SignedSurface surface;
    Bounds bounds;
    std::size_t material;
    std::vector<UINT32> faces;  // of the material's mesh
};

double DistanceToBox(const Bounds& box, const Point& p) {
    return glm::length(glm::max(glm::max(box.min - p, p - box.max), Point(0)));
}

Colour ColourOfTexel(const Image& image, const Vec2& at) {
    const auto pixel = [](float share, std::size_t size) {
        return static_cast<std::size_t>(std::clamp(share, 0.0F, 1.0F) * static_cast<float>(size - 1) + 0.5F);
    };
    const BYTE* const rgba = image.Pixel(pixel(at.u, image.width), pixel(at.v, image.height));
    return Demo::Rgb(static_cast<std::uint32_t>(rgba[0] << 16 | rgba[1] << 8 | rgba[2]));
}

/// Of each vertex, the number of the first one at its place, and which places belong to one piece.
struct Pieces {
    explicit Pieces(const Mesh& mesh) : place(mesh.positions.size()), joined(mesh.positions.size()) {
        std::map<std::array<float, 3>, UINT32> known;
        for (std::size_t i = 0; i < place.size(); ++i) {
            const Vec3& p = mesh.positions[i];
            place[i] = known.try_emplace({p.x, p.y, p.z}, static_cast<UINT32>(i)).first->second;
        }
        for (const TarnMeshFace& face : mesh.faces) {
            joined.Join(place[face.v[1]], place[face.v[0]]);
            joined.Join(place[face.v[2]], place[face.v[0]]);
        }
    }

    std::vector<UINT32> place;
    DisjointSets joined;
};

class MeshSolid : public Solid {
public:
    /// `name`: of the frame, for messages.
    MeshSolid(SourceFrame frame, const std::vector<std::shared_ptr<const Image>>& textures, const std::string& name)
        : m_Frame(std::move(frame)), m_Textures(textures) {
        for (std::size_t i = 0; i < m_Frame.meshes.size(); ++i) {
            AddPieces(i);
        }
        if (m_Pieces.empty()) {
            throw InputError(name + ": there is no surface");
        }
        const double size = glm::compMax(m_Bounds.max - m_Bounds.min);
        if (size > c_LargestScene) {
            char text[96];
            std::snprintf(text, sizeof text, ": is %.4g m large; scenes must be in metres, and at most %g m large",
                          size, c_LargestScene);
            throw InputError(name + text);
        }
        m_CellSize = std::max(c_LeastCell, size / c_MostCells);
        FillCells();
    }

    double Distance(const Point& p) const override { return Nearest(p).distance; }

    Colour ColourAt(const Point& p) const override {
        const Found found = Nearest(p);
        if (found.piece == nullptr) {
            return Colour(0.5);
        }
        const Mesh& mesh = m_Frame.meshes[found.piece->material].mesh;
        const UINT32* const v = mesh.faces[found.piece->faces[found.point.face]].v;
        glm::dvec2 at(0);
        for (int i = 0; i < 3; ++i) {
            const Vec2& corner = mesh.texCoords[v[i]];
            at += found.point.weights[i] * glm::dvec2(corner.u, corner.v);
        }
        return ColourOfTexel(*m_Textures[found.piece->material], {static_cast<float>(at.x), static_cast<float>(at.y)});
    }

    Bounds Around() const override { return m_Bounds; }

private:
    struct Found {
        const Piece* piece = nullptr;
        SurfacePoint point;
        double distance = std::numeric_limits<double>::infinity();
    };

    void AddPieces(std::size_t material) {
        const Mesh& mesh = m_Frame.meshes[material].mesh;
        Pieces pieces(mesh);
        std::map<UINT32, std::vector<UINT32>> facesOf;
        for (std::size_t f = 0; f < mesh.faces.size(); ++f) {
            facesOf[pieces.joined.Find(pieces.place[mesh.faces[f].v[0]])].push_back(static_cast<UINT32>(f));
        }
        for (const auto& [first, numbers] : facesOf) {
            AddPiece(material, numbers, pieces.place);
        }
    }

    void AddPiece(std::size_t material, const std::vector<UINT32>& numbers, const std::vector<UINT32>& place) {
        const Mesh& mesh = m_Frame.meshes[material].mesh;
        std::vector<Vec3> positions;
        std::vector<TarnMeshFace> faces;
        std::vector<UINT32> kept;
        std::unordered_map<UINT32, UINT32> known;
        for (const UINT32 number : numbers) {
            TarnMeshFace face = mesh.faces[number];
            for (UINT32& v : face.v) {
                const auto [entry, isNew] = known.try_emplace(place[v], static_cast<UINT32>(positions.size()));
                if (isNew) {
                    positions.push_back(mesh.positions[v]);
                }
                v = entry->second;
            }
            if (face.v[0] != face.v[1] && face.v[1] != face.v[2] && face.v[2] != face.v[0]) {
                faces.push_back(face);
                kept.push_back(number);
            }
        }
        if (faces.empty()) {
            return;
        }
        const Box box = BoundingBox(positions);
        const Bounds bounds{VectorOf(box.min) - c_ShellThickness, VectorOf(box.max) + c_ShellThickness};
        m_Bounds.min = glm::min(m_Bounds.min, bounds.min);
        m_Bounds.max = glm::max(m_Bounds.max, bounds.max);
        m_Pieces.push_back({SignedSurface(positions, faces, c_ShellThickness), bounds, material, std::move(kept)});
    }

    /// Of the union: the least of the pieces' distances.
    Found Nearest(const Point& p) const { return NearestAmong(CandidatesAt(p), p); }

    Found NearestAmong(const std::vector<UINT32>& candidates, const Point& p) const {
        Found best;
        for (const UINT32 candidate : candidates) {
            const Piece& piece = m_Pieces[candidate];
            if (DistanceToBox(piece.bounds, p) > best.distance) {
                continue;
            }
            // Inside of one piece, only another that reaches around further is nearer.
            const double limit =
                best.distance > 0 ? best.distance + c_ShellThickness : std::numeric_limits<double>::infinity();
            const SignedSurface::Nearest found = piece.surface.To(p, limit);
            if (found.point && found.distance < best.distance) {
                best = {&piece, found.point, found.distance};
            }
        }
        return best;
    }

    /// In every cell of a coarse grid, the pieces that may be nearest there, nearest boxes first.
    void FillCells() {
        m_All.resize(m_Pieces.size());
        std::iota(m_All.begin(), m_All.end(), 0U);
        m_Size = glm::ivec3(glm::ceil((m_Bounds.max - m_Bounds.min) / m_CellSize));
        for (int z = 0; z < m_Size.z; ++z) {
            for (int y = 0; y < m_Size.y; ++y) {
                for (int x = 0; x < m_Size.x; ++x) {
                    m_Cells.push_back(CandidatesNear(m_Bounds.min + (Point(x, y, z) + 0.5) * m_CellSize));
                }
            }
        }
    }

    std::vector<UINT32> CandidatesNear(const Point& centre) const {
        std::vector<std::pair<double, UINT32>> boxes;
        for (const UINT32 i : m_All) {
            boxes.emplace_back(DistanceToBox(m_Pieces[i].bounds, centre), i);
        }
        std::sort(boxes.begin(), boxes.end());
        std::vector<UINT32> sorted;
        for (const auto& [distance, i] : boxes) {
            sorted.push_back(i);
        }
        const double reach = std::max(NearestAmong(sorted, centre).distance, 0.0) + std::sqrt(3.0) * m_CellSize;
        std::vector<UINT32> candidates;
        for (const auto& [distance, i] : boxes) {
            if (distance <= reach) {
                candidates.push_back(i);
            }
        }
        return candidates;
    }

    const std::vector<UINT32>& CandidatesAt(const Point& p) const {
        const glm::ivec3 cell(glm::floor((p - m_Bounds.min) / m_CellSize));
        const bool isOutside =
            glm::any(glm::lessThan(cell, glm::ivec3(0))) || glm::any(glm::greaterThanEqual(cell, m_Size));
        return isOutside ? m_All : m_Cells[static_cast<std::size_t>((cell.z * m_Size.y + cell.y) * m_Size.x + cell.x)];
    }

    static constexpr double c_LeastCell = 0.05;
    static constexpr double c_MostCells = 100;  // along an axis

    const SourceFrame m_Frame;
    const std::vector<std::shared_ptr<const Image>> m_Textures;  // of m_Frame's meshes
    std::vector<Piece> m_Pieces;
    std::vector<UINT32> m_All;  // numbers of all pieces
    double m_CellSize = c_LeastCell;
    glm::ivec3 m_Size{0};
    std::vector<std::vector<UINT32>> m_Cells;
    Bounds m_Bounds{Point(1e9), Point(-1e9)};
};

}  // namespace

MeshSubject::MeshSubject(std::shared_ptr<const MeshSource> source, std::string name, std::size_t frames)
    : m_Source(std::move(source)), m_Name(std::move(name)), m_Frames(std::min(frames, m_Source->FrameCount())) {}

std::unique_ptr<Solid> MeshSubject::At(std::size_t frame) const {
    SourceFrame meshes = m_Source->Frame(frame);
    std::vector<std::shared_ptr<const Image>> textures;
    for (const MaterialMesh& mesh : meshes.meshes) {
        try {
            CheckMesh(mesh.mesh);
        } catch (const std::invalid_argument& error) {
            throw InputError(m_Source->FrameName(frame) + ": " + error.what());
        }
        textures.push_back(m_Source->Texture(frame, mesh.material));
    }
    return std::make_unique<MeshSolid>(std::move(meshes), textures, m_Source->FrameName(frame));
}

}  // namespace Nimb::Authoring::Capture
