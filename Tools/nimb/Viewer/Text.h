// Text and rectangles in pictures.
#pragma once

#include "Authoring/Scene/Image.h"

#include <array>
#include <optional>
#include <string>

namespace Nimb::Tool {

using Colour = std::array<BYTE, 4>;  ///< RGBA, not premultiplied

/// "#20242a"; none for anything else.
std::optional<Colour> ReadColour(const std::string& text);

struct TextSize {
    std::size_t width = 0;
    std::size_t height = 0;
};

/// Pixels that the text takes, a border of one dot around it included. Lines end with '\n'; a dot has `scale` pixels on
/// each side.
TextSize MeasureText(const std::string& text, std::size_t scale);

/// Draws with the top left corner at (x, y); what does not fit into the picture is cut off. Characters that the font
/// does not have become '?'.
void DrawText(Authoring::Image& image, std::size_t x, std::size_t y, const std::string& text, std::size_t scale,
              const Colour& colour);

void Fill(Authoring::Image& image, const Colour& colour);

/// What lies outside the picture is not drawn.
void FillRectangle(Authoring::Image& image, std::size_t x, std::size_t y, std::size_t width, std::size_t height,
                   const Colour& colour);

/// Copies `picture` to (x, y); what does not fit is cut off.
void Paste(Authoring::Image& image, std::size_t x, std::size_t y, const Authoring::Image& picture);

}  // namespace Nimb::Tool
