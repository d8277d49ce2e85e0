#include "Tools/nimb/Viewer/Text.h"

#include "Tools/nimb/Viewer/BitmapFont.h"

#include <algorithm>
#include <sstream>

namespace Nimb::Tool {
namespace {

constexpr std::size_t c_Advance = c_GlyphWidth + 1;
constexpr std::size_t c_LineHeight = c_GlyphHeight + 1;

}  // namespace

std::optional<Colour> ReadColour(const std::string& text) {
    if (text.size() != 7 || text[0] != '#' ||
        text.find_first_not_of("0123456789abcdefABCDEF", 1) != std::string::npos) {
        return std::nullopt;
    }
    const unsigned long rgb = std::stoul(text.substr(1), nullptr, 16);
    return Colour{static_cast<BYTE>(rgb >> 16), static_cast<BYTE>(rgb >> 8 & 255), static_cast<BYTE>(rgb & 255), 255};
}

TextSize MeasureText(const std::string& text, std::size_t scale) {
    std::istringstream lines(text);
    std::size_t longest = 0, count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        longest = std::max(longest, line.size());
    }
    return {(longest * c_Advance + 1) * scale, (count * c_LineHeight + 1) * scale};
}

void DrawText(Authoring::Image& image, std::size_t x, std::size_t y, const std::string& text, std::size_t scale,
              const Colour& colour) {
    std::size_t left = x + scale, top = y + scale;
    for (const char c : text) {
        if (c == '\n') {
            left = x + scale;
            top += c_LineHeight * scale;
            continue;
        }
        for (std::size_t column = 0; column < c_GlyphWidth; ++column) {
            for (std::size_t row = 0; row < c_GlyphHeight; ++row) {
                if (IsGlyphDot(c, column, row)) {
                    FillRectangle(image, left + column * scale, top + row * scale, scale, scale, colour);
                }
            }
        }
        left += c_Advance * scale;
    }
}

void Fill(Authoring::Image& image, const Colour& colour) {
    FillRectangle(image, 0, 0, image.width, image.height, colour);
}

void FillRectangle(Authoring::Image& image, std::size_t x, std::size_t y, std::size_t width, std::size_t height,
                   const Colour& colour) {
    for (std::size_t row = y; row < std::min(y + height, image.height); ++row) {
        for (std::size_t column = x; column < std::min(x + width, image.width); ++column) {
            std::copy(colour.begin(), colour.end(), image.Pixel(column, row));
        }
    }
}

void Paste(Authoring::Image& image, std::size_t x, std::size_t y, const Authoring::Image& picture) {
    if (x >= image.width || y >= image.height) {
        return;
    }
    const std::size_t width = std::min(picture.width, image.width - x);
    const std::size_t height = std::min(picture.height, image.height - y);
    for (std::size_t row = 0; row < height && width > 0; ++row) {
        std::copy_n(picture.Pixel(0, row), width * 4, image.Pixel(x, y + row));
    }
}

}  // namespace Nimb::Tool
