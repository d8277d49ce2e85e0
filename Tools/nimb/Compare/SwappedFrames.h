// Frames of a clip that show another frame of the source than their own.
#pragma once

#include "Tools/nimb/Compare/FrameResult.h"

#include <cstddef>
#include <vector>

namespace Nimb::Tool {

struct SwappedFrame {
    std::size_t frame = 0;
    std::size_t shows = 0;  ///< the frame of the source that it looks like
};

/// By their views: another frame within 150 fits at least twice as well as its own. Frames that look the same, as
/// where nothing moves, are never swapped.
std::vector<SwappedFrame> FindSwapped(const std::vector<FrameResult>& results);

}  // namespace Nimb::Tool
