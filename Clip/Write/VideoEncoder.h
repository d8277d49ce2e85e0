// Pictures to H.264 samples, each with the mesh of its frame. Streams of encoders with the same size, rate and preset
// can follow each other in one track: their parameter sets are the same, whatever the quality.
#pragma once

#include "Clip/Write/AvcSample.h"
#include "Clip/Write/TrackOptions.h"
#include "Media/Av.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace Nimb::Authoring {

/// Version and revision of the encoder, as it writes them into its streams. Throws ClipError.
std::string VideoEncoderVersion();

class VideoEncoder {
public:
    /// Takes a sample, in the order of the frames; times in units of TimeBase().
    using Sink = std::function<void(AVPacket&)>;

    /// Throws std::invalid_argument for invalid sizes and rates, ClipError when the encoder does not open.
    explicit VideoEncoder(const VideoTrackOptions& options);

    void Describe(AVCodecParameters& parameters) const;
    AVRational TimeBase() const { return m_Context->time_base; }

    /// `picture` as PictureConverter makes it. `meshUnit` in bare framing; empty: none.
    void Encode(const AVFrame& picture, Bytes meshUnit, KeyPicture key, const Sink& sink);
    void Finish(const Sink& sink);

    std::int64_t FrameCount() const { return m_FrameCount; }

private:
    void Drain(const Sink& sink);

    Media::AvPtr<AVCodecContext> m_Context;
    Media::AvPtr<AVPacket> m_Packet;
    Bytes m_Configuration;
    std::deque<Bytes> m_MeshUnits;  // of the pictures that the encoder holds back, oldest first
    std::int64_t m_FrameCount = 0;
};

}  // namespace Nimb::Authoring
