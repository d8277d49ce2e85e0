// What plays a sound: the machine's audio device through SDL, or, where there is none, a clock that consumes the sound
// at the same pace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace Nimb::Desktop {

class SoundDevice {
public:
    struct Format {
        int sampleRate;
        int channelCount;
        bool isFloat;  // otherwise 16-bit integers
    };

    /// Called on the device's thread while the device is not paused: fills `frameCount` frames.
    using Render = std::function<void(uint8_t* out, size_t frameCount)>;

    /// Paused. `render` is not called any more once the destructor has returned, which must not be inside `render`.
    static std::unique_ptr<SoundDevice> Open(const Format& format, Render render);

    virtual ~SoundDevice() = default;
    virtual void SetPaused(bool paused) = 0;
};

/// Null when there is no device.
std::unique_ptr<SoundDevice> OpenSdlDevice(const SoundDevice::Format& format, const SoundDevice::Render& render);
std::unique_ptr<SoundDevice> OpenClockDevice(const SoundDevice::Format& format, SoundDevice::Render render);

}  // namespace Nimb::Desktop
