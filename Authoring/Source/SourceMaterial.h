// What a mesh file says about the look of a surface: a picture, a colour, or both multiplied.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Authoring {

/// A picture that nobody has decoded yet.
struct Picture {
    std::string name;                                ///< its file, or for messages where it is embedded
    std::shared_ptr<const std::vector<BYTE>> bytes;  ///< the embedded picture; null: it is in the file `name`
};

/// RGBA in linear light, 0 to 1.
using Colour = std::array<float, 4>;

struct SourceMaterial {
    std::string name;
    Colour colour{1, 1, 1, 1};
    std::optional<Picture> picture;
};

}  // namespace Authoring
