// What is over the picture in the window: facts and switches at the top left, the bar with the clip's frames at the
// bottom, the help.
#pragma once

#include "Tools/nimb/Viewer/Renderer.h"
#include "Tools/nimb/Viewer/Window.h"

#include <optional>
#include <string>
#include <vector>

namespace Nimb::Tool {

/// What the panels show.
struct PanelFacts {
    std::optional<int> frame;  ///< none: it cannot be told
    int position = 0;          ///< of the bar's handle, a frame
    int frameCount = 0;
    double seconds = 0;  ///< of the frame
    float speed = 1;
    std::size_t rate = 0;  ///< frames shown in the last second
    unsigned vertices = 0;
    unsigned triangles = 0;
    int dropped = 0;
    const char* state = "";
    std::string notice;  ///< why something could not be done
    bool isPlaying = false;
    bool isLooping = false;
    bool computesNormals = false;
    bool canSeek = false;
    std::optional<int> rangeStart, rangeEnd;
    Appearance appearance;
    bool showsPanels = true;
    bool showsHelp = false;
};

/// What the user did to them.
struct PanelInput {
    std::vector<Action> actions;
    std::optional<int> dragged;  ///< the handle is held at this frame
    std::optional<int> dropped;  ///< it was let go here
};

/// Once after each of the window's Polls, on its thread.
PanelInput LayOutPanels(const PanelFacts& facts);

}  // namespace Nimb::Tool
