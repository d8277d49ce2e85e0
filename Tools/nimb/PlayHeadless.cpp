// Playback in real time with nothing on screen: events at a display's pace, every new frame drawn offscreen.
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/PlayModes.h"
#include "Tools/nimb/PlaySession.h"
#include "Tools/nimb/Progress.h"
#include "Tools/nimb/Viewer/Framebuffer.h"
#include "Tools/nimb/Viewer/Report.h"

#include <GLES3/gl3.h>

#include <algorithm>
#include <cstdio>
#include <thread>

namespace Nimb::Tool {
namespace {

constexpr std::chrono::microseconds c_Refresh{1000000 / 60};

/// By then, a clip should have ended even on a slow machine.
constexpr std::chrono::seconds c_Patience{10};

class Run {
public:
    explicit Run(const PlayOptions& options)
        : m_Options(options),
          m_Session(options, EngineStandIn::MakeSurfacelessContext),
          m_Playback(m_Session.Open(options.speed, options.sound)),
          m_Camera(m_Session.CameraFor(m_Playback->FileInfo(), options.views,
                                       static_cast<float>(options.width) / static_cast<float>(options.height))),
          m_Report(m_Session.Index()) {
        m_Session.RenderThread().Run(
            [&] { m_Framebuffer = std::make_unique<Framebuffer>(options.width, options.height); });
    }
    ~Run() {
        m_Session.RenderThread().Run([this] { m_Framebuffer.reset(); });
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    int Play() {
        Progress progress("Playing", static_cast<std::size_t>(m_Session.Index().FrameCount()) *
                                         static_cast<std::size_t>(m_Options.passes));
        bool hasEnded = true;
        for (int pass = 0; hasEnded && (m_Options.passes == 0 || pass < m_Options.passes); ++pass) {
            m_Report.OnStart(true, m_Options.speed);
            if (pass == 0) {
                m_Playback->Play();
            } else {
                m_Playback->Restart();
            }
            hasEnded = PlayToEnd(progress);
        }
        std::fputs(m_Report.Text().c_str(), stdout);
        return Status(hasEnded);
    }

private:
    /// False when it was interrupted, or did not come to its end.
    bool PlayToEnd(Progress& progress) {
        using Clock = Report::Clock;
        const auto length = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(m_Session.Index().seconds / static_cast<double>(m_Options.speed)));
        Clock::time_point next = Clock::now(), lastFrame = next;
        const Clock::time_point due = next + length;
        while (!m_Playback->HasEnded()) {
            const std::optional<ShownFrame> shown = m_Playback->Render();
            const Clock::time_point now = Clock::now();
            if (shown) {
                lastFrame = now;
                m_Report.OnFrame(shown->number, now);
                Draw(shown->number.value_or(0));
            } else {
                m_Report.OnRepeat();
            }
            m_HasStalled = now > std::max(due, lastFrame) + c_Patience;
            if (m_HasStalled || InterruptGuard::IsInterrupted()) {
                return false;
            }
            progress.Report(static_cast<std::size_t>(m_Report.Shown()));
            next = std::max(next + c_Refresh, now);
            std::this_thread::sleep_until(next);
        }
        m_Report.OnEnd();
        return true;
    }

    void Draw(int number) {
        Camera camera = m_Camera;
        camera.yaw += m_Session.TurnAt(number);
        m_Session.RenderThread().Run([&] {
            m_Framebuffer->Bind();
            m_Session.Renderer().Draw(m_Playback->Player(), camera, m_Options.appearance, m_Options.width,
                                      m_Options.height);
            glFinish();  // drawing time counts, too
        });
    }

    int Status(bool hasEnded) const {
        if (m_HasStalled) {
            std::fprintf(stderr, "nimb: %s: playback stalled: no frame and no end for %d s\n", m_Options.clip.c_str(),
                         static_cast<int>(c_Patience.count()));
        }
        if (m_Playback->HasOversizedFrames()) {
            std::fprintf(stderr, "nimb: %s: meshes are larger than the clip says, and are shown in part\n",
                         m_Options.clip.c_str());
        }
        if (!m_Report.HasKeptUp()) {
            std::fprintf(stderr, "nimb: %s: playback could not keep up: of %d frames %d were dropped, %d came late\n",
                         m_Options.clip.c_str(), m_Report.Shown() + m_Report.Dropped(), m_Report.Dropped(),
                         m_Report.Late());
        }
        const bool isWhole = hasEnded || InterruptGuard::IsInterrupted();
        const bool isSound = !m_Playback->HasOversizedFrames() && !m_Session.Index().firstWithoutMesh;
        const bool isFastEnough = !m_Options.strict || m_Report.HasKeptUp();
        return isWhole && isSound && isFastEnough && m_Report.Shown() > 0 ? c_ExitOk : c_ExitProblem;
    }

    const PlayOptions& m_Options;
    PlaySession m_Session;
    std::unique_ptr<Playback> m_Playback;
    Camera m_Camera;
    Report m_Report;
    std::unique_ptr<Framebuffer> m_Framebuffer;
    bool m_HasStalled = false;
};

}  // namespace

int PlayHeadless(const PlayOptions& options) {
    const InterruptGuard interrupt;
    return Run(options).Play();
}

}  // namespace Nimb::Tool
