// `nimb demo --capture`: what a studio that does not track delivers, as files.
#pragma once

#include "Demo/Capture/CaptureSource.h"

#include <string>

namespace Nimb::Tool {

struct CaptureArguments {
    std::string folder;  ///< empty: no capture is wanted
    std::string input;   ///< what to capture in place of the dancer; empty: the dancer
    std::string format = "obj";
    std::size_t frames = 120;
    double tempo = 1;          ///< of the dancer
    double millimetres = 0.5;  ///< of noise
    bool truth = true;
    Authoring::Capture::CaptureOptions options;
    bool overwrite = false;
};

int RunCapture(const CaptureArguments& arguments);

}  // namespace Nimb::Tool
