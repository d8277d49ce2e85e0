// The frames of a clip as meshes with their pictures, for further work.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"

#include <cstddef>
#include <functional>
#include <string>

namespace Nimb::Authoring {

struct ClipFrame {
    std::size_t number = 0;
    std::string problem;  ///< what is wrong and where in the file; empty: mesh and picture are there
    Mesh mesh;            ///< sub-meshes merged, strips as triangles, without triangles that have two equal corners
    Image picture;
};

struct FrameRange {
    std::size_t first = 0;
    std::size_t last = 0;  ///< included; a number beyond the clip's end means its end
};

/// Decodes the clip from its start and hands out the range's frames in order; `onFrame` may throw to end it. Throws
/// InputError when the file cannot be opened, has no video, or has fewer frames than `range.first` + 1.
void ReadClipFrames(const std::string& path, const FrameRange& range, const std::function<void(ClipFrame&&)>& onFrame);

/// Number of frames that the file's index lists. Throws InputError as above.
std::size_t CountClipFrames(const std::string& path);

}  // namespace Nimb::Authoring
