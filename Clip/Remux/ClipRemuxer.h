// Writes clips anew without touching their meshes and pictures: what editors of MP4 files leave of a clip becomes a
// clip again, cut, joined, or with other sound if asked for. Video samples are those of the inputs, byte for byte.
#pragma once

#include "Clip/Write/ClipError.h"
#include "Clip/Write/TrackOptions.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

struct RemuxOptions {
    std::vector<std::string> inputs;  ///< MP4, QuickTime or Matroska; several are joined in this order
    std::size_t first = 0;            ///< over all inputs; moved to a frame that playback can begin at
    std::size_t last = SIZE_MAX;      ///< included; beyond the end means the end
    bool isSilent = false;            ///< without sound
    std::string audio;                ///< a file with the sound in place of the inputs'; empty: theirs
    AudioTrackOptions audioOptions;   ///< of sound that is encoded
};

struct RemuxReport {
    std::size_t firstFrame = 0;     ///< over all inputs: where the clip really begins
    std::size_t frames = 0;         ///< of the clip
    std::size_t damagedFrames = 0;  ///< of them, without a mesh or with a damaged one
    bool isSoundEncoded = false;    ///< not copied
};

enum class RemuxStep { Examine, Write };
/// Gets the frames done in the step, over all inputs, and how many there are, 0 when that is unknown. May throw to end
/// the work, of which then nothing is left.
using RemuxProgress = std::function<void(RemuxStep, std::size_t done, std::size_t total)>;
/// Gets what the user should know of an input, beginning with its name.
using RemuxWarning = std::function<void(const std::string&)>;

/// Throws InputError for inputs that cannot be read, joined or made a clip of, std::invalid_argument for a range
/// without frames, ClipError when the file cannot be written. `path` appears when it is complete, and replaces what is
/// there.
RemuxReport RemuxClip(const RemuxOptions& options, const std::string& path, const RemuxProgress& progress,
                      const RemuxWarning& warn);

}  // namespace Nimb::Authoring
