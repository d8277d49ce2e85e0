// How a player's workers are stopped, whatever they are doing. Docs/architecture.md has the picture.
//
// Rewind, Close and the end of a file need the workers asleep, and a worker may be anywhere: in a codec, waiting for a
// buffer; waiting for a slot, for a picture's time or for the sound's output stream; or, before a loop, waiting for the
// others. It looks at requests only between two samples. So:
//
//   1. The script thread sets the state, and then asks the workers to sleep. Asking is a store and waits for nobody.
//      The playback thread may start a loop at this very moment, and wakes the others for it; FollowState looks at the
//      state afterwards, so that the last look decides.
//   2. StopPlayback sets m_abandon, which ends the waits of our own: for a slot, for the sound, for the output's end.
//      Then it waits until the playback thread sleeps. Every few milliseconds it repeats what frees that thread: it
//      clears the frame queue, flushes the codecs and notifies. One flush alone may come just before the wait that it
//      is meant to end. Nobody uses the extractor then: Rewind seeks and begins a pass, Close destroys it.
//   3. StopOutput does the same with the video and with the audio thread, whose waits in the codec a flush or stop
//      ends. Close then destroys codecs and sound, and ends the file.
//   4. m_abandon is cleared, and Play may wake the workers again. Meshes that are still being decoded carry the ticket
//      of the pass or file before, and give their slots back when they arrive.
//
// At the end of a file the output threads go to sleep by themselves (SleepAtEnd). If playback begins again, the
// playback thread waits for both (WaitForOutputEnd), then seeks, flushes and wakes them.
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

