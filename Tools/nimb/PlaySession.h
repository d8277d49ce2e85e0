// What every way of playing a clip works with: the plug-in, the engine's render thread, the clip.
#pragma once

#include "EngineStandIn/PluginLibrary.h"
#include "EngineStandIn/RenderThread.h"
#include "Tools/nimb/PlayOptions.h"
#include "Tools/nimb/Viewer/ClipIndex.h"
#include "Tools/nimb/Viewer/Playback.h"

#include <memory>

namespace Nimb::Tool {

class PlaySession {
public:
    /// Throws Authoring::InputError when the clip or the plug-in cannot be loaded, OutputError when there is no GL
    /// context. The factory's context is the one that everything is drawn in.
    PlaySession(const PlayOptions& options, const EngineStandIn::GlContextFactory& makeContext);
    ~PlaySession();
    PlaySession(const PlaySession&) = delete;
    PlaySession& operator=(const PlaySession&) = delete;

    const PlayOptions& Options() const noexcept { return m_Options; }
    const ClipIndex& Index() const noexcept { return m_Index; }

    /// The clip, open and not yet playing.
    std::unique_ptr<Playback> Open(float speed, bool sound);

    /// The camera that sees all of the clip from the given views, also while it turns.
    Camera CameraFor(const NimbFileInfo& info, const std::vector<View>& views, float aspect) const;
    /// How far the turntable has got, in radians.
    float TurnAt(int frame) const;

    EngineStandIn::RenderThread& RenderThread() noexcept { return *m_RenderThread; }
    /// Render thread.
    Tool::Renderer& Renderer() noexcept { return *m_Renderer; }

private:
    PlayOptions m_Options;
    ClipIndex m_Index;
    std::optional<Authoring::FileAttributes> m_FoundAttributes;  // of a clip that does not say them itself
    std::unique_ptr<EngineStandIn::PluginLibrary> m_Plugin;
    std::unique_ptr<EngineStandIn::RenderThread> m_RenderThread;
    std::unique_ptr<Tool::Renderer> m_Renderer;
};

}  // namespace Nimb::Tool
