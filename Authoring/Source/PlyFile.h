// Polygon files: PLY, as text or binary of either byte order.
//
// Read here rather than by a library, for the reasons given in ObjFile.h: a bad line, vertex or face is named, and NaN
// is refused.
#pragma once

#include "Authoring/Source/ImportedMesh.h"

#include <string>

namespace Nimb::Authoring {

/// Texture coordinates are the vertices' (u, v), (s, t) or (texture_u, texture_v), or the faces' list "texcoord", which
/// has a pair for each corner. Pictures are those of the "comment TextureFile NAME" lines, chosen by the faces'
/// "texnumber" where there are several. Throws InputError, naming the file and the line, or in a binary file the
/// vertex or face.
ImportedFile ReadPly(const std::string& path, Materials materials);

}  // namespace Nimb::Authoring
