// Encoding, painting and muxing of the test clips.
#include "Tests/Platform/Clip.h"

#include "Media/Av.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <stdexcept>

namespace NimbTest {
namespace {

namespace Media = Nimb::Media;

constexpr int c_Columns = 4;
constexpr int c_Rows = 3;  // of squares, one for each bit; a red strip of the same height comes below

void Check(int result, const char* what) {
    if (result < 0) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(result, text, sizeof text);
        throw std::runtime_error(std::string(what) + ": " + text);
    }
}

std::vector<uint8_t> MakePrivateUnit(int number) {
    std::vector<uint8_t> unit = {0x18, 'T', 'A', 'R', 'N', 0, 0, 3, 0, 0, 3, 1};
    std::mt19937 random(static_cast<unsigned>(number));
    for (int i = 0; i < 200 + number * 7 % 1000; ++i) {
        unit.push_back(static_cast<uint8_t>(random() % 255 + 1));
    }
    unit.insert(unit.end(), {0, 0, 3, 0, 0, 3, 0xFF});
    return unit;
}

void Paint(AVFrame& frame, int number) {
    for (int y = 0; y < frame.height; ++y) {
        const int row = y * (c_Rows + 1) / frame.height;
        for (int x = 0; x < frame.width; ++x) {
            const int bit = row * c_Columns + x * c_Columns / frame.width;
            const bool isLit = row < c_Rows && (number >> bit & 1) != 0;
            frame.data[0][y * frame.linesize[0] + x] = row == c_Rows ? 81 : isLit ? 235 : 16;
        }
    }
    for (int y = 0; y < (frame.height + 1) / 2; ++y) {
        const bool isRed = 2 * y * (c_Rows + 1) / frame.height == c_Rows;
        std::memset(frame.data[1] + y * frame.linesize[1], isRed ? 90 : 128, static_cast<size_t>(frame.width + 1) / 2);
        std::memset(frame.data[2] + y * frame.linesize[2], isRed ? 240 : 128, static_cast<size_t>(frame.width + 1) / 2);
    }
}

Media::AvPtr<AVCodecContext> OpenVideoEncoder(const ClipOptions& options) {
    const AVCodec* const codec = avcodec_find_encoder_by_name("libx264");
    Media::AvPtr<AVCodecContext> encoder = Media::Owned(avcodec_alloc_context3(codec));
    encoder->width = options.width;
    encoder->height = options.height;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->time_base = {1, options.framesPerSecond};
    encoder->gop_size = options.keyInterval;
    encoder->max_b_frames = options.bFrames;
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    encoder->thread_count = 1;
    av_opt_set(encoder->priv_data, "preset", "ultrafast", 0);
    const std::string reordering = ":b-adapt=0:bframes=" + std::to_string(options.bFrames);
    av_opt_set(encoder->priv_data, "x264-params", ("scenecut=0" + reordering).c_str(), 0);
    Check(avcodec_open2(encoder.get(), codec, nullptr), "libx264");
    return encoder;
}

Media::AvPtr<AVCodecContext> OpenAudioEncoder(const ClipOptions& options) {
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    Media::AvPtr<AVCodecContext> encoder = Media::Owned(avcodec_alloc_context3(codec));
    encoder->sample_rate = options.sampleRate;
    encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder->time_base = {1, options.sampleRate};
    av_channel_layout_default(&encoder->ch_layout, options.channelCount);
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    Check(avcodec_open2(encoder.get(), codec, nullptr), "aac");
    return encoder;
}

class ClipWriter {
public:
    explicit ClipWriter(const ClipOptions& options) : m_Options(options) {
        static int count = 0;
        m_Clip.path = TemporaryPath("clip" + std::to_string(count++) + ".mp4");
        AVFormatContext* muxer = nullptr;
        Check(avformat_alloc_output_context2(&muxer, nullptr, "mp4", m_Clip.path.c_str()), "mp4");
        m_Muxer.reset(muxer);
        m_Video = OpenVideoEncoder(options);
        AddStream(*m_Video);
        if (options.sampleRate > 0) {
            m_Audio = OpenAudioEncoder(options);
            AddStream(*m_Audio);
        }
    }

    Clip Write() {
        AVDictionary* muxing = nullptr;
        if (m_Options.indexFirst) {
            av_dict_set(&muxing, "movflags", "faststart", 0);
        }
        Check(avio_open(&m_Muxer->pb, m_Clip.path.c_str(), AVIO_FLAG_WRITE), "open");
        Check(avformat_write_header(m_Muxer.get(), &muxing), "header");
        av_dict_free(&muxing);
        WriteVideo();
        if (m_Audio != nullptr) {
            WriteAudio();
        }
        Check(av_write_trailer(m_Muxer.get()), "trailer");
        Check(avio_closep(&m_Muxer->pb), "close");
        return m_Clip;
    }

private:
    void AddStream(const AVCodecContext& encoder) {
        AVStream* const stream = avformat_new_stream(m_Muxer.get(), nullptr);
        Check(avcodec_parameters_from_context(stream->codecpar, &encoder), "parameters");
        stream->time_base = encoder.time_base;
    }

