#include "NimbUnityPluginML/Worker.h"

#include <pthread.h>

#include <algorithm>

namespace Nimb::Plugin {
namespace {

/// How long a wait lasts before it looks again.
constexpr std::chrono::milliseconds c_Slice{5};

}  // namespace

void Worker::Start(const char* name, std::function<void()> function) {
    if (Exists()) {
        return;
    }
    m_Thread = std::thread(std::move(function));
    pthread_setname_np(m_Thread.native_handle(), name);
}

void Worker::WaitUntilAsleep(const std::function<void()>& unblock) {
    if (!Exists()) {
        return;
    }
    std::unique_lock<std::mutex> lock(m_SleepMutex);
    while (!m_SleepChanged.wait_for(lock, c_Slice, [this] { return m_Sleeping; })) {
        lock.unlock();
        unblock();
        lock.lock();
    }
}

void Worker::Join() {
    if (!Exists()) {
        return;
    }
    m_ExitRequest = true;
    Wake();
    m_Thread.join();
}

void Worker::SleepWhileRequested(const std::function<void()>& onSleep, const std::function<void()>& onAwake) {
    if (!m_SleepRequest) {
        return;
    }
    onSleep();
    for (bool isNew = true;; isNew = false) {
        {
            // Tested and cleared under one lock: whoever asks for sleep and then sees `m_Sleeping` can rely on it.
            const std::lock_guard<std::mutex> lock(m_SleepMutex);
            m_Sleeping = m_SleepRequest;
            if (!m_Sleeping) {
                break;
            }
        }
        if (isNew) {
            m_SleepChanged.notify_all();
            m_OnAsleep();
        }
        std::unique_lock<std::mutex> lock(m_WakeMutex);
        m_WakeChanged.wait_for(lock, c_MaxNap, [this] { return !m_SleepRequest; });
    }
    onAwake();
}

bool Worker::Pause(std::chrono::nanoseconds time) {
    const auto interrupted = [this] { return m_SleepRequest || m_ExitRequest; };
    const auto end =
        std::chrono::steady_clock::now() + std::min<std::chrono::nanoseconds>(time, std::chrono::hours(24));
    std::unique_lock<std::mutex> lock(m_WakeMutex);
    for (auto now = std::chrono::steady_clock::now(); now < end; now = std::chrono::steady_clock::now()) {
        // RequestSleep does not notify, so the wait looks up now and then.
        if (m_WakeChanged.wait_until(lock, std::min(end, now + c_Slice), interrupted)) {
            return false;
        }
    }
    return !interrupted();
}

bool Worker::IsAsleep() {
    const std::lock_guard<std::mutex> lock(m_SleepMutex);
    return m_Sleeping && m_SleepRequest;
}

}  // namespace Nimb::Plugin
