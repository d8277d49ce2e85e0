// The double buffer, and playing from it at any speed.
#include "Platform/Desktop/SoundStream.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Nimb::Desktop {
namespace {

constexpr float c_FullScale = 32768.0f;
constexpr uint32_t c_MaxBufferSize = 16u << 20;
// Nothing can be heard at higher speeds, and the stream could not keep up with its own position.
constexpr double c_MaxPitch = 1000.0;

bool IsFloat(const MLAudioBufferFormat& format) {
    return format.sample_format == MLAudioSampleFormat_Float;
}

}  // namespace

bool SoundStream::Supports(const MLAudioBufferFormat& format, uint32_t bufferSize) {
    const bool isInt16 = format.sample_format == MLAudioSampleFormat_Int && format.bits_per_sample == 16;
    const bool isFloat32 = IsFloat(format) && format.bits_per_sample == 32;
    if ((!isInt16 && !isFloat32) || format.valid_bits_per_sample != format.bits_per_sample) {
        return false;
    }
    if (format.channel_count == 0 || format.channel_count > c_MaxChannels || format.samples_per_second < 1000 ||
        format.samples_per_second > 384000) {
        return false;
    }
    const uint32_t frameSize = format.channel_count * format.bits_per_sample / 8;
    return bufferSize > 0 && bufferSize <= c_MaxBufferSize && bufferSize % frameSize == 0;
}

SoundStream::SoundStream(const MLAudioBufferFormat& format, uint32_t bufferSize)
    : m_Format(format), m_BufferSize(bufferSize), m_FrameSize(format.channel_count * format.bits_per_sample / 8) {
    for (auto& buffer : m_Buffers) {
        buffer.resize(bufferSize);
    }
}

MLResult SoundStream::GetBuffer(MLAudioBuffer* out) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_FullCount == m_Buffers.size()) {
        *out = {};
        return MLResult_Pending;
    }
    out->ptr = m_Buffers[(m_PlayIndex + m_FullCount) % m_Buffers.size()].data();
    out->size = m_BufferSize;
    m_IsFilling = true;
    return MLResult_Ok;
}

MLResult SoundStream::ReleaseBuffer() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (!m_IsFilling) {
        return MLResult_UnspecifiedFailure;
    }
    m_IsFilling = false;
    ++m_FullCount;
    return MLResult_Ok;
}

void SoundStream::SetVolume(float volume) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Volume = volume;
}

void SoundStream::SetPitch(float pitch) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Pitch = std::min<double>(pitch, c_MaxPitch);
}

SoundStream::Frame SoundStream::LoadFrame(const uint8_t* from) const {
    Frame frame = {};
    for (size_t channel = 0; channel < m_Format.channel_count; ++channel) {
        if (IsFloat(m_Format)) {
            std::memcpy(&frame[channel], from + channel * sizeof(float), sizeof(float));
        } else {
            int16_t sample = 0;
            std::memcpy(&sample, from + channel * sizeof sample, sizeof sample);
            frame[channel] = static_cast<float>(sample) / c_FullScale;
        }
    }
    return frame;
}

void SoundStream::StoreFrame(const Frame& frame, uint8_t* to) const {
    for (size_t channel = 0; channel < m_Format.channel_count; ++channel) {
        const float value = frame[channel] * m_Volume;
        if (IsFloat(m_Format)) {
            std::memcpy(to + channel * sizeof value, &value, sizeof value);
        } else {
            const float scaled = std::isnan(value) ? 0.0f : std::clamp(value * c_FullScale, -c_FullScale, 32767.0f);
            const auto sample = static_cast<int16_t>(std::lrint(scaled));
            std::memcpy(to + channel * sizeof sample, &sample, sizeof sample);
        }
    }
}

bool SoundStream::PeekFrame(Frame* out) const {
    if (m_FullCount == 0) {
        return false;
    }
    *out = LoadFrame(m_Buffers[m_PlayIndex].data() + m_PlayOffset);
    return true;
}

// Makes the next frame the current one. False: it is not there yet.
bool SoundStream::TakeFrame(int* played) {
    if (!PeekFrame(&m_Frame)) {
        return false;
    }
    m_PlayOffset += m_FrameSize;
    if (m_PlayOffset == m_BufferSize) {
        m_PlayOffset = 0;
        m_PlayIndex = (m_PlayIndex + 1) % m_Buffers.size();
        --m_FullCount;
        ++*played;
    }
    return true;
}

bool SoundStream::PlayFrame(Frame* out, int* played) {
    while (m_Phase >= 1.0) {
        if (!TakeFrame(played)) {
            return false;
        }
        m_Phase -= 1.0;
    }
    *out = m_Frame;
    Frame next;
    if (m_Phase > 0.0 && PeekFrame(&next)) {
        for (size_t channel = 0; channel < m_Format.channel_count; ++channel) {
            (*out)[channel] += (next[channel] - m_Frame[channel]) * static_cast<float>(m_Phase);
        }
    }
    m_Phase += m_Pitch;
    return true;
}

int SoundStream::Play(uint8_t* out, size_t frameCount) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    int played = 0;
    for (size_t i = 0; i < frameCount; ++i) {
        Frame frame = {};
        if (!PlayFrame(&frame, &played)) {
            std::memset(out + i * m_FrameSize, 0, (frameCount - i) * m_FrameSize);
            break;
        }
        StoreFrame(frame, out + i * m_FrameSize);
    }
    return played;
}

}  // namespace Nimb::Desktop
