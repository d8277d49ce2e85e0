// The capture's figure: a dancer of smoothly joined capsules and ellipsoids, with a skirt. Hands that touch the body
// melt into it, as they do where surfaces are rebuilt from what cameras see.
#pragma once

#include "Demo/Capture/Subject.h"

namespace Nimb::Authoring::Capture {

class Dancer : public Subject {
public:
    /// `tempo`: at 1 the dance takes four seconds, with hands at up to 5 m/s, 2 m/s on average; above 0.
    explicit Dancer(std::size_t frames, double tempo = 1) : m_Frames(frames), m_Tempo(tempo) {}

    std::size_t FrameCount() const override { return m_Frames; }
    double FrameRate() const override { return 30; }
    std::string Name() const override { return "dancer"; }
    std::unique_ptr<Solid> At(std::size_t frame) const override;

private:
    std::size_t m_Frames;
    double m_Tempo;
};

}  // namespace Nimb::Authoring::Capture
