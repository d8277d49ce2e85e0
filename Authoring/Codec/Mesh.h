// The mesh that encoders take: what an exporter has before anything is quantised or reordered.
#pragma once

#include "NimbCore/EdgeBreaker.h"

#include <algorithm>
#include <vector>

namespace Nimb::Authoring {

struct Vec2 {
    float u, v;
};

struct Vec3 {
    float x, y, z;
};

struct Box {
    Vec3 min{};
    Vec3 max{};
};

/// Vertices are parallel arrays. Texture coordinates lie in [0, 1]; faces index the vertices, counter-clockwise.
struct Mesh {
    std::vector<Vec3> positions;
    std::vector<Vec2> texCoords;  ///< one per vertex
    std::vector<Vec3> normals;    ///< empty, or one per vertex
    std::vector<TarnMeshFace> faces;
};

/// Appends a mesh. The result has normals if both have.
inline void Append(Mesh& mesh, const Mesh& tail) {
    if (mesh.normals.size() == mesh.positions.size() && tail.normals.size() == tail.positions.size()) {
        mesh.normals.insert(mesh.normals.end(), tail.normals.begin(), tail.normals.end());
    } else {
        mesh.normals.clear();
    }
    const auto base = static_cast<UINT32>(mesh.positions.size());
    mesh.positions.insert(mesh.positions.end(), tail.positions.begin(), tail.positions.end());
    mesh.texCoords.insert(mesh.texCoords.end(), tail.texCoords.begin(), tail.texCoords.end());
    for (const TarnMeshFace& face : tail.faces) {
        mesh.faces.push_back({{base + face.v[0], base + face.v[1], base + face.v[2]}});
    }
}

/// A mesh at one time: what changes while faces and texture coordinates stay.
struct Pose {
    std::vector<Vec3> positions;
    std::vector<Vec3> normals;  ///< empty, or one for each position
};

/// The smallest box that holds both.
inline Box Union(const Box& a, const Box& b) {
    return {{std::min(a.min.x, b.min.x), std::min(a.min.y, b.min.y), std::min(a.min.z, b.min.z)},
            {std::max(a.max.x, b.max.x), std::max(a.max.y, b.max.y), std::max(a.max.z, b.max.z)}};
}

/// The smallest box that holds all positions; all zeros when there are none.
inline Box BoundingBox(const std::vector<Vec3>& positions) {
    if (positions.empty()) {
        return {};
    }
    Box box{positions.front(), positions.front()};
    for (const Vec3& p : positions) {
        box = Union(box, {p, p});
    }
    return box;
}

}  // namespace Nimb::Authoring
