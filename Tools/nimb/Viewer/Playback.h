// A clip that is being played by the plug-in, one render event at a time, and which of its frames is in the engine's
// objects.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"
#include "EngineStandIn/Player.h"
#include "Tools/nimb/Viewer/ClipIndex.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace Nimb::Tool {

/// The plug-in's file: $NIMB_PLUGIN, or lib/nimb/libNimbUnityPluginML.so beside the folder of this program.
std::string FindPlugin();

struct PlaybackOptions {
    std::string path;
    std::optional<Authoring::FileAttributes> attributes;  ///< of a clip that does not say them itself
    bool sound = true;
    bool computeNormals = true;
    float speed = 1;
};

/// A frame that a render event put into the engine's objects.
struct ShownFrame {
    std::optional<int> number;  ///< none when no frame has its time, as after a change of speed
    NimbFrameInfo info;
};

/// Belongs to the script thread.
class Playback {
public:
    /// Opens the clip, does not play yet. Throws Authoring::InputError when the player cannot open it, or when the clip
    /// does not say how large its meshes are. `index` is of the same file.
    Playback(const EngineStandIn::PluginLibrary& plugin, EngineStandIn::RenderThread& renderThread,
             const ClipIndex& index, PlaybackOptions options);

    const EngineStandIn::Player& Player() const noexcept { return *m_Player; }
    const NimbFileInfo& FileInfo() const noexcept { return m_FileInfo; }

    void Play();
    void Pause();
    /// From the first frame, playing.
    void Restart();
    bool IsPlaying() const noexcept { return m_IsPlaying; }

    void SetSpeed(float speed);
    float Speed() const noexcept { return m_Options.speed; }
    void SetComputeNormals(bool computeNormals);

    /// Issues a render event, waits for it, and returns the frame that it put into the engine's objects; none when they
    /// stayed as they were.
    std::optional<ShownFrame> Step();

    /// The last frame has been shown, and the sound is over.
    bool HasEnded() const noexcept { return m_EventsAfterEnd > c_EventsAfterEnd; }

    /// Meshes were larger than the clip says: then they are shown in part.
    bool HasOversizedFrames() const noexcept { return m_HasOversizedFrames; }

private:
    /// The player queues at most eight frames, and each event takes one.
    static constexpr int c_EventsAfterEnd = 10;

    void Open();
    bool StepOnRenderThread();

    const EngineStandIn::PluginLibrary& m_Plugin;
    EngineStandIn::RenderThread& m_RenderThread;
    const ClipIndex& m_Index;
    PlaybackOptions m_Options;
    std::unique_ptr<EngineStandIn::Player> m_Player;
    NimbFileInfo m_FileInfo{};
    bool m_IsPlaying = false;
    bool m_HasTimeline = true;  ///< frame times are those of the file, scaled; a change of speed shifts them
    bool m_HasEnd = false;
    bool m_HasOversizedFrames = false;
    int m_EventsAfterEnd = 0;
};

}  // namespace Nimb::Tool
