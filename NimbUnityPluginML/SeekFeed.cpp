// Going to a frame, the playback thread's share: which samples codec and mesh reader need for it. The beginning and the
// end of the story are in Seeking.cpp.
//
// There are three ways, the cheapest that leads there is taken:
//   - The target has been fed already and waits somewhere in the pipeline: what is before it is passed.
//   - It lies ahead, the codec has what it needs, and no key picture in between: feeding goes on, and what is before it
//     is passed.
//   - Otherwise the codec is flushed and begins with the key picture at or before the target; the mesh reader begins
//     with the key mesh at or before that, unless it happens to be on the way already. Samples between key mesh and key
//     picture go to the mesh reader alone.
//
// Sound is set aside from the request on: feeding it could wait for the sound's output, which waits for the request's
// end. It goes to its codec afterwards. Sound that has been handed to the output before is not played again, which
// concerns targets in the pipeline: up to two of the output's buffers, 43 ms.
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

namespace Nimb::Plugin {
namespace {

/// A byte stream's start codes and parameter sets come on top of a sample's bytes in the file.
constexpr std::size_t c_ByteStreamExtra = 65536;

constexpr std::size_t c_MaxSoundBytes = std::size_t{1} << 20;  // of one sample
constexpr std::size_t c_MaxSoundAside = 1024;                  // samples; 20 seconds

/// Sound decoders need a few samples before those that are heard.
constexpr std::int64_t c_SoundLeadUs = 100000;

}  // namespace

void QuorObject::TakeUpSeek() {
    std::int64_t frame = 0;
    {
        const MutexLock lock(m_renderMutex);
        if (m_seekPhase != SeekPhase::Requested) {
            return;
        }
        m_seekPhase = SeekPhase::Planned;
        m_anchor = c_NoAnchor;
        m_surfaceEmpty = m_surface.Available() == 0 && m_surface.IsAllAnnounced();
        m_surfaceDeadline = MonotonicNanoseconds() + c_SurfacePatience;
        frame = m_seeks.Frame();
    }
    ++m_soundEpoch;
    if (!PlanSeek(frame)) {
        m_playbackWorker.Pause(Worker::c_Rest);
        RetrySeek();
        return;
    }
    const MutexLock lock(m_renderMutex);
    if (m_seekPhase == SeekPhase::Planned) {
        m_seekPhase = SeekPhase::Underway;
    }
}

/// Makes pictures and meshes that are on their way those of the way to this frame. False when the platform refuses.
bool QuorObject::PlanSeek(std::int64_t frame) {
    const bool isWhole = m_isPipelineWhole;
    PictureQueue::Picture target{};
    if (isWhole && m_pictures.Retarget(frame, &target)) {
        // A range that is about to begin again goes on with that; after another request there is nothing to retarget.
        m_soundStart = target.timeUs;
        m_pace.Unset();
        m_meshFrames.Await(target.meshNumber, false);
        m_meshTasks.Enqueue([this, ticket = m_meshFrames.CurrentTicket(), number = target.meshNumber] {
            m_meshFrames.SettleAwaited(ticket, number);  // if it was lost already
        });
        return true;
    }
    m_feed.goal = -1;
    m_feed.isRestart = false;
    m_soundStart = INT64_MAX;  // until the target is fed
    const std::int64_t key = m_frameIndex->KeyPicture(frame);
    const bool hasKey = key == m_feed.next || (key < m_feed.next && key >= m_feed.firstPicture);
    if (isWhole && !m_videoInput.endQueued && frame >= m_feed.next && hasKey) {
        m_pictures.PassAll();
        m_meshFrames.Await(m_feed.meshNumber, false);
        m_pace.Unset();
        m_feed.firstPicture = std::min(m_feed.firstPicture, m_feed.next);
    } else if (!BeginAfresh(frame)) {
        return false;
    }
    m_feed.goal = frame;
    m_feed.isSeek = true;
    return true;
}

/// False when the platform refuses.
bool QuorObject::BeginAfresh(std::int64_t frame) {
    const bool wasWhole = m_isPipelineWhole.exchange(false);
    if (!FlushForSeek()) {
        return false;
    }
    m_meshFrames.Await(m_feed.meshNumber, true);
    m_pendingRestart = false;
    m_videoInput = {};
    m_audioInput = {};
    m_pace.Unset();
    m_clock.Restart();
    m_feed.soundAside.clear();
    if (!GoBefore(frame, wasWhole)) {
        return false;
    }
    m_isPipelineWhole = true;
    FollowStateAll();  // the output threads may sleep at the end of the file
    return true;
}

/// Output that was taken before is void, and output that is taken afterwards is what was fed afterwards.
bool QuorObject::FlushForSeek() {
    const MutexLock feedLock(m_feedMutex);
    const MutexLock videoLock(m_videoTakeMutex);
    const MutexLock audioLock(m_audioTakeMutex);
    bool isFlushed = MLMediaCodecFlush(m_videoCodec) == MLResult_Ok;
    if (m_audioCodec != ML_INVALID_HANDLE) {
        isFlushed = MLMediaCodecFlush(m_audioCodec) == MLResult_Ok && isFlushed;
    }
    const MutexLock outputLock(m_outputMutex);
    m_pictures.Clear(++m_flushes);
    ForgetOutputEnd();
    m_endOfStream = false;
    return isFlushed;
}

/// Puts the extractor where feeding has to go on so that `frame` can be shown. `isWhole`: the mesh reader has had all
/// frames before Feed::next.
bool QuorObject::GoBefore(std::int64_t frame, bool isWhole) {
    m_feed.firstPicture = m_frameIndex->KeyPicture(frame);
    const std::int64_t entry = FindMeshEntry(m_feed.firstPicture);
    const bool isOnTheWay = isWhole && m_feed.next > entry && m_feed.next <= m_feed.firstPicture;
    const std::int64_t begin = isOnTheWay ? m_feed.next : entry;
    if (!GoToFrame(begin)) {
        return false;
    }
    m_feed.next = begin;
    return true;
}

/// The last key picture at or before this one whose mesh needs no other; the first frame if there is none.
std::int64_t QuorObject::FindMeshEntry(std::int64_t frame) {
    while (frame > 0 && !IsKeyMesh(frame) && !IsInterrupted()) {
        frame = m_frameIndex->KeyPicture(frame - 1);
    }
    return frame;
}

bool QuorObject::IsKeyMesh(std::int64_t frame) {
    m_feed.keyMeshes.resize(static_cast<std::size_t>(m_frameIndex->Count()), -1);
    signed char& known = m_feed.keyMeshes[static_cast<std::size_t>(frame)];
    if (known < 0) {
        std::vector<BYTE> sample;
        if (!GoToFrame(frame) || !ReadCurrentSample(m_frameIndex->SampleBytes(frame) + c_ByteStreamExtra, &sample)) {
            return false;
        }
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
            NimbCrossPlatform::FindCompressedMesh(sample.data(), sample.size()));
        const NIMBCORE::CComPtr<INimbBufferAllocator> allocator(new NimbCrossPlatform::BufferAllocator);
        known = stream != nullptr && CNimbMeshReader::IsKeyFrame(stream, allocator) ? 1 : 0;
    }
    return known == 1;
}

