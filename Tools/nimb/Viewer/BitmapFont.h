// A font of 5 x 9 dots for labels in pictures.
#pragma once

#include <cstddef>

namespace Nimb::Tool {

constexpr std::size_t c_GlyphWidth = 5;
constexpr std::size_t c_GlyphHeight = 9;

/// Whether the dot in column x and row y (0 is the top) of a character is set. Characters other than printable ASCII
/// look like '?'.
bool IsGlyphDot(char character, std::size_t x, std::size_t y);

}  // namespace Nimb::Tool