namespace Nimb::Plugin {

// ---- Script thread ----

void QuorObject::StopPlayback() {
    m_playbackWorker.RequestSleep();
    m_abandon = true;
    ClearMeshFrames();
    m_playbackWorker.WaitUntilAsleep([this] {
        ClearMeshFrames();  // gives slots back
        FlushCodecs();
        NotifyOutputEnd();
    });
}

/// Ends dequeues that wait, unless a sample is just on its way to codec and mesh thread: then the next try will do.
void QuorObject::FlushCodecs() {
    if (!m_feedMutex.try_lock()) {
        return;
    }
    MLMediaCodecFlush(m_videoCodec);
    if (m_audioCodec != ML_INVALID_HANDLE) {
        MLMediaCodecFlush(m_audioCodec);
    }
    m_feedMutex.unlock();
}

/// `worker` drains the output of a codec and may be waiting in it; `unblock` ends that wait.
void QuorObject::StopOutput(Worker& worker, const std::function<void()>& unblock) {
    unblock();
    worker.WaitUntilAsleep(unblock);
}

/// The worker sleeps or has been asked to. The video codec has been withdrawn from render events before.
void QuorObject::ReleaseCodec(std::atomic<MLHandle>& codec, Worker& worker) {
    if (codec == ML_INVALID_HANDLE) {
        return;
    }
    StopOutput(worker, [&codec] {
        MLMediaCodecFlush(codec);
        MLMediaCodecStop(codec);
    });
    MLMediaCodecDestroy(codec.exchange(ML_INVALID_HANDLE));
}

/// After an end, which the codecs have been flushed of: the playback thread sleeps or is the caller, the others sleep.
void QuorObject::LeaveEnd() {
    m_videoInput.endQueued = false;
    m_audioInput.endQueued = false;
    m_pictures.Clear(++m_flushes);
    const MutexLock lock(m_outputMutex);
    ForgetOutputEnd();
}

void QuorObject::ForgetOutputEnd() {
    m_outputEnd = OutputEnd::Ahead;
    m_audioOutputEOS = false;
    m_videoOutputEOS = false;
}

/// The same for the file's start after a rewind or in a loop.
void QuorObject::StartOver() {
    LeaveEnd();
    m_clock.Restart();
    m_pendingRestart = true;
    // The mesh reader has what precedes the first frame: nothing. What was in the pipeline is gone.
    m_isPipelineWhole = true;
    m_soundStart = c_NoSoundStart;
    m_feed.next = 0;
    m_feed.count = 0;
    m_feed.firstPicture = 0;
    m_feed.goal = -1;
    m_feed.isRestart = m_frameIndex != nullptr;
    m_feed.soundAside.clear();
}

// ---- Workers ----

/// Whether the worker is to give up what it waits for.
bool QuorObject::IsAbandoned(const Worker& worker) const {
    return m_abandon || worker.ExitRequested();
}

/// Wakes the worker if the player plays or goes to a frame and lets it sleep if not, whatever Play and Pause do
/// meanwhile: they change the state before they wake or stop workers, so the last look at the state decides.
void QuorObject::FollowState(Worker& worker) {
    bool isRunning;
    do {
        isRunning = IsRunning();
        if (isRunning) {
            worker.Wake();
        } else {
            worker.RequestSleep();
        }
    } while (IsRunning() != isRunning);
}

/// For an output thread: waits for its codec's next output. Where frames can be gone to, it looks up now and then, so
/// that FlushForSeek gets the mutex.
MLResult QuorObject::TakeOutput(MLHandle codec, Mutex& takeMutex, MLMediaCodecBufferInfo* pInfo, std::int64_t* pIndex,
                                std::uint32_t* pFlushes) {
    constexpr std::int64_t lookAroundUs = 3000;
    if (m_frameIndex == nullptr) {
        *pFlushes = m_flushes;
        return MLMediaCodecDequeueOutputBuffer(codec, pInfo, c_NoTimeout, pIndex);
    }
    const MutexLock lock(takeMutex);
    *pFlushes = m_flushes;
    return MLMediaCodecDequeueOutputBuffer(codec, pInfo, lookAroundUs, pIndex);
}

/// For the output thread whose stream has just ended: the last of the two reports it, once. False when the end is from
/// before a flush: `flushes` is what TakeOutput said.
bool QuorObject::NoteOutputEnd(std::atomic<bool>& outputEOS, MLHandle otherCodec, const std::atomic<bool>& otherEOS,
                               std::uint32_t flushes) {
    const MutexLock lock(m_outputMutex);
    if (flushes != m_flushes) {
        return false;
    }
    outputEOS = true;
    if ((otherEOS || otherCodec == ML_INVALID_HANDLE) && m_outputEnd == OutputEnd::Ahead) {
        m_outputEnd = IsLooping() ? OutputEnd::GoesOn : OutputEnd::IsOver;
        m_endOfStream = true;
    }
    return true;
}

/// Lets a worker sleep that found its output ended, unless a loop restarts it at this very moment.
void QuorObject::SleepAtEnd(Worker& worker, const std::atomic<bool>& outputEOS) {
    worker.RequestSleep();
    if (!outputEOS) {
        FollowState(worker);
    }
}

/// Whether playback begins again at the end that is queued, or that the outputs have come to.
bool QuorObject::IsGoingOn() {
    const bool hasOutput = m_videoCodec != ML_INVALID_HANDLE || m_audioCodec != ML_INVALID_HANDLE;
    const OutputEnd end = m_outputEnd;
    return hasOutput && (end == OutputEnd::Ahead ? IsLooping() : end == OutputEnd::GoesOn);
}

/// Lets the playback thread sleep, unless somebody goes to a frame, or sets a range that loops, at this very moment.
void QuorObject::SleepAtEndOfInput() {
    m_playbackWorker.RequestSleep();
    if (m_seekPhase == SeekPhase::Requested || IsGoingOn()) {
        FollowState(m_playbackWorker);
    }
}

/// For the playback thread: waits until the output threads sleep because their streams ended, through pauses, too.
/// False when the wait is to be given up.
bool QuorObject::WaitForOutputEnd() {
    const auto isOver = [this] { return IsInterrupted() || HasOutputEnded(); };
    MutexLock lock(m_outputMutex);
    while (!m_outputChanged.WaitFor(lock, Worker::c_MaxNap, isOver)) {
        // A worker that is woken and told to sleep again before it has noticed does not notify.
    }
    return !IsInterrupted();
}

/// Whether the output threads sleep because their streams ended, not because somebody paused them.
bool QuorObject::HasOutputEnded() {
    const auto hasEnded = [](MLHandle codec, Worker& worker, const std::atomic<bool>& outputEOS) {
        return codec == ML_INVALID_HANDLE || (outputEOS && worker.IsAsleep());
    };
    return hasEnded(m_videoCodec, m_videoWorker, m_videoOutputEOS) &&
           hasEnded(m_audioCodec, m_audioWorker, m_audioOutputEOS);
}

/// Whoever changes what HasOutputEnded looks at notifies under the mutex.
void QuorObject::NotifyOutputEnd() {
    const MutexLock lock(m_outputMutex);
    m_outputChanged.NotifyAll();
}

}  // namespace Nimb::Plugin
