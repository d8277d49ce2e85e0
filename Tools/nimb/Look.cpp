#include "Tools/nimb/Look.h"

#include <iterator>

namespace Nimb::Tool {
namespace {

constexpr Colour c_Backgrounds[] = {{32, 36, 42, 255}, {0, 0, 0, 255}, {128, 128, 128, 255}, {240, 240, 240, 255}};

}  // namespace

Look::Look(const PlaySession& session, const NimbFileInfo& info)
    : m_Session(session),
      m_Info(info),
      m_Views{session.Options().views.front(),
              ParseView("front"),
              ParseView("right"),
              ParseView("back"),
              ParseView("left"),
              ParseView("top")},
      m_Appearance(session.Options().appearance) {
    ResetCamera();
}

bool Look::Obey(Action action) {
    const auto toggle = [](bool& value) { value = !value; };
    switch (action) {
        case Action::ToggleWireframe:
            toggle(m_Appearance.wireframe);
            return true;
        case Action::ToggleShaded:
            toggle(m_Appearance.shaded);
            return true;
        case Action::NextBackFaces:
            m_Appearance.backFaces = static_cast<BackFaces>((static_cast<int>(m_Appearance.backFaces) + 1) % 3);
            return true;
        case Action::NextBackground:
            m_Appearance.background = c_Backgrounds[++m_Background % std::size(c_Backgrounds)];
            return true;
        case Action::ToggleTextureOnly:
            toggle(m_Appearance.textureOnly);
            return true;
        case Action::NextView:
            m_View = m_View % (m_Views.size() - 1) + 1;  // the first is the one asked for at the start
            ResetCamera();
            return true;
        case Action::ResetCamera:
            m_View = 0;
            ResetCamera();
            return true;
        default:
            return false;
    }
}

void Look::Move(const Input& input) {
    Orbit(m_Camera, input.orbitX, input.orbitY);
    Pan(m_Camera, input.panX, input.panY);
    Zoom(m_Camera, input.zoom);
}

}  // namespace Nimb::Tool
