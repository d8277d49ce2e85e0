// Sound without a device: consumed at the pace of the monotonic clock, and discarded.
#include "Platform/Desktop/SoundDevice.h"
#include "Platform/Desktop/ThreadName.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Nimb::Desktop {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds c_Period{10};
// Catches up on no more than a buffer, as a device would.
constexpr std::chrono::milliseconds c_MaxLag{50};

class ClockDevice final : public SoundDevice {
public:
    ClockDevice(const Format& format, Render render)
        : m_SampleRate(format.sampleRate),
          m_Render(std::move(render)),
          m_FrameSize(static_cast<size_t>(format.channelCount) * (format.isFloat ? sizeof(float) : sizeof(int16_t))),
          m_Thread([this] { Run(); }) {}

    ~ClockDevice() override {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Closing = true;
            m_Changed.notify_one();
        }
        m_Thread.join();
    }

    void SetPaused(bool paused) override {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Paused = paused;
        m_Changed.notify_one();
    }

private:
    void Run() {
        NameThisThread("nimb-sound");
        std::unique_lock<std::mutex> lock(m_Mutex);
        while (!m_Closing) {
            m_Changed.wait(lock, [this] { return m_Closing || !m_Paused; });
            PlayUntilPaused(lock);
        }
    }

    void PlayUntilPaused(std::unique_lock<std::mutex>& lock) {
        const auto isOver = [this] { return m_Closing || m_Paused; };
        Clock::time_point start = Clock::now();
        int64_t playedFrames = 0;
        for (Clock::time_point next = start + c_Period; !m_Changed.wait_until(lock, next, isOver); next += c_Period) {
            if (Clock::now() - next > c_MaxLag) {
                next = start = Clock::now();
                playedFrames = 0;
                continue;
            }
            const int64_t dueFrames = std::chrono::nanoseconds(next - start).count() * m_SampleRate / 1000000000;
            const auto frameCount = static_cast<size_t>(dueFrames - playedFrames);
            playedFrames = dueFrames;
            lock.unlock();
            m_Discarded.resize(std::max(m_Discarded.size(), frameCount * m_FrameSize));
            m_Render(m_Discarded.data(), frameCount);
            lock.lock();
        }
    }

    const int m_SampleRate;
    const Render m_Render;
    const size_t m_FrameSize;
    std::vector<uint8_t> m_Discarded;  // the thread's

    std::mutex m_Mutex;  // guards the two below
    std::condition_variable m_Changed;
    bool m_Paused = true;
    bool m_Closing = false;

    std::thread m_Thread;  // last: it uses all of the above
};

}  // namespace

std::unique_ptr<SoundDevice> OpenClockDevice(const SoundDevice::Format& format, SoundDevice::Render render) {
    return std::make_unique<ClockDevice>(format, std::move(render));
}

std::unique_ptr<SoundDevice> SoundDevice::Open(const Format& format, Render render) {
    std::unique_ptr<SoundDevice> device = OpenSdlDevice(format, render);
    return device != nullptr ? std::move(device) : OpenClockDevice(format, std::move(render));
}

}  // namespace Nimb::Desktop
