// Locks of which clang checks that they are held: it refuses code that touches what is NIMB_GUARDED_BY a mutex, or
// calls what NIMB_REQUIRES one, without it. Other compilers see plain locks, as do clang's builds without
// -Wthread-safety.
//
// Lambdas are functions of their own to clang: one that runs under a lock says so with NIMB_REQUIRES after its
// parameters.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#ifdef __clang__
#define NIMB_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define NIMB_THREAD_SAFETY(attribute)
#endif

#define NIMB_ACQUIRE(...) NIMB_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define NIMB_RELEASE(...) NIMB_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define NIMB_TRY_ACQUIRE(...) NIMB_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))

/// A member that is read and written under this mutex only.
#define NIMB_GUARDED_BY(mutex) NIMB_THREAD_SAFETY(guarded_by(mutex))
/// A function whose caller holds this mutex.
#define NIMB_REQUIRES(mutex) NIMB_THREAD_SAFETY(requires_capability(mutex))
/// A function that takes this mutex, so that its caller must not hold it.
#define NIMB_EXCLUDES(mutex) NIMB_THREAD_SAFETY(locks_excluded(mutex))

namespace Nimb::Plugin {

class NIMB_THREAD_SAFETY(capability("mutex")) Mutex {
public:
    void lock() NIMB_ACQUIRE() { m_mutex.lock(); }
    void unlock() NIMB_RELEASE() { m_mutex.unlock(); }
    bool try_lock() NIMB_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

private:
    friend class MutexLock;
    std::mutex m_mutex;
};

/// Holds a mutex to the end of a scope, but for stretches between Unlock and Lock.
class NIMB_THREAD_SAFETY(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) NIMB_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~MutexLock() NIMB_RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Unlock() NIMB_RELEASE() { m_lock.unlock(); }
    void Lock() NIMB_ACQUIRE() { m_lock.lock(); }

private:
    friend class Condition;
    std::unique_lock<std::mutex> m_lock;
};

/// A condition variable. Its waits let go of the lock meanwhile and hold it again when they return, and whenever they
/// call `isOver`.
class Condition {
public:
    void NotifyOne() noexcept { m_condition.notify_one(); }
    void NotifyAll() noexcept { m_condition.notify_all(); }

    template <class IsOver>
    void Wait(MutexLock& lock, IsOver isOver) {
        m_condition.wait(lock.m_lock, std::move(isOver));
    }

    /// Returns what `isOver` says in the end.
    template <class IsOver>
    bool WaitFor(MutexLock& lock, std::chrono::nanoseconds time, IsOver isOver) {
        return m_condition.wait_for(lock.m_lock, time, std::move(isOver));
    }

    template <class IsOver>
    bool WaitUntil(MutexLock& lock, std::chrono::steady_clock::time_point end, IsOver isOver) {
        return m_condition.wait_until(lock.m_lock, end, std::move(isOver));
    }

private:
    std::condition_variable m_condition;
};

}  // namespace Nimb::Plugin
