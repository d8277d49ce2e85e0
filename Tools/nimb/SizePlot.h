// A picture of what each frame of a clip takes in the file.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Clip/Read/ClipInspection.h"

#include <string>
#include <vector>

namespace Nimb::Tool {

struct PlotFrame {
    double seconds = 0;
    Authoring::FrameKind kind = Authoring::FrameKind::Empty;
    bool isKeyPicture = false;
    double meshBytes = 0;
    double videoBytes = 0;
};

/// A bar for each frame, its mesh coloured by its kind, its video on top. Where there are more frames than columns, a
/// column shows the largest of its frames. When key frames dwarf the others, these are shown a second time, larger.
Authoring::Image PlotFrameSizes(const std::string& title, const std::vector<PlotFrame>& frames);

}  // namespace Nimb::Tool
