// The sound that decoded audio is played with, and the buffer of its output stream that is being filled.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <ml_audio.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace Nimb::Plugin {

/// Of one player. A function that does nothing without a sound may be called without one.
class AudioOutput {
public:
    // What sounds are made of: the platform's decoders deliver this, whatever the track's format is.
    static constexpr std::uint32_t c_FramesPerSecond = 48000;
    static constexpr std::uint32_t c_Channels = 2;
    static constexpr std::size_t c_BytesPerFrame = c_Channels * sizeof(std::int16_t);

    /// `id`: the player's, for the log.
    explicit AudioOutput(int id) : m_id(id) {}

    /// Any thread.
    bool Exists() const noexcept { return m_sound != ML_INVALID_HANDLE; }

    // ---- Script thread ----

    /// False, with a line in the log, when the platform refuses. `player` goes along as the sound's user data.
    bool Create(void* player);
    bool Start();
    bool SetVolume(float volume);
    void SetPitch(float pitch);

    /// What the buffer holds is from before a rewind. The audio thread sleeps.
    void DropFilled() noexcept { m_filled = 0; }

    /// Does nothing without a sound. The audio thread sleeps.
    void Release();

    // ---- Audio thread ----

    /// Copies decoded sound into output buffers, which can be larger or smaller: it is cut to fit, and a buffer that it
    /// does not fill waits for the next sound. Waits for buffers as long as there is a sound and `isGivenUp` is false.
    void Play(const BYTE* data, std::size_t size, const std::function<bool()>& isGivenUp);

    /// The same for so many bytes of silence.
    void PlaySilence(std::size_t size, const std::function<bool()>& isGivenUp);

    /// Plays a buffer that was begun with silence behind its sound.
    void Finish();

private:
    bool TakeBuffer(const std::function<bool()>& isGivenUp);
    void ReleaseBuffer();

    const int m_id;

    // Made and destroyed by the script thread, used by it and by the audio thread. A stale one is refused by the
    // platform.
    std::atomic<MLHandle> m_sound{ML_INVALID_HANDLE};

    // Audio thread, and the script thread while that sleeps.
    MLAudioBuffer m_buffer{};
    std::size_t m_filled = 0;
};

}  // namespace Nimb::Plugin
