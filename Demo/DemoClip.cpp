#include "Demo/DemoClip.h"

#include "Demo/Pictures.h"

namespace Nimb::Authoring::Demo {

namespace {

constexpr double c_FrameRate = 30;

Pose PoseOf(std::size_t frame) {
    return PoseAt(static_cast<double>(frame) / c_FrameRate);
}

}  // namespace

DemoClip::DemoClip() {
    for (const Material material : {Shell, Hoses, Scarf, Toys}) {
        m_Painted[material] = std::make_shared<const Image>(m_Figure.Paint(material));
    }
}

std::size_t DemoClip::FrameCount() const {
    return static_cast<std::size_t>(c_SecondsPerBeat * c_BeatsPerLoop * c_FrameRate);
}

double DemoClip::FrameRate() const {
    return c_FrameRate;
}

std::string DemoClip::MaterialName(std::size_t material) const {
    static const std::array<const char*, c_MaterialCount> names{"shell", "hoses", "scarf", "toys", "display", "stage"};
    return names.at(material);
}

std::string DemoClip::FrameName(std::size_t frame) const {
    return "demo, frame " + std::to_string(frame);
}

SourceFrame DemoClip::Frame(std::size_t frame) const {
    return m_Figure.Frame(PoseOf(frame));
}

std::shared_ptr<const Image> DemoClip::Texture(std::size_t frame, std::size_t material) const {
    if (m_Painted.at(material)) {
        return m_Painted[material];
    }
    const auto known = [&] {
        const std::lock_guard lock(m_Mutex);
        return m_Animated[{frame, material}].lock();
    };
    if (std::shared_ptr<const Image> picture = known()) {
        return picture;
    }
    // Unlocked, so that others can paint theirs; whoever comes second takes the first one's.
    const Pose pose = PoseOf(frame);
    auto painted =
        std::make_shared<const Image>(material == Display ? DisplayPicture(pose, frame) : StagePicture(pose));
    const std::lock_guard lock(m_Mutex);
    std::weak_ptr<const Image>& entry = m_Animated[{frame, material}];
    if (std::shared_ptr<const Image> other = entry.lock()) {
        return other;
    }
    entry = painted;
    return painted;
}

}  // namespace Nimb::Authoring::Demo
