// The mesh thread's queue of tasks.
//
// Any thread may Enqueue or Stop; one thread takes tasks with Dequeue. Tasks run outside the queue's lock, and nobody
// needs to hold a lock to call these functions. A stopped queue stays stopped.
#pragma once

#include "NimbUnityPluginML/Mutex.h"

#include <deque>
#include <functional>
#include <utility>

namespace Nimb::Plugin {

class ConcurrentQueue {
public:
    using Task = std::function<void()>;

    void Enqueue(Task task) {
        {
            const MutexLock lock(m_mutex);
            m_tasks.push_back(std::move(task));
        }
        m_changed.NotifyOne();
    }

    /// Blocks until there is a task, which is moved into `*pTask`, or until the queue is stopped: then false, and tasks
    /// that are still queued are abandoned.
    bool Dequeue(Task* pTask) {
        MutexLock lock(m_mutex);
        m_changed.Wait(lock, [this]() NIMB_REQUIRES(m_mutex) { return m_stopped || !m_tasks.empty(); });
        if (m_stopped) {
            return false;
        }
        *pTask = std::move(m_tasks.front());
        m_tasks.pop_front();
        return true;
    }

    void Stop() {
        {
            const MutexLock lock(m_mutex);
            m_stopped = true;
        }
        m_changed.NotifyAll();
    }

private:
    Mutex m_mutex;
    Condition m_changed;
    std::deque<Task> m_tasks NIMB_GUARDED_BY(m_mutex);
    bool m_stopped NIMB_GUARDED_BY(m_mutex) = false;
};

}  // namespace Nimb::Plugin
