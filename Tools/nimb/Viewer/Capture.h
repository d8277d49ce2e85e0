// Gets chosen frames of a clip into the engine's objects, each exactly once: by a request to the player for each.
#pragma once

#include "Tools/nimb/Viewer/Playback.h"

#include <functional>
#include <vector>

namespace Nimb::Tool {

/// Calls `take` for the wanted frames, in their order, with the frame in the engine's objects, or `miss` with the
/// reason for one that cannot be shown. Throws what these throw; Authoring::InputError when the plug-in does not go to
/// frames, or not in this file; std::runtime_error when it does not answer.
void CaptureFrames(Playback& playback, const std::vector<int>& wanted, const std::function<void(int number)>& take,
                   const std::function<void(int number, const std::string& reason)>& miss);

}  // namespace Nimb::Tool
