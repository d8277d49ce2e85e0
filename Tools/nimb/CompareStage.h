// Where both sides of a comparison are drawn: the clip by the player, and its source beside it by the same renderer,
// seen by the same cameras.
#pragma once

#include "Tools/nimb/Compare/TextureShift.h"
#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Viewer/Framebuffer.h"
#include "Tools/nimb/Viewer/MeshObjects.h"

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Nimb::Tool {

constexpr std::array<const char*, 4> c_CompareViews = {"front", "left", "back", "right"};

/// What the player put into the engine's objects.
struct PlayedFrame {
    Authoring::Mesh mesh;  ///< vertices that faces use, as the engine's shaders get them
    LumaPicture texture;
    std::vector<Authoring::Image> views;
};

/// Meshes by material as one, with the textures of `source`.
JoinedFrame Join(const Authoring::MeshSource& source, std::size_t frame);

/// Belongs to one thread.
class CompareStage {
public:
    /// Cameras frame the clip's box. Throws Authoring::InputError when the player cannot open the clip, OutputError
    /// when there is no GL context.
    /// `viewHeight`: of the pictures, in pixels; their width follows from the box.
    CompareStage(const std::string& clip, int viewHeight);
    ~CompareStage();
    CompareStage(const CompareStage&) = delete;
    CompareStage& operator=(const CompareStage&) = delete;

    std::size_t FrameCount() const;
    double FrameRate() const;

    /// Lets the player go to each of the frames, in their order; see CaptureFrames.
    void ForFrames(const std::vector<int>& frames, const std::function<void(int)>& take,
                   const std::function<void(int, const std::string&)>& miss);

    /// Only within `take`: the frame that the player has gone to.
    PlayedFrame Played();
    std::vector<Authoring::Image> Draw(const JoinedFrame& frame);

private:
    std::vector<Authoring::Image> DrawPlayed();
    const TextureObject& TextureOf(const std::shared_ptr<const Authoring::Image>& picture);
    /// Render thread.
    template <class DrawView>
    std::vector<Authoring::Image> DrawViews(const DrawView& drawView);

    PlaySession m_Session;
    std::unique_ptr<Playback> m_Playback;
    Appearance m_Appearance;
    std::vector<Camera> m_Cameras;
    float m_Aspect = 1;
    // Render thread.
    std::unique_ptr<Framebuffer> m_Framebuffer;
    std::vector<std::unique_ptr<TextureObject>> m_Textures;  // of the last frame that was drawn
};

}  // namespace Nimb::Tool
