#include "EngineStandIn/RenderThread.h"

#include <pthread.h>

namespace Nimb::EngineStandIn {

RenderThread::RenderThread(GlContextFactory makeContext) {
    std::promise<void> started;
    std::future<void> result = started.get_future();
    m_Thread = std::thread([this, &makeContext, &started] { Loop(makeContext, started); });
    pthread_setname_np(m_Thread.native_handle(), "EngineRender");
    try {
        result.get();
    } catch (...) {
        m_Thread.join();
        throw;
    }
}

RenderThread::~RenderThread() {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Exit = true;
    }
    m_Changed.notify_one();
    m_Thread.join();
}

void RenderThread::Post(std::function<void()> function) {
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Tasks.push_back(std::move(function));
    }
    m_Changed.notify_one();
}

void RenderThread::SetFrame(std::function<void()> frame, std::chrono::microseconds interval) {
    Run([&] {
        m_Frame = std::move(frame);
        m_Interval = interval;
        m_NextFrame = std::chrono::steady_clock::now();
    });
}

void RenderThread::Loop(const GlContextFactory& makeContext, std::promise<void>& started) {
    std::unique_ptr<GlContext> context;
    try {
        context = makeContext();
    } catch (...) {
        started.set_exception(std::current_exception());
        return;
    }
    started.set_value();

    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock<std::mutex> lock(m_Mutex);
            const auto hasWork = [this] { return m_Exit || !m_Tasks.empty(); };
            if (m_Frame) {
                m_Changed.wait_until(lock, m_NextFrame, hasWork);
            } else {
                m_Changed.wait(lock, hasWork);
            }
            if (!m_Tasks.empty()) {
                task = std::move(m_Tasks.front());
                m_Tasks.pop_front();
            } else if (m_Exit) {
                return;
            }
        }
        if (task) {
            task();
        } else if (m_Frame) {
            m_NextFrame += m_Interval;
            m_Frame();
            context->SwapBuffers();
        }
    }
}

}  // namespace Nimb::EngineStandIn
