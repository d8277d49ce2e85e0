// Sound to AAC samples.
#pragma once

#include "Clip/Write/TrackOptions.h"
#include "Media/Av.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace Nimb::Authoring {

constexpr int c_ClipSampleRate = 48000;
constexpr int c_ClipChannels = 2;
constexpr int c_PacketSamples = 1024;  ///< of each channel, as AAC has them

class AudioEncoder {
public:
    /// Takes a sample; times in units of 1 / c_ClipSampleRate.
    using Sink = std::function<void(AVPacket&)>;

    explicit AudioEncoder(const AudioTrackOptions& options);

    void Describe(AVCodecParameters& parameters) const;

    /// Interleaved, from -1 to 1; a frame is one value for each channel.
    void Encode(const float* samples, std::size_t frameCount, const Sink& sink);
    void Finish(const Sink& sink);

private:
    void EncodeFrame(const float* samples, std::size_t frameCount, const Sink& sink);
    void Drain(const Sink& sink);

    Media::AvPtr<AVCodecContext> m_Context;
    Media::AvPtr<AVPacket> m_Packet;
    std::vector<float> m_Waiting;  // interleaved; less than the encoder's frame between calls
    std::int64_t m_Time = 0;
};

}  // namespace Nimb::Authoring
