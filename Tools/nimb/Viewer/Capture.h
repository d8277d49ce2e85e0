// Gets chosen frames of a clip into the engine's objects, each exactly once.
//
// The player shows frames by its clock, and skips a picture that comes before its mesh. So the clip is played fast at
// first; when a wanted frame is skipped, it is played again, slower. A frame that does not come even at the clip's own
// speed has no mesh that can be shown.
#pragma once

#include "Tools/nimb/Viewer/Playback.h"

#include <functional>
#include <memory>
#include <vector>

namespace Nimb::Tool {

/// A clip that is open, at the given speed, and not yet playing.
using OpenClip = std::function<std::unique_ptr<Playback>(float speed)>;

/// Calls `take` for the wanted frames (ascending), in order, with the frame in the engine's objects, or `miss` for one
/// that cannot be shown. Throws what these throw, and std::runtime_error when the player shows frames at times that no
/// frame has.
void CaptureFrames(const OpenClip& open, const std::vector<int>& wanted,
                   const std::function<void(const Playback&, int number)>& take,
                   const std::function<void(int number)>& miss);

}  // namespace Nimb::Tool
