// The capture's figure: a dancer of smoothly joined capsules and ellipsoids, with a skirt. Hands that touch the body
// melt into it, as they do where surfaces are rebuilt from what cameras see.
#pragma once

#include "Demo/Capture/Subject.h"

namespace Nimb::Authoring::Capture {

class Dancer : public Subject {
public:
    /// `tempo`: 1 is as fast as she can, with hands at up to 6 m/s; above 0.
    explicit Dancer(std::size_t frames, double tempo = 0.5) : m_Frames(frames), m_Tempo(tempo) {}

    std::size_t FrameCount() const override { return m_Frames; }
    double FrameRate() const override { return 30; }
    std::string Name() const override { return "dancer"; }
    std::unique_ptr<Solid> At(std::size_t frame) const override;

private:
    std::size_t m_Frames;
    double m_Tempo;
};

}  // namespace Nimb::Authoring::Capture
