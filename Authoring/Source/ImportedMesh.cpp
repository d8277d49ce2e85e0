#include "Authoring/Source/ImportedMesh.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/TextureSpace.h"

namespace Nimb::Authoring {

ImportedMesh ImportedMeshOf(const CornerArrays& arrays, std::vector<Corner> corners, bool hasPicture) {
    ImportedMesh imported;
    const bool isPainted = !hasPicture && !arrays.colours.empty();
    if (isPainted) {
        for (Corner& corner : corners) {
            corner.texCoord = Corner::c_None;
        }
    }
    std::vector<UINT32> origin;
    imported.mesh = MeshOfCorners(arrays, corners, origin);
    for (std::size_t i = 0; i < origin.size() && !arrays.colours.empty(); ++i) {
        const Colour colour = origin[i] < arrays.colours.size() ? arrays.colours[origin[i]] : c_White;
        imported.dropsColours = imported.dropsColours || (hasPicture && colour != c_White);
        if (isPainted) {
            imported.colours.push_back(colour);
        }
    }
    return imported;
}

Mesh Finish(const ImportedMesh& imported, bool hasPicture) {
    const Mesh& mesh = imported.mesh;
    const bool isTextured = !mesh.texCoords.empty();
    if (!isTextured && hasPicture) {
        throw InputError(imported.untextured);
    }
    const Wrap mode = hasPicture ? Wrap::Repeat : Wrap::Clamp;
    const std::vector<Vec2> centre(isTextured ? 0 : mesh.positions.size(), Vec2{0.5F, 0.5F});
    Surface surface =
        FitIntoPicture(isTextured ? mesh.texCoords : centre, mesh.faces, {mode, mode},
                       [&](std::size_t face) { return imported.place + std::to_string(imported.rows[face]); });
    Mesh finished;
    finished.positions = Gather(mesh.positions, surface.origin);
    if (!mesh.normals.empty()) {
        finished.normals = Gather(mesh.normals, surface.origin);
    }
    for (Vec2& texCoord : surface.texCoords) {
        texCoord.v = 1 - texCoord.v;
    }
    finished.texCoords = std::move(surface.texCoords);
    finished.faces = std::move(surface.faces);
    return finished;
}

Mesh FinishPainted(const Mesh& mesh, PaintedSurface surface) {
    Mesh finished;
    finished.positions = Gather(mesh.positions, surface.charts.origin);
    if (!mesh.normals.empty()) {
        finished.normals = Gather(mesh.normals, surface.charts.origin);
    }
    finished.texCoords = std::move(surface.texCoords);
    finished.faces = std::move(surface.charts.faces);
    return finished;
}

}  // namespace Nimb::Authoring
