// The playback thread: samples from the extractor, in file order, to the codecs and to the mesh thread.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <new>
#include <utility>

namespace Nimb::Plugin {
namespace {

constexpr std::int64_t c_VideoTrack = 0;  // the file's track order is part of the format
constexpr std::int64_t c_AudioTrack = 1;
constexpr std::int64_t c_NoTrack = -1;

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
    if (m_state != Playing) {
        NIMB_LOG_INFO("[%i] playback thread going to sleep (m_state = %i)", m_id, m_state.load());
        FollowState(m_playbackWorker);  // Play may come in between: its wake-up must not be lost
        return;
    }
    std::int64_t trackIndex = c_NoTrack;
    std::int64_t sampleTime = -1;
    MLMediaExtractorGetSampleTrackIndex(m_extractor, &trackIndex);
    MLMediaExtractorGetSampleTime(m_extractor, &sampleTime);
    const std::int64_t scaledTime = m_clock.Map(sampleTime);
    switch (trackIndex) {
        case c_NoTrack:
            return EndOfInput(scaledTime);
        case c_AudioTrack:
            return FeedAudio(scaledTime);
        case c_VideoTrack:
            return FeedVideo(scaledTime);
        default:
            // Not one of our tracks, and nothing moves the extractor on: playback stalls here until a rewind or close.
            m_playbackWorker.Pause(Worker::c_Rest);
    }
}

void QuorObject::EndOfInput(std::int64_t scaledTime) {
    NIMB_LOG_INFO("[%i] input EOS", m_id);
    if (!QueueEndOfStream(m_videoCodec, m_videoInput, scaledTime) ||
        !QueueEndOfStream(m_audioCodec, m_audioInput, scaledTime)) {
        return;  // paused: the end is still to come
    }
    const bool hasOutput = m_videoCodec != ML_INVALID_HANDLE || m_audioCodec != ML_INVALID_HANDLE;
    if (m_openInfo.autoLoop == 0 || !hasOutput) {
        m_playbackWorker.RequestSleep();
        return;
    }

    NIMB_LOG_INFO("[%i] AutoLooping: waiting for output eos", m_id);
    if (!WaitForOutputEnd()) {
        return;
    }
    NIMB_LOG_INFO("[%i] AutoLooping: restarting", m_id);
    MLMediaExtractorSeekTo(m_extractor, 0, MLMediaSeekMode_Closest_Sync);
    MLMediaCodecFlush(m_videoCodec);
    if (m_audioCodec != ML_INVALID_HANDLE) {
        MLMediaCodecFlush(m_audioCodec);
    }
    m_meshFrames.BeginLoop();
    StartOver();
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
    while (m_state == Playing && !m_playbackWorker.ExitRequested()) {
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
/// iteration ends without advancing.
bool QuorObject::DequeueInput(MLHandle codec, CodecInput& input) {
    if (input.buffer >= 0) {
        return true;
    }
    const MLResult result = MLMediaCodecDequeueInputBuffer(codec, c_NoTimeout, &input.buffer);
    if (result == MLResult_Ok && input.buffer >= 0) {
        return true;
    }
    input.buffer = -1;
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

void QuorObject::FeedVideo(std::int64_t scaledTime) {
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
        if (size >= 1) {
            // Copied once, into the task, so that codec and mesh thread work on the sample side by side.
            auto sample = std::make_shared<std::vector<BYTE>>(buffer, buffer + size);
            if (!TakeMeshSlot()) {
                return;
            }
            const std::int64_t timeStamp = MicrosecondsToNanoseconds(scaledTime);
            const FrameQueue::Ticket ticket = m_meshFrames.CurrentTicket();
            try {
                m_meshTasks.Enqueue([this, sample, timeStamp, ticket] { DecodeSample(*sample, timeStamp, ticket); });
            } catch (...) {
                m_meshFrames.GiveSlotBack();
                throw;
            }
            MLMediaCodecQueueInputBuffer(m_videoCodec, std::exchange(m_videoInput.buffer, -1), 0,
                                         static_cast<std::size_t>(size), static_cast<std::uint64_t>(scaledTime), 0);
        }
    }
    MLMediaExtractorAdvance(m_extractor);
}

/// Waits for a slot until the player is told to stop. When the decoder takes samples but yields nothing, the meshes
/// that wait for its pictures give up their slots one by one. Otherwise playback would stall when more pictures in a
/// row are undecodable than there are slots, or when a decoder wants more samples than that before its first picture.
bool QuorObject::TakeMeshSlot() {
    bool wasFreed = false;
    const auto isCancelled = [this] { return IsAbandoned(m_playbackWorker); };
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
