// What decoding pictures and decoding sound have in common: opening, feeding, collecting.
#include "Platform/Desktop/Decoder.h"

#include "Platform/Desktop/Log.h"

#include <algorithm>
#include <thread>

namespace Nimb::Desktop {
namespace {

constexpr int c_MaxThreads = 4;
constexpr int64_t c_MaxPixels = int64_t{8192} * 4352;  // the largest picture that H.264 knows
// More units than any stream keeps inside: what is older was lost.
constexpr size_t c_MaxUnitsInside = 64;
// After this many errors in a row, a decoder that still does not ask for input is given up.
constexpr int c_MaxErrors = 32;

Media::AvPtr<AVCodecContext> OpenContext(const AVCodec& codec, const MediaFormat& format) {
    Media::AvPtr<AVCodecContext> context = Media::Owned(avcodec_alloc_context3(&codec));
    int result = avcodec_parameters_to_context(context.get(), format.parameters.get());
    // Threads that share a picture add no delay. A thread for each picture would hold back as many pictures as there
    // are threads, and the player, which has only a few frames under way, would wait for ever.
    context->thread_type = FF_THREAD_SLICE;
    context->thread_count = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, c_MaxThreads);
    context->max_pixels = c_MaxPixels;
    context->flags |= AV_CODEC_FLAG_UNALIGNED;  // exact cropping
    if (result >= 0) {
        result = avcodec_open2(context.get(), &codec, nullptr);
    }
    if (result < 0) {
        NIMB_PLATFORM_LOG(MLLogLevel_Error, "cannot open the decoder %s: %s", codec.name,
                          Media::AvText(result).c_str());
        return nullptr;
    }
    return context;
}

}  // namespace

std::unique_ptr<Decoder> Decoder::Create(const AVCodec& codec, const MediaFormat& format) {
    if (format.parameters == nullptr || format.parameters->codec_id != codec.id) {
        NIMB_PLATFORM_LOG(MLLogLevel_Error, "the decoder %s does not fit the format", codec.name);
        return nullptr;
    }
    Media::AvPtr<AVCodecContext> context = OpenContext(codec, format);
    if (context == nullptr) {
        return nullptr;
    }
    return codec.type == AVMEDIA_TYPE_VIDEO ? MakeVideoDecoder(std::move(context))
                                            : MakeAudioDecoder(std::move(context));
}

Decoder::Decoder(Media::AvPtr<AVCodecContext> context)
    : m_Context(std::move(context)), m_Frame(Media::Owned(av_frame_alloc())) {}

void Decoder::Decode(AVPacket& unit, uint64_t number, int64_t timeUs, const Sink& sink) {
    m_Times[number] = timeUs;
    if (m_Times.size() > c_MaxUnitsInside) {
        m_Times.erase(m_Times.begin());
    }
    unit.pts = static_cast<int64_t>(number);
    unit.dts = AV_NOPTS_VALUE;
    const int result = avcodec_send_packet(m_Context.get(), &unit);
    if (result == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
    if (result < 0) {
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "access unit %llu is damaged: %s",
                          static_cast<unsigned long long>(number), Media::AvText(result).c_str());
    }
    Receive(sink);
}

void Decoder::Configure(AVPacket& data) {
    data.pts = data.dts = AV_NOPTS_VALUE;
    avcodec_send_packet(m_Context.get(), &data);
    Receive([](DecodedBuffer) { return true; });  // nothing comes out of parameter sets
}

void Decoder::Drain(const Sink& sink) {
    avcodec_send_packet(m_Context.get(), nullptr);
    if (Receive(sink)) {
        OnDrained(sink);
    }
    Reset();
}

void Decoder::Reset() {
    avcodec_flush_buffers(m_Context.get());
    m_Times.clear();
}

// Hands on what is ready. False when the sink wants no more.
bool Decoder::Receive(const Sink& sink) {
    for (int errors = 0; errors < c_MaxErrors;) {
        const int result = avcodec_receive_frame(m_Context.get(), m_Frame.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
            return true;
        }
        if (result == AVERROR(ENOMEM)) {
            throw std::bad_alloc();
        }
        if (result < 0) {
            ++errors;
            continue;
        }
        errors = 0;
        const auto number = static_cast<uint64_t>(m_Frame->pts);
        const auto time = m_Times.find(number);
        int64_t timeUs = 0;
        const bool isKnown = time != m_Times.end();
        if (isKnown) {
            timeUs = time->second;
            m_Times.erase(time);
        }
        const bool goOn = OnFrame(*m_Frame, number, isKnown ? &timeUs : nullptr, sink);
        av_frame_unref(m_Frame.get());
        if (!goOn) {
            return false;
        }
    }
    return true;
}

}  // namespace Nimb::Desktop
