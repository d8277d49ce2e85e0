#include "NimbUnityPluginML/Worker.h"

#include "NimbUnityPluginML/Log.h"

#include <pthread.h>

#include <algorithm>
#include <cctype>

namespace Nimb::Plugin {
namespace {

/// How long a wait lasts before it looks again.
constexpr std::chrono::milliseconds c_Slice{5};

}  // namespace

void Worker::Start(const char* name, std::function<void()> function) {
    if (Exists()) {
        return;
    }
    m_thread = std::thread(std::move(function));
    pthread_setname_np(m_thread.native_handle(), name);
}

void Worker::WaitUntilAsleep(const std::function<void()>& unblock) {
    if (!Exists()) {
        return;
    }
    MutexLock lock(m_sleepMutex);
    while (!m_sleepChanged.WaitFor(lock, c_Slice, [this]() NIMB_REQUIRES(m_sleepMutex) { return m_sleeping; })) {
        lock.Unlock();
        unblock();
        lock.Lock();
    }
}

void Worker::Join() {
    if (!Exists()) {
        return;
    }
    m_exitRequest = true;
    Wake();
    m_thread.join();
}

void Worker::Run(int id, const char* name, const std::function<void()>& iteration,
                 const std::function<void()>& onSleep) {
    NIMB_LOG_INFO("[%i] %s thread starting", id, name);
    while (!m_exitRequest) {
        if (m_sleepRequest) {
            NIMB_LOG_INFO("[%i] %s thread sleeping", id, name);
            onSleep();
            Sleep();
            NIMB_LOG_INFO("[%i] %s thread is awake", id, name);
        }
        if (!m_exitRequest) {
            iteration();
        }
    }
    NIMB_LOG_INFO("[%i] %c%s thread exiting", id, std::tolower(name[0]), name + 1);
}

/// Until the request is withdrawn, and not at all if it is already.
void Worker::Sleep() {
    for (bool isNew = true;; isNew = false) {
        {
            // Tested and cleared under one lock: whoever asks for sleep and then sees `m_sleeping` can rely on it.
            const MutexLock lock(m_sleepMutex);
            m_sleeping = m_sleepRequest;
            if (!m_sleeping) {
                return;
            }
        }
        if (isNew) {
            m_sleepChanged.NotifyAll();
            m_onAsleep();
        }
        MutexLock lock(m_wakeMutex);
        m_wakeChanged.WaitFor(lock, c_MaxNap, [this] { return !m_sleepRequest; });
    }
}

bool Worker::Pause(std::chrono::nanoseconds time, const std::function<bool()>& isOver) {
    const auto interrupted = [&] { return m_sleepRequest || m_exitRequest || isOver(); };
    const auto end =
        std::chrono::steady_clock::now() + std::min<std::chrono::nanoseconds>(time, std::chrono::hours(24));
    MutexLock lock(m_wakeMutex);
    for (auto now = std::chrono::steady_clock::now(); now < end; now = std::chrono::steady_clock::now()) {
        // RequestSleep does not notify, so the wait looks up now and then.
        if (m_wakeChanged.WaitUntil(lock, std::min(end, now + c_Slice), interrupted)) {
            return false;
        }
    }
    return !interrupted();
}

bool Worker::IsAsleep() {
    const MutexLock lock(m_sleepMutex);
    return m_sleeping && m_sleepRequest;
}

}  // namespace Nimb::Plugin
