// The video thread: decoded video goes to the codec's surface when its time has come.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <utility>

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
    if (m_pictureInHand.index < 0 && !TakeVideoOutput()) {
        return;
    }
    const Verdict verdict = AwaitShow(m_pictureInHand);
    if (verdict == Verdict::Keep) {
        FollowState(m_videoWorker);
        return;
    }
    const PictureInHand inHand = std::exchange(m_pictureInHand, {});
    m_pictures.Pop(inHand.time, inHand.flushes);
    if (inHand.flushes == m_flushes) {  // otherwise the codec has it already
        MLMediaCodecReleaseOutputBuffer(m_videoCodec, inHand.index, verdict == Verdict::Render && inHand.hasData);
    }
}

/// Waits for the codec's next output. False when that is not a picture, and is dealt with.
bool QuorObject::TakeVideoOutput() {
    const MLHandle codec = m_videoCodec;
    MLMediaCodecBufferInfo info{};
    std::int64_t index = -1;
    if (m_pictureAwaitedSince == c_NoPictureAwaited) {
        m_pictureAwaitedSince = MonotonicNanoseconds();
    }
    std::uint32_t flushes = 0;
    const MLResult result = TakeOutput(codec, m_videoTakeMutex, &info, &index, &flushes);
    if (result != MLResult_Ok) {
        if (!m_abandon && flushes == m_flushes) {  // otherwise it was most likely our own flush
            NIMB_LOG_WARNING("[%i] video codec: unexpected info code: %zd", m_id, static_cast<std::ptrdiff_t>(result));
        }
        m_videoWorker.Pause(Worker::c_Rest);
        return false;
    }
    if (index < 0) {
        m_videoWorker.Pause(std::chrono::milliseconds(1));  // format or buffers changed: nothing to show yet
        return false;
    }
    m_pictureAwaitedSince = c_NoPictureAwaited;
    if ((info.flags & MLMediaCodecBufferFlag_EOS) != 0) {
        NIMB_LOG_INFO("[%i] Video output EOS", m_id);
        HoldNobodyBack();
        const bool isSought = m_seekPhase == SeekPhase::Underway;
        if (NoteOutputEnd(m_videoOutputEOS, m_audioCodec, m_audioOutputEOS, flushes)) {
            if (isSought) {
                FailSeek(NimbSeekReason_NoPicture);  // it would have come before
            }
            SleepAtEnd(m_videoWorker, m_videoOutputEOS);
        }
        MLMediaCodecReleaseOutputBuffer(codec, index, false);
        return false;
    }
    m_pictureInHand = {index, info.presentation_time_us, info.size != 0, flushes};
    return true;
}

/// Waits until a picture is due, or, where render events know that, is to go to the surface. The first one after a
/// start or restart sets the pace. So does one that is due, or was due, further away than frames ever lie apart: when
/// the scale changes between two samples whose times do not ascend, as with picture and sound, the later one can end up
/// at any time at all. A request to sleep, or to go to a frame, ends the wait: then false.
bool QuorObject::PaceVideo(const PictureQueue::Picture& picture) {
    constexpr std::chrono::milliseconds look{10};  // a shared clock may stand still, or go faster all at once
    const std::int64_t limit = MicrosecondsToNanoseconds(std::min(m_clock.Scaled(c_LongestGapUs), INT64_MAX / 1000));
    const auto isOver = [this] { return IsSeeking(); };
    const bool isShared = m_pace.Clock() != nullptr;
    for (;;) {
        const bool isSet = m_pace.IsSet();
        const std::int64_t delay = isSet ? m_pace.Delay(picture.timeUs, LeadOf(picture)) : 0;
        const bool isHeld = isShared && delay == INT64_MAX;
        if (!isSet || (!isHeld && (delay > limit || delay < -limit))) {
            StartPaceAt(picture);
            if (!isShared) {
                return true;
            }
            continue;
        }
        if (delay < c_NanosecondsPerMillisecond) {
            return true;
        }
        const std::chrono::milliseconds wait(delay / c_NanosecondsPerMillisecond);
        const bool hasWaited = m_videoWorker.Pause(isShared ? std::min(wait, look) : wait, isOver);
        if (!hasWaited || !isShared) {
            return hasWaited;
        }
    }
}

/// How long before its moment a picture goes to the surface, nanoseconds. Before a range begins again with a picture
/// that needs others, its last ones go there early, so that those others can be decoded while they are shown.
std::int64_t QuorObject::LeadOf(const PictureQueue::Picture& picture) {
    constexpr std::int64_t longest = 200000000;
    constexpr std::int64_t most = 6;  // pictures on the surface; each has a mesh that waits, too
    const PlayRange range = CurrentRange();
    const bool isBeforeTurn = range.loop && picture.use == PictureQueue::Use::Show &&
                              picture.frame > range.last - most && picture.frame <= range.last;
    return isBeforeTurn && m_frameIndex->KeyPicture(range.first) != range.first ? longest : 0;
}

/// A picture is due now, or, in step with others, when its frame is.
void QuorObject::StartPaceAt(const PictureQueue::Picture& picture) {
    const bool isKnown = m_frameIndex != nullptr && picture.frame >= 0;
    const std::int64_t start =
        m_pace.Set(picture.timeUs, isKnown ? m_frameIndex->TimeOf(picture.frame) : Pace::c_NoFileTime);
    NIMB_LOG_INFO("[%i] renderstart = %li", m_id, static_cast<long>(start));
}

/// Whether the decoder has had samples for so long without yielding a picture that it must want more of them. Not while
/// pictures wait for render events or for their time.
bool QuorObject::IsPictureOverdue() const {
    const std::int64_t since = m_pictureAwaitedSince;
    return IsRunning() && m_surface.Available() == 0 && since != c_NoPictureAwaited &&
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
