// The tune that the juggler dances to: a waltz of two bars, synthesised.
#pragma once

#include "Authoring/Scene/SoundSource.h"

#include <vector>

namespace Nimb::Authoring::Demo {

/// As long as the clip. Notes that still ring at the end go on at the beginning, so that the tune repeats without a
/// seam. Peaks at -12 dB of full scale.
class DemoSound : public SoundSource {
public:
    DemoSound();

    std::size_t Read(float* samples, std::size_t frameCount) override;

private:
    std::vector<float> m_Samples;  // interleaved
    std::size_t m_Position = 0;    // in m_Samples
};

}  // namespace Nimb::Authoring::Demo
