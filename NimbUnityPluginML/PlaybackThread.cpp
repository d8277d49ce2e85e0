// The playback thread: samples from the extractor, in file order, to the codecs and to the mesh thread.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <new>
#include <utility>

namespace Nimb::Plugin {
namespace {

/// How long a wait for an input buffer lasts before the thread looks whether it is wanted elsewhere, microseconds.
constexpr std::int64_t c_LookAroundUs = 4000;

/// How long the thread rests when there is no memory for a sample, before it is tried again.
constexpr std::chrono::milliseconds c_MemoryRest{50};

}  // namespace

void QuorObject::PlaybackThreadFunc() {
    m_playbackWorker.Run(m_id, "Playback", [this] {
        try {
            PlaybackIteration();
        } catch (const std::bad_alloc&) {
            NIMB_LOG_ERROR("[%i] out of memory: the sample waits", m_id);
            m_playbackWorker.Pause(c_MemoryRest);
        }
    });
}

void QuorObject::PlaybackIteration() {
    if (m_seekPhase == SeekPhase::Requested) {
        return TakeUpSeek();
    }
    if (!IsRunning()) {
        NIMB_LOG_INFO("[%i] playback thread going to sleep (m_state = %i)", m_id, m_state.load());
        FollowState(m_playbackWorker);  // Play may come in between: its wake-up must not be lost
        return;
    }
    if (m_feed.goal >= 0 && m_feed.isSeek && !IsSeeking()) {
        m_feed.goal = -1;  // the request has ended on the way
    }
    if (!m_feed.soundAside.empty() && !IsSeeking()) {
        return FeedSoundSetAside();
    }
    std::int64_t trackIndex = c_NoTrack;
    std::int64_t sampleTime = -1;
    MLMediaExtractorGetSampleTrackIndex(m_extractor, &trackIndex);
    MLMediaExtractorGetSampleTime(m_extractor, &sampleTime);
    if (trackIndex == c_AudioTrack && IsSoundOutside(sampleTime)) {
        MLMediaExtractorAdvance(m_extractor);
        return;
    }
    // A request may end at any moment: what follows sound set aside comes after it.
    if (trackIndex == c_AudioTrack && (IsSeeking() || !m_feed.soundAside.empty())) {
        return SetSoundAside(sampleTime);
    }
    if (m_feed.goal >= 0 && trackIndex == c_VideoTrack) {
        return FeedVideo(sampleTime,
                         m_clock.Place(sampleTime));  // a range begins before what the clock has as its base
    }
    const std::int64_t scaledTime = m_clock.Map(sampleTime);
    switch (trackIndex) {
        case c_NoTrack:
            return EndOfInput(scaledTime);
        case c_AudioTrack:
            return FeedAudio(scaledTime);
        case c_VideoTrack:
            return FeedVideo(sampleTime, scaledTime);
        default:
            // Not one of our tracks, and nothing moves the extractor on: playback stalls here until a rewind or close.
            m_playbackWorker.Pause(Worker::c_Rest);
    }
}

/// At the end of the file or of what is played of it. An end that has been queued is reached, whatever is played now;
/// whether it is one, or playback begins again, is decided when the outputs have come to it.
void QuorObject::EndOfInput(std::int64_t scaledTime) {
    FailGoal();
    if (!m_videoInput.endQueued) {
        if (const PlayRange range = CurrentRange(); range.last >= 0 && range.loop) {
            return BeginRangeAgain(range);
        }
        NIMB_LOG_INFO("[%i] input EOS", m_id);
    }
    if (!QueueEndOfStream(m_videoCodec, m_videoInput, scaledTime) ||
        !QueueEndOfStream(m_audioCodec, m_audioInput, scaledTime)) {
        return;  // paused: the end is still to come
    }
    if (!IsGoingOn()) {
        SleepAtEndOfInput();
        return;
    }

    NIMB_LOG_INFO("[%i] AutoLooping: waiting for output eos", m_id);
    if (!WaitForOutputEnd()) {
        return;
    }
    if (IsGoingOn()) {
        BeginAgain();
    }
}

/// What is played, at the end that both outputs have come to.
void QuorObject::BeginAgain() {
    NIMB_LOG_INFO("[%i] AutoLooping: restarting", m_id);
    const PlayRange range = CurrentRange();
    const bool isFile = range.last < 0;
    if (isFile) {
        MLMediaExtractorSeekTo(m_extractor, 0, MLMediaSeekMode_Closest_Sync);
    }
    MLMediaCodecFlush(m_videoCodec);
    if (m_audioCodec != ML_INVALID_HANDLE) {
        MLMediaCodecFlush(m_audioCodec);
    }
    m_meshFrames.BeginLoop();
    if (isFile) {
        const std::int64_t last = m_frameIndex != nullptr ? m_frameIndex->Count() - 1 : -1;
        m_pace.BeginAgainAt(last >= 0 ? m_clock.Place(m_frameIndex->TimeOf(last) + m_frameIndex->DurationOf(last)) : 0);
        StartOver();
    } else {
        LeaveEnd();
        BeginRangeAgain(range);
    }
    if (m_audioCodec != ML_INVALID_HANDLE) {
        FollowState(m_audioWorker);
    }
    if (m_videoCodec != ML_INVALID_HANDLE) {
        FollowState(m_videoWorker);
    }
}

/// Once a pass. Tries until the codec takes it, since without an end the output threads would never finish. Gives up
/// when the player does not play any more: then false.
bool QuorObject::QueueEndOfStream(MLHandle codec, CodecInput& input, std::int64_t scaledTime) {
    if (codec == ML_INVALID_HANDLE || input.endQueued) {
        return true;
    }
    while (IsRunning() && !IsInterrupted()) {
        if (DequeueInput(codec, input) && MLMediaCodecQueueInputBuffer(codec, std::exchange(input.buffer, -1), 0, 0,
                                                                       static_cast<std::uint64_t>(scaledTime),
                                                                       MLMediaCodecBufferFlag_EOS) == MLResult_Ok) {
            input.endQueued = true;
            return true;
        }
        m_playbackWorker.Pause(Worker::c_Rest);
    }
    return false;
}

/// Waits for an input buffer, unless one is left from before. False when there is none, as after a flush; then the
/// iteration ends without advancing. Where frames can be gone to it looks up now and then: a request may have come, and
/// until it is taken up the output threads hold what they have, so that no buffer would become free.
bool QuorObject::DequeueInput(MLHandle codec, CodecInput& input) {
    if (input.buffer >= 0) {
        return true;
    }
    const std::int64_t timeout = m_frameIndex != nullptr ? c_LookAroundUs : c_NoTimeout;
    const MLResult result = MLMediaCodecDequeueInputBuffer(codec, timeout, &input.buffer);
    if (result == MLResult_Ok && input.buffer >= 0) {
        return true;
    }
    const bool isNoneFree = result == MLResult_Ok && input.buffer == MLMediaCodec_TryAgainLater;
    input.buffer = -1;
    if (isNoneFree && timeout == c_LookAroundUs) {
        m_playbackWorker.Pause(std::chrono::milliseconds(1));  // if it has not waited
        return false;
    }
    m_playbackWorker.Pause(Worker::c_Rest);  // a codec that keeps refusing must not use up processor time
    return false;
}

/// Reads the current sample into an input buffer of the codec. False when the iteration is to end without advancing.
/// With an empty sample the buffer stays in `input` for the next one, and `*pSize` is below 1.
bool QuorObject::ReadSample(MLHandle codec, CodecInput& input, std::uint8_t** ppBuffer, std::int64_t* pSize) {
    std::size_t capacity = 0;
    if (MLMediaCodecGetInputBufferPointer(codec, input.buffer, ppBuffer, &capacity) != MLResult_Ok) {
        input.buffer = -1;  // flushed in between
        return false;
    }
    *pSize = 0;
    MLMediaExtractorReadSampleData(m_extractor, *ppBuffer, capacity, 0, pSize);
    return true;
}

void QuorObject::FeedAudio(std::int64_t scaledTime) {
    if (!DequeueInput(m_audioCodec, m_audioInput)) {
        return;
    }
    {
        const MutexLock lock(m_feedMutex);
        std::uint8_t* buffer = nullptr;
        std::int64_t size = 0;
        if (!ReadSample(m_audioCodec, m_audioInput, &buffer, &size)) {
            return;
        }
        if (size > 0) {
            MLMediaCodecQueueInputBuffer(m_audioCodec, std::exchange(m_audioInput.buffer, -1), 0,
                                         static_cast<std::size_t>(size), static_cast<std::uint64_t>(scaledTime), 0);
        }
    }
    MLMediaExtractorAdvance(m_extractor);
}

void QuorObject::FeedVideo(std::int64_t sampleTime, std::int64_t scaledTime) {
    const std::int64_t frame = m_frameIndex != nullptr ? m_frameIndex->NearestFrame(sampleTime) : -1;
    if (TurnAtRangeEnd(frame)) {
        return;
    }
    if (m_feed.goal >= 0 && frame < m_feed.firstPicture) {
        return WarmUpMesh(frame);
    }
    if (m_feed.goal >= 0 && frame > m_feed.goal) {  // the extractor does not have it
        return FailGoal();
    }
    if (!DequeueInput(m_videoCodec, m_videoInput)) {
        return;
    }
    {
        const MutexLock lock(m_feedMutex);
        std::uint8_t* buffer = nullptr;
        std::int64_t size = 0;
        if (!ReadSample(m_videoCodec, m_videoInput, &buffer, &size)) {
            return;
        }
        const bool isOnTheWay = m_feed.goal >= 0;
        if (size >= 1) {
            // Copied once, into the task, so that codec and mesh thread work on the sample side by side.
            auto sample = std::make_shared<std::vector<BYTE>>(buffer, buffer + size);
            const PictureQueue::Use use = UseOf(frame);
            if (use != PictureQueue::Use::Pass && !TakeMeshSlot()) {
                return;
            }
            const ClipPlace place = m_frameIndex != nullptr ? ClipPlace{frame, m_frameIndex->TimeOf(frame)}
                                                            : ClipPlace{m_feed.count, sampleTime};
            EnqueueMesh(std::move(sample), MicrosecondsToNanoseconds(scaledTime), place, use);
            if (m_frameIndex != nullptr) {
                m_pictures.Add({scaledTime, frame, m_feed.meshNumber, use});
            }
            m_feed.meshNumber += use != PictureQueue::Use::Pass ? 1 : 0;
            m_feed.next = frame + 1;
            const MLResult result =
                MLMediaCodecQueueInputBuffer(m_videoCodec, std::exchange(m_videoInput.buffer, -1), 0,
                                             static_cast<std::size_t>(size), static_cast<std::uint64_t>(scaledTime), 0);
            if (isOnTheWay && result != MLResult_Ok) {
                return LeaveWay();
            }
            if (use != PictureQueue::Use::Pass) {
                m_feed.isRestart = false;
                if (std::exchange(m_feed.goal, -1) >= 0 && m_feed.isSeek) {
                    m_soundStart = scaledTime;
                }
            }
        } else if (isOnTheWay) {
            return LeaveWay();
        } else {
            m_isPipelineWhole = false;
        }
    }
    ++m_feed.count;
    MLMediaExtractorAdvance(m_extractor);
}

/// What is to be done with the picture of the frame that is fed now.
PictureQueue::Use QuorObject::UseOf(std::int64_t frame) const {
    if (frame < m_feed.goal) {
        return PictureQueue::Use::Pass;
    }
    if (m_feed.goal >= 0 && m_feed.isSeek) {
        return PictureQueue::Use::Target;
    }
    return m_feed.isRestart ? PictureQueue::Use::Restart : PictureQueue::Use::Show;
}

/// The caller has a slot for it, unless its picture is passed.
void QuorObject::EnqueueMesh(std::shared_ptr<const std::vector<BYTE>> sample, std::int64_t timeStamp, ClipPlace place,
                             PictureQueue::Use use) {
    const FrameQueue::Ticket ticket = m_meshFrames.CurrentTicket();
    if (use == PictureQueue::Use::Pass) {
        m_meshTasks.Enqueue([this, sample, ticket, frame = place.frame] { PassSample(*sample, ticket, frame); });
        return;
    }
    m_fedFrames.Add(m_feed.meshNumber, place.frame);
    try {
        m_meshTasks.Enqueue([this, sample, timeStamp, ticket, place, number = m_feed.meshNumber] {
            DecodeSample(*sample, timeStamp, ticket, place);
            m_meshFrames.SettleAwaited(ticket, number);  // if it was lost
        });
    } catch (...) {
        m_meshFrames.GiveSlotBack();
        throw;
    }
}

/// Waits for a slot until the player is told to stop. When the decoder takes samples but yields nothing, the meshes
/// that wait for its pictures give up their slots one by one. Otherwise playback would stall when more pictures in a
/// row are undecodable than there are slots, or when a decoder wants more samples than that before its first picture.
bool QuorObject::TakeMeshSlot() {
    bool wasFreed = false;
    const auto isCancelled = [this] { return IsInterrupted(); };
    const bool taken = m_meshFrames.TakeSlot(isCancelled, [&] {
        if (IsPictureOverdue()) {
            m_meshFrames.DropFirst();
            wasFreed = true;
        }
    });
    if (taken && !wasFreed) {
        DeferOverduePicture();
    }
    return taken;
}

}  // namespace Nimb::Plugin
