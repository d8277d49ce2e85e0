// Pictures of a clip for its page, drawn by the player offscreen.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Tools/nimb/Viewer/Camera.h"
#include "Tools/nimb/Viewer/Text.h"

#include <optional>
#include <string>

namespace Nimb::Tool {

/// Where the player's camera begins, as its attribute `camera-orbit` says: degrees around the clip and down from above
/// it, and a distance in metres or in percent of the one at which all of the clip is seen.
struct CameraOrbit {
    View view;
    float share = 1;
    float metres = 0;  ///< 0: the share counts
};

/// "30deg 75deg 110%" or "-20deg 90deg 2.5m"; the distance may be missing. Throws UsageError.
CameraOrbit ParseCameraOrbit(const std::string& text);

struct WebPoster {
    /// For the page: where the player's first frame will be, over nothing, in the proportions of the clip, so that it
    /// is as large as that frame in a window of any shape.
    Authoring::Image page;
    /// For link previews: in the proportions that they are shown in, over the background.
    Authoring::Image preview;
};

/// Draws the first frame that can be shown. Throws Authoring::InputError when there is none, OutputError without
/// OpenGL ES 3.
WebPoster DrawWebPoster(const std::string& clip, const CameraOrbit& orbit, const std::optional<Colour>& background);

}  // namespace Nimb::Tool
