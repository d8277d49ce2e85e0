// Whether a clip's sound is that of its source, and when.
#pragma once

#include "Authoring/Scene/SoundSource.h"

#include <optional>
#include <vector>

namespace Nimb::Tool {

/// Samples of one channel, 48000 a second, at most `seconds` of them: the mean of both channels.
std::vector<float> ReadMono(Authoring::SoundSource& sound, double seconds);

struct SoundFigures {
    double offset = 0;    ///< seconds by which the clip's sound is late; below 0: early
    double likeness = 0;  ///< normalised cross-correlation at that offset, from -1 to 1
    double level = 0;     ///< of the clip's sound against the source's, dB
};

/// The offset within half a second, or half of the shorter sound, at which the cross-correlation is largest. None when
/// either is silent.
std::optional<SoundFigures> CompareSound(const std::vector<float>& source, const std::vector<float>& clip);

}  // namespace Nimb::Tool