/// Puts the extractor at the sample of a frame.
bool QuorObject::GoToFrame(std::int64_t frame) {
    // Half a frame later, since the extractor may have rounded the time up.
    const std::int64_t time = m_frameIndex->TimeOf(frame) + m_frameIndex->DurationOf(frame) / 2;
    if (MLMediaExtractorSeekTo(m_extractor, time, MLMediaSeekMode_Previous_Sync) != MLResult_Ok) {
        return false;
    }
    while (!IsInterrupted()) {
        std::int64_t track = c_NoTrack;
        std::int64_t sampleTime = -1;
        MLMediaExtractorGetSampleTrackIndex(m_extractor, &track);
        MLMediaExtractorGetSampleTime(m_extractor, &sampleTime);
        if (track == c_NoTrack) {
            return false;
        }
        if (track == c_VideoTrack && m_frameIndex->NearestFrame(sampleTime) >= frame) {
            return m_frameIndex->NearestFrame(sampleTime) == frame;
        }
        MLMediaExtractorAdvance(m_extractor);
    }
    return false;
}

bool QuorObject::ReadCurrentSample(std::size_t capacity, std::vector<BYTE>* pSample) {
    pSample->resize(capacity);
    std::int64_t size = 0;
    if (MLMediaExtractorReadSampleData(m_extractor, pSample->data(), capacity, 0, &size) != MLResult_Ok || size < 1) {
        return false;
    }
    pSample->resize(static_cast<std::size_t>(size));
    return true;
}

/// A sample of which only the mesh is needed.
void QuorObject::WarmUpMesh(std::int64_t frame) {
    auto sample = std::make_shared<std::vector<BYTE>>();
    if (!ReadCurrentSample(m_frameIndex->SampleBytes(frame) + c_ByteStreamExtra, sample.get())) {
        m_playbackWorker.Pause(Worker::c_Rest);
        LeaveWay();
        return;
    }
    // A slot bounds how many samples wait for the mesh thread.
    if (!m_meshFrames.TakeSlot([this] { return IsInterrupted(); })) {
        return;
    }
    try {
        m_meshTasks.Enqueue([this, sample, frame, ticket = m_meshFrames.CurrentTicket()] {
            PassSample(*sample, ticket, frame);
            m_meshFrames.GiveSlotBack();
        });
    } catch (...) {
        m_meshFrames.GiveSlotBack();
        throw;
    }
    m_feed.next = frame + 1;
    MLMediaExtractorAdvance(m_extractor);
}

