#include "Tests/NimbUnityPluginML/RealClips/Watcher.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

// Of the sanitizers' runtime, where there is one: their reports are not for the log.
extern "C" __attribute__((weak)) void __sanitizer_set_report_fd(void* fd);

namespace ClipTest {
namespace {

void SendReportsTo(std::intptr_t fd) {
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(fd));
    }
}

}  // namespace

Engine::Engine() : plugin(NIMB_PLUGIN_FILE) {
    Nimb::EngineStandIn::StartPlugin(plugin, renderThread);
}

Engine& Engine::Instance() {
    static Engine engine;
    return engine;
}

void Engine::AddFrame(const void* owner, std::function<void()> frame, std::chrono::microseconds interval) {
    renderThread.Run([&] { m_Frames[owner] = std::move(frame); });
    const auto renderAll = [this] {
        for (const auto& entry : m_Frames) {
            entry.second();
        }
    };
    renderThread.SetFrame(renderAll, interval);
}

void Engine::RemoveFrame(const void* owner) {
    if (renderThread.Run([&] { return m_Frames.erase(owner) == 1 && m_Frames.empty(); })) {
        renderThread.SetFrame(nullptr);
    }
}

LogCapture::LogCapture() {
    char name[] = "/tmp/nimb-log-XXXXXX";
    m_File = mkstemp(name);
    m_Saved = dup(STDERR_FILENO);
    if (m_File < 0 || m_Saved < 0 || dup2(m_File, STDERR_FILENO) < 0) {
        throw std::system_error(errno, std::generic_category(), "the log cannot be captured");
    }
    unlink(name);
    SendReportsTo(m_Saved);
}

LogCapture::~LogCapture() {
    dup2(m_Saved, STDERR_FILENO);
    SendReportsTo(STDERR_FILENO);
    close(m_Saved);
    close(m_File);
}

std::string LogCapture::Text() const {
    std::string text;
    char part[4096];
    for (ssize_t count = 0; (count = pread(m_File, part, sizeof(part), static_cast<off_t>(text.size()))) > 0;) {
        text.append(part, static_cast<std::size_t>(count));
    }
    return text;
}

int LogCapture::Count(const std::string& text) const {
    const std::string log = Text();
    int count = 0;
    for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
        ++count;
    }
    return count;
}

Watcher::Watcher(Nimb::EngineStandIn::Player& player, std::chrono::microseconds interval) : m_Player(player) {
    Engine::Instance().AddFrame(
        this, [this] { OnFrame(); }, interval);
}

Watcher::~Watcher() {
    Engine::Instance().RemoveFrame(this);
}

void Watcher::OnFrame() {
    m_Player.OnRender();
    const int picture = ReadPictureNumber(m_Player);
    const int mesh = ReadMeshNumber(m_Player);
    NimbShownFrame record{};
    Engine::Instance().plugin->GetShownFrame(m_Player.Id(), &record);
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        ++m_Seen.events;
        const std::pair<int, int> pair(picture, mesh);
        if (picture != c_Nothing && (m_Seen.pairs.empty() || m_Seen.pairs.back() != pair)) {
            m_Seen.pairs.push_back(pair);
        }
        // Until the plug-in has new objects, its record is of those before.
        const bool isOtherFrame = m_Player.AreObjectsGiven() && record.frame >= 0 && record.frame != picture;
        if (picture != mesh || picture == c_Garbled || isOtherFrame) {
            if (m_Seen.mismatches++ == 0) {
                m_Seen.firstMismatch = "picture " + std::to_string(picture) + ", mesh " + std::to_string(mesh) +
                                       ", said to be " + std::to_string(record.frame) + ", after " +
                                       std::to_string(m_Seen.shown.size()) + " frames";
            }
        } else if (picture != c_Nothing && (m_Seen.shown.empty() || m_Seen.shown.back() != picture)) {
            m_Seen.shown.push_back(picture);
            m_Seen.times.push_back(Clock::now());
            m_Seen.fileTimes.push_back(record.frame >= 0 ? record.time : -1);
        }
    }
    m_Changed.notify_all();
}

Watcher::Seen Watcher::Now() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Seen;
}

bool Watcher::WaitFor(const std::function<bool(const Seen&)>& done, std::chrono::milliseconds patience) {
    std::unique_lock<std::mutex> lock(m_Mutex);
    return m_Changed.wait_for(lock, patience, [&] { return done(m_Seen); });
}

bool Watcher::WaitForEndOfStream(std::chrono::milliseconds patience) {
    return WaitFor([this](const Seen&) { return m_Player.FrameInfo().endOfStream != 0; }, patience);
}

void Watcher::Pass(int events) {
    const int target = Now().events + events;
    WaitFor([target](const Seen& seen) { return seen.events >= target; });
}

void ExpectInOrder(const std::vector<int>& shown, int count) {
    EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end(), std::less_equal<int>())) << testing::PrintToString(shown);
    EXPECT_GE(static_cast<int>(shown.size()), count - count / 5 - 3) << testing::PrintToString(shown);
    EXPECT_TRUE(shown.empty() || shown.back() < count) << testing::PrintToString(shown);
}

}  // namespace ClipTest
