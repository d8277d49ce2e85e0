// The meshes of a file as its reader hands them over.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Source/CornerMesh.h"
#include "Authoring/Source/SourceMaterial.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// The triangles of one material. Texture coordinates are the file's own: v grows upwards, and they need not be inside
/// [0, 1].
struct ImportedMesh {
    std::size_t material = 0;
    Mesh mesh;
    std::string untextured;       ///< if `mesh.texCoords` is empty, why: a message that names the place
    std::vector<UINT32> rows;     ///< for each triangle, its line or its number in the file
    std::string place;            ///< what comes before such a number in messages, as in "a.obj:"
    std::vector<Colour> colours;  ///< to be painted: empty, or one for each vertex
    bool dropsColours = false;    ///< has colours other than white, but also a picture, which replaces them
};

struct ImportedFile {
    std::vector<SourceMaterial> materials;  ///< those that are used
    std::vector<ImportedMesh> meshes;       ///< materials ascending, each at most once
};

/// Whether a reader should look for the pictures that a file names. With Ignore, they need not exist.
enum class Materials { Read, Ignore };

/// The mesh made of the triangles `corners`, with its colours if the file has any and there is no picture.
ImportedMesh ImportedMeshOf(const CornerArrays& arrays, std::vector<Corner> corners, bool hasPicture);

/// The mesh with texture coordinates as in MaterialMesh, without vertices that no triangle needs. Where the file has no
/// texture coordinates, all vertices get the picture's centre; with `hasPicture`, that is an InputError
/// (`imported.untextured`).
Mesh Finish(const ImportedMesh& imported, bool hasPicture);

/// The mesh, cut along the charts of its painted surface.
Mesh FinishPainted(const Mesh& mesh, PaintedSurface surface);

/// The warning where colours are not kept.
constexpr const char* c_DroppedColours = "vertex colours are ignored, since there is a texture";

}  // namespace Nimb::Authoring
