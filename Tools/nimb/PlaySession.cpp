#include "Tools/nimb/PlaySession.h"

#include "Authoring/Scene/MeshSource.h"
#include "Clip/Read/ClipAttributes.h"
#include "Clip/Read/ClipInspection.h"
#include "Tools/nimb/ExitStatus.h"

#include <cmath>
#include <cstdio>

namespace Nimb::Tool {
namespace {

constexpr double c_Turn = 2 * 3.14159265358979;

/// Without attributes nobody knows how large buffers must be, and the player does not look ahead.
std::optional<Authoring::FileAttributes> FindMissingAttributes(const std::string& clip) {
    const Authoring::ClipAttributes attributes = Authoring::ReadClipAttributes(clip);
    if (attributes.values && attributes.values->maxVertexCount != 0 && attributes.values->maxIndexCount != 0) {
        return std::nullopt;
    }
    std::optional<Authoring::FileAttributes> found = Authoring::FindAttributes(clip);
    if (!found) {
        throw Authoring::InputError(clip + ": has neither attributes nor meshes, so there is nothing to play");
    }
    std::fprintf(stderr,
                 "nimb: %s: does not say how large its meshes are; looked through it to find out. "
                 "Other players cannot do that: `nimb remux` writes the attributes anew\n",
                 clip.c_str());
    return found;
}

std::unique_ptr<EngineStandIn::PluginLibrary> LoadPlugin() {
    const std::string path = FindPlugin();
    try {
        return std::make_unique<EngineStandIn::PluginLibrary>(path);
    } catch (const std::runtime_error& error) {
        throw Authoring::InputError(path + ": " + error.what() + " (NIMB_PLUGIN names another)");
    }
}

std::unique_ptr<EngineStandIn::RenderThread> StartRenderThread(const EngineStandIn::GlContextFactory& makeContext) {
    try {
        return std::make_unique<EngineStandIn::RenderThread>(makeContext);
    } catch (const std::runtime_error& error) {
        throw OutputError(std::string("there is no OpenGL ES 3 context to draw in: ") + error.what() +
                          "\n  Without a graphics driver, Mesa's software renderer will do (Debian: libegl-mesa0, "
                          "libgl1-mesa-dri); EGL_PLATFORM, if set, must match.");
    }
}

}  // namespace

PlaySession::PlaySession(const PlayOptions& options, const EngineStandIn::GlContextFactory& makeContext)
    : m_Options(options),
      m_Index(ReadClipIndex(options.clip)),
      m_FoundAttributes(FindMissingAttributes(options.clip)),
      m_Plugin(LoadPlugin()),
      m_RenderThread(StartRenderThread(makeContext)) {
    if (m_Index.firstWithoutMesh && !options.IsCapture()) {
        std::fprintf(stderr,
                     "nimb: %s: frame %d has no mesh: from there on the player shows each mesh with the picture of the "
                     "frame before\n",
                     options.clip.c_str(), *m_Index.firstWithoutMesh);
    }
    EngineStandIn::StartPlugin(*m_Plugin, *m_RenderThread);
    m_RenderThread->Run([this] { m_Renderer = std::make_unique<Tool::Renderer>(); });
}

PlaySession::~PlaySession() {
    m_RenderThread->Run([this] { m_Renderer.reset(); });
}

std::unique_ptr<Playback> PlaySession::Open(float speed, bool sound) {
    PlaybackOptions playback;
    playback.path = m_Options.clip;
    playback.attributes = m_FoundAttributes;
    playback.sound = sound;
    playback.computeNormals = m_Options.computeNormals;
    playback.speed = speed;
    return std::make_unique<Playback>(*m_Plugin, *m_RenderThread, m_Index, playback);
}

Camera PlaySession::CameraFor(const NimbFileInfo& info, const std::vector<View>& views, float aspect) const {
    const Authoring::Box box{
        {static_cast<float>(info.minX), static_cast<float>(info.minY), static_cast<float>(info.minZ)},
        {static_cast<float>(info.maxX), static_cast<float>(info.maxY), static_cast<float>(info.maxZ)}};
    std::vector<View> seen = views;
    if (m_Options.turns != 0) {
        constexpr int steps = 24;
        for (int i = 0; i < steps; ++i) {
            seen.push_back({"", static_cast<float>(c_Turn * i / steps), views.front().pitch});
        }
    }
    return FrameBox(box, seen, aspect);
}

float PlaySession::TurnAt(int frame) const {
    return static_cast<float>(std::fmod(m_Options.turns * frame / m_Index.FrameCount(), 1.0) * c_Turn);
}

}  // namespace Nimb::Tool
