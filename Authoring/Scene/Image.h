// A picture in memory.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// Of a colour, in the units of its channels (ITU-R BT.709).
template <class Number>
Number Luma(Number red, Number green, Number blue) {
    return static_cast<Number>(0.2126) * red + static_cast<Number>(0.7152) * green + static_cast<Number>(0.0722) * blue;
}

/// 8-bit RGBA, not premultiplied; rows from top to bottom without gaps.
struct Image {
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<BYTE> rgba;  ///< width x height x 4

    Image() = default;
    Image(std::size_t w, std::size_t h) : width(w), height(h), rgba(w * h * 4) {}

    BYTE* Pixel(std::size_t x, std::size_t y) { return &rgba[(y * width + x) * 4]; }
    const BYTE* Pixel(std::size_t x, std::size_t y) const { return &rgba[(y * width + x) * 4]; }

    /// By content: whether equal pictures are one in memory depends on what else is loaded meanwhile.
    bool operator==(const Image& other) const {
        return this == &other || (width == other.width && height == other.height && rgba == other.rgba);
    }
};

}  // namespace Nimb::Authoring
