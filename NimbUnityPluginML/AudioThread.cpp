// The audio thread: decoded sound goes to the output stream, at the pace at which that takes it.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <utility>

namespace Nimb::Plugin {
namespace {

/// No decoder yields more sound at once.
constexpr std::int64_t c_LongestSoundUs = 1000000;

}  // namespace

void QuorObject::AudioThreadFunc() {
    m_audioWorker.Run(m_id, "Audio", [this] { AudioIteration(); });
}

void QuorObject::AudioIteration() {
    if (m_audioOutputEOS) {
        SleepAtEnd(m_audioWorker, m_audioOutputEOS);
        return;
    }
    const MLHandle codec = m_audioCodec;
    MLMediaCodecBufferInfo info{};
    std::int64_t index = -1;
    std::uint32_t flushes = 0;
    std::uint32_t epoch = 0;
    const MLResult result = TakeOutput(codec, m_audioTakeMutex, &info, &index, &flushes);
    if (result != MLResult_Ok) {
        if (!m_abandon && flushes == m_flushes) {  // otherwise it was most likely our own flush
            NIMB_LOG_ERROR("[%i] MLMediaCodecDequeueOutputBuffer returned %i", m_id, result);
        }
        m_audioWorker.Pause(Worker::c_Rest);
        return;
    }
    if (index < 0) {
        m_audioWorker.Pause(std::chrono::milliseconds(1));  // format or buffers changed: nothing to play yet
        return;
    }
    if ((info.flags & MLMediaCodecBufferFlag_EOS) != 0) {
        NIMB_LOG_INFO("[%i] Audio output EOS", m_id);
        if (!IsLooping() && flushes == m_flushes) {  // a loop goes on in the buffer
            m_audioOutput.Finish();
        }
        if (NoteOutputEnd(m_audioOutputEOS, m_videoCodec, m_videoOutputEOS, flushes)) {
            SleepAtEnd(m_audioWorker, m_audioOutputEOS);
        }
    } else if (AwaitSound(info.presentation_time_us, &epoch) && flushes == m_flushes) {
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        if (MLMediaCodecGetOutputBufferPointer(codec, index, &data, &size) != MLResult_Ok) {
            if (!m_abandon && flushes == m_flushes) {
                NIMB_LOG_ERROR("[%i] MLMediaCodecGetOutputBufferPointer failed", m_id);
            }
        } else {
            // A pause does not end the wait for an output buffer, since the sound goes on taking buffers and none of
            // its bytes may be lost; Rewind and Close do.
            const std::size_t offset = std::min(info.offset, size);
            const std::size_t count = std::min(info.size, size - offset);
            if (epoch != std::exchange(m_soundEpochInHand, epoch)) {
                m_audioOutput.DropFilled();  // a buffer begun before the request
                m_soundExpected = c_NoSoundStart;
            }
            const auto isGivenUp = [&] { return IsAbandoned(m_audioWorker) || epoch != m_soundEpoch; };
            std::size_t skipped = std::min(SoundToSkip(info.presentation_time_us), count);
            skipped = JoinRounds(info.presentation_time_us, skipped, count, isGivenUp);
            m_audioOutput.Play(data + offset + skipped, count - skipped, isGivenUp);
        }
    }
    MLMediaCodecReleaseOutputBuffer(codec, index, false);
}

/// While a request is under way, sound from its frame on waits for its end, and earlier sound is dropped: then false.
/// `*pEpoch`: sound may be played until m_soundEpoch is another.
bool QuorObject::AwaitSound(std::int64_t time, std::uint32_t* pEpoch) {
    do {
        *pEpoch = m_soundEpoch;
        while ((IsSeeking() || m_pace.IsHeld()) && !IsAbandoned(m_audioWorker)) {
            const std::int64_t start = m_soundStart;
            if (time < start && start - time > c_LongestSoundUs) {
                return false;
            }
            std::this_thread::sleep_for(Worker::c_Rest);
        }
    } while (*pEpoch != m_soundEpoch);
    return !IsAbandoned(m_audioWorker);
}

/// How many bytes of decoded sound with this time lie before the frame that was gone to.
std::size_t QuorObject::SoundToSkip(std::int64_t time) {
    const std::int64_t start = m_soundStart;
    return start == c_NoSoundStart || time >= start ? 0 : SoundBytes(WrappingSubtract(start, time));
}

/// Where a range is played again and again, sound samples do not end where it ends: without this, sound would run away
/// from the picture by up to one of them a round. What is missing before this one is played as silence; what is too
/// much is added to `skipped` of its `count` bytes. Returns that.
std::size_t QuorObject::JoinRounds(std::int64_t time, std::size_t skipped, std::size_t count,
                                   const std::function<bool()>& isGivenUp) {
    if (skipped == count) {
        m_soundExpected = c_NoSoundStart;  // nothing has been played that this would follow
        return skipped;
    }
    constexpr std::int64_t tolerance = 1000;  // files round the times of their samples
    const std::int64_t begin = WrappingAdd(time, SoundTime(skipped));
    if (m_soundExpected != c_NoSoundStart && CurrentRange().loop) {
        const std::int64_t gap = WrappingSubtract(begin, m_soundExpected);
        if (gap > tolerance) {
            m_audioOutput.PlaySilence(SoundBytes(gap), isGivenUp);
        } else if (gap < -tolerance) {
            skipped = std::min(skipped + SoundBytes(WrappingSubtract(0, gap)), count);
        }
    }
    if (skipped < count) {
        m_soundExpected = WrappingAdd(time, SoundTime(count));
    }
    return skipped;
}

/// How much sound fills a length of the timeline; an hour at most.
std::size_t QuorObject::SoundBytes(std::int64_t timeUs) {
    constexpr double longest = 3600;
    const double seconds = static_cast<double>(timeUs) / 1e6 * std::fabs(static_cast<double>(m_clock.Scale()));
    return static_cast<std::size_t>(std::min(seconds, longest) * AudioOutput::c_FramesPerSecond) *
           AudioOutput::c_BytesPerFrame;
}

/// The other way round; nothing at a scale of 0.
std::int64_t QuorObject::SoundTime(std::size_t bytes) {
    const double scale = std::fabs(static_cast<double>(m_clock.Scale()));
    const double frames = static_cast<double>(bytes) / AudioOutput::c_BytesPerFrame;
    return scale > 0 ? static_cast<std::int64_t>(frames / AudioOutput::c_FramesPerSecond * 1e6 / scale) : 0;
}

}  // namespace Nimb::Plugin
