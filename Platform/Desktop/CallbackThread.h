// Calls a client back on a thread of its own, so that the callback neither waits for a picture to be decoded nor runs
// inside a call of the client's or under anyone's lock.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace Nimb::Desktop {

class CallbackThread {
public:
    CallbackThread();
    ~CallbackThread();
    CallbackThread(const CallbackThread&) = delete;
    CallbackThread& operator=(const CallbackThread&) = delete;

    void Post(std::function<void()> callback);
    /// Drops calls that were posted but have not begun.
    void Cancel();
    /// No callback begins after this. Waits for a running one, unless it is called from there.
    void Stop();

private:
    // What the thread needs, shared with it: a callback may destroy the codec, and this object with it.
    struct State {
        std::mutex mutex;  // guards all below
        std::condition_variable changed;
        std::deque<std::function<void()>> callbacks;
        bool stopped = false;
    };

    static void Run(const std::shared_ptr<State>& state);

    const std::shared_ptr<State> m_State;
    std::mutex m_JoinMutex;  // guards m_Thread
    std::thread m_Thread;
};

}  // namespace Nimb::Desktop
