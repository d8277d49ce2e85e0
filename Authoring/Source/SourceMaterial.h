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

/// A picture that nobody has decoded yet.
struct Picture {
    std::string name;                                ///< its file, or for messages where it is embedded
    std::shared_ptr<const std::vector<BYTE>> bytes;  ///< the embedded picture; null: it is in the file `name`
};

/// Whether a surface lets anything through: never, where its colour or its picture has an alpha below 1, or anyhow.
enum class Transparency { None, ByAlpha, Always };

struct SourceMaterial {
    std::string name;
    Transparency transparency = Transparency::ByAlpha;
    Colour colour{1, 1, 1, 1};
    std::optional<Picture> picture;
    std::shared_ptr<const Painting> painting;  ///< if there is one, it is all that counts
};

/// For a material without a picture, the size of the picture to paint it in: none where it is free, c_NotPainted where
/// it is not to be painted. `hasColours`: whether it has vertex colours.
using PaintSizeOf = std::function<std::optional<PictureSize>(const std::vector<SourceMaterial>& materials,
                                                             std::size_t material, bool hasColours)>;

constexpr PictureSize c_NotPainted = {0, 0};

}  // namespace Nimb::Authoring
