#include "Authoring/Source/PictureStore.h"

#include "Authoring/Source/FileBytes.h"
#include "Authoring/Source/ImageFile.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

// Large enough for the subsampled colours and the block filters of video.
constexpr std::size_t c_ColourPictureSize = 16;

BYTE ByteOf(float value) {
    return static_cast<BYTE>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255));
}

Image ColourPicture(const Colour& colour) {
    Image image(c_ColourPictureSize, c_ColourPictureSize);
    for (std::size_t i = 0; i < image.rgba.size(); ++i) {
        const float value = colour[i % 4];
        image.rgba[i] = ByteOf(i % 4 == 3 ? value : EncodedOf(value));
    }
    return image;
}

void Multiply(Image& image, const Colour& colour) {
    std::array<std::array<BYTE, 256>, 4> tables;
    for (std::size_t c = 0; c < 4; ++c) {
        for (std::size_t value = 0; value < 256; ++value) {
            const float encoded = static_cast<float>(value) / 255;
            tables[c][value] = ByteOf(c == 3 ? encoded * colour[c] : EncodedOf(LinearOf(encoded) * colour[c]));
        }
    }
    for (std::size_t i = 0; i < image.rgba.size(); ++i) {
        image.rgba[i] = tables[i % 4][image.rgba[i]];
    }
}

bool HasAlpha(const Image& image) {
    for (std::size_t i = 3; i < image.rgba.size(); i += 4) {
        if (image.rgba[i] != 255) {
            return true;
        }
    }
    return false;
}

template <class T>
void AppendBytes(const std::vector<T>& values, std::string& bytes) {
    bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
}

std::string KeyOf(const SourceMaterial& material) {
    if (material.painting) {
        std::string key = "painting:" + std::to_string(material.painting->size.width) + "x" +
                          std::to_string(material.painting->size.height) + ":";
        AppendBytes(material.painting->vertices, key);
        AppendBytes(material.painting->faces, key);
        return key;
    }
    std::string key(reinterpret_cast<const char*>(material.colour.data()), sizeof material.colour);
    if (material.picture) {
        // Embedded pictures by their content: every file of a sequence may embed the same one.
        key += material.picture->bytes == nullptr ? "file:" + material.picture->name
                                                  : "bytes:" + std::string(AsText(*material.picture->bytes));
    }
    return key;
}

Image Load(const SourceMaterial& material) {
    if (material.painting) {
        return Draw(*material.painting);
    }
    if (!material.picture) {
        return ColourPicture(material.colour);
    }
    const Picture& picture = *material.picture;
    Image image = picture.bytes == nullptr ? ReadImage(picture.name)
                                           : DecodeImage(picture.bytes->data(), picture.bytes->size(), picture.name);
    if (material.colour != Colour{1, 1, 1, 1}) {
        Multiply(image, material.colour);
    }
    return image;
}

}  // namespace

std::shared_ptr<const Image> PictureStore::Get(const SourceMaterial& material, bool& isTransparent) {
    const std::shared_ptr<const Loaded> loaded = m_Images.Get(KeyOf(material), [&] {
        Image image = Load(material);
        const bool hasAlpha = HasAlpha(image);
        return Loaded{std::move(image), hasAlpha};
    });
    isTransparent = isTransparent || loaded->isTransparent;
    return {loaded, &loaded->image};
}

float LinearOf(float encoded) {
    return encoded <= 0.04045F ? encoded / 12.92F : std::pow((encoded + 0.055F) / 1.055F, 2.4F);
}

float EncodedOf(float linear) {
    return linear <= 0.0031308F ? linear * 12.92F : 1.055F * std::pow(linear, 1 / 2.4F) - 0.055F;
}

}  // namespace Nimb::Authoring
