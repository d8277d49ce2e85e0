// How a worker thread is put to sleep, woken and ended, the same for the playback, video and audio threads.
//
// Asking is one atomic store and never waits. The worker tests the request at the top of every iteration; while it
// sleeps it says so in the sleep record. A waker stores and notifies without taking the sleeper's mutex, so a
// notification can fall between the sleeper's test and its wait: each wait is bounded, and such a wake-up comes late by
// c_MaxNap at most.
#pragma once

#include "NimbUnityPluginML/Mutex.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>

namespace Nimb::Plugin {

class Worker {
public:
    static constexpr std::chrono::milliseconds c_MaxNap{50};

    /// For workers: how long to rest when there is nothing to do or to wait for, or when the platform refuses, so that
    /// refusals do not use up processor time.
    static constexpr std::chrono::milliseconds c_Rest{10};

    /// `onAsleep`: called on the worker's thread each time that it has fallen asleep.
    explicit Worker(std::function<void()> onAsleep = [] {}) : m_onAsleep(std::move(onAsleep)) {}

    // ---- The script thread's side (RequestSleep and Wake: any thread) ----

    bool Exists() const noexcept { return m_thread.joinable(); }

    /// Starts the thread, asleep, unless it exists. `name`: at most 15 characters.
    void Start(const char* name, std::function<void()> function);

    void RequestSleep() noexcept { m_sleepRequest = true; }

    void Wake() noexcept {
        m_sleepRequest = false;
        m_wakeChanged.NotifyOne();
    }

    /// Waits until the worker sleeps; at once if there is no thread. Every few milliseconds it calls `unblock`, which
    /// ends whatever call the worker may be waiting in. A sleep request must be pending. Once this returns, the worker
    /// sleeps until Wake.
    void WaitUntilAsleep(const std::function<void()>& unblock);

    /// Ends and joins the thread, if there is one. It must not be waiting in a platform call.
    void Join();

    // ---- The worker's own side ----

    /// The thread's whole life: sleeps while asked to, then calls `iteration`, until an exit is requested. `onSleep` is
    /// called each time that the worker is about to sleep. Logs the start, each sleep and the end for the player `id`;
    /// `name` begins with a capital.
    void Run(
        int id, const char* name, const std::function<void()>& iteration, const std::function<void()>& onSleep = [] {});

    bool ExitRequested() const noexcept { return m_exitRequest; }

    /// Waits for `time`, or until a sleep or exit is requested or `isOver`, which is asked every few milliseconds.
    /// False if it did not wait to the end.
    bool Pause(
        std::chrono::nanoseconds time, const std::function<bool()>& isOver = [] { return false; });

    /// Whether the worker sleeps now, and would go on sleeping. Any thread.
    bool IsAsleep();

private:
    void Sleep();

    const std::function<void()> m_onAsleep;
    std::thread m_thread;
    std::atomic<bool> m_exitRequest{false};
    std::atomic<bool> m_sleepRequest{true};

    Mutex m_sleepMutex;  // the request is tested and m_sleeping cleared under it
    Condition m_sleepChanged;
    bool m_sleeping NIMB_GUARDED_BY(m_sleepMutex) = false;

    Mutex m_wakeMutex;  // guards nothing but the wait
    Condition m_wakeChanged;
};

}  // namespace Nimb::Plugin
