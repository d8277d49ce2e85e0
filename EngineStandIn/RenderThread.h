// The engine's render thread: it owns the GL context, and everything that touches GL runs on it.
#pragma once

#include "EngineStandIn/GlContext.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

namespace Nimb::EngineStandIn {

/// Any thread may call Run, Post and SetFrame, except that Run may not be called on the render thread.
class RenderThread {
public:
    /// Waits for the context. Throws what `makeContext` throws.
    explicit RenderThread(GlContextFactory makeContext = MakeSurfacelessContext);
    ~RenderThread();
    RenderThread(const RenderThread&) = delete;
    RenderThread& operator=(const RenderThread&) = delete;

    /// Runs the function on the render thread and returns, or throws, what it does.
    template <class Function>
    auto Run(Function&& function) {
        // Shared, because the render thread still holds it when the result is there.
        const auto task =
            std::make_shared<std::packaged_task<std::invoke_result_t<Function>()>>(std::forward<Function>(function));
        auto result = task->get_future();
        Post([task] { (*task)(); });
        return result.get();
    }

    /// Runs the function on the render thread, after those that came before, and does not wait for it.
    void Post(std::function<void()> function);

    /// From now on renders frames on its own: calls `frame` every `interval`, between the functions that are run. An
    /// empty function stops that; SetFrame returns when it has stopped.
    void SetFrame(std::function<void()> frame, std::chrono::microseconds interval = {});

private:
    void Loop(const GlContextFactory& makeContext, std::promise<void>& started);

    std::mutex m_Mutex;  // guards the next three
    std::condition_variable m_Changed;
    std::deque<std::function<void()>> m_Tasks;
    bool m_Exit = false;

    // Render thread.
    std::function<void()> m_Frame;
    std::chrono::microseconds m_Interval{};
    std::chrono::steady_clock::time_point m_NextFrame;

    std::thread m_Thread;
};

}  // namespace Nimb::EngineStandIn