    // Takes all packets that the encoder has; a null frame: all there will be.
    void Encode(AVCodecContext& encoder, const AVFrame* frame, int stream,
                const std::function<Media::AvPtr<AVPacket>(Media::AvPtr<AVPacket>)>& change) {
        Check(avcodec_send_frame(&encoder, frame), "encode");
        for (;;) {
            Media::AvPtr<AVPacket> packet = Media::Owned(av_packet_alloc());
            if (avcodec_receive_packet(&encoder, packet.get()) < 0) {
                return;
            }
            packet = change(std::move(packet));
            packet->stream_index = stream;
            av_packet_rescale_ts(packet.get(), encoder.time_base,
                                 m_Muxer->streams[static_cast<unsigned>(stream)]->time_base);
            Check(av_interleaved_write_frame(m_Muxer.get(), packet.get()), "write");
        }
    }

    // The sample with its private unit, in front of the picture or behind it.
    Media::AvPtr<AVPacket> AddPrivateUnit(Media::AvPtr<AVPacket> packet) const {
        packet->duration = 1;
        const std::vector<uint8_t>& unit = m_Clip.privateUnits.at(static_cast<size_t>(packet->pts));
        std::vector<uint8_t> bytes = {0, 0, 0, 1};  // the muxer puts lengths in place of start codes
        bytes.insert(bytes.end(), unit.begin(), unit.end());
        bytes.insert(packet->pts % 2 == 0 ? bytes.end() : bytes.begin(), packet->data, packet->data + packet->size);
        Media::AvPtr<AVPacket> extended = Media::Owned(av_packet_alloc());
        Check(av_new_packet(extended.get(), static_cast<int>(bytes.size())), "packet");
        std::memcpy(extended->data, bytes.data(), bytes.size());
        Check(av_packet_copy_props(extended.get(), packet.get()), "packet");
        return extended;
    }

    void WriteVideo() {
        const auto change = [this](Media::AvPtr<AVPacket> packet) { return AddPrivateUnit(std::move(packet)); };
        for (int i = 0; i < m_Options.frameCount; ++i) {
            m_Clip.privateUnits.push_back(MakePrivateUnit(i));
            Media::AvPtr<AVFrame> frame = Media::Owned(av_frame_alloc());
            frame->format = AV_PIX_FMT_YUV420P;
            frame->width = m_Options.width;
            frame->height = m_Options.height;
            frame->pts = i;
            Check(av_frame_get_buffer(frame.get(), 0), "frame");
            Paint(*frame, i);
            Encode(*m_Video, frame.get(), 0, change);
        }
        Encode(*m_Video, nullptr, 0, change);
    }

    void WriteAudio() {
        const auto change = [](Media::AvPtr<AVPacket> packet) { return packet; };
        const int64_t total = int64_t{m_Options.sampleRate} * m_Options.frameCount / m_Options.framesPerSecond;
        for (int64_t at = 0; at < total; at += m_Audio->frame_size) {
            Media::AvPtr<AVFrame> frame = Media::Owned(av_frame_alloc());
            frame->format = m_Audio->sample_fmt;
            frame->nb_samples = m_Audio->frame_size;
            frame->pts = at;
            Check(av_channel_layout_copy(&frame->ch_layout, &m_Audio->ch_layout), "layout");
            Check(av_frame_get_buffer(frame.get(), 0), "frame");
            for (int channel = 0; channel < m_Options.channelCount; ++channel) {
                for (int i = 0; i < frame->nb_samples; ++i) {
                    const double time = static_cast<double>(at + i) / m_Options.sampleRate;
                    const auto value =
                        static_cast<float>(0.5 * std::sin(2 * 3.14159265358979 * c_ToneFrequency * time));
                    std::memcpy(frame->data[channel] + sizeof(float) * static_cast<size_t>(i), &value, sizeof value);
                }
            }
            Encode(*m_Audio, frame.get(), 1, change);
        }
        Encode(*m_Audio, nullptr, 1, change);
    }

    struct MuxerDeleter {
        void operator()(AVFormatContext* p) const { avformat_free_context(p); }
    };

    const ClipOptions m_Options;
    Clip m_Clip;
    std::unique_ptr<AVFormatContext, MuxerDeleter> m_Muxer;
    Media::AvPtr<AVCodecContext> m_Video;
    Media::AvPtr<AVCodecContext> m_Audio;
};

}  // namespace

std::string TemporaryPath(const std::string& name) {
    static const ClipTest::TemporaryFolder folder;
    return folder / name;
}

Clip MakeClip(const ClipOptions& options) {
    av_log_set_level(AV_LOG_ERROR);
    return ClipWriter(options).Write();
}

int ReadPaintedNumber(const std::vector<uint8_t>& rgba, int width, int height) {
    const auto pixel = [&](int column, int row) {
        const int x = (2 * column + 1) * width / (2 * c_Columns);
        const int y = (2 * row + 1) * height / (2 * (c_Rows + 1));
        return rgba.data() + 4 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
    };
    int number = 0;
    for (int bit = 0; bit < c_Columns * c_Rows; ++bit) {
        const uint8_t* const p = pixel(bit % c_Columns, bit / c_Columns);
        const bool isWhite = p[0] > 190 && p[1] > 190 && p[2] > 190;
        const bool isBlack = p[0] < 60 && p[1] < 60 && p[2] < 60;
        if (!isWhite && !isBlack) {
            return -1;
        }
        number |= isWhite ? 1 << bit : 0;
    }
    const uint8_t* const strip = pixel(c_Columns / 2, c_Rows);
    const bool isRed = strip[0] > 190 && strip[1] < 80 && strip[2] < 80 && strip[3] == 255;
    return isRed ? number : -1;
}

}  // namespace NimbTest
