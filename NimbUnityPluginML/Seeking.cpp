// Going to a frame, as scripts ask for it and as the video and render threads carry it out. SeekFeed.cpp has the
// playback thread's share.
//
//   1. The script thread begins a ticket: Requested. From then on no picture is released and no render event shows one.
//   2. The playback thread takes it up, Planned, and finds the way (SeekFeed.cpp): the target may be in the pipeline
//      already, or lie ahead in what is being decoded, or codec and mesh reader begin anew before it. Then, Underway,
//      pictures and meshes that lead to it are decoded and passed.
//   3. Meanwhile render events take from the surface what was released before the request, and throw it away.
//   4. The video thread holds the target's picture until the surface is empty and its mesh is there. Then the next
//      frame that is acquired can only be the target: Released. What the codec's counter of frames says then is tied
//      to the mesh's number anew, whatever it has counted meanwhile.
//   5. The render event that shows it ends the ticket.
//
// A newer request goes back to 1 from anywhere. When the platform refuses something on the way, it is tried again from
// 2 with everything flushed, c_MaxSeekTries times.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

namespace Nimb::Plugin {
namespace {

constexpr int c_MaxSeekTries = 3;

/// How long the video thread waits before it looks again.
constexpr std::chrono::milliseconds c_Look{1};

}  // namespace

// ---- Script thread ----

std::int64_t QuorObject::Seek(std::int64_t frame, std::uint32_t options) {
    return BeginSeek(frame, options, false);
}

/// `isInStep`: as the clock wants it that players share.
std::int64_t QuorObject::BeginSeek(std::int64_t frame, std::uint32_t options, bool isInStep) {
    const State state = m_state;
    if (state != Opened && state != Playing && state != Paused) {
        NIMB_LOG_ERROR("[%i] QuorObject::Seek: no file is open, m_state = %i", m_id, state);
        return 0;
    }
    if (m_frameIndex == nullptr || m_videoCodec == ML_INVALID_HANDLE) {
        return m_seeks.Refuse(frame, NimbSeekReason_NoIndex);
    }
    if (frame < 0 || frame >= m_frameIndex->Count()) {
        return m_seeks.Refuse(frame, NimbSeekReason_OutOfRange);
    }
    if ((options & NimbSeekOption_NearestKey) != 0) {
        frame = m_frameIndex->NearestKeyPicture(frame);
    }
    const State next = (options & NimbSeekOption_Pause) != 0 ? Paused : Playing;
    const bool canStay = !isInStep || m_pace.IsInStep();  // where the frame is shown already
    if (isInStep) {
        HoldNobodyBack();  // until it has a picture
        m_pace.EnterStep();
    } else if (m_pace.Clock() != nullptr || (state != Playing && next == Playing)) {
        LeaveStep();
    }
    std::int64_t ticket = 0;
    {
        const MutexLock lock(m_renderMutex);
        const bool isThere = m_seekPhase == SeekPhase::None && m_shownFrame == frame && canStay;
        // As while a handle is dragged slowly: what has been done for the request before is not done again.
        const bool isOnItsWay = m_seekPhase != SeekPhase::None && m_seeks.Frame() == frame && m_pace.Clock() == nullptr;
        ticket = m_seeks.Begin(frame);
        m_seekTries = 0;
        m_stepFrom = frame;
        m_isPausedByClock = false;
        m_state = next;
        if (!isOnItsWay) {
            m_seekPhase = SeekPhase::Requested;
        }
        if (isThere) {
            if (isInStep) {
                MoveInStep(frame);
            }
            EndSeek(NimbSeekResult_Done, NimbSeekReason_None);
        }
    }
    FollowStateAll();
    return ticket;
}

std::int64_t QuorObject::SeekToTime(std::int64_t time, std::uint32_t options) {
    return Seek(m_frameIndex != nullptr ? m_frameIndex->FrameAt(time / 10) : 0, options);
}

std::int64_t QuorObject::Step(int frames) {
    const std::int64_t last = m_frameIndex != nullptr ? m_frameIndex->Count() - 1 : 0;
    return Seek(std::clamp<std::int64_t>(m_stepFrom + frames, 0, last), NimbSeekOption_Pause);
}

bool QuorObject::SetPlayRange(std::int64_t first, std::int64_t last, bool loop) {
    if (m_frameIndex == nullptr || (last >= 0 && (first < 0 || first > last || last >= m_frameIndex->Count()))) {
        return false;
    }
    {
        const MutexLock outputLock(m_outputMutex);
        {
            const MutexLock lock(m_rangeMutex);
            m_range = last >= 0 ? PlayRange{first, last, loop} : PlayRange{};
        }
        if (m_outputEnd != OutputEnd::Ahead && m_endOfStream) {  // nobody has been told yet
            m_outputEnd = IsLooping() ? OutputEnd::GoesOn : OutputEnd::IsOver;
        }
    }
    FollowStateAll();
    return true;
}

/// The request under way, if there is one, ends without a frame.
void QuorObject::ForgetSeek(NimbSeekResult result, NimbSeekReason reason) {
    const MutexLock lock(m_renderMutex);
    if (m_seekPhase != SeekPhase::None) {
        EndSeek(result, reason);
    }
    m_shownFrame = -1;
    m_stepFrom = -1;
    m_anchor = c_NoAnchor;
}

// ---- Any thread ----

void QuorObject::EndSeek(NimbSeekResult result, NimbSeekReason reason) {
    const std::int64_t frame = m_seeks.Frame();
    NIMB_LOG_INFO("[%i] seek to frame %li ended: result = %i, reason = %i", m_id, static_cast<long>(frame), result,
                  reason);
    m_seekPhase = SeekPhase::None;
    if (result != NimbSeekResult_Done) {
        m_shownFrame = -1;  // playback would not go on from it
    }
    m_meshFrames.StopAwaiting();
    const std::int64_t ticket = m_seeks.Active();
    m_seeks.End(ticket, result, reason, result == NimbSeekResult_Done ? m_frameIndex->TimeOf(frame) : 0);
    if (const std::shared_ptr<SharedClock> shared = m_pace.Clock(); shared != nullptr) {
        // The others may have gone on without this one. What it missed of the sound is missed.
        m_soundStart = std::max(m_soundStart.load(), m_pace.PresentTime());
        shared->NoteArrival(m_id, ticket, MonotonicNanoseconds());
    }
    FollowStateAll();
}

void QuorObject::FailSeek(NimbSeekReason reason) {
    const MutexLock lock(m_renderMutex);
    if (m_seekPhase == SeekPhase::Underway) {
        EndSeek(NimbSeekResult_Failed, reason);
    }
}

void QuorObject::RetrySeek() {
    const MutexLock lock(m_renderMutex);
    RetrySeekLocked();
}

void QuorObject::RetrySeekLocked() {
    if (m_seekPhase == SeekPhase::None || m_seekPhase == SeekPhase::Requested) {
        return;
    }
    m_isPipelineWhole = false;
    if (++m_seekTries > c_MaxSeekTries) {
        EndSeek(NimbSeekResult_Failed, NimbSeekReason_Platform);
        return;
    }
    m_anchor = c_NoAnchor;
    m_seekPhase = SeekPhase::Requested;
    FollowStateAll();
}

void QuorObject::FollowStateAll() {
    FollowState(m_playbackWorker);
    if (m_videoCodec != ML_INVALID_HANDLE) {
        FollowState(m_videoWorker);
    }
    if (m_audioCodec != ML_INVALID_HANDLE) {
        FollowState(m_audioWorker);
    }
}

// ---- Video thread ----

/// Waits until the picture in hand is to be shown.
QuorObject::Verdict QuorObject::AwaitShow(const PictureInHand& inHand) {
    for (;;) {
        const SeekPhase phase = m_seekPhase;  // first: the flush comes before what follows Planned
        if (IsAbandoned(m_videoWorker) || inHand.flushes != m_flushes) {
            return Verdict::Drop;
        }
        if (phase != SeekPhase::None && phase != SeekPhase::Underway) {
            std::this_thread::sleep_for(c_Look);  // until it is decided what becomes of the picture
            continue;
        }
        const PictureQueue::Picture picture = m_pictures.Find(inHand.time, inHand.flushes);
        switch (picture.use) {
            case PictureQueue::Use::Pass:
                return Verdict::Drop;
            case PictureQueue::Use::Target:
                if (phase == SeekPhase::Underway) {
                    if (ReleaseTarget(picture)) {
                        return Verdict::Render;
                    }
                    continue;
                }
                break;  // its request has ended without it
            case PictureQueue::Use::Restart:
                if (phase == SeekPhase::None && IsRunning() && PaceVideo(picture)) {
                    if (ReleaseRestart(picture)) {
                        return Verdict::Render;
                    }
                    continue;
                }
                break;
            case PictureQueue::Use::Show:
                break;
        }
        if (m_frameIndex != nullptr && picture.frame < 0) {
            return Verdict::Drop;  // from before a flush that failed
        }
        if (phase == SeekPhase::Underway) {
            // What follows the target has come, but not the target: the decoder has swallowed it.
            FailSeek(NimbSeekReason_NoPicture);
            continue;
        }
        if (m_frameIndex != nullptr && !IsRunning()) {
            return Verdict::Keep;
        }
        const bool isDue = PaceVideo(picture);
        const MutexLock lock(m_renderMutex);
        if (m_seekPhase == SeekPhase::None && (isDue || m_frameIndex == nullptr)) {
            NoteReleased(picture);
            return Verdict::Render;
        }
    }
}

/// True: release the picture now, it is the next that is acquired. False: look again.
bool QuorObject::ReleaseTarget(const PictureQueue::Picture& picture) {
    const FrameQueue::Awaited mesh = m_meshFrames.AwaitedFrame();
    if (mesh == FrameQueue::Awaited::Lost) {
        FailSeek(NimbSeekReason_NoMesh);
        return false;
    }
    if (mesh != FrameQueue::Awaited::Ready || !m_surfaceEmpty) {
        std::this_thread::sleep_for(c_Look);
        return false;
    }
    const MutexLock lock(m_renderMutex);
    if (m_seekPhase != SeekPhase::Underway) {
        return false;
    }
    if (!m_isDrainCertain) {
        // Nobody knew what was still to come from this thread; now it is here. Once more, then.
        m_isDrainCertain = true;
        m_surfaceEmpty = false;
        return false;
    }
    StartPaceAt(picture);
    m_anchor = picture.meshNumber;
    m_seekPhase = SeekPhase::Released;
    NoteReleased(picture);
    return true;
}

/// The same for the first frame of a range, when those before it have been taken from the surface. If render events do
/// not come for that, playback goes on without them, and numbers stay tied as they are; but not where pictures were
/// passed, which the codec may have counted.
bool QuorObject::ReleaseRestart(const PictureQueue::Picture& picture) {
    const bool needsAnchor = m_frameIndex->KeyPicture(picture.frame) != picture.frame;
    const std::int64_t deadline = MonotonicNanoseconds() + c_SurfacePatience;
    for (;; std::this_thread::sleep_for(c_Look)) {
        if (IsAbandoned(m_videoWorker)) {
            return false;
        }
        const MutexLock lock(m_renderMutex);
        if (m_seekPhase != SeekPhase::None || !IsRunning()) {
            return false;
        }
        const bool isLate = MonotonicNanoseconds() > deadline;
        const bool isEmpty = m_surface.Available() == 0 && (m_surface.IsAllAnnounced() || isLate);
        if (isEmpty || (isLate && !needsAnchor)) {
            m_anchor = isEmpty ? picture.meshNumber : c_NoAnchor;
            NoteReleased(picture);
            return true;
        }
    }
}

/// A picture goes to the surface, where render events find when it is due, unless that is at once.
void QuorObject::NoteReleased(const PictureQueue::Picture& picture) {
    const bool isEarly = m_pace.Clock() != nullptr || LeadOf(picture) > 0;
    m_surface.NoteReleased(isEarly ? m_pace.PositionOf(picture.timeUs) : Pace::c_DueAtOnce);
}

// ---- Render thread ----

/// Throws away what was released before the request.
void QuorObject::DrainSurface() {
    const bool isQuiet = m_surface.IsAllAnnounced() || MonotonicNanoseconds() >= m_surfaceDeadline;
    // Twice in a row, since once may be the platform's mood.
    for (int refusals = 0; refusals < 2;) {
        MLHandle frame = ML_INVALID_HANDLE;
        if (MLMediaCodecAcquireNextAvailableFrame(m_renderCodec, &frame) == MLResult_Ok) {
            MLMediaCodecReleaseFrame(m_renderCodec, frame);
        } else {
            ++refusals;
        }
    }
    m_surface.DropAvailable();
    if (isQuiet && m_seekPhase != SeekPhase::Requested) {
        m_isDrainCertain = m_surface.NoteDrained();
        m_surfaceEmpty = true;
    }
}

/// Ties the codec's numbers to those of meshes when an anchor is set.
std::int64_t QuorObject::MeshNumberOf(std::int64_t textureFrameNumber) {
    if (m_anchor != c_NoAnchor) {
        m_numberOffset = textureFrameNumber - m_anchor;
        m_anchor = c_NoAnchor;
    }
    return textureFrameNumber - m_numberOffset;
}

/// The event has shown a frame, or has found that it cannot.
void QuorObject::NoteShown(const MeshFrame* frame) {
    if (frame != nullptr) {
        m_stallWatch.NoteShown(MonotonicNanoseconds());
        m_shownTime = frame->m_timeStamp / 1000;
        m_stepFrom = frame->m_place.frame;
        const MutexLock lock(m_unityMutex);
        m_shownFrame = m_shown.frame;  // none, if other objects have been handed over during the event
    }
    if (m_seekPhase != SeekPhase::Released) {
        return;
    }
    if (frame != nullptr && frame->m_place.frame == m_seeks.Frame()) {
        EndSeek(NimbSeekResult_Done, NimbSeekReason_None);
    } else {
        RetrySeekLocked();
    }
}

}  // namespace Nimb::Plugin
