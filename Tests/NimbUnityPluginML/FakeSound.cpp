// The fake platform's sound: a double-buffered output stream that remembers what it was handed.
#include "Tests/NimbUnityPluginML/FakeHandles.h"

#include <ml_audio.h>

#include <algorithm>
#include <array>

namespace {

using Fake::Enter;
using Fake::WithLocked;

std::mutex g_PlayedMutex;
Fake::Bytes g_Played;
std::atomic<float> g_Volume{1.0f};
std::atomic<float> g_Pitch{1.0f};

class Sound : public Fake::Object {
public:
    explicit Sound(std::uint32_t size) : Object(Fake::Kind::Sound) {
        g_Pitch = 1.0f;
        for (Fake::Bytes& buffer : m_Buffers) {
            buffer.resize(size);
        }
    }

    std::array<Fake::Bytes, 2> m_Buffers;
    std::size_t m_Filling = 0;  ///< index of the buffer that is or will be handed out
    bool m_HandedOut = false;
    int m_Full = 0;
    int m_Refused = 0;
};

}  // namespace

namespace Fake {

Bytes PlayedSound() {
    const std::lock_guard<std::mutex> lock(g_PlayedMutex);
    return g_Played;
}

void ForgetPlayedSound() {
    const std::lock_guard<std::mutex> lock(g_PlayedMutex);
    g_Played.clear();
    g_Volume = 1.0f;
    g_Pitch = 1.0f;
}

float Volume() {
    return g_Volume;
}

float Pitch() {
    return g_Pitch;
}

}  // namespace Fake

MLResult MLAudioCreateSoundWithOutputStream(const MLAudioBufferFormat* format, uint32_t size, MLAudioBufferCallback,
                                            void*, MLHandle* out) {
    const Fake::Inside inside;
    if (const auto scripted = Enter(__func__)) {
        return *scripted;
    }
    const bool asAgreed = format->channel_count == 2 && format->samples_per_second == 48000 &&
                          format->bits_per_sample == 16 && format->valid_bits_per_sample == 16 &&
                          format->sample_format == MLAudioSampleFormat_Int && size == 4096;
    if (!asAgreed) {
        return MLResult_InvalidParam;
    }
    const std::uint32_t scripted = Fake::TheScript().soundBufferBytes;
    *out = Fake::HandleTable::Instance().Add(std::make_shared<Sound>(scripted != 0 ? scripted : size));
    return MLResult_Ok;
}

MLResult MLAudioStartSound(MLHandle handle) {
    return WithLocked<Sound>(__func__, handle, [](Sound&) { return MLResult_Ok; });
}

MLResult MLAudioStopSound(MLHandle handle) {
    return WithLocked<Sound>(__func__, handle, [](Sound&) { return MLResult_Ok; });
}

MLResult MLAudioDestroySound(MLHandle handle) {
    return Fake::Destroy<Sound>(__func__, handle);
}

MLResult MLAudioSetSoundVolumeLinear(MLHandle handle, float volume) {
    return WithLocked<Sound>(__func__, handle, [volume](Sound&) {
        g_Volume = volume;
        return MLResult_Ok;
    });
}

MLResult MLAudioSetSoundPitch(MLHandle handle, float pitch) {
    return WithLocked<Sound>(__func__, handle, [pitch](Sound&) {
        g_Pitch = pitch;
        return MLResult_Ok;
    });
}

MLResult MLAudioGetOutputStreamBuffer(MLHandle handle, MLAudioBuffer* out) {
    return WithLocked<Sound>(__func__, handle, [out](Sound& sound) {
        if (!Fake::TheScript().holdSound) {
            sound.m_Full = 0;
        }
        if (!sound.m_HandedOut) {
            if (sound.m_Full == 2 || sound.m_Refused < Fake::TheScript().soundRefusals) {
                ++sound.m_Refused;
                return MLResult_UnspecifiedFailure;
            }
            sound.m_Refused = 0;
            sound.m_HandedOut = true;
            // Makes bytes show that nobody writes.
            std::fill(sound.m_Buffers[sound.m_Filling].begin(), sound.m_Buffers[sound.m_Filling].end(),
                      std::uint8_t{0xEE});
        }
        Fake::Bytes& buffer = sound.m_Buffers[sound.m_Filling];
        *out = {buffer.data(), static_cast<uint32_t>(buffer.size())};
        return MLResult_Ok;
    });
}

MLResult MLAudioReleaseOutputStreamBuffer(MLHandle handle) {
    return WithLocked<Sound>(__func__, handle, [](Sound& sound) {
        if (!sound.m_HandedOut) {
            return MLResult_UnspecifiedFailure;
        }
        {
            const std::lock_guard<std::mutex> lock(g_PlayedMutex);
            const Fake::Bytes& buffer = sound.m_Buffers[sound.m_Filling];
            g_Played.insert(g_Played.end(), buffer.begin(), buffer.end());
        }
        sound.m_HandedOut = false;
        sound.m_Filling = 1 - sound.m_Filling;
        ++sound.m_Full;
        return MLResult_Ok;
    });
}
