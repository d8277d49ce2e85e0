// Sound: decoded and, whatever the track has, converted to the codec's only output format: interleaved 16-bit samples,
// 2 channels, 48000 a second.
#include "Platform/Desktop/Decoder.h"
#include "Platform/Desktop/Log.h"

namespace Nimb::Desktop {
namespace {

constexpr int c_SampleRate = 48000;
constexpr int c_ChannelCount = 2;
constexpr size_t c_FrameSize = c_ChannelCount * sizeof(int16_t);

class ChannelLayout {
public:
    ChannelLayout() { av_channel_layout_default(&m_Layout, c_ChannelCount); }
    ~ChannelLayout() { av_channel_layout_uninit(&m_Layout); }
    ChannelLayout(const ChannelLayout&) = delete;
    ChannelLayout& operator=(const ChannelLayout&) = delete;

    /// The layout of that frame; the usual one for its number of channels where the frame only has a number.
    bool Set(const AVFrame& frame) {
        if (frame.ch_layout.order != AV_CHANNEL_ORDER_UNSPEC) {
            return av_channel_layout_copy(&m_Layout, &frame.ch_layout) >= 0;
        }
        av_channel_layout_uninit(&m_Layout);
        av_channel_layout_default(&m_Layout, frame.ch_layout.nb_channels);
        return true;
    }

    AVChannelLayout* Get() { return &m_Layout; }

private:
    AVChannelLayout m_Layout = {};
};

class AudioDecoder final : public Decoder {
public:
    explicit AudioDecoder(Media::AvPtr<AVCodecContext> context) : Decoder(std::move(context)) {}

    void Reset() override {
        Decoder::Reset();
        m_Resampler.reset();
    }

protected:
    bool OnFrame(const AVFrame& frame, uint64_t, const int64_t* timeUs, const Sink& sink) override {
        if (timeUs != nullptr) {
            m_TimeUs = *timeUs;  // otherwise the unit's second frame, which follows on the first
        }
        if (!IsResamplerFor(frame)) {
            if (!Convert(nullptr, 0, sink)) {
                return false;
            }
            MakeResampler(frame);
        }
        const auto data = const_cast<const uint8_t**>(frame.extended_data);
        return Convert(data, frame.nb_samples, sink);
    }

    void OnDrained(const Sink& sink) override { Convert(nullptr, 0, sink); }

private:
    bool IsResamplerFor(const AVFrame& frame) {
        ChannelLayout layout;
        return m_Resampler != nullptr && frame.sample_rate == m_InputRate && frame.format == m_InputFormat &&
               layout.Set(frame) && av_channel_layout_compare(layout.Get(), m_InputLayout.Get()) == 0;
    }

    void MakeResampler(const AVFrame& frame) {
        m_Resampler.reset();
        m_InputRate = frame.sample_rate;
        m_InputFormat = frame.format;
        SwrContext* context = nullptr;
        ChannelLayout stereo;
        int result = m_InputLayout.Set(frame) ? 0 : AVERROR(ENOMEM);
        if (result >= 0) {
            result = swr_alloc_set_opts2(&context, stereo.Get(), AV_SAMPLE_FMT_S16, c_SampleRate, m_InputLayout.Get(),
                                         static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
        }
        m_Resampler.reset(context);
        if (result >= 0) {
            result = swr_init(context);
        }
        if (result < 0) {
            NIMB_PLATFORM_LOG(MLLogLevel_Error, "sound cannot be resampled: %s", Media::AvText(result).c_str());
            m_Resampler.reset();
        }
    }

    // Without data, flushes what the resampler still holds.
    bool Convert(const uint8_t** data, int sampleCount, const Sink& sink) {
        const int capacity = m_Resampler != nullptr ? swr_get_out_samples(m_Resampler.get(), sampleCount) : 0;
        if (capacity <= 0) {
            return true;
        }
        DecodedBuffer buffer;
        buffer.timeUs = m_TimeUs;
        buffer.samples.resize(static_cast<size_t>(capacity) * c_FrameSize);
        uint8_t* out = buffer.samples.data();
        const int converted = swr_convert(m_Resampler.get(), &out, capacity, data, sampleCount);
        if (converted <= 0) {
            return true;
        }
        buffer.samples.resize(static_cast<size_t>(converted) * c_FrameSize);
        // Times are the client's and may be anything.
        m_TimeUs = static_cast<int64_t>(static_cast<uint64_t>(m_TimeUs) + uint64_t(converted) * 1000000 / c_SampleRate);
        return sink(std::move(buffer));
    }

    Media::AvPtr<SwrContext> m_Resampler;  // for input of this form:
    int m_InputRate = 0;
    int m_InputFormat = AV_SAMPLE_FMT_NONE;
    ChannelLayout m_InputLayout;

    int64_t m_TimeUs = 0;
};

}  // namespace

std::unique_ptr<Decoder> MakeAudioDecoder(Media::AvPtr<AVCodecContext> context) {
    return std::make_unique<AudioDecoder>(std::move(context));
}

}  // namespace Nimb::Desktop
