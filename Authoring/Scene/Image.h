// A picture in memory.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// 8-bit RGBA, not premultiplied; rows from top to bottom without gaps.
struct Image {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<BYTE> rgba;  ///< width x height x 4

    Image() = default;
    Image(std::size_t w, std::size_t h) : width(w), height(h), rgba(w * h * 4) {}

    BYTE* Pixel(std::size_t x, std::size_t y) { return &rgba[(y * width + x) * 4]; }
    const BYTE* Pixel(std::size_t x, std::size_t y) const { return &rgba[(y * width + x) * 4]; }
};

}  // namespace Nimb::Authoring
