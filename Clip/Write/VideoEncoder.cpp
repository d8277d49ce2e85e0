#include "Clip/Write/VideoEncoder.h"

#include "Clip/Write/CheckAv.h"
#include "Clip/Write/PictureConverter.h"

#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace Nimb::Authoring {
namespace {

constexpr int c_MinSize = 16;
constexpr int c_MaxSize = 4096;
constexpr const char* c_Encoder = "libx264";
constexpr int c_NoInterval = 1 << 30;  // X264_KEYINT_MAX_INFINITE

void CheckOptions(const VideoTrackOptions& options) {
    for (const int size : {options.width, options.height}) {
        if (size < c_MinSize || size > c_MaxSize || size % 2 != 0) {
            throw std::invalid_argument("a picture of " + std::to_string(options.width) + " x " +
                                        std::to_string(options.height) +
                                        " cannot be stored: sizes must be even, from 16 to 4096");
        }
    }
    if (options.frameRateNumerator <= 0 || options.frameRateDenominator <= 0 || options.keyFrameInterval < 0) {
        throw std::invalid_argument("the frame rate must be positive, and the key frame interval not below 0");
    }
}

/// For x264, beside what FFmpeg has a name for. Its code for AVX-512 goes by memory that nobody has written, in sizes
/// whose number of macroblocks is no multiple of 16: now and then a block is coded in another way, and two machines, or
/// two runs, would not make the same bytes. It is hardly faster than what such a processor has besides.
std::string X264Parameters() {
    std::string parameters = "stitchable=1";  // see the header
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f") != 0) {
        parameters += ":asm=MMX2,SSE2,SSE2Fast,SSSE3,SSE4.2,AVX,FMA3,BMI1,BMI2,AVX2";
    }
#endif
    return parameters;
}

Media::AvPtr<AVCodecContext> OpenEncoder(const VideoTrackOptions& options) {
    const AVCodec* const codec = avcodec_find_encoder_by_name(c_Encoder);
    if (codec == nullptr) {
        throw ClipError(std::string(c_Encoder) + ": FFmpeg was built without it");
    }
    Media::AvPtr<AVCodecContext> context = Media::Owned(avcodec_alloc_context3(codec));
    context->width = options.width;
    context->height = options.height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {options.frameRateDenominator, options.frameRateNumerator};
    context->framerate = {options.frameRateNumerator, options.frameRateDenominator};
    context->gop_size = options.keyFrameInterval > 0 ? options.keyFrameInterval : c_NoInterval;
    context->max_b_frames = 0;  // a player matches pictures and meshes by their order
    context->thread_count = options.threads;
    context->log_level_offset = c_QuietLogOffset;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context->color_range = AVCOL_RANGE_MPEG;
    context->colorspace = AVCOL_SPC_BT709;
    context->color_primaries = AVCOL_PRI_BT709;
    context->color_trc = AVCOL_TRC_BT709;
    if (options.bitRate > 0) {
        context->bit_rate = options.bitRate;
    } else {
        CheckAv(av_opt_set_double(context->priv_data, "crf", options.quality, 0), c_Encoder);
    }
    CheckAv(av_opt_set_int(context->priv_data, "forced-idr", 1, 0), c_Encoder);  // key pictures that are asked for
    CheckAv(av_opt_set(context->priv_data, "preset", options.preset.c_str(), 0), c_Encoder);
    CheckAv(av_opt_set(context->priv_data, "x264-params", X264Parameters().c_str(), 0), c_Encoder);
    CheckAv(avcodec_open2(context.get(), codec, nullptr), c_Encoder);
    return context;
}

}  // namespace

std::string VideoEncoderVersion() {
    VideoTrackOptions options;
    options.width = options.height = c_MinSize;
    VideoEncoder encoder(options);
    const std::vector<BYTE> grey(static_cast<std::size_t>(c_MinSize) * c_MinSize * 4, 128);
    const Media::AvPtr<AVFrame> picture =
        PictureConverter(c_MinSize, c_MinSize).Convert(grey.data(), std::size_t{c_MinSize} * 4);
    std::string version;
    const auto sink = [&version](const AVPacket& packet) {
        const std::string_view bytes(reinterpret_cast<const char*>(packet.data), static_cast<std::size_t>(packet.size));
        const std::size_t begin = bytes.find("x264 - core ");
        if (begin != std::string_view::npos) {
            version = bytes.substr(begin, bytes.find(" - ", begin + 7) - begin);
        }
    };
    encoder.Encode(*picture, {}, KeyPicture::Here, sink);
    encoder.Finish(sink);
    return version;
}

VideoEncoder::VideoEncoder(const VideoTrackOptions& options) {
    CheckOptions(options);
    m_Context = OpenEncoder(options);
    m_Packet = Media::Owned(av_packet_alloc());
    m_Configuration = MakeAvcConfiguration(m_Context->extradata, static_cast<std::size_t>(m_Context->extradata_size));
}

void VideoEncoder::Describe(AVCodecParameters& parameters) const {
    CheckAv(avcodec_parameters_from_context(&parameters, m_Context.get()), c_Encoder);
    // Samples are stored with lengths, so their description is, too.
    av_freep(&parameters.extradata);
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(m_Configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters.extradata == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(parameters.extradata, m_Configuration.data(), m_Configuration.size());
    parameters.extradata_size = static_cast<int>(m_Configuration.size());
}

void VideoEncoder::Encode(const AVFrame& picture, Bytes meshUnit, KeyPicture key, const Sink& sink) {
    const Media::AvPtr<AVFrame> sent = Media::Owned(av_frame_alloc());
    CheckAv(av_frame_ref(sent.get(), &picture), "picture");
    sent->pts = m_FrameCount;
    sent->pict_type = key == KeyPicture::Here    ? AV_PICTURE_TYPE_I
                      : key == KeyPicture::Never ? AV_PICTURE_TYPE_P
                                                 : AV_PICTURE_TYPE_NONE;
    CheckAv(avcodec_send_frame(m_Context.get(), sent.get()), c_Encoder);
    m_MeshUnits.push_back(std::move(meshUnit));
    ++m_FrameCount;
    Drain(sink);
}

void VideoEncoder::Finish(const Sink& sink) {
    CheckAv(avcodec_send_frame(m_Context.get(), nullptr), c_Encoder);
    Drain(sink);
}

void VideoEncoder::Drain(const Sink& sink) {
    for (;;) {
        const int result = avcodec_receive_packet(m_Context.get(), m_Packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
            return;
        }
        CheckAv(result, c_Encoder);
        const std::int64_t oldest = m_FrameCount - static_cast<std::int64_t>(m_MeshUnits.size());
        if (m_Packet->pts != oldest) {
            throw ClipError(std::string(c_Encoder) + ": frame " + std::to_string(oldest) + " came out of order");
        }
        const Bytes sample =
            MakeAvcSample(m_Packet->data, static_cast<std::size_t>(m_Packet->size), m_MeshUnits.front());
        m_MeshUnits.pop_front();

        const Media::AvPtr<AVPacket> packet = Media::Owned(av_packet_alloc());
        CheckAv(av_new_packet(packet.get(), static_cast<int>(sample.size())), "sample");
        std::memcpy(packet->data, sample.data(), sample.size());
        CheckAv(av_packet_copy_props(packet.get(), m_Packet.get()), "sample");
        packet->duration = 1;
        av_packet_unref(m_Packet.get());
        sink(*packet);
    }
}

}  // namespace Nimb::Authoring
