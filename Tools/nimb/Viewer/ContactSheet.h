// A sheet of small pictures: a row for each view, a column for each frame, the frame's number over it.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Tools/nimb/Viewer/Camera.h"
#include "Tools/nimb/Viewer/Text.h"

#include <vector>

namespace Nimb::Tool {

/// `count` of the frames 0 to frameCount - 1, evenly spread, the first and the last among them; all when there are no
/// more than that. One: the middle.
std::vector<int> SpreadFrames(int frameCount, int count);

class ContactSheet {
public:
    /// Cells are empty until their picture is set. `frameRate` gives the times in the labels.
    ContactSheet(std::vector<int> frames, std::vector<View> views, std::size_t cellWidth, std::size_t cellHeight,
                 double frameRate);

    /// The cell's own size; `row` and `column` count from the top left.
    void SetCell(std::size_t row, std::size_t column, const Authoring::Image& picture);
    /// Labels every cell of the column as not shown.
    void SetMissing(std::size_t column);

    const Authoring::Image& Picture() const noexcept { return m_Image; }

    // Pixels of the sheet where a cell begins.
    std::size_t CellX(std::size_t column) const noexcept;
    std::size_t CellY(std::size_t row) const noexcept;

private:
    std::vector<int> m_Frames;
    std::vector<View> m_Views;
    std::size_t m_CellWidth;
    std::size_t m_CellHeight;
    Authoring::Image m_Image;
};

}  // namespace Nimb::Tool
