// An animated scene, sampled.
#include "Authoring/Source/FramePictures.h"
#include "Authoring/Source/GltfScene.h"
#include "Authoring/Source/Placement.h"
#include "Authoring/Source/ScenePaint.h"
#include "Authoring/Source/ScenePose.h"
#include "Authoring/Source/SourceFactories.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

constexpr double c_MaxFrames = 1e7;

std::size_t FramesOf(const Scene& scene, const SourceOptions& options) {
    const double frames = std::round(scene.duration * options.frameRate);
    if (!(frames <= c_MaxFrames)) {
        throw InputError(options.input + ": the animation lasts too long: " + std::to_string(scene.duration) + " s");
    }
    return static_cast<std::size_t>(std::max(frames, 1.0));
}

FileRange RangeOfScene(const SourceOptions& options, std::size_t frames) {
    const std::size_t first = options.firstFrame.value_or(0);
    const std::size_t last = options.lastFrame.value_or(frames - 1);
    for (const std::size_t number : {first, last}) {
        if (number >= frames) {
            throw std::invalid_argument(options.input + ": there is no frame " + std::to_string(number) +
                                        "; frames are 0 to " + std::to_string(frames - 1));
        }
    }
    if (first > last) {
        throw std::invalid_argument(options.input + ": the last frame asked for is before the first");
    }
    return {first, last + 1};
}

Scene ReadScene(const SourceOptions& options) {
    Scene scene = ReadGltfScene(options.input, options.animation,
                                options.texture.empty() ? Materials::Read : Materials::Ignore, options);
    PaintScene(scene, options.input, [](const std::vector<SourceMaterial>&, std::size_t, bool hasColours) {
        return hasColours ? std::nullopt : std::optional(c_NotPainted);
    });
    return scene;
}

class SceneSource final : public MeshSource {
public:
    explicit SceneSource(const SourceOptions& options)
        : m_Options(options),
          m_Scene(ReadScene(options)),
          m_Range(RangeOfScene(options, FramesOf(m_Scene, options))),
          m_Pictures(options, FramesOf(m_Scene, options), m_Range, std::nullopt) {
        m_Pictures.SetMaterialCount(m_Scene.materials.size());
        for (std::size_t material = 0; material < MaterialCount(); ++material) {
            Texture(0, material);
        }
    }

    std::size_t FrameCount() const override { return m_Range.end - m_Range.begin; }
    double FrameRate() const override { return m_Options.frameRate; }
    std::size_t MaterialCount() const override { return m_Scene.materials.size(); }
    std::string MaterialName(std::size_t material) const override { return m_Scene.materials.at(material).name; }

    std::string FrameName(std::size_t frame) const override {
        char time[32];
        std::snprintf(time, sizeof time, " at %.3f s", TimeOf(frame));
        return m_Options.input + time;
    }

    SourceFrame Frame(std::size_t frame) const override {
        SourceFrame posed = PoseAt(m_Scene, TimeOf(frame));
        for (MaterialMesh& materialMesh : posed.meshes) {
            Place(materialMesh.mesh, m_Options, FrameName(frame));
        }
        return posed;
    }

    std::shared_ptr<const Image> Texture(std::size_t frame, std::size_t material) const override {
        return m_Pictures.Get(m_Pictures.AreNamed() ? m_Pictures.NamedFor(frame) : m_Scene.materials.at(material),
                              material, FrameName(frame));
    }

    std::vector<std::string> PictureFiles(std::size_t frame) const override {
        return m_Pictures.Files(frame, m_Scene.materials);
    }

private:
    double TimeOf(std::size_t frame) const { return static_cast<double>(m_Range.begin + frame) / m_Options.frameRate; }

    const SourceOptions m_Options;
    const Scene m_Scene;
    const FileRange m_Range;
    mutable FramePictures m_Pictures;
};

}  // namespace

std::unique_ptr<MeshSource> OpenSceneSource(const SourceOptions& options) {
    return std::make_unique<SceneSource>(options);
}

}  // namespace Nimb::Authoring
