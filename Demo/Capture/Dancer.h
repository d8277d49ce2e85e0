// The capture's figure: a dancer of smoothly joined capsules and ellipsoids, with a skirt. Hands that touch the body
// melt into it, as they do where surfaces are rebuilt from what cameras see.
#pragma once

#include "Demo/Capture/Subject.h"

namespace Nimb::Authoring::Capture {

class Dancer : public Subject {
public:
    explicit Dancer(std::size_t frames) : m_Frames(frames) {}

    std::size_t FrameCount() const override { return m_Frames; }
    double FrameRate() const override { return 30; }
    std::string Name() const override { return "dancer"; }
    std::unique_ptr<Solid> At(std::size_t frame) const override;

private:
    std::size_t m_Frames;
};

}  // namespace Nimb::Authoring::Capture
