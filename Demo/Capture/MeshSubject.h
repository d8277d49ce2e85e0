// Any animated mesh in front of the simulated cameras.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Demo/Capture/Subject.h"

namespace Nimb::Authoring::Capture {

/// The solid is the union of the source's closed pieces; pieces with a border are shells of a few millimetres. Colours
/// are those of the nearest texel.
class MeshSubject : public Subject {
public:
    /// `frames`: at most so many, or all. `name`: for messages.
    MeshSubject(std::shared_ptr<const MeshSource> source, std::string name, std::size_t frames);

    std::size_t FrameCount() const override { return m_Frames; }
    double FrameRate() const override { return m_Source->FrameRate(); }
    std::string Name() const override { return m_Name; }
    std::unique_ptr<Solid> At(std::size_t frame) const override;

private:
    const std::shared_ptr<const MeshSource> m_Source;
    const std::string m_Name;
    const std::size_t m_Frames;
};

}  // namespace Nimb::Authoring::Capture
