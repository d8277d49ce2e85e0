#include "Tools/nimb/Studio.h"

namespace Nimb::Tool {

Studio::Studio(PlaySession& session, int width, int height)
    : m_Session(session),
      m_Framebuffer(session.RenderThread().Run([&] { return std::make_unique<Framebuffer>(width, height); })) {}

Studio::~Studio() {
    m_Session.RenderThread().Run([this] { m_Framebuffer.reset(); });
}

float Studio::Aspect() const {
    return static_cast<float>(m_Framebuffer->Width()) / static_cast<float>(m_Framebuffer->Height());
}

Authoring::Image Studio::Draw(const Playback& playback, int number, const std::vector<View>& views, std::size_t view) {
    Camera camera = m_Session.CameraFor(playback.FileInfo(), views, Aspect());
    camera.yaw = views[view].yaw + m_Session.TurnAt(number);
    camera.pitch = views[view].pitch;
    return Draw(playback, camera, m_Session.Options().appearance);
}

Authoring::Image Studio::Draw(const Playback& playback, const Camera& camera, Appearance appearance) {
    appearance.mipmaps = true;
    return m_Session.RenderThread().Run([&] {
        m_Framebuffer->Bind();
        m_Session.Renderer().Draw(playback.Player(), camera, appearance, m_Framebuffer->Width(),
                                  m_Framebuffer->Height());
        return m_Framebuffer->Read();
    });
}

}  // namespace Nimb::Tool
