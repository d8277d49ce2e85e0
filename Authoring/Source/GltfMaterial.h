// Materials of glTF files.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Source/GltfFile.h"
#include "Authoring/Source/SourceMaterial.h"
#include "Authoring/Source/TextureSpace.h"

#include <array>
#include <cstddef>

namespace Nimb::Authoring {

/// Where a material finds its picture: which of the vertices' texture coordinates, and what becomes of them.
struct TextureUse {
    std::size_t set = 0;
    WrapModes wrap;
    std::array<double, 2> offset{0, 0};
    std::array<double, 2> scale{1, 1};
    double rotation = 0;

    Vec2 Apply(double u, double v) const;
};

/// `index` may be the number of materials: the default material. Both throw as GltfFile does.
SourceMaterial ReadGltfMaterial(const GltfFile& file, std::size_t index);
TextureUse ReadTextureUse(const GltfFile& file, std::size_t index);

}  // namespace Nimb::Authoring
