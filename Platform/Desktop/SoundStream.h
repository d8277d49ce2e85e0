// A sound's stream: two buffers that the program fills and a device plays, with volume and pitch on the way.
//
// What is played follows the buffers frame by frame (a frame: one sample for each channel). Between two frames it is
// interpolated linearly, so at pitch 1 and volume 1 the samples come out as they went in. When the program is late
// there is silence, and the stream goes on where it was.
#pragma once

#include <ml_audio.h>

#include <array>
#include <cstddef>
#include <mutex>
#include <vector>

namespace Nimb::Desktop {

class SoundStream {
public:
    /// Whether sounds of that format and buffer size can be played: 16-bit integers or 32-bit floats.
    static bool Supports(const MLAudioBufferFormat& format, uint32_t bufferSize);

    SoundStream(const MLAudioBufferFormat& format, uint32_t bufferSize);

    const MLAudioBufferFormat& Format() const { return m_Format; }

    // ---- The program's side ----

    /// The buffer to fill; the same one until it is released. Pending: both are full.
    MLResult GetBuffer(MLAudioBuffer* out);
    MLResult ReleaseBuffer();
    void SetVolume(float volume);
    void SetPitch(float pitch);

    // ---- The device's side ----

    /// Writes `frameCount` frames in the stream's format. How many buffers were played to their end by that.
    int Play(uint8_t* out, size_t frameCount);

private:
    static constexpr size_t c_MaxChannels = 8;
    using Frame = std::array<float, c_MaxChannels>;

    bool TakeFrame(int* played);
    bool PeekFrame(Frame* out) const;
    Frame LoadFrame(const uint8_t* from) const;
    void StoreFrame(const Frame& frame, uint8_t* to) const;
    bool PlayFrame(Frame* out, int* played);

    const MLAudioBufferFormat m_Format;
    const uint32_t m_BufferSize;
    const uint32_t m_FrameSize;

    std::mutex m_Mutex;  // guards all below, except the bytes of the buffer that the program fills
    std::array<std::vector<uint8_t>, 2> m_Buffers;
    size_t m_FullCount = 0;
    size_t m_PlayIndex = 0;  // of the buffer being played; the program's is the one behind the full ones
    size_t m_PlayOffset = 0;
    bool m_IsFilling = false;
    float m_Volume = 1.0f;
    double m_Pitch = 1.0;
    Frame m_Frame = {};    // the one last taken
    double m_Phase = 1.0;  // how far the stream is past it; from 1 on the next frame is due
};

}  // namespace Nimb::Desktop
