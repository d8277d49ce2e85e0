#include "Authoring/Source/Weld.h"

#include "Authoring/Codec/EqualVertices.h"
#include "Authoring/Source/TextureSpace.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

bool AreSame(const std::vector<TarnMeshFace>& a, const std::vector<TarnMeshFace>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const TarnMeshFace& f, const TarnMeshFace& g) { return std::equal(f.v, f.v + 3, g.v); });
}

}  // namespace

std::size_t CountWelded(const std::vector<TarnMeshFace>& faces, const std::vector<UINT32>& first) {
    std::vector<bool> isGone(first.size());
    for (const TarnMeshFace& face : faces) {
        for (const UINT32 v : face.v) {
            isGone[v] = first[v] != v;
        }
    }
    return static_cast<std::size_t>(std::count(isGone.begin(), isGone.end(), true));
}

std::vector<UINT32> FrameWeld::EqualIn(const Mesh& mesh) const {
    EqualVertices vertices(mesh.positions.size());
    vertices.Distinguish(mesh.positions);
    vertices.Distinguish(mesh.texCoords);
    if (!mesh.normals.empty()) {
        vertices.Distinguish(mesh.normals);
    }
    if (m_First.size() == mesh.positions.size() && AreSame(m_Faces, mesh.faces)) {
        vertices.Distinguish(m_First, 1);
    }
    std::vector<UINT32> first = vertices.First();
    std::vector<bool> isShortEdge(first.size());
    for (const TarnMeshFace& face : mesh.faces) {
        for (std::size_t i = 0; i < 3; ++i) {
            const UINT32 a = face.v[i], b = face.v[(i + 1) % 3];
            if (first[a] == first[b]) {
                isShortEdge[first[a]] = true;
            }
        }
    }
    for (UINT32 v = 0; v < first.size(); ++v) {
        if (isShortEdge[first[v]]) {
            first[v] = v;
        }
    }
    return first;
}

std::size_t FrameWeld::Apply(Mesh& mesh) const {
    const std::vector<UINT32> first = EqualIn(mesh);
    const std::size_t welded = CountWelded(mesh.faces, first);
    if (welded == 0) {
        return 0;
    }
    std::vector<UINT32> kept, numbers(first.size());
    for (UINT32 v = 0; v < first.size(); ++v) {
        if (first[v] == v) {
            numbers[v] = static_cast<UINT32>(kept.size());
            kept.push_back(v);
        }
    }
    for (TarnMeshFace& face : mesh.faces) {
        for (UINT32& v : face.v) {
            v = numbers[first[v]];
        }
    }
    mesh.positions = Gather(mesh.positions, kept);
    mesh.texCoords = Gather(mesh.texCoords, kept);
    if (!mesh.normals.empty()) {
        mesh.normals = Gather(mesh.normals, kept);
    }
    return welded;
}

}  // namespace Nimb::Authoring
