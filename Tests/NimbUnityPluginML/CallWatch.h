// Calls that have to come back.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

/// Times calls, and ends the process, after saying which one and what went before it, when one hangs: nothing else can
/// be done about it. Calls come from one thread.
class CallWatch {
public:
    using Clock = std::chrono::steady_clock;

    explicit CallWatch(std::chrono::seconds limit) : m_Limit(limit) {}
    ~CallWatch() {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Done = true;
        }
        m_Changed.notify_all();
        m_Thread.join();
    }
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;

    template <class Call>
    auto operator()(const std::string& name, Call&& call, const std::string& before = "") {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Name = name;
            m_Before = before;
            m_Start = Clock::now();
        }
        struct End {
            CallWatch& watch;
            ~End() { watch.EndCall(); }
        } const end{*this};
        return call();
    }

    double Longest() const { return std::chrono::duration<double>(m_Longest).count(); }
    const std::string& LongestName() const { return m_LongestName; }

private:
    void EndCall() {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        const Clock::duration time = Clock::now() - m_Start;
        if (time > m_Longest) {
            m_Longest = time;
            m_LongestName = m_Name;
        }
        m_Name.clear();
    }

    void Run() {
        std::unique_lock<std::mutex> lock(m_Mutex);
        while (!m_Changed.wait_for(lock, std::chrono::milliseconds(50), [this] { return m_Done; })) {
            if (!m_Name.empty() && Clock::now() - m_Start > m_Limit) {
                std::fprintf(stderr, "%s hangs after %s\n", m_Name.c_str(), m_Before.c_str());
                std::abort();
            }
        }
    }

    const std::chrono::seconds m_Limit;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_Done = false;
    std::string m_Name;  // empty: no call is under way
    std::string m_Before;
    Clock::time_point m_Start;
    Clock::duration m_Longest{};
    std::string m_LongestName;
    std::thread m_Thread{[this] { Run(); }};
};
