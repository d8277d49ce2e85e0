// Sounds, and the audio functions.
#include "Platform/Desktop/PublicCall.h"
#include "Platform/Desktop/SoundDevice.h"
#include "Platform/Desktop/SoundStream.h"

#include <ml_audio.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>

namespace Nimb::Desktop {
namespace {

class Sound;

// The sound whose callback this thread is in.
thread_local const Sound* t_CallingBack = nullptr;

class Sound final : public Object {
public:
    Sound(const MLAudioBufferFormat& format, uint32_t bufferSize, MLAudioBufferCallback callback, void* context)
        : m_Stream(format, bufferSize), m_Callback(callback), m_Context(context) {}

    void Open(MLHandle handle) {
        m_Handle = handle;
        const MLAudioBufferFormat& format = m_Stream.Format();
        m_Device =
            SoundDevice::Open({static_cast<int>(format.samples_per_second), static_cast<int>(format.channel_count),
                               format.sample_format == MLAudioSampleFormat_Float},
                              [this](uint8_t* out, size_t frameCount) { Play(out, frameCount); });
    }

    MLResult SetPaused(bool paused) {
        const std::lock_guard<std::mutex> lock(m_DeviceMutex);
        if (m_Device == nullptr) {
            return MLResult_InvalidParam;
        }
        m_Device->SetPaused(paused);
        return MLResult_Ok;
    }

    bool IsCallingBack() const { return t_CallingBack == this; }

    /// No callback begins after this. Waits for a running one, so do not call it from there.
    void Close() {
        std::unique_ptr<SoundDevice> device;
        const std::lock_guard<std::mutex> lock(m_DeviceMutex);
        device = std::move(m_Device);
    }

    SoundStream& Stream() { return m_Stream; }

private:
    void Play(uint8_t* out, size_t frameCount) {
        const int played = m_Stream.Play(out, frameCount);
        if (m_Callback == nullptr) {
            return;
        }
        t_CallingBack = this;
        for (int i = 0; i < played; ++i) {
            m_Callback(m_Handle, m_Context);
        }
        t_CallingBack = nullptr;
    }

    SoundStream m_Stream;
    const MLAudioBufferCallback m_Callback;
    void* const m_Context;
    MLHandle m_Handle = ML_INVALID_HANDLE;

    std::mutex m_DeviceMutex;  // guards the pointer below
    std::unique_ptr<SoundDevice> m_Device;
};

}  // namespace
}  // namespace Nimb::Desktop

using namespace Nimb::Desktop;

MLResult MLAudioCreateSoundWithOutputStream(const MLAudioBufferFormat* format, uint32_t buffer_size,
                                            MLAudioBufferCallback callback, void* context, MLHandle* out_sound) {
    return PublicCall([&]() -> MLResult {
        if (out_sound == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_sound = ML_INVALID_HANDLE;
        if (format == nullptr || !SoundStream::Supports(*format, buffer_size)) {
            return MLResult_InvalidParam;
        }
        auto sound = std::make_shared<Sound>(*format, buffer_size, callback, context);
        const MLHandle handle = HandleTable::Get().Add(sound);
        try {
            sound->Open(handle);
        } catch (...) {
            HandleTable::Get().Remove<Sound>(handle);
            throw;
        }
        *out_sound = handle;
        return MLResult_Ok;
    });
}

MLResult MLAudioStartSound(MLHandle handle) {
    return CallOn<Sound>(handle, [](Sound& sound) { return sound.SetPaused(false); });
}

MLResult MLAudioStopSound(MLHandle handle) {
    return CallOn<Sound>(handle, [](Sound& sound) { return sound.SetPaused(true); });
}

MLResult MLAudioDestroySound(MLHandle handle) {
    return PublicCall([&]() -> MLResult {
        const auto sound = HandleTable::Get().Remove<Sound>(handle);
        if (sound == nullptr) {
            return MLResult_InvalidParam;
        }
        if (sound->IsCallingBack()) {
            std::thread([sound] { sound->Close(); }).detach();
        } else {
            sound->Close();
        }
        return MLResult_Ok;
    });
}

MLResult MLAudioSetSoundVolumeLinear(MLHandle handle, float volume) {
    return CallOn<Sound>(handle, [&](Sound& sound) -> MLResult {
        if (!std::isfinite(volume) || volume < 0.0f) {
            return MLResult_InvalidParam;
        }
        sound.Stream().SetVolume(volume);
        return MLResult_Ok;
    });
}

MLResult MLAudioSetSoundPitch(MLHandle handle, float pitch) {
    return CallOn<Sound>(handle, [&](Sound& sound) -> MLResult {
        if (!std::isfinite(pitch) || pitch <= 0.0f) {
            return MLResult_InvalidParam;
        }
        sound.Stream().SetPitch(pitch);
        return MLResult_Ok;
    });
}

MLResult MLAudioGetOutputStreamBuffer(MLHandle handle, MLAudioBuffer* out_buffer) {
    return CallOn<Sound>(handle, [&](Sound& sound) -> MLResult {
        return out_buffer != nullptr ? sound.Stream().GetBuffer(out_buffer) : MLResult{MLResult_InvalidParam};
    });
}

MLResult MLAudioReleaseOutputStreamBuffer(MLHandle handle) {
    return CallOn<Sound>(handle, [](Sound& sound) { return sound.Stream().ReleaseBuffer(); });
}
