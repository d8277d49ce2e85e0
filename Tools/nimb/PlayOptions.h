// What `nimb play` was asked to do.
#pragma once

#include "Tools/nimb/Viewer/Camera.h"
#include "Tools/nimb/Viewer/Renderer.h"

#include <string>
#include <vector>

namespace Nimb::Tool {

struct PlayOptions {
    std::string clip;
    bool headless = false;
    bool strict = false;  ///< headless playback that cannot keep up is a problem
    int width = 1280;
    int height = 720;
    std::vector<View> views;  ///< at least one
    double turns = 0;         ///< of the camera during the clip
    Appearance appearance;
    bool sound = true;
    bool computeNormals = true;
    float speed = 1;
    int passes = 0;      ///< through the clip; 0: without end
    std::string moment;  ///< of the snapshot, or to begin with in a window; empty: not given

    // Outputs; empty: not asked for.
    std::string snapshot;
    std::string contactSheet;
    int sheetColumns = 6;
    int cellWidth = 240;
    int cellHeight = 320;
    std::string recording;
    bool overwrite = false;

    bool IsCapture() const { return !snapshot.empty() || !contactSheet.empty() || !recording.empty(); }
};

}  // namespace Nimb::Tool
