#include "NimbUnityPluginML/AudioOutput.h"

#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/Worker.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <thread>

namespace Nimb::Plugin {

bool AudioOutput::Create(void* player) {
    const MLAudioBufferFormat format{c_Channels, c_FramesPerSecond, 16, 16, MLAudioSampleFormat_Int, 0};
    constexpr std::uint32_t bufferBytes = 4096;
    MLHandle sound = ML_INVALID_HANDLE;
    if (MLAudioCreateSoundWithOutputStream(&format, bufferBytes, nullptr, player, &sound) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLAudioCreateSoundWithOutputStream failed", m_id);
        return false;
    }
    m_sound = sound;
    return true;
}

bool AudioOutput::Start() {
    if (MLAudioStartSound(m_sound) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLAudioStartSound failed", m_id);
        return false;
    }
    return true;
}

bool AudioOutput::SetVolume(float volume) {
    if (!Exists()) {
        return false;
    }
    if (MLAudioSetSoundVolumeLinear(m_sound, volume) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLAudioSetSoundVolumeLinear failed", m_id);
        return false;
    }
    return true;
}

void AudioOutput::SetPitch(float pitch) {
    if (Exists() && MLAudioSetSoundPitch(m_sound, pitch) != MLResult_Ok) {
        NIMB_LOG_INFO("[%i] MLAudioSetSoundPitch failed", m_id);  // deliberately not an error
    }
}

void AudioOutput::Release() {
    const MLHandle sound = m_sound.exchange(ML_INVALID_HANDLE);
    if (sound != ML_INVALID_HANDLE) {
        MLAudioStopSound(sound);
        MLAudioDestroySound(sound);
        m_buffer = {};
        m_filled = 0;
    }
}

void AudioOutput::Play(const BYTE* data, std::size_t size, const std::function<bool()>& isGivenUp) {
    while (size > 0 && TakeBuffer(isGivenUp)) {
        const std::size_t count = std::min<std::size_t>(size, m_buffer.size - m_filled);
        std::memcpy(m_buffer.ptr + m_filled, data, count);
        data += count;
        size -= count;
        m_filled += count;
        if (m_filled == m_buffer.size) {
            ReleaseBuffer();
        }
    }
}

void AudioOutput::PlaySilence(std::size_t size, const std::function<bool()>& isGivenUp) {
    constexpr std::array<BYTE, 4096> silence{};
    for (; size > 0 && Exists() && !isGivenUp(); size -= std::min(size, silence.size())) {
        Play(silence.data(), std::min(size, silence.size()), isGivenUp);
    }
}

void AudioOutput::Finish() {
    if (m_buffer.ptr != nullptr) {
        std::memset(m_buffer.ptr + m_filled, 0, m_buffer.size - m_filled);
        ReleaseBuffer();
    }
}

/// Makes sure that there is an output buffer to fill. False when the wait for one was given up.
bool AudioOutput::TakeBuffer(const std::function<bool()>& isGivenUp) {
    while (m_buffer.ptr == nullptr) {
        if (!Exists() || isGivenUp()) {
            return false;
        }
        MLAudioBuffer buffer{};
        if (MLAudioGetOutputStreamBuffer(m_sound, &buffer) == MLResult_Ok && buffer.ptr != nullptr && buffer.size > 0) {
            m_buffer = buffer;
            m_filled = 0;
        } else {
            std::this_thread::sleep_for(Worker::c_Rest);
        }
    }
    return true;
}

void AudioOutput::ReleaseBuffer() {
    MLAudioReleaseOutputStreamBuffer(m_sound);
    m_buffer = {};
    m_filled = 0;
}

}  // namespace Nimb::Plugin
