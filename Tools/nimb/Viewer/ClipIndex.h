// The times of a clip's frames, from the file itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Tool {

struct ClipIndex {
    std::vector<std::int64_t> times;  ///< microseconds, a frame each, in file order
    int rateNumerator = 30;           ///< frames per second
    int rateDenominator = 1;
    double seconds = 0;  ///< of the longest track
    bool hasSound = false;
    /// The first frame whose sample holds no mesh. The player counts meshes: from there on, it pairs each with the
    /// picture of the frame before.
    std::optional<int> firstWithoutMesh;

    int FrameCount() const noexcept { return static_cast<int>(times.size()); }
    double FrameRate() const noexcept { return static_cast<double>(rateNumerator) / rateDenominator; }
};

/// Reads the whole file. Throws Authoring::InputError when it is not an MP4 file with video in it.
ClipIndex ReadClipIndex(const std::string& path);

/// "17" is frame 17, "1.5s" the frame shown at that time, "50%" the frame in the middle of the clip. Throws UsageError,
/// also when it is beyond the end.
int ParseMoment(const ClipIndex& index, const std::string& text);

}  // namespace Nimb::Tool
