// One frame's mesh with its texture as files for ordinary 3-D programs.
//
// Only makes the files' contents, in memory. Formats differ in where a texture coordinate's v is 0: at the picture's
// bottom in OBJ and PLY, at its top in glTF and in Mesh.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"

#include <string>
#include <vector>

namespace Nimb::Authoring {

enum class MeshFormat {
    Obj,  ///< text; with a material file and a PNG beside it
    Ply,  ///< binary; with a PNG beside it, which a comment "TextureFile" names
    Glb,  ///< binary glTF 2.0 with the PNG inside
};

struct ExportedFile {
    std::string name;
    Bytes bytes;
};

/// Names of the files, those that others refer to first. `stem`: "frame_0012", for instance.
std::vector<std::string> ExportNames(MeshFormat format, const std::string& stem);

/// The files, in the order of ExportNames. Throws std::runtime_error when the mesh is too large for the format.
std::vector<ExportedFile> ExportMesh(MeshFormat format, const std::string& stem, const Mesh& mesh,
                                     const Image& texture);

/// A PLY file of the surface alone, without texture coordinates.
Bytes ExportShape(const Mesh& mesh);

}  // namespace Nimb::Authoring
