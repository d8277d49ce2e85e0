// The queue of callbacks and the thread that makes them.
#include "Platform/Desktop/CallbackThread.h"

#include "Platform/Desktop/ThreadName.h"

#include <utility>

namespace Nimb::Desktop {

CallbackThread::CallbackThread() : m_State(std::make_shared<State>()), m_Thread([state = m_State] { Run(state); }) {}

CallbackThread::~CallbackThread() {
    Stop();
}

void CallbackThread::Post(std::function<void()> callback) {
    const std::lock_guard<std::mutex> lock(m_State->mutex);
    if (!m_State->stopped) {
        m_State->callbacks.push_back(std::move(callback));
        m_State->changed.notify_one();
    }
}

void CallbackThread::Cancel() {
    const std::lock_guard<std::mutex> lock(m_State->mutex);
    m_State->callbacks.clear();
}

void CallbackThread::Stop() {
    {
        const std::lock_guard<std::mutex> lock(m_State->mutex);
        m_State->stopped = true;
        m_State->callbacks.clear();
        m_State->changed.notify_one();
    }
    const std::lock_guard<std::mutex> lock(m_JoinMutex);
    if (!m_Thread.joinable()) {
        return;
    }
    if (m_Thread.get_id() == std::this_thread::get_id()) {
        m_Thread.detach();
    } else {
        m_Thread.join();
    }
}

void CallbackThread::Run(const std::shared_ptr<State>& state) {
    NameThisThread("nimb-codec-cb");
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        state->changed.wait(lock, [&] { return state->stopped || !state->callbacks.empty(); });
        if (state->stopped) {
            return;
        }
        const std::function<void()> callback = std::move(state->callbacks.front());
        state->callbacks.pop_front();
        lock.unlock();
        callback();
        lock.lock();
    }
}

}  // namespace Nimb::Desktop
