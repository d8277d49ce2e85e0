// Watches a player through the engine's objects: a render event as often as possible, and after every one of them the
// numbers of picture and mesh are read back and compared.
#pragma once

#include "EngineStandIn/Player.h"
#include "EngineStandIn/PluginLibrary.h"
#include "EngineStandIn/RenderThread.h"
#include "Tests/Support/CounterFrame.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ClipTest {

using Clock = std::chrono::steady_clock;

/// What the tests of a process share: the loaded plug-in, the render thread.
class Engine {
public:
    Engine();
    Nimb::EngineStandIn::PluginLibrary plugin;
    Nimb::EngineStandIn::RenderThread renderThread;

    static Engine& Instance();

    /// What the render thread does in each of its frames, with as many players as there are.
    void AddFrame(const void* owner, std::function<void()> frame, std::chrono::microseconds interval);
    void RemoveFrame(const void* owner);

private:
    std::map<const void*, std::function<void()>> m_Frames;  // render thread
};

/// The log of the time during which it exists: standard error goes there instead. At most one at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string Text() const;
    int Count(const std::string& text) const;
    bool Has(const std::string& text) const { return Count(text) > 0; }

private:
    int m_Saved;
    int m_File;
};

class Watcher {
public:
    struct Seen {
        std::vector<int> shown;                  ///< numbers in the order shown; one that stays is one entry
        std::vector<Clock::time_point> times;    ///< when each was first seen
        std::vector<std::int64_t> fileTimes;     ///< what the player says of each: NimbShownFrame::time
        std::vector<std::pair<int, int>> pairs;  ///< picture and mesh, whether they agree or not, likewise
        int events = 0;
        /// Events after which picture and mesh disagreed, or one of them was no frame's, or the player said another.
        int mismatches = 0;
        std::string firstMismatch;
    };

    explicit Watcher(Nimb::EngineStandIn::Player& player,
                     std::chrono::microseconds interval = std::chrono::milliseconds(2));
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    Seen Now() const;

    /// Waits until `done`, which is asked after every event. False when it took too long.
    bool WaitFor(const std::function<bool(const Seen&)>& done,
                 std::chrono::milliseconds patience = std::chrono::seconds(20));
    bool WaitForShown(std::size_t count) {
        return WaitFor([count](const Seen& seen) { return seen.shown.size() >= count; });
    }
    /// Waits until the player reports the end of the stream, which it does once.
    bool WaitForEndOfStream(std::chrono::milliseconds patience = std::chrono::seconds(20));
    /// Lets so many events pass.
    void Pass(int events);

private:
    void OnFrame();

    Nimb::EngineStandIn::Player& m_Player;
    mutable std::mutex m_Mutex;  // guards the next two
    std::condition_variable m_Changed;
    Seen m_Seen;
};

#ifdef NIMB_SANITIZED
constexpr bool c_IsSanitized = true;
#else
constexpr bool c_IsSanitized = false;
#endif
constexpr float c_PlayableSpeed = c_IsSanitized ? 0.25F : 1.0F;  ///< at which a busy machine keeps up

/// Expects frames 0 to count - 1 in order, and nearly all of them: a picture that comes before its mesh, as it can on a
/// busy machine, is passed over, and a loop may take away a last picture that no render event came for.
void ExpectInOrder(const std::vector<int>& shown, int count);

}  // namespace ClipTest
