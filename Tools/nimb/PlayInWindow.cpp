// The interactive viewer: one turn of the loop is one picture of the display, as in an engine. First the user's input,
// then the render event, then drawing.
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Look.h"
#include "Tools/nimb/PlayModes.h"
#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Viewer/Navigation.h"
#include "Tools/nimb/Viewer/PanelRenderer.h"
#include "Tools/nimb/Viewer/Panels.h"
#include "Tools/nimb/Viewer/Report.h"
#include "Tools/nimb/Viewer/Window.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <thread>

namespace Nimb::Tool {
namespace {

using Clock = Report::Clock;

struct DrawableSize {
    int width = 1;
    int height = 1;
};

/// Render thread. The window's own pixels, which may be finer than the desktop's units, and may have just changed.
DrawableSize QueryDrawable() {
    DrawableSize size;
    const EGLDisplay display = eglGetCurrentDisplay();
    const EGLSurface surface = eglGetCurrentSurface(EGL_DRAW);
    eglQuerySurface(display, surface, EGL_WIDTH, &size.width);
    eglQuerySurface(display, surface, EGL_HEIGHT, &size.height);
    return {std::max(size.width, 1), std::max(size.height, 1)};
}

class Viewer {
public:
    Viewer(const PlayOptions& options, Window& window)
        : m_Options(options),
          m_Window(window),
          m_Session(options, [&window] { return EngineStandIn::MakeWindowContext(window.NativeWindow()); }),
          m_Playback(m_Session.Open(options.speed, options.sound)),
          m_Look(m_Session, m_Playback->FileInfo()),
          m_PassesLeft(options.passes),
          m_Navigation(*m_Playback, m_Session.Index()),
          m_Report(m_Session.Index()) {
        m_Session.RenderThread().Run([this] { m_PanelRenderer = std::make_unique<PanelRenderer>(); });
    }
    ~Viewer() {
        m_Session.RenderThread().Run([this] { m_PanelRenderer.reset(); });
    }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    int Run() {
        const auto refresh = std::chrono::microseconds(1000000 / m_Window.RefreshRate());
        m_Report.OnStart(true, m_Playback->Speed());
        if (m_Options.moment.empty()) {
            m_Playback->Play();
        } else {
            m_Navigation.GoTo(ParseMoment(m_Session.Index(), m_Options.moment));
        }
        for (Clock::time_point next = Clock::now(); !m_Quit;) {
            Obey(m_Window.Poll());
            Advance();
            Obey(LayOutPanels(Facts()));
            Draw();
            // Waits for the display where showing a picture does not.
            next = std::max(next + refresh, Clock::now());
            std::this_thread::sleep_until(next);
        }
        std::fputs(m_Report.Text().c_str(), stdout);
        return c_ExitOk;
    }

private:
    void Obey(const Input& input) {
        for (const Action action : input.actions) {
            Obey(action);
        }
        for (const Action action : input.repeated) {
            if (!m_Playback->IsSeeking()) {  // each of them is to be seen
                Obey(action);
            }
        }
        m_Look.Move(input);
    }

    void Obey(const PanelInput& input) {
        for (const Action action : input.actions) {
            Obey(action);
        }
        if (input.dragged) {
            m_HasEnded = false;
            m_Navigation.Drag(*input.dragged);
        } else if (input.dropped) {
            m_HasEnded = false;
            m_Navigation.Drop(*input.dropped);
        }
    }

    void Obey(Action action) {
        if (m_Look.Obey(action)) {
            return;
        }
        if (m_Navigation.Obey(action)) {
            m_HasEnded = false;
            return;
        }
        const auto toggle = [](bool& value) { value = !value; };
        switch (action) {
            case Action::Quit:
                m_Quit = true;
                break;
            case Action::TogglePause:
                TogglePause();
                break;
            case Action::Restart:
                Restart();
                break;
            case Action::Faster:
                SetSpeed(std::min(m_Playback->Speed() * 1.25f, 8.0f));
                break;
            case Action::Slower:
                SetSpeed(std::max(m_Playback->Speed() / 1.25f, 0.1f));
                break;
            case Action::NormalSpeed:
                SetSpeed(1);
                break;
            case Action::ToggleLoop:
                m_PassesLeft = m_PassesLeft == 0 ? 1 : 0;
                break;
            case Action::ToggleComputeNormals:
                toggle(m_ComputeNormals);
                m_Playback->SetComputeNormals(m_ComputeNormals);
                break;
            case Action::ToggleHelp:
                toggle(m_ShowHelp);
                break;
            case Action::ToggleOverlay:
                toggle(m_ShowPanels);
                break;
            default:
                break;
        }
    }

    void TogglePause() {
        if (m_HasEnded) {
            Restart();
        } else if (m_Playback->IsPlaying()) {
            m_Playback->Pause();
        } else {
            m_Playback->Play();
            m_Report.OnStart(false, m_Playback->Speed());
        }
    }

