// Decoding with libavcodec: access units go in, pictures or sound come out. Used by one thread.
//
// An access unit travels under its number, which the library carries through as the time stamp, so what comes out knows
// its unit whatever the library lost, delayed or reordered.
#pragma once

#include "Media/Av.h"
#include "Platform/Desktop/MediaFormat.h"
#include "Platform/Desktop/Picture.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace Nimb::Desktop {

/// What the codec's client dequeues.
struct DecodedBuffer {
    int64_t timeUs = 0;
    bool endOfStream = false;
    std::unique_ptr<Picture> picture;  // of video
    std::vector<uint8_t> samples;      // of audio: interleaved, 16 bits, 2 channels, 48000 a second
};

class Decoder {
public:
    /// Takes what was decoded, in order. False when no more output is wanted.
    using Sink = std::function<bool(DecodedBuffer)>;

    /// Null, with a message, when the library cannot decode that format.
    static std::unique_ptr<Decoder> Create(const AVCodec& codec, const MediaFormat& format);

    virtual ~Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// A damaged unit yields nothing; decoding goes on with the next one. Throws std::bad_alloc.
    void Decode(AVPacket& unit, uint64_t number, int64_t timeUs, const Sink& sink);
    /// Parameter sets and the like, which are not access units.
    void Configure(AVPacket& data);
    /// The end of the stream: puts out what is still inside, and resets the decoder.
    void Drain(const Sink& sink);
    /// Discards what is inside.
    virtual void Reset();

protected:
    explicit Decoder(Media::AvPtr<AVCodecContext> context);

    /// `timeUs` is null when the library does not say which unit this comes from.
    virtual bool OnFrame(const AVFrame& frame, uint64_t number, const int64_t* timeUs, const Sink& sink) = 0;
    virtual void OnDrained(const Sink& sink) = 0;

private:
    bool Receive(const Sink& sink);

    const Media::AvPtr<AVCodecContext> m_Context;
    const Media::AvPtr<AVFrame> m_Frame;
    std::map<uint64_t, int64_t> m_Times;  // of the units that went in and did not come out
};

std::unique_ptr<Decoder> MakeVideoDecoder(Media::AvPtr<AVCodecContext> context);
std::unique_ptr<Decoder> MakeAudioDecoder(Media::AvPtr<AVCodecContext> context);

}  // namespace Nimb::Desktop
