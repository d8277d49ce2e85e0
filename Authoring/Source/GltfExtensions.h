// Which extensions of glTF a scene may have.
#pragma once

#include "Authoring/Scene/Warnings.h"
#include "Authoring/Source/GltfFile.h"

namespace Nimb::Authoring {

/// Those that change neither the surface nor its colours are ignored with a warning, and so are those that a file can
/// do without. `pWarnings` may be null. Fails where the file requires another one.
void CheckExtensions(const GltfFile& file, Warnings* pWarnings);

}  // namespace Nimb::Authoring