/// Something went wrong on the way to the goal: it is gone to anew.
void QuorObject::LeaveWay() {
    m_feed.goal = -1;
    m_isPipelineWhole = false;
    if (m_feed.isSeek) {
        RetrySeek();
    }
}

/// The extractor does not have the goal, whatever the file's index says.
void QuorObject::FailGoal() {
    if (m_feed.goal >= 0) {
        m_feed.goal = -1;
        m_isPipelineWhole = false;
        if (m_feed.isSeek) {
            FailSeek(NimbSeekReason_NoPicture);
        }
    }
}

/// True when the frame lies behind what is played, and something else was done about it: behind the range, or behind an
/// end that was queued before another range was set.
bool QuorObject::TurnAtRangeEnd(std::int64_t frame) {
    const PlayRange range = CurrentRange();
    const bool isBehind = m_videoInput.endQueued || (range.last >= 0 && frame > range.last);
    if (m_frameIndex == nullptr || !isBehind || m_feed.goal >= 0) {
        return false;
    }
    EndOfInput(m_clock.Map(m_frameIndex->TimeOf(frame)));
    return true;
}

void QuorObject::BeginRangeAgain(const PlayRange& range) {
    // Not the range's last frame: it may have been set when playback was elsewhere.
    const std::int64_t fed = std::clamp<std::int64_t>(m_feed.next - 1, 0, m_frameIndex->Count() - 1);
    const bool wasWhole = m_isPipelineWhole.exchange(false);
    while (!GoBefore(range.first, wasWhole)) {
        // Nobody knows now where the extractor is: a request must not count on it.
        if (IsInterrupted()) {
            return;
        }
        std::this_thread::sleep_for(Worker::c_Rest);
    }
    m_isPipelineWhole = true;
    m_clock.Jump(m_frameIndex->TimeOf(fed) + m_frameIndex->DurationOf(fed), m_frameIndex->TimeOf(range.first));
    m_feed.goal = range.first;
    m_feed.isSeek = false;
    m_feed.isRestart = true;
}

QuorObject::PlayRange QuorObject::CurrentRange() {
    const MutexLock lock(m_rangeMutex);
    return m_range;
}

bool QuorObject::IsLooping() {
    const PlayRange range = CurrentRange();
    return range.last >= 0 ? range.loop : m_openInfo.autoLoop != 0;
}

/// Whether a sample of sound lies outside of what is played.
bool QuorObject::IsSoundOutside(std::int64_t sampleTime) {
    if (m_frameIndex == nullptr) {
        return false;
    }
    if (m_feed.goal >= 0) {
        return sampleTime < m_frameIndex->TimeOf(m_feed.goal) - (m_feed.isSeek ? c_SoundLeadUs : 0);
    }
    const PlayRange range = CurrentRange();
    return range.last >= 0 && m_feed.next <= range.last + 1 &&
           sampleTime >= m_frameIndex->TimeOf(range.last) + m_frameIndex->DurationOf(range.last);
}

void QuorObject::SetSoundAside(std::int64_t sampleTime) {
    SoundSample sample{m_clock.Place(sampleTime), {}};
    if (ReadCurrentSample(c_MaxSoundBytes, &sample.bytes)) {
        sample.bytes.shrink_to_fit();
        m_feed.soundAside.push_back(std::move(sample));
        if (m_feed.soundAside.size() > c_MaxSoundAside) {
            m_feed.soundAside.pop_front();
        }
    }
    MLMediaExtractorAdvance(m_extractor);
}

void QuorObject::FeedSoundSetAside() {
    if (!DequeueInput(m_audioCodec, m_audioInput)) {
        return;
    }
    const MutexLock lock(m_feedMutex);
    std::uint8_t* buffer = nullptr;
    std::size_t capacity = 0;
    if (MLMediaCodecGetInputBufferPointer(m_audioCodec, m_audioInput.buffer, &buffer, &capacity) != MLResult_Ok) {
        m_audioInput.buffer = -1;
        return;
    }
    const SoundSample sample = std::move(m_feed.soundAside.front());
    m_feed.soundAside.pop_front();
    const std::size_t size = std::min(capacity, sample.bytes.size());
    std::memcpy(buffer, sample.bytes.data(), size);
    MLMediaCodecQueueInputBuffer(m_audioCodec, std::exchange(m_audioInput.buffer, -1), 0, size,
                                 static_cast<std::uint64_t>(sample.timeUs), 0);
}

}  // namespace Nimb::Plugin
