// One mesh file as its reader hands it over.
#pragma once

#include "Authoring/Mesh.h"
#include "Authoring/Source/SourceMaterial.h"
#include "Authoring/Source/TextureSpace.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Authoring {

/// The triangles of one material. Texture coordinates as in SourcePart, but not yet inside [0, 1].
struct LoadedPart {
    std::size_t material = 0;
    Mesh mesh;
    WrapModes wrap;
    std::string untextured;  ///< empty, or why `mesh.texCoords` is empty: a message that names the place
};

struct LoadedMesh {
    std::vector<SourceMaterial> materials;  ///< those that are used
    std::vector<LoadedPart> parts;          ///< materials ascending, each at most once
};

/// Whether a reader should look for the pictures that a file names; when not, it need not find them.
enum class Materials { Read, Ignore };

/// The mesh with texture coordinates inside [0, 1] and without what no triangle needs. Without texture coordinates
/// (`part.untextured`) all vertices get the picture's centre, unless `hasPicture`; then it throws InputError.
Mesh Finish(const LoadedPart& part, bool hasPicture, const std::string& name);

/// Appends a mesh. The result has normals if both have.
void Append(Mesh& mesh, const Mesh& tail);

}  // namespace Authoring
