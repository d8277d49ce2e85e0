// The audio thread: decoded sound goes to the output stream, at the pace at which that takes it.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <cstring>

namespace Nimb::Plugin {

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
    const MLResult result = MLMediaCodecDequeueOutputBuffer(codec, &info, c_NoTimeout, &index);
    if (result != MLResult_Ok) {
        if (!m_abandon) {  // otherwise it was most likely our own flush
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
        FinishAudio();
        m_audioWorker.RequestSleep();
        m_audioOutputEOS = true;
        ReportEndOfStream(m_videoOutputEOS || m_videoCodec == ML_INVALID_HANDLE);
    } else {
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        if (MLMediaCodecGetOutputBufferPointer(codec, index, &data, &size) != MLResult_Ok) {
            if (!m_abandon) {
                NIMB_LOG_ERROR("[%i] MLMediaCodecGetOutputBufferPointer failed", m_id);
            }
        } else {
            PlayAudio(data + std::min(info.offset, size), std::min(info.size, size - std::min(info.offset, size)));
        }
    }
    MLMediaCodecReleaseOutputBuffer(codec, index, false);
}

/// Copies decoded sound into output buffers, which can be larger or smaller: it is cut to fit, and a buffer that it
/// does not fill waits for the next sound.
void QuorObject::PlayAudio(const BYTE* data, std::size_t size) {
    while (size > 0 && TakeAudioBuffer()) {
        const std::size_t count = std::min<std::size_t>(size, m_audioBuffer.size - m_audioBufferFilled);
        std::memcpy(m_audioBuffer.ptr + m_audioBufferFilled, data, count);
        data += count;
        size -= count;
        m_audioBufferFilled += count;
        if (m_audioBufferFilled == m_audioBuffer.size) {
            ReleaseAudioBuffer();
        }
    }
}

/// Makes sure that there is an output buffer to fill, trying for as long as there is a sound. A pause does not end the
/// wait, since the sound goes on taking buffers and none of its bytes may be lost; Rewind and Close do.
bool QuorObject::TakeAudioBuffer() {
    while (m_audioBuffer.ptr == nullptr) {
        if (m_sound == ML_INVALID_HANDLE || IsAbandoned(m_audioWorker)) {
            return false;
        }
        MLAudioBuffer buffer{};
        if (MLAudioGetOutputStreamBuffer(m_sound, &buffer) == MLResult_Ok && buffer.ptr != nullptr && buffer.size > 0) {
            m_audioBuffer = buffer;
            m_audioBufferFilled = 0;
        } else {
            std::this_thread::sleep_for(Worker::c_Rest);
        }
    }
    return true;
}

void QuorObject::ReleaseAudioBuffer() {
    MLAudioReleaseOutputStreamBuffer(m_sound);
    m_audioBuffer = {};
    m_audioBufferFilled = 0;
}

/// The last buffer of a file that does not loop is played with silence behind its sound. A loop goes on in it.
void QuorObject::FinishAudio() {
    if (m_audioBuffer.ptr != nullptr && m_openInfo.autoLoop == 0) {
        std::memset(m_audioBuffer.ptr + m_audioBufferFilled, 0, m_audioBuffer.size - m_audioBufferFilled);
        ReleaseAudioBuffer();
    }
}

}  // namespace Nimb::Plugin
