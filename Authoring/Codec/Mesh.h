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
