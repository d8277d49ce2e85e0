// A plain video of what was drawn.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Clip/Write/Mp4Writer.h"

#include <string>

namespace Nimb::Tool {

/// H.264 in MP4, with the sound of a clip. The file appears, whole, with Finish.
class Recorder {
public:
    struct Options {
        int width = 0;  ///< even
        int height = 0;
        int rateNumerator = 30;  ///< frames per second
        int rateDenominator = 1;
        std::string soundFrom;  ///< a file; empty: no sound
    };

    /// Throws Authoring::InputError when the sound cannot be read, Authoring::ClipError when the file cannot be
    /// written.
    Recorder(const std::string& path, const Options& options);

    void AddFrame(const Authoring::Image& image);
    void Finish();

private:
    Options m_Options;
    Authoring::Mp4Writer m_Writer;
};

}  // namespace Nimb::Tool
