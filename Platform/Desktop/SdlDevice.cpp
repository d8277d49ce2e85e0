// Sound through SDL.
#include "Platform/Desktop/Log.h"
#include "Platform/Desktop/SoundDevice.h"

#include <SDL.h>
#include <dlfcn.h>

#include <mutex>
#include <utility>

namespace Nimb::Desktop {
namespace {

// Frames that the device asks for at a time: 10 ms at 48000 a second, half of what the player hands over.
constexpr uint16_t c_PeriodFrames = 512;

void IgnoreAlsaMessage(const char*, int, const char*, int, const char*, ...) {}

// ALSA complains at length on standard error when there is no sound card; our own log says so instead.
void SilenceAlsa() {
    using Handler = void (*)(const char* file, int line, const char* function, int error, const char* format, ...);
    using SetHandler = int (*)(Handler);
    void* const library = dlopen("libasound.so.2", RTLD_LAZY | RTLD_NOLOAD);
    if (library == nullptr) {
        return;
    }
    const auto setHandler = reinterpret_cast<SetHandler>(dlsym(library, "snd_lib_error_set_handler"));
    if (setHandler != nullptr) {
        setHandler(IgnoreAlsaMessage);
    }
}

// SDL's use counts are not thread-safe.
std::mutex& SdlMutex() {
    static std::mutex* const mutex = new std::mutex;
    return *mutex;
}

class AudioSubsystem {
public:
    AudioSubsystem() {
        const std::lock_guard<std::mutex> lock(SdlMutex());
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");  // a program that plays sound still ends when it is told to
        m_IsUp = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
        static std::once_flag once;
        std::call_once(once, SilenceAlsa);
    }
    ~AudioSubsystem() {
        const std::lock_guard<std::mutex> lock(SdlMutex());
        if (m_IsUp) {
            SDL_QuitSubSystem(SDL_INIT_AUDIO);
        }
    }
    AudioSubsystem(const AudioSubsystem&) = delete;
    AudioSubsystem& operator=(const AudioSubsystem&) = delete;

    bool IsUp() const { return m_IsUp; }

private:
    bool m_IsUp = false;
};

class SdlDevice final : public SoundDevice {
public:
    SdlDevice(const Format& format, Render render)
        : m_Render(std::move(render)),
          m_FrameSize(static_cast<size_t>(format.channelCount) * (format.isFloat ? sizeof(float) : sizeof(int16_t))) {
        if (!m_Subsystem.IsUp()) {
            return;
        }
        SDL_AudioSpec wanted = {};
        wanted.freq = format.sampleRate;
        wanted.format = format.isFloat ? AUDIO_F32SYS : AUDIO_S16SYS;
        wanted.channels = static_cast<uint8_t>(format.channelCount);
        wanted.samples = c_PeriodFrames;
        wanted.callback = Fill;
        wanted.userdata = this;
        const std::lock_guard<std::mutex> lock(SdlMutex());
        m_Device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    }

    ~SdlDevice() override {
        const std::lock_guard<std::mutex> lock(SdlMutex());
        if (IsOpen()) {
            SDL_CloseAudioDevice(m_Device);
        }
    }

    bool IsOpen() const { return m_Device != 0; }

    void SetPaused(bool paused) override { SDL_PauseAudioDevice(m_Device, paused ? 1 : 0); }

private:
    static void Fill(void* self, uint8_t* out, int size) {
        const auto* const device = static_cast<SdlDevice*>(self);
        device->m_Render(out, static_cast<size_t>(size) / device->m_FrameSize);
    }

    const AudioSubsystem m_Subsystem;
    const Render m_Render;
    const size_t m_FrameSize;
    SDL_AudioDeviceID m_Device = 0;
};

}  // namespace

std::unique_ptr<SoundDevice> OpenSdlDevice(const SoundDevice::Format& format, const SoundDevice::Render& render) {
    auto device = std::make_unique<SdlDevice>(format, render);
    if (!device->IsOpen()) {
        NIMB_PLATFORM_LOG(MLLogLevel_Info, "there is no audio device: %s", SDL_GetError());
        return nullptr;
    }
    return device;
}

}  // namespace Nimb::Desktop
