#include "Clip/Write/AudioReader.h"

#include "Authoring/Scene/MeshSource.h"
#include "Clip/Write/AudioEncoder.h"
#include "Clip/Write/CheckAv.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace Nimb::Authoring {
namespace {

/// What a resampler converts from.
struct SoundFormat {
    explicit SoundFormat(const AVFrame& frame)
        : sampleFormat(frame.format), sampleRate(frame.sample_rate), channels(frame.ch_layout.nb_channels) {}

    bool operator==(const SoundFormat& other) const {
        return sampleFormat == other.sampleFormat && sampleRate == other.sampleRate && channels == other.channels;
    }

    int sampleFormat;
    int sampleRate;
    int channels;
};

}  // namespace

class AudioReader::Decoder {
public:
    Decoder(std::string path, double startSeconds) : m_Path(std::move(path)) {
        Check(Media::OpenAvFile(m_Path, nullptr, 0, {}, m_Format), "");
        Check(avformat_find_stream_info(m_Format.get(), nullptr), "");
        const AVCodec* codec = nullptr;
        const int stream = av_find_best_stream(m_Format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
        if (stream < 0 || codec == nullptr) {
            throw InputError(m_Path + ": has no sound that can be read");
        }
        m_Stream = m_Format->streams[stream];
        m_Context = Media::Owned(avcodec_alloc_context3(codec));
        Check(avcodec_parameters_to_context(m_Context.get(), m_Stream->codecpar), "sound");
        m_Context->pkt_timebase = m_Stream->time_base;
        Check(avcodec_open2(m_Context.get(), codec, nullptr), "sound");
        m_Skip = static_cast<std::size_t>(std::llround(startSeconds * c_ClipSampleRate));
    }

    std::size_t Read(float* samples, std::size_t frameCount) {
        while (m_Silence + m_Waiting.size() / c_ClipChannels < frameCount && !m_AtEnd) {
            DecodeMore();
        }
        const std::size_t silent = std::min(frameCount, m_Silence);
        std::fill_n(samples, silent * c_ClipChannels, 0.0f);
        m_Silence -= silent;
        const std::size_t count = std::min(frameCount - silent, m_Waiting.size() / c_ClipChannels);
        const auto end = m_Waiting.begin() + static_cast<std::ptrdiff_t>(count * c_ClipChannels);
        std::copy(m_Waiting.begin(), end, samples + silent * c_ClipChannels);
        m_Waiting.erase(m_Waiting.begin(), end);
        return silent + count;
    }

    std::size_t DamagedPackets() const { return m_DamagedPackets; }

    std::optional<double> Silence() {
        while (m_Waiting.empty() && !m_AtEnd) {
            DecodeMore();
        }
        return m_Waiting.empty() ? std::nullopt : std::optional(static_cast<double>(m_Silence) / c_ClipSampleRate);
    }

private:
    void Check(int result, const std::string& what) const {
        try {
            CheckAv(result, m_Path + (what.empty() ? "" : ": ") + what);
        } catch (const ClipError& error) {
            throw InputError(error.what());
        }
    }

    /// Gives the decoder a packet, or tells it the end, and takes what comes out.
    void DecodeMore() {
        const int read = av_read_frame(m_Format.get(), m_Packet.get());
        if (read == AVERROR_EOF) {
            Send(nullptr);
            Flush();
            m_AtEnd = true;
            return;
        }
        Check(read, "sound");
        if (m_Packet->stream_index == m_Stream->index) {
            Send(m_Packet.get());
        }
        av_packet_unref(m_Packet.get());
    }

    void Send(const AVPacket* packet) {
        const int sent = avcodec_send_packet(m_Context.get(), packet);
        if (sent == AVERROR_INVALIDDATA) {
            ++m_DamagedPackets;
            return;
        }
        Check(sent, "sound");
        for (;;) {
            const int received = avcodec_receive_frame(m_Context.get(), m_Frame.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) {
                return;
            }
            if (received == AVERROR_INVALIDDATA) {
                ++m_DamagedPackets;
                return;
            }
            Check(received, "sound");
            Convert();
            av_frame_unref(m_Frame.get());
        }
    }

    void Convert() {
        const SoundFormat format(*m_Frame);
        if (!m_ResamplerFormat) {
            AddSilenceBefore(m_Frame->best_effort_timestamp);
        }
        if (!(m_ResamplerFormat == format)) {  // streams may change on the way
            Flush();
            OpenResampler();
            m_ResamplerFormat = format;
        }
        Resample(const_cast<const std::uint8_t**>(m_Frame->extended_data), m_Frame->nb_samples);
    }

    void OpenResampler() {
        AVChannelLayout stereo;
        av_channel_layout_default(&stereo, c_ClipChannels);
        SwrContext* resampler = nullptr;
        Check(swr_alloc_set_opts2(&resampler, &stereo, AV_SAMPLE_FMT_FLT, c_ClipSampleRate, &m_Frame->ch_layout,
                                  static_cast<AVSampleFormat>(m_Frame->format), m_Frame->sample_rate, 0, nullptr),
              "sound");
        m_Resampler.reset(resampler);
        Check(swr_init(resampler), "sound");
    }

    /// A track may begin later than the file.
    void AddSilenceBefore(std::int64_t timestamp) {
        if (timestamp == AV_NOPTS_VALUE) {
            return;
        }
        double seconds = static_cast<double>(timestamp) * av_q2d(m_Stream->time_base);
        if (m_Format->start_time != AV_NOPTS_VALUE) {
            seconds -= static_cast<double>(m_Format->start_time) / AV_TIME_BASE;
        }
        constexpr double longest = 24 * 3600;
        const auto frames = static_cast<std::size_t>(std::clamp(seconds, 0.0, longest) * c_ClipSampleRate);
        const std::size_t skipped = std::min(m_Skip, frames);
        m_Skip -= skipped;
        m_Silence = frames - skipped;
    }

    void Flush() {
        if (m_Resampler != nullptr) {
            Resample(nullptr, 0);
        }
    }

    void Resample(const std::uint8_t** in, int count) {
        const int room = swr_get_out_samples(m_Resampler.get(), count);
        Check(room, "sound");
        std::vector<float> out(static_cast<std::size_t>(room) * c_ClipChannels);
        auto* const bytes = reinterpret_cast<std::uint8_t*>(out.data());
        std::uint8_t* const planes[] = {bytes};
        const int converted = swr_convert(m_Resampler.get(), const_cast<std::uint8_t**>(planes), room, in, count);
        Check(converted, "sound");
        out.resize(static_cast<std::size_t>(converted) * c_ClipChannels);
        Append(out);
    }

    void Append(const std::vector<float>& samples) {
        const std::size_t skipped = std::min(m_Skip, samples.size() / c_ClipChannels);
        m_Skip -= skipped;
        m_Waiting.insert(m_Waiting.end(), samples.begin() + static_cast<std::ptrdiff_t>(skipped * c_ClipChannels),
                         samples.end());
    }

    std::string m_Path;
    Media::AvPtr<AVFormatContext> m_Format;
    const AVStream* m_Stream = nullptr;
    Media::AvPtr<AVCodecContext> m_Context;
    Media::AvPtr<SwrContext> m_Resampler;  // from the first decoded frame on
    std::optional<SoundFormat> m_ResamplerFormat;
    Media::AvPtr<AVPacket> m_Packet = Media::Owned(av_packet_alloc());
    Media::AvPtr<AVFrame> m_Frame = Media::Owned(av_frame_alloc());
    std::size_t m_Silence = 0;     // frames before what has been decoded
    std::vector<float> m_Waiting;  // decoded and not read yet
    std::size_t m_Skip = 0;        // frames still to be left out
    std::size_t m_DamagedPackets = 0;
    bool m_AtEnd = false;
};

AudioReader::AudioReader(const std::string& path, double startSeconds)
    : m_Decoder(std::make_unique<Decoder>(path, startSeconds)) {}

AudioReader::~AudioReader() = default;

std::size_t AudioReader::Read(float* samples, std::size_t frameCount) {
    return m_Decoder->Read(samples, frameCount);
}

std::size_t AudioReader::DamagedPackets() const {
    return m_Decoder->DamagedPackets();
}

std::optional<double> AudioReader::Silence() {
    return m_Decoder->Silence();
}

}  // namespace Nimb::Authoring