    void Restart() {
        if (m_Navigation.HasRange()) {
            m_Navigation.RestartRange();
            return;
        }
        m_Playback->Restart();
        m_Report.OnStart(true, m_Playback->Speed());
        m_HasEnded = false;
    }

    void SetSpeed(float speed) {
        const float rounded = std::round(speed * 100) / 100;
        m_Playback->SetSpeed(std::fabs(rounded - 1) < 0.04f ? 1 : rounded);
    }

    void Advance() {
        const std::optional<ShownFrame> shown = m_Playback->Render();
        const bool hasJumped = m_Navigation.OnRendered(shown);
        if (shown) {
            // Back in a range, too, playback goes on elsewhere.
            if (shown->number && (hasJumped || (m_Shown.number && *shown->number < *m_Shown.number))) {
                m_Report.OnJump(*shown->number);
            }
            m_Report.OnFrame(shown->number, Clock::now());
            m_Recent.push_back(Clock::now());
            m_Shown = *shown;
        } else if (m_Playback->IsPlaying()) {
            m_Report.OnRepeat();
        }
        while (!m_Recent.empty() && Clock::now() - m_Recent.front() > std::chrono::seconds(1)) {
            m_Recent.pop_front();
        }
        if (m_Playback->HasEnded() && !m_HasEnded) {
            m_Report.OnEnd();
            m_HasEnded = true;
            if (m_PassesLeft != 1) {
                m_PassesLeft = std::max(m_PassesLeft - 1, 0);
                Restart();
            }
        }
    }

    void Draw() {
        Camera camera = m_Look.CurrentCamera();
        camera.yaw += m_Session.TurnAt(m_Shown.number.value_or(0));
        m_Session.RenderThread().Run([&] {
            const DrawableSize size = QueryDrawable();
            const float aspect = static_cast<float>(size.width) / static_cast<float>(size.height);
            glBindFramebuffer(GL_FRAMEBUFFER, 0);
            m_Session.Renderer().Draw(m_Playback->Player(), camera, m_Look.CurrentAppearance(), size.width,
                                      size.height);
            m_PanelRenderer->Draw(size.width, size.height);
            eglSwapBuffers(eglGetCurrentDisplay(), eglGetCurrentSurface(EGL_DRAW));
            m_Look.SetAspect(aspect);
        });
    }

    PanelFacts Facts() const {
        const ClipIndex& index = m_Session.Index();
        PanelFacts facts;
        facts.frame = m_Shown.number;
        facts.position = m_Navigation.Position();
        facts.frameCount = index.FrameCount();
        const auto shown = static_cast<std::size_t>(m_Shown.number.value_or(facts.position));
        facts.seconds = static_cast<double>(index.times[shown]) / 1e6;
        facts.speed = m_Playback->Speed();
        facts.rate = m_Recent.size();
        facts.vertices = m_Shown.info.vertexCount;
        facts.triangles = m_Shown.info.indexCount / 3;
        facts.dropped = m_Report.Dropped();
        facts.state = StateText();
        facts.notice = m_Navigation.Notice();
        facts.isPlaying = m_Playback->IsPlaying() && !m_HasEnded;
        facts.isLooping = m_PassesLeft == 0;
        facts.computesNormals = m_ComputeNormals;
        facts.canSeek = m_Playback->CanSeek();
        facts.rangeStart = m_Navigation.RangeStart();
        facts.rangeEnd = m_Navigation.RangeEnd();
        facts.appearance = m_Look.CurrentAppearance();
        facts.showsPanels = m_ShowPanels;
        facts.showsHelp = m_ShowHelp;
        return facts;
    }

    const char* StateText() const {
        return m_HasEnded                                     ? "  end"
               : !m_Playback->IsPlaying()                     ? "  paused"
               : m_PassesLeft != 1 || m_Navigation.HasRange() ? "  loop"
                                                              : "";
    }

    const PlayOptions& m_Options;
    Window& m_Window;
    PlaySession m_Session;
    std::unique_ptr<Playback> m_Playback;
    Look m_Look;
    bool m_ComputeNormals = m_Options.computeNormals;
    bool m_ShowHelp = false;
    bool m_ShowPanels = true;
    bool m_Quit = false;
    bool m_HasEnded = false;
    int m_PassesLeft;  ///< this one included; 0: without end
    ShownFrame m_Shown{};
    std::deque<Clock::time_point> m_Recent;  ///< when the frames of the last second were shown
    std::unique_ptr<PanelRenderer> m_PanelRenderer;
    Navigation m_Navigation;
    Report m_Report;
};

}  // namespace

int PlayInWindow(const PlayOptions& options) {
    const std::string title = "nimb - " + std::filesystem::path(options.clip).filename().string();
    Window window(title, options.width, options.height);
    return Viewer(options, window).Run();
}

}  // namespace Nimb::Tool
