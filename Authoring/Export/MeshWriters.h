// The writers behind MeshExport.h, one a format.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Authoring/Codec/Mesh.h"

#include <string>

namespace Nimb::Authoring {

/// `materialFile`: the name of the .mtl file.
Bytes WriteObj(const Mesh& mesh, const std::string& materialFile);
/// One material, which shows the picture without lighting.
Bytes WriteMtl(const std::string& textureFile);

/// Without texture coordinates if `textureFile` is empty.
Bytes WritePly(const Mesh& mesh, const std::string& textureFile);

/// `png`: goes into the file as it is.
Bytes WriteGlb(const Mesh& mesh, const Bytes& png);

}  // namespace Nimb::Authoring
