// Faults by name: what is wrong with a clip, and in which frames, from what comparing its frames has shown.
#pragma once

#include "Tools/nimb/Compare/FrameResult.h"
#include "Tools/nimb/Compare/SoundFigures.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Tool {

/// Kinds, which Docs/comparing.md explains: frame-count, unreadable, no-mesh, swapped, shifted, missing, extra,
/// misplaced, flipped, texture-shift, sound-missing, sound-other, sound-late, sound-early.
struct Fault {
    std::string kind;
    std::optional<std::size_t> first;  ///< frame; none: of the clip, or of its sound
    std::optional<std::size_t> last;
    std::string text;
};

/// "frame 12" or "frames 12 to 17"; empty for a fault of the clip.
std::string PlaceOf(const Fault& fault);

/// What is known of the sound.
struct SoundResult {
    bool isAsked = false;  ///< there is sound to compare with
    bool hasClipSound = false;
    std::optional<SoundFigures> figures;  ///< none when either is silent
};

/// `results` in the order of the frames.
std::vector<Fault> FindFaults(const std::vector<FrameResult>& results, std::size_t sourceFrames, std::size_t clipFrames,
                              const SoundResult& sound);

}  // namespace Nimb::Tool
