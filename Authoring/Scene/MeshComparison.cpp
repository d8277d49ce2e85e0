#include "Authoring/Scene/MeshComparison.h"

#include <algorithm>
#include <stdexcept>

namespace Nimb::Authoring {

float SplitTolerance(const std::vector<Vec3>& positions) {
    constexpr float ofSize = 1e-5F;
    const Box box = BoundingBox(positions);
    return ofSize * std::max({box.max.x - box.min.x, box.max.y - box.min.y, box.max.z - box.min.z});
}

bool HaveSameFaces(const Mesh& a, const Mesh& b) {
    return a.positions.size() == b.positions.size() &&
           std::equal(a.faces.begin(), a.faces.end(), b.faces.begin(), b.faces.end(),
                      [](const TarnMeshFace& f, const TarnMeshFace& g) { return CornersOf(f) == CornersOf(g); }) &&
           std::equal(a.texCoords.begin(), a.texCoords.end(), b.texCoords.begin(), AreClose);
}

void CheckArrays(const Mesh& mesh) {
    const std::size_t vertices = mesh.positions.size();
    bool isWhole = mesh.texCoords.size() == vertices && (mesh.normals.empty() || mesh.normals.size() == vertices);
    for (const TarnMeshFace& face : mesh.faces) {
        isWhole = isWhole && face.v[0] < vertices && face.v[1] < vertices && face.v[2] < vertices;
    }
    for (const Vec3& p : mesh.positions) {
        isWhole = isWhole && std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    }
    for (const Vec2& uv : mesh.texCoords) {
        isWhole = isWhole && std::isfinite(uv.u) && std::isfinite(uv.v);
    }
    if (!isWhole) {
        throw std::invalid_argument("the mesh's arrays do not fit together, or are not finite");
    }
}

}  // namespace Nimb::Authoring
