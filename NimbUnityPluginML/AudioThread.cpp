// The audio thread: decoded sound goes to the output stream, at the pace at which that takes it.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>

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
        if (m_openInfo.autoLoop == 0) {  // a loop goes on in the buffer
            m_audioOutput.Finish();
        }
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
            // A pause does not end the wait for an output buffer, since the sound goes on taking buffers and none of
            // its bytes may be lost; Rewind and Close do.
            const std::size_t offset = std::min(info.offset, size);
            m_audioOutput.Play(data + offset, std::min(info.size, size - offset),
                               [this] { return IsAbandoned(m_audioWorker); });
        }
    }
    MLMediaCodecReleaseOutputBuffer(codec, index, false);
}

}  // namespace Nimb::Plugin
