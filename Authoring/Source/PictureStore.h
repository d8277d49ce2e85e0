// The pictures of materials, decoded.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Authoring/Source/LoadingCache.h"
#include "Authoring/Source/SourceMaterial.h"

#include <memory>
#include <string>

namespace Nimb::Authoring {

/// Keeps the pictures that were used last. Any thread may call it.
class PictureStore {
public:
    /// Keeps as many pictures as `materials` materials need, and some to spare.
    explicit PictureStore(std::size_t materials) : m_Images(2 * materials + 4) {}

    /// The material's picture times its colour, or a small picture of the colour. The same pointer for the same
    /// content as long as it is kept. Sets `isTransparent` if it has an alpha below 1. Throws InputError.
    std::shared_ptr<const Image> Get(const SourceMaterial& material, bool& isTransparent);

private:
    struct Loaded {
        Image image;
        bool isTransparent = false;
    };

    LoadingCache<std::string, Loaded> m_Images;
};

/// An 8-bit sRGB value in linear light, 0 to 1, and back.
float LinearOf(float encoded);
float EncodedOf(float linear);

}  // namespace Nimb::Authoring
