// Small meshes that are the same everywhere, how they move, and which faces they have.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <algorithm>
#include <vector>

namespace NimbTest {

/// Faces as a set: indices replaced by order[index] if there is an order, each face rotated to start with its smallest
/// vertex, all sorted.
inline std::vector<std::vector<UINT32>> FaceSet(const std::vector<UINT32>& indices,
                                                const std::vector<UINT32>& order = {}) {
    const auto vertex = [&](std::size_t i) { return order.empty() ? indices[i] : order.at(indices[i]); };
    std::vector<std::vector<UINT32>> faces;
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        std::vector<UINT32> face{vertex(i), vertex(i + 1), vertex(i + 2)};
        std::rotate(face.begin(), std::min_element(face.begin(), face.end()), face.end());
        // Of two rotations of a degenerate face, (a, a, b) and (a, b, a), the smaller stands for both.
        std::vector<UINT32> other{face[2], face[0], face[1]};
        faces.push_back(std::min(face, other));
    }
    std::sort(faces.begin(), faces.end());
    return faces;
}

/// Small numbers that are the same everywhere.
class Random {
public:
    explicit Random(UINT32 seed) : m_State(seed * 2654435761u + 1) {}
    UINT32 Next() {
        m_State = m_State * 1664525u + 1013904223u;
        return m_State >> 8;
    }
    /// 0 to bound - 1.
    UINT32 Below(UINT32 bound) { return Next() % bound; }
    /// A multiple of 1/4096 from -1 to 1.
    float Signed() { return (static_cast<float>(Below(8193)) - 4096.0f) / 4096.0f; }

private:
    UINT32 m_State;
};

/// Two triangles for each cell of columns x rows vertices.
inline std::vector<TarnMeshFace> SheetFaces(UINT32 columns, UINT32 rows) {
    std::vector<TarnMeshFace> faces;
    for (UINT32 r = 0; r + 1 < rows; ++r) {
        for (UINT32 c = 0; c + 1 < columns; ++c) {
            const UINT32 a = r * columns + c;
            faces.push_back({{a, a + 1, a + columns}});
            faces.push_back({{a + 1, a + columns + 1, a + columns}});
        }
    }
    return faces;
}

/// A bumpy sheet of columns x rows vertices with normals, made of integers alone so that it is the same everywhere.
inline Nimb::Authoring::Mesh MakeSheet(UINT32 columns, UINT32 rows, UINT32 seed = 1) {
    Random random(seed);
    Nimb::Authoring::Mesh mesh;
    for (UINT32 r = 0; r < rows; ++r) {
        for (UINT32 c = 0; c < columns; ++c) {
            mesh.positions.push_back({static_cast<float>(c) / 8, static_cast<float>(r) / 8, random.Signed() / 16});
            mesh.texCoords.push_back({static_cast<float>(c) / 64, static_cast<float>(r) / 64});
            mesh.normals.push_back({random.Signed(), random.Signed(), random.Signed()});
        }
    }
    mesh.faces = SheetFaces(columns, rows);
    return mesh;
}

/// The mesh `frame` frames later: it drifts, shears back and forth, and ripples.
inline Nimb::Authoring::Mesh Moved(Nimb::Authoring::Mesh mesh, UINT32 frame) {
    Random random(frame + 77);
    const float drift = static_cast<float>(frame) / 256;
    const float swing = static_cast<float>(frame % 16 < 8 ? frame % 8 : 8 - frame % 8) / 128;
    for (Nimb::Authoring::Vec3& p : mesh.positions) {
        p = {p.x + drift + swing * p.y, p.y - drift / 2, p.z + random.Signed() / 1024};
    }
    return mesh;
}

/// The same surface as an exporter writes it that numbers vertices, faces and first corners as it likes.
inline Nimb::Authoring::Mesh Shuffled(const Nimb::Authoring::Mesh& mesh, UINT32 seed) {
    Random random(seed);
    std::vector<UINT32> place(mesh.positions.size());
    for (UINT32 i = 0; i < place.size(); ++i) {
        place[i] = i;
        std::swap(place[i], place[random.Below(i + 1)]);
    }
    Nimb::Authoring::Mesh out = mesh;
    for (std::size_t i = 0; i < place.size(); ++i) {
        out.positions[place[i]] = mesh.positions[i];
        out.texCoords[place[i]] = mesh.texCoords[i];
        if (!mesh.normals.empty()) {
            out.normals[place[i]] = mesh.normals[i];
        }
    }
    for (UINT32 i = 0; i < out.faces.size(); ++i) {
        auto& v = out.faces[i].v;
        std::transform(v, v + 3, v, [&](UINT32 index) { return place[index]; });
        std::rotate(v, v + random.Below(3), v + 3);
        std::swap(out.faces[i], out.faces[random.Below(i + 1)]);
    }
    return out;
}

}  // namespace NimbTest
