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
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_tasks.push_back(std::move(task));
        }
        m_changed.notify_one();
    }

    /// Blocks until there is a task, which is moved into `*pTask`, or until the queue is stopped: then false, and tasks
    /// that are still queued are abandoned.
    bool Dequeue(Task* pTask) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_stopped || !m_tasks.empty(); });
        if (m_stopped) {
            return false;
        }
        *pTask = std::move(m_tasks.front());
        m_tasks.pop_front();
        return true;
    }

    void Stop() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stopped = true;
        }
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Task> m_tasks;
    bool m_stopped = false;
};

}  // namespace Nimb::Plugin
