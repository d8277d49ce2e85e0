#include "Authoring/Source/CornerMesh.h"

#include "Authoring/Codec/Vectors.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_MaxConcaveCorners = 256;

/// The corners of one polygon that are not cut off yet, seen along its normal.
class Polygon {
public:
    Polygon(const std::vector<Corner>& corners, const std::vector<Vec3>& positions)
        : m_Corners(corners), m_Positions(positions), m_Normal(0) {
        for (std::size_t i = 1; i + 1 < Size(); ++i) {
            m_Normal += glm::cross(At(i) - At(0), At(i + 1) - At(0));
        }
    }

    std::size_t Size() const { return m_Corners.size(); }

    bool IsConvex() const {
        for (std::size_t i = 0; i < Size(); ++i) {
            if (Turn(i + Size() - 1, i, i + 1) < 0) {
                return false;
            }
        }
        return true;
    }

    /// Cuts off corner i: appends its triangle.
    void Cut(std::size_t i, std::vector<Corner>& triangles) {
        for (const std::size_t corner : {i + Size() - 1, i, i + 1}) {
            triangles.push_back(m_Corners[corner % Size()]);
        }
        m_Corners.erase(m_Corners.begin() + static_cast<std::ptrdiff_t>(i));
    }

    /// A corner whose triangle lies inside the polygon; any corner of a polygon that crosses itself.
    std::size_t FindEar() const {
        for (std::size_t i = 0; i < Size(); ++i) {
            if (IsEar(i)) {
                return i;
            }
        }
        return 1;
    }

private:
    glm::dvec3 At(std::size_t i) const { return VectorOf(m_Positions[m_Corners[i % Size()].position]); }

    /// Above 0 where a, b, c turn the way the polygon does.
    double Turn(std::size_t a, std::size_t b, std::size_t c) const {
        return glm::dot(m_Normal, glm::cross(At(b) - At(a), At(c) - At(a)));
    }

    bool IsEar(std::size_t i) const {
        const std::size_t before = i + Size() - 1;
        if (Turn(before, i, i + 1) <= 0) {
            return false;
        }
        for (std::size_t k = i + 2; k < i + Size() - 1; ++k) {
            if (Turn(before, i, k) >= 0 && Turn(i, i + 1, k) >= 0 && Turn(i + 1, before, k) >= 0) {
                return false;
            }
        }
        return true;
    }

    std::vector<Corner> m_Corners;
    const std::vector<Vec3>& m_Positions;
    glm::dvec3 m_Normal;
};

struct VertexKey {
    std::array<UINT32, 6> words;  ///< position index, then the bits of the other attributes

    bool operator==(const VertexKey& other) const { return words == other.words; }
};

struct KeyHash {
    std::size_t operator()(const VertexKey& key) const {
        std::uint64_t hash = 0;
        for (const UINT32 word : key.words) {
            hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
            hash ^= hash >> 32;
        }
        return static_cast<std::size_t>(hash);
    }
};

UINT32 BitsOf(float value) {
    const float withoutMinusZero = value + 0.0F;
    UINT32 bits;
    std::memcpy(&bits, &withoutMinusZero, sizeof bits);
    return bits;
}

}  // namespace

std::optional<std::vector<Corner>> Triangulate(const std::vector<Corner>& polygon, const std::vector<Vec3>& positions) {
    std::vector<Corner> distinct;
    for (const Corner& corner : polygon) {
        if (distinct.empty() || distinct.back().position != corner.position) {
            distinct.push_back(corner);
        }
    }
    while (distinct.size() > 1 && distinct.front().position == distinct.back().position) {
        distinct.pop_back();
    }
    std::vector<Corner> triangles;
    if (distinct.size() < 3) {
        return triangles;
    }
    if (distinct.size() == 3) {
        return distinct;
    }
    Polygon rest(distinct, positions);
    if (rest.IsConvex()) {
        for (std::size_t i = 1; i + 1 < distinct.size(); ++i) {
            triangles.insert(triangles.end(), {distinct[0], distinct[i], distinct[i + 1]});
        }
        return triangles;
    }
    if (rest.Size() > c_MaxConcaveCorners) {
        return std::nullopt;
    }
    while (rest.Size() >= 3) {
        rest.Cut(rest.FindEar(), triangles);
    }
    return triangles;
}

Mesh MeshOfCorners(const CornerArrays& arrays, const std::vector<Corner>& corners, std::vector<UINT32>& origin) {
    const auto all = [&](UINT32 Corner::*index) {
        return std::all_of(corners.begin(), corners.end(),
                           [&](const Corner& corner) { return corner.*index != Corner::c_None; });
    };
    const bool hasTexCoords = all(&Corner::texCoord);
    const bool hasNormals = all(&Corner::normal);
    Mesh mesh;
    origin.clear();
    std::unordered_map<VertexKey, UINT32, KeyHash> vertices;
    vertices.reserve(corners.size() / 4);
    std::vector<UINT32> indices;
    indices.reserve(corners.size());
    for (const Corner& corner : corners) {
        const Vec2 uv = hasTexCoords ? arrays.texCoords[corner.texCoord] : Vec2{};
        const Vec3 n = hasNormals ? arrays.normals[corner.normal] : Vec3{};
        const VertexKey key{{corner.position, BitsOf(uv.u), BitsOf(uv.v), BitsOf(n.x), BitsOf(n.y), BitsOf(n.z)}};
        const auto [vertex, isNew] = vertices.try_emplace(key, static_cast<UINT32>(mesh.positions.size()));
        if (isNew) {
            mesh.positions.push_back(arrays.positions[corner.position]);
            origin.push_back(corner.position);
            if (hasTexCoords) {
                mesh.texCoords.push_back(uv);
            }
            if (hasNormals) {
                mesh.normals.push_back(n);
            }
        }
        indices.push_back(vertex->second);
    }
    for (std::size_t i = 0; i + 2 < indices.size(); i += 3) {
        mesh.faces.push_back({{indices[i], indices[i + 1], indices[i + 2]}});
    }
    return mesh;
}

}  // namespace Nimb::Authoring
