// The video thread: decoded video goes to the codec's surface when its time has come.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"

#include <ctime>

namespace {

constexpr std::int64_t c_NoTimeout = -1;
constexpr std::int64_t c_NanosecondsPerMillisecond = 1000000;

/// How long the thread rests when the codec refuses, so that a refusal does not keep a processor busy.
constexpr std::chrono::milliseconds c_Rest{10};

std::int64_t MonotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

/// Times of a scaled clock can be of any size. Their differences are what counts, and those survive a wrap.
std::int64_t WrappingAdd(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

std::int64_t ToNanoseconds(std::int64_t microseconds) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(microseconds) * 1000u);
}

}  // namespace

void QuorObject::VideoThreadFunc() {
    NIMB_LOG_INFO("[%i] Video thread starting", m_id);
    while (!m_VideoWorker.ExitRequested()) {
        m_VideoWorker.SleepWhileRequested([this] { NIMB_LOG_INFO("[%i] Video thread sleeping", m_id); },
                                          [this] { NIMB_LOG_INFO("[%i] Video thread is awake", m_id); });
        if (!m_VideoWorker.ExitRequested()) {
            VideoIteration();
        }
    }
    NIMB_LOG_INFO("[%i] video thread exiting", m_id);
}

void QuorObject::VideoIteration() {
    if (m_videoOutputEOS) {
        SleepAtEnd(m_VideoWorker, m_videoOutputEOS);
        return;
    }
    const MLHandle codec = m_videoCodec;
    MLMediaCodecBufferInfo info{};
    std::int64_t index = -1;
    const MLResult result = MLMediaCodecDequeueOutputBuffer(codec, &info, c_NoTimeout, &index);
    if (result != MLResult_Ok) {
        NIMB_LOG_WARNING("[%i] video codec: unexpected info code: %zd", m_id, static_cast<std::ptrdiff_t>(result));
        m_VideoWorker.Pause(c_Rest);
        return;
    }
    if (index < 0) {
        m_VideoWorker.Pause(std::chrono::milliseconds(1));  // format or buffers changed: nothing to show yet
        return;
    }
    if ((info.flags & MLMediaCodecBufferFlag_EOS) != 0) {
        NIMB_LOG_INFO("[%i] Video output EOS", m_id);
        m_videoOutputEOS = true;
        ReportEndOfStream(m_audioOutputEOS || m_audioCodec == ML_INVALID_HANDLE);
        m_VideoWorker.RequestSleep();
        MLMediaCodecReleaseOutputBuffer(codec, index, false);
        return;
    }
    PaceVideo(info.presentation_time_us);
    MLMediaCodecReleaseOutputBuffer(codec, index, info.size != 0);
}

/// Waits until a frame with this time is due. The first one after a start or restart sets the clock. A request to sleep
/// ends the wait: the frame in hand is then shown early.
void QuorObject::PaceVideo(std::int64_t time) {
    const std::int64_t now = MonotonicNanoseconds();
    if (m_renderStart < 0) {
        m_renderStart = WrappingAdd(now, -ToNanoseconds(time));
        NIMB_LOG_INFO("[%i] renderstart = %li", m_id, static_cast<long>(m_renderStart));
        return;
    }
    const std::int64_t delay = WrappingAdd(WrappingAdd(m_renderStart, ToNanoseconds(time)), -now);
    if (delay >= c_NanosecondsPerMillisecond) {
        m_VideoWorker.Pause(std::chrono::milliseconds(delay / c_NanosecondsPerMillisecond));
    }
}
