// What every comparison of two frames' meshes goes by: when two places are the same, and when two faces are.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <array>
#include <cmath>
#include <vector>

namespace Nimb::Authoring {

constexpr UINT32 c_NoVertex = 0xFFFFFFFF;

/// Twice the step of the coordinates in a clip: more cannot be told from rounding.
constexpr float c_TexCoordTolerance = 2.0F / 65535;

inline bool AreClose(const Vec2& a, const Vec2& b) {
    return std::abs(a.u - b.u) <= c_TexCoordTolerance && std::abs(a.v - b.v) <= c_TexCoordTolerance;
}

inline float SquaredDistance(const Vec3& a, const Vec3& b) {
    const float x = a.x - b.x, y = a.y - b.y, z = a.z - b.z;
    return x * x + y * y + z * z;
}

/// How far apart vertices of one mesh may be that an exporter split from one: rounding, which is relative to the size.
float SplitTolerance(const std::vector<Vec3>& positions);

using FaceCorners = std::array<UINT32, 3>;

inline FaceCorners CornersOf(const TarnMeshFace& face) {
    return {face.v[0], face.v[1], face.v[2]};
}

inline bool IsDegenerate(const FaceCorners& v) {
    return v[0] == v[1] || v[1] == v[2] || v[2] == v[0];
}

/// The same faces in the same order, and close texture coordinates: the meshes correspond vertex by vertex.
bool HaveSameFaces(const Mesh& a, const Mesh& b);

/// std::invalid_argument unless the arrays fit together and all coordinates are finite.
void CheckArrays(const Mesh& mesh);

}  // namespace Nimb::Authoring
