#include "Authoring/Source/ImageFile.h"

#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/FileBytes.h"

#include <stb/stb_image.h>
#include <zlib.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// In place of stb's own compression, which takes two to five times as long for files larger by a fifth or more.
unsigned char* Compress(unsigned char* bytes, int size, int* pCompressedSize, int) {
    constexpr int c_Fast = 3;
    uLongf compressedSize = compressBound(static_cast<uLong>(size));
    auto* const compressed = static_cast<unsigned char*>(std::malloc(compressedSize));  // stb frees it
    if (compressed == nullptr ||
        compress2(compressed, &compressedSize, bytes, static_cast<uLong>(size), c_Fast) != Z_OK) {
        std::free(compressed);
        return nullptr;
    }
    *pCompressedSize = static_cast<int>(compressedSize);
    return compressed;
}

}  // namespace

#define STBIW_ZLIB_COMPRESS Compress
#define STBI_WRITE_NO_STDIO
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

namespace Nimb::Authoring {
namespace {

// "Up" for all rows: to try every filter on each row takes three times as long for files hardly smaller.
[[maybe_unused]] const int g_Filter = stbi_write_force_png_filter = 2;

}  // namespace

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
    const std::vector<BYTE> bytes = EncodePng(image);
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        throw std::runtime_error(path + ": " + std::strerror(errno));
    }
    const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (std::fclose(file) != 0 || !isWritten) {
        const std::string reason = std::strerror(errno);
        std::remove(path.c_str());
        throw std::runtime_error(path + ": " + reason);
    }
}

std::vector<BYTE> EncodePng(const Image& image) {
    const std::size_t pixels = image.width * image.height;
    constexpr std::size_t c_Headers = 100;
    // stb counts bytes in an int: those of the pixels, with one more for each row, and those of the PNG.
    if (compressBound(4 * pixels + image.height) > INT_MAX - c_Headers) {
        throw std::runtime_error("the picture is too large for a PNG file: " + std::to_string(image.width) + "x" +
                                 std::to_string(image.height) + " pixels");
    }
    std::vector<BYTE> rgb;
    rgb.reserve(pixels * 3);
    for (std::size_t i = 0; i < pixels && image.rgba[4 * i + 3] == 255; ++i) {
        rgb.insert(rgb.end(), &image.rgba[4 * i], &image.rgba[4 * i] + 3);
    }
    const bool isOpaque = rgb.size() == pixels * 3;

    const auto width = static_cast<int>(image.width), height = static_cast<int>(image.height);
    std::vector<BYTE> bytes;
    const auto append = [](void* pBytes, void* data, int size) {
        auto& all = *static_cast<std::vector<BYTE>*>(pBytes);
        all.insert(all.end(), static_cast<BYTE*>(data), static_cast<BYTE*>(data) + size);
    };
    if (stbi_write_png_to_func(append, &bytes, width, height, isOpaque ? 3 : 4,
                               isOpaque ? rgb.data() : image.rgba.data(), 0) == 0) {
        throw std::runtime_error("a picture cannot be compressed: out of memory");
    }
    return bytes;
}

}  // namespace Nimb::Authoring
