#include "Authoring/Source/ImageFile.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/FileBytes.h"

#include <png.h>
#include <stb/stb_image.h>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

namespace Nimb::Authoring {

Image DecodeImage(const BYTE* bytes, std::size_t size, const std::string& name) {
    if (size > INT_MAX) {
        throw InputError(name + ": the picture is larger than 2 GiB");
    }
    int width = 0;
    int height = 0;
    int channels = 0;
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi_load_from_memory(bytes, static_cast<int>(size), &width, &height, &channels, 4), &stbi_image_free);
    if (pixels == nullptr) {
        throw InputError(name + ": not a picture that can be read: " + stbi_failure_reason());
    }
    Image image(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    std::memcpy(image.rgba.data(), pixels.get(), image.rgba.size());
    return image;
}

Image ReadImage(const std::string& path) {
    const std::vector<BYTE> bytes = ReadFileBytes(path, "the picture");
    return DecodeImage(bytes.data(), bytes.size(), path);
}

void WritePng(const std::string& path, const Image& image) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = PNG_FORMAT_RGBA;
    if (png_image_write_to_file(&png, path.c_str(), 0, image.rgba.data(), 0, nullptr) == 0) {
        const std::string reason = png.message;
        std::remove(path.c_str());
        throw std::runtime_error(path + ": " + reason);
    }
}

std::vector<BYTE> EncodePng(const Image& image) {
    const std::size_t pixels = image.width * image.height;
    std::vector<BYTE> rgb;
    rgb.reserve(pixels * 3);
    for (std::size_t i = 0; i < pixels && image.rgba[4 * i + 3] == 255; ++i) {
        rgb.insert(rgb.end(), &image.rgba[4 * i], &image.rgba[4 * i] + 3);
    }
    const bool isOpaque = rgb.size() == pixels * 3;

    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = isOpaque ? PNG_FORMAT_RGB : PNG_FORMAT_RGBA;
    png.flags = PNG_IMAGE_FLAG_FAST;
    std::vector<BYTE> bytes(PNG_IMAGE_PNG_SIZE_MAX(png));
    png_alloc_size_t size = bytes.size();
    if (png_image_write_to_memory(&png, bytes.data(), &size, 0, isOpaque ? rgb.data() : image.rgba.data(), 0,
                                  nullptr) == 0) {
        throw std::runtime_error(std::string("a picture cannot be compressed: ") + png.message);
    }
    bytes.resize(size);
    return bytes;
}

}  // namespace Nimb::Authoring
