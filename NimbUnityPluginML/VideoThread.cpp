// The video thread: decoded video goes to the codec's surface when its time has come.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>

namespace Nimb::Plugin {
namespace {

constexpr std::int64_t c_NanosecondsPerMillisecond = 1000000;

/// No two frames of a file are further apart than this. At slow speeds the gap is longer in proportion.
constexpr std::int64_t c_LongestGapUs = 3600 * std::int64_t{1000000};

/// How long a decoder may take samples and yield nothing before it counts as stuck.
constexpr std::int64_t c_Patience = 1000000000;

}  // namespace

void QuorObject::VideoThreadFunc() {
    const auto onSleep = [this] { m_pictureAwaitedSince = c_NoPictureAwaited; };
    m_videoWorker.Run(
        m_id, "Video", [this] { VideoIteration(); }, onSleep);
}

void QuorObject::VideoIteration() {
    if (m_videoOutputEOS) {
        SleepAtEnd(m_videoWorker, m_videoOutputEOS);
        return;
    }
    const MLHandle codec = m_videoCodec;
    MLMediaCodecBufferInfo info{};
    std::int64_t index = -1;
    if (m_pictureAwaitedSince == c_NoPictureAwaited) {
        m_pictureAwaitedSince = MonotonicNanoseconds();
    }
    const MLResult result = MLMediaCodecDequeueOutputBuffer(codec, &info, c_NoTimeout, &index);
    if (result != MLResult_Ok) {
        if (!m_abandon) {  // otherwise it was most likely our own flush
            NIMB_LOG_WARNING("[%i] video codec: unexpected info code: %zd", m_id, static_cast<std::ptrdiff_t>(result));
        }
        m_videoWorker.Pause(Worker::c_Rest);
        return;
    }
    if (index < 0) {
        m_videoWorker.Pause(std::chrono::milliseconds(1));  // format or buffers changed: nothing to show yet
        return;
    }
    m_pictureAwaitedSince = c_NoPictureAwaited;
    if ((info.flags & MLMediaCodecBufferFlag_EOS) != 0) {
        NIMB_LOG_INFO("[%i] Video output EOS", m_id);
        m_videoOutputEOS = true;
        ReportEndOfStream(m_audioOutputEOS || m_audioCodec == ML_INVALID_HANDLE);
        m_videoWorker.RequestSleep();
        MLMediaCodecReleaseOutputBuffer(codec, index, false);
        return;
    }
    PaceVideo(info.presentation_time_us);
    MLMediaCodecReleaseOutputBuffer(codec, index, info.size != 0);
}

/// Waits until a frame with this time is due. The first frame after a start or restart sets the clock. So does a frame
/// that is due, or was due, further away than frames ever lie apart: when the scale changes between two samples whose
/// times do not ascend, as with picture and sound, the later one can end up at any time at all. A request to sleep ends
/// the wait: the frame in hand is then shown early.
void QuorObject::PaceVideo(std::int64_t time) {
    const std::int64_t now = MonotonicNanoseconds();
    const std::int64_t start = m_renderStart;
    const std::int64_t delay = WrappingSubtract(WrappingAdd(start, MicrosecondsToNanoseconds(time)), now);
    const std::int64_t limit = MicrosecondsToNanoseconds(std::min(m_clock.Scaled(c_LongestGapUs), INT64_MAX / 1000));
    if (start == c_RenderStartUnset || delay > limit || delay < -limit) {
        const std::int64_t newStart = WrappingSubtract(now, MicrosecondsToNanoseconds(time));
        m_renderStart = newStart != c_RenderStartUnset ? newStart : newStart + 1;
        NIMB_LOG_INFO("[%i] renderstart = %li", m_id, static_cast<long>(m_renderStart));
        return;
    }
    if (delay >= c_NanosecondsPerMillisecond) {
        m_videoWorker.Pause(std::chrono::milliseconds(delay / c_NanosecondsPerMillisecond));
    }
}

/// Whether the decoder has had samples for so long without yielding a picture that it must want more of them. Not while
/// pictures wait for render events or for their time.
bool QuorObject::IsPictureOverdue() const {
    const std::int64_t since = m_pictureAwaitedSince;
    return m_state == Playing && m_framesAvailable == 0 && since != c_NoPictureAwaited &&
           MonotonicNanoseconds() - since >= c_Patience;
}

/// The decoder gets one more sample, and time to work on it.
void QuorObject::DeferOverduePicture() {
    std::int64_t since = m_pictureAwaitedSince;
    if (since != c_NoPictureAwaited) {
        m_pictureAwaitedSince.compare_exchange_strong(since, MonotonicNanoseconds());
    }
}

}  // namespace Nimb::Plugin
