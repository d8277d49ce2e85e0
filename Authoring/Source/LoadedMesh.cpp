#include "Authoring/Source/LoadedMesh.h"

#include "Authoring/MeshSource.h"

namespace Authoring {

Mesh Finish(const LoadedPart& part, bool hasPicture, const std::string& name) {
    const Mesh& mesh = part.mesh;
    const bool isTextured = !mesh.texCoords.empty();
    if (!isTextured && hasPicture) {
        throw InputError(part.untextured);
    }
    const WrapModes wrap = hasPicture ? part.wrap : WrapModes{Wrap::Clamp, Wrap::Clamp};
    const std::vector<Vec2> centre(isTextured ? 0 : mesh.positions.size(), Vec2{0.5F, 0.5F});
    Surface surface = FitIntoPicture(isTextured ? mesh.texCoords : centre, mesh.faces, wrap, name);
    Mesh finished;
    finished.positions = Gather(mesh.positions, surface.origin);
    if (!mesh.normals.empty()) {
        finished.normals = Gather(mesh.normals, surface.origin);
    }
    finished.texCoords = std::move(surface.texCoords);
    finished.faces = std::move(surface.faces);
    return finished;
}

void Append(Mesh& mesh, const Mesh& tail) {
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

}  // namespace Authoring
