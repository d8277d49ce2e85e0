// Where the sound of a clip comes from: a file, a synthesiser.
#pragma once

#include <cstddef>

namespace Nimb::Authoring {

/// 48000 samples a second, stereo. Belongs to one thread.
class SoundSource {
public:
    virtual ~SoundSource() = default;

    /// Reads on: interleaved samples from -1 to 1. Returns how many of the `frameCount` frames there were, fewer only
    /// at the end of the sound. Throws InputError when reading fails.
    virtual std::size_t Read(float* samples, std::size_t frameCount) = 0;

    /// How many damaged packets have been left out so far.
    virtual std::size_t DamagedPackets() const { return 0; }
};

}  // namespace Nimb::Authoring
