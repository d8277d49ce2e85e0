// The built-in clip: a small robot with a halo that juggles on a stage for three seconds, again and again.
#pragma once

#include "Authoring/Scene/MeshSource.h"
#include "Demo/Figure.h"

#include <array>
#include <map>
#include <mutex>
#include <utility>

namespace Nimb::Authoring::Demo {

/// 90 frames at 30 per second; the last is followed by the first. Every frame has the same vertices and faces. The
/// counter on the juggler's chest shows the frame's number.
class DemoClip : public MeshSource {
public:
    DemoClip();

    std::size_t FrameCount() const override;
    double FrameRate() const override;
    std::size_t MaterialCount() const override { return c_MaterialCount; }
    std::string MaterialName(std::size_t material) const override;
    std::string FrameName(std::size_t frame) const override;
    SourceFrame Frame(std::size_t frame) const override;
    std::shared_ptr<const Image> Texture(std::size_t frame, std::size_t material) const override;

private:
    Figure m_Figure;
    std::array<std::shared_ptr<const Image>, c_MaterialCount> m_Painted;  // null: changes with every frame

    mutable std::mutex m_Mutex;
    // Pictures that are in use, by frame and material: whoever asks again meanwhile gets the same one.
    mutable std::map<std::pair<std::size_t, std::size_t>, std::weak_ptr<const Image>> m_Animated;
};

}  // namespace Nimb::Authoring::Demo
