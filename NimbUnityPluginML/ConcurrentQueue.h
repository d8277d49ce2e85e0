// The mesh thread's queue of tasks.
//
// Any thread may Enqueue or Stop; one thread takes tasks with Dequeue. Tasks run outside the queue's lock, and nobody
// needs to hold a lock to call these functions. A stopped queue stays stopped.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>

namespace Nimb::Plugin {

class ConcurrentQueue {
public:
    using Task = std::function<void()>;

    void Enqueue(Task task) {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Tasks.push_back(std::move(task));
        }
        m_Changed.notify_one();
    }

    /// Blocks until there is a task, which is moved into `*pTask`, or until the queue is stopped: then false, and tasks
    /// that are still queued are abandoned.
    bool Dequeue(Task* pTask) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        m_Changed.wait(lock, [this] { return m_Stopped || !m_Tasks.empty(); });
        if (m_Stopped) {
            return false;
        }
        *pTask = std::move(m_Tasks.front());
        m_Tasks.pop_front();
        return true;
    }

    void Stop() {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Stopped = true;
        }
        m_Changed.notify_all();
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::deque<Task> m_Tasks;
    bool m_Stopped = false;
};

}  // namespace Nimb::Plugin
