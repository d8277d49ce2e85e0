// How the window's user looks at the clip: camera and appearance.
#pragma once

#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Viewer/Window.h"

#include <cstddef>
#include <vector>

namespace Nimb::Tool {

class Look {
public:
    /// Keeps references.
    Look(const PlaySession& session, const NimbFileInfo& info);

    /// False when the action is about something else.
    bool Obey(Action action);
    void Move(const Input& input);
    /// The window's width to its height.
    void SetAspect(float aspect) { m_Aspect = aspect; }

    const Camera& CurrentCamera() const noexcept { return m_Camera; }
    const Appearance& CurrentAppearance() const noexcept { return m_Appearance; }

private:
    void ResetCamera() { m_Camera = m_Session.CameraFor(m_Info, {m_Views[m_View]}, m_Aspect); }

    const PlaySession& m_Session;
    const NimbFileInfo& m_Info;
    std::vector<View> m_Views;
    std::size_t m_View = 0;
    float m_Aspect = 16.0f / 9;
    Camera m_Camera;
    Appearance m_Appearance;
    std::size_t m_Background = 0;
};

}  // namespace Nimb::Tool
