// What a mesh file says about the look of a surface: a picture, a colour, or both multiplied; or colours at vertices.
#pragma once

#include "Authoring/Source/Painting.h"
#include "Nimb/NimbInterfaces.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// A picture that has not been decoded yet.
struct Picture {
    std::string name;                                ///< its file; of an embedded picture, what to call it in messages
    std::shared_ptr<const std::vector<BYTE>> bytes;  ///< the embedded picture; null: it is in the file `name`
};

/// Whether a surface is transparent: not at all, where the alpha of its colour or picture is below 1, or in any case.
enum class Transparency { None, ByAlpha, Always };

struct SourceMaterial {
    std::string name;
    Transparency transparency = Transparency::ByAlpha;
    Colour colour{1, 1, 1, 1};
    std::optional<Picture> picture;
    std::shared_ptr<const Painting> painting;  ///< if there is one, nothing else counts
};

/// The size of the picture to paint a material without a picture in: none for any size, c_NotPainted if it is not to be
/// painted. `hasColours`: whether it has vertex colours.
using PaintSizeOf = std::function<std::optional<PictureSize>(const std::vector<SourceMaterial>& materials,
                                                             std::size_t material, bool hasColours)>;

constexpr PictureSize c_NotPainted = {0, 0};

}  // namespace Nimb::Authoring
