// Numbered tasks on several threads, whose results one thread takes in order.
#pragma once

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace Nimb::Authoring {

/// The number of threads when the caller does not care.
inline std::size_t DefaultThreads() {
    const unsigned cores = std::thread::hardware_concurrency();
    return cores == 0 ? 1 : cores;
}

/// What a task may throw once it is told to stop.
struct Stopped {};

/// Memory stays bounded: a task does not begin while its number is `ahead` or more above that of the next result.
template <class Result>
class OrderedTasks {
public:
    /// Called on any of the threads. A long task looks at `stop` from time to time; once it is set, the result no
    /// longer matters.
    using Task = std::function<Result(std::size_t number, const std::atomic<bool>& stop)>;

    /// Runs tasks 0 to count - 1. `name`: of the threads, at most 15 characters. `threads` and `ahead` at least 1.
    OrderedTasks(const char* name, std::size_t count, std::size_t threads, std::size_t ahead, Task task)
        : m_Task(std::move(task)), m_Count(count), m_Ahead(ahead) {
        try {
            for (std::size_t i = 0; i < std::min(threads, count); ++i) {
                m_Threads.emplace_back([this] { Work(); });
                pthread_setname_np(m_Threads.back().native_handle(), name);
            }
        } catch (...) {
            Stop();
            throw;
        }
    }

    /// Waits for the tasks under way, which are told to stop.
    ~OrderedTasks() { Stop(); }
    OrderedTasks(const OrderedTasks&) = delete;
    OrderedTasks& operator=(const OrderedTasks&) = delete;

    /// The result of the next task, in order; at most `count` times. Rethrows what the task threw. `whileWaiting` is
    /// called about ten times a second and may throw.
    template <class WhileWaiting>
    Result Next(WhileWaiting&& whileWaiting) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        while (m_Done.count(m_NextTaken) == 0) {
            if (m_Finished.wait_for(lock, std::chrono::milliseconds(100)) == std::cv_status::timeout) {
                lock.unlock();
                whileWaiting();
                lock.lock();
            }
        }
        Outcome outcome = std::move(m_Done.extract(m_NextTaken).mapped());
        ++m_NextTaken;
        lock.unlock();
        m_Room.notify_all();
        if (outcome.exception) {
            std::rethrow_exception(outcome.exception);
        }
        return std::move(*outcome.result);
    }

private:
    struct Outcome {
        std::optional<Result> result;
        std::exception_ptr exception;
    };

    void Work() {
        std::unique_lock<std::mutex> lock(m_Mutex);
        for (;;) {
            m_Room.wait(lock,
                        [this] { return m_Stop || m_NextStarted >= m_Count || m_NextStarted < m_NextTaken + m_Ahead; });
            if (m_Stop || m_NextStarted >= m_Count) {
                return;
            }
            const std::size_t number = m_NextStarted++;
            lock.unlock();
            Outcome outcome;
            try {
                outcome.result = m_Task(number, m_Stop);
            } catch (...) {
                outcome.exception = std::current_exception();
            }
            lock.lock();
            m_Done.emplace(number, std::move(outcome));
            m_Finished.notify_one();
        }
    }

    void Stop() {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Stop = true;
        }
        m_Room.notify_all();
        for (std::thread& thread : m_Threads) {
            thread.join();
        }
        m_Threads.clear();
    }

    const Task m_Task;
    const std::size_t m_Count;
    const std::size_t m_Ahead;
    std::atomic<bool> m_Stop{false};  // set under the mutex, read by tasks without

    std::mutex m_Mutex;  // guards what follows
    std::condition_variable m_Room;
    std::condition_variable m_Finished;
    std::size_t m_NextStarted = 0;
    std::size_t m_NextTaken = 0;
    std::map<std::size_t, Outcome> m_Done;

    std::vector<std::thread> m_Threads;
};

}  // namespace Nimb::Authoring
