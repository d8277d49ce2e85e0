// A clip that is being played by the plug-in, one render event at a time, and which of its frames is in the engine's
// objects.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"
#include "EngineStandIn/Player.h"
#include "Tools/nimb/Viewer/Timeline.h"

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
    std::optional<int> number;  ///< none when it cannot be told
    NimbFrameInfo info;
};

/// Why a request failed, for people.
std::string SeekReasonText(NimbSeekReason reason);

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

    /// Whether the plug-in goes to frames, and plays ranges of them. The next four functions are only for one that
    /// does.
    bool CanSeek() const noexcept { return m_Plugin.Has(NimbFeature_Seek | NimbFeature_PlayRange); }
    /// To a frame; `options` are NimbSeekOption's. It has arrived when IsSeeking is over. A later request replaces it.
    void Seek(int frame, std::uint32_t options);
    /// On or back by some frames, paused.
    void StepBy(int frames);
    /// Plays the frames from `first` to `last` again and again, beginning now. False when the player refuses.
    bool PlayRange(int first, int last);
    void ClearRange();

    bool IsSeeking() const noexcept { return m_Ticket != 0; }
    /// How the last request ended.
    const NimbSeekEnd& SeekEnd() const noexcept { return m_SeekEnd; }

    void SetSpeed(float speed);
    float Speed() const noexcept { return m_Options.speed; }
    void SetComputeNormals(bool computeNormals);

    /// Issues a render event, waits for it, and returns the frame that it put into the engine's objects; none when they
    /// stayed as they were.
    std::optional<ShownFrame> Render();

    /// The last frame has been shown, and the sound is over.
    bool HasEnded() const noexcept { return m_EventsAfterEnd > c_EventsAfterEnd; }

    /// Meshes were larger than the clip says: then they are shown in part.
    bool HasOversizedFrames() const noexcept { return m_HasOversizedFrames; }

private:
    /// The player queues at most eight frames, and each event takes one.
    static constexpr int c_EventsAfterEnd = 10;

    void Await(std::int64_t ticket);
    bool RenderOnRenderThread();
    bool TakeSeekEnds();

    const EngineStandIn::PluginLibrary& m_Plugin;
    EngineStandIn::RenderThread& m_RenderThread;
    PlaybackOptions m_Options;
    std::unique_ptr<EngineStandIn::Player> m_Player;
    NimbFileInfo m_FileInfo{};
    int m_LastFrame;
    Timeline m_Timeline;
    bool m_IsPlaying = false;
    std::int64_t m_Ticket = 0;  ///< of the request under way; 0: none
    NimbSeekEnd m_SeekEnd{};
    bool m_HasEnd = false;
    bool m_HasOversizedFrames = false;
    int m_EventsAfterEnd = 0;
};

}  // namespace Nimb::Tool
