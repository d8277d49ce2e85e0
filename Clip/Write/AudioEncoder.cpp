#include "Clip/Write/AudioEncoder.h"

#include "Clip/Write/CheckAv.h"

namespace Nimb::Authoring {
namespace {

constexpr const char* c_Encoder = "AAC encoder";

}  // namespace

AudioEncoder::AudioEncoder(const AudioTrackOptions& options) : m_Packet(Media::Owned(av_packet_alloc())) {
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) {
        throw ClipError(std::string(c_Encoder) + ": FFmpeg was built without it");
    }
    m_Context = Media::Owned(avcodec_alloc_context3(codec));
    m_Context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    m_Context->sample_rate = c_ClipSampleRate;
    m_Context->bit_rate = options.bitRate;
    m_Context->time_base = {1, c_ClipSampleRate};
    m_Context->log_level_offset = c_QuietLogOffset;
    m_Context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_channel_layout_default(&m_Context->ch_layout, c_ClipChannels);
    CheckAv(avcodec_open2(m_Context.get(), codec, nullptr), c_Encoder);
}

void AudioEncoder::Describe(AVCodecParameters& parameters) const {
    CheckAv(avcodec_parameters_from_context(&parameters, m_Context.get()), c_Encoder);
}

void AudioEncoder::Encode(const float* samples, std::size_t frameCount, const Sink& sink) {
    m_Waiting.insert(m_Waiting.end(), samples, samples + frameCount * c_ClipChannels);
    const auto frameSize = static_cast<std::size_t>(m_Context->frame_size);
    std::size_t taken = 0;
    for (; m_Waiting.size() - taken >= frameSize * c_ClipChannels; taken += frameSize * c_ClipChannels) {
        EncodeFrame(m_Waiting.data() + taken, frameSize, sink);
    }
    m_Waiting.erase(m_Waiting.begin(), m_Waiting.begin() + static_cast<std::ptrdiff_t>(taken));
}

void AudioEncoder::Finish(const Sink& sink) {
    if (!m_Waiting.empty()) {
        EncodeFrame(m_Waiting.data(), m_Waiting.size() / c_ClipChannels, sink);
        m_Waiting.clear();
    }
    CheckAv(avcodec_send_frame(m_Context.get(), nullptr), c_Encoder);
    Drain(sink);
}

void AudioEncoder::EncodeFrame(const float* samples, std::size_t frameCount, const Sink& sink) {
    const Media::AvPtr<AVFrame> frame = Media::Owned(av_frame_alloc());
    frame->format = m_Context->sample_fmt;
    frame->sample_rate = m_Context->sample_rate;
    frame->nb_samples = static_cast<int>(frameCount);
    CheckAv(av_channel_layout_copy(&frame->ch_layout, &m_Context->ch_layout), c_Encoder);
    CheckAv(av_frame_get_buffer(frame.get(), 0), c_Encoder);
    for (int channel = 0; channel < c_ClipChannels; ++channel) {
        auto* const plane = reinterpret_cast<float*>(frame->extended_data[channel]);
        for (std::size_t i = 0; i < frameCount; ++i) {
            plane[i] = samples[i * c_ClipChannels + static_cast<std::size_t>(channel)];
        }
    }
    frame->pts = m_Time;
    m_Time += frame->nb_samples;
    CheckAv(avcodec_send_frame(m_Context.get(), frame.get()), c_Encoder);
    Drain(sink);
}

void AudioEncoder::Drain(const Sink& sink) {
    for (;;) {
        const int result = avcodec_receive_packet(m_Context.get(), m_Packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
            return;
        }
        CheckAv(result, c_Encoder);
        sink(*m_Packet);
        av_packet_unref(m_Packet.get());
    }
}

}  // namespace Nimb::Authoring
