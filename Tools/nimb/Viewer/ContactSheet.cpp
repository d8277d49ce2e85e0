#include "Tools/nimb/Viewer/ContactSheet.h"

#include <cstdio>
#include <utility>

namespace Nimb::Tool {
namespace {

constexpr std::size_t c_Gap = 4;
constexpr std::size_t c_TextScale = 2;
constexpr std::size_t c_HeaderHeight = 22;
constexpr Colour c_Paper{16, 18, 20, 255};
constexpr Colour c_EmptyCell{40, 16, 16, 255};
constexpr Colour c_Ink{230, 230, 230, 255};
constexpr Colour c_Faint{170, 175, 180, 255};

std::string Label(int frame, double frameRate) {
    char text[64];
    std::snprintf(text, sizeof text, "%d  %.2f s", frame, frame / frameRate);
    return text;
}

}  // namespace

std::vector<int> SpreadFrames(int frameCount, int count) {
    std::vector<int> frames;
    if (count == 1 && frameCount > 0) {
        return {frameCount / 2};
    }
    if (count >= frameCount) {
        for (int frame = 0; frame < frameCount; ++frame) {
            frames.push_back(frame);
        }
        return frames;
    }
    for (std::int64_t i = 0; i < count; ++i) {
        frames.push_back(static_cast<int>((i * (frameCount - 1) + (count - 1) / 2) / (count - 1)));
    }
    return frames;
}

ContactSheet::ContactSheet(std::vector<int> frames, std::vector<View> views, std::size_t cellWidth,
                           std::size_t cellHeight, double frameRate)
    : m_Frames(std::move(frames)),
      m_Views(std::move(views)),
      m_CellWidth(cellWidth),
      m_CellHeight(cellHeight),
      m_Image(CellX(m_Frames.size()), CellY(m_Views.size())) {
    Fill(m_Image, c_Paper);
    for (std::size_t column = 0; column < m_Frames.size(); ++column) {
        // The narrower the cells, the shorter the label.
        for (const auto& [text, scale] : {std::pair(Label(m_Frames[column], frameRate), c_TextScale),
                                          std::pair(std::to_string(m_Frames[column]), c_TextScale),
                                          std::pair(std::to_string(m_Frames[column]), std::size_t{1})}) {
            if (MeasureText(text, scale).width <= m_CellWidth) {
                DrawText(m_Image, CellX(column), c_Gap / 2, text, scale, c_Ink);
                break;
            }
        }
    }
}

std::size_t ContactSheet::CellX(std::size_t column) const noexcept {
    return c_Gap + column * (m_CellWidth + c_Gap);
}

std::size_t ContactSheet::CellY(std::size_t row) const noexcept {
    return c_HeaderHeight + row * (m_CellHeight + c_Gap);
}

void ContactSheet::SetCell(std::size_t row, std::size_t column, const Authoring::Image& picture) {
    Paste(m_Image, CellX(column), CellY(row), picture);
    DrawText(m_Image, CellX(column), CellY(row), m_Views[row].name, 1, c_Faint);
}

void ContactSheet::SetMissing(std::size_t column) {
    Authoring::Image empty(m_CellWidth, m_CellHeight);
    Fill(empty, c_EmptyCell);
    DrawText(empty, 0, m_CellHeight / 2, "not shown", 1, c_Ink);
    for (std::size_t row = 0; row < m_Views.size(); ++row) {
        SetCell(row, column, empty);
    }
}

}  // namespace Nimb::Tool
