#include "Clip/Read/ClipPictures.h"

#include "Media/Av.h"
#include "Media/RgbaConverter.h"

#include <cstring>
#include <optional>

namespace Nimb::Authoring {
namespace {

/// One track's decoder, on the thread that calls it.
class TrackDecoder {
public:
    TrackDecoder(const ClipReader& reader, std::size_t track)
        : m_Packet(Media::Owned(av_packet_alloc())), m_Frame(Media::Owned(av_frame_alloc())) {
        const std::string what = reader.Path() + ": track " + std::to_string(track);
        const AVCodecParameters& parameters = reader.Parameters(track);
        const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
        if (codec == nullptr) {
            throw InputError(what + ": there is no decoder for " + avcodec_get_name(parameters.codec_id));
        }
        m_Context = Media::Owned(avcodec_alloc_context3(codec));
        int result = avcodec_parameters_to_context(m_Context.get(), &parameters);
        // With frame threads, an error would be blamed on a later sample.
        m_Context->thread_type = FF_THREAD_SLICE;
        m_Context->thread_count = 0;
        if (result >= 0) {
            result = avcodec_open2(m_Context.get(), codec, nullptr);
        }
        if (result < 0) {
            throw InputError(what + ": the decoder cannot be opened: " + Media::AvText(result));
        }
    }

    /// Null: the end. `onFrame` gets an AVFrame whose pts is the number of its sample.
    template <class OnFrame>
    std::string Decode(const ClipSample* pSample, OnFrame&& onFrame) {
        if (pSample != nullptr) {
            if (pSample->byteStream.empty()) {
                return pSample->damage;  // a decoder would take an empty packet for the end of the stream
            }
            const int result = av_new_packet(m_Packet.get(), static_cast<int>(pSample->byteStream.size()));
            if (result < 0) {
                throw std::bad_alloc();
            }
            std::memcpy(m_Packet->data, pSample->byteStream.data(), pSample->byteStream.size());
            m_Packet->pts = static_cast<std::int64_t>(pSample->number);
        }
        const int sent = avcodec_send_packet(m_Context.get(), pSample != nullptr ? m_Packet.get() : nullptr);
        av_packet_unref(m_Packet.get());
        std::string problem = sent < 0 ? Media::AvText(sent) : "";
        for (;;) {
            const int result = avcodec_receive_frame(m_Context.get(), m_Frame.get());
            if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
                return problem;
            }
            if (result < 0) {
                return problem.empty() ? Media::AvText(result) : problem;
            }
            onFrame(*m_Frame);
            av_frame_unref(m_Frame.get());
        }
    }

private:
    Media::AvPtr<AVCodecContext> m_Context;
    Media::AvPtr<AVPacket> m_Packet;
    Media::AvPtr<AVFrame> m_Frame;
};

/// Converts as the player does, except that it rounds exactly.
class ImageConverter {
public:
    Image Convert(const AVFrame& from) {
        Image image(static_cast<std::size_t>(from.width), static_cast<std::size_t>(from.height));
        const std::size_t stride = Media::RgbaConverter::StrideOf(from.width);
        m_Rows.resize(stride * image.height + Media::RgbaConverter::c_Margin);
        if (!m_Converter.Convert(from, m_Rows.data(), stride)) {
            throw InputError("pictures of pixel format " + std::to_string(from.format) + " cannot be converted");
        }
        for (std::size_t y = 0; y < image.height; ++y) {
            std::memcpy(image.Pixel(0, y), &m_Rows[y * stride], image.width * 4);
        }
        return image;
    }

private:
    Media::RgbaConverter m_Converter{true};
    std::vector<BYTE> m_Rows;
};

}  // namespace

class ClipPictures::Decoder {
public:
    Decoder(const ClipReader& reader, std::size_t track, bool withImages) : m_Decoder(reader, track) {
        if (withImages) {
            m_Converter.emplace();
        }
    }

    std::string Decode(const ClipSample* pSample, const Sink& sink) {
        return m_Decoder.Decode(pSample, [&](const AVFrame& frame) {
            if (frame.pts == AV_NOPTS_VALUE) {
                return;  // a sample's second picture, which nobody asked for
            }
            ClipPicture picture;
            picture.number = static_cast<std::size_t>(frame.pts);
            picture.width = frame.width;
            picture.height = frame.height;
            picture.isDamaged = frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
            if (m_Converter) {
                picture.image = m_Converter->Convert(frame);
            }
            sink(std::move(picture));
        });
    }

private:
    TrackDecoder m_Decoder;
    std::optional<ImageConverter> m_Converter;
};

ClipPictures::ClipPictures(const ClipReader& reader, std::size_t track, bool withImages)
    : m_Decoder(std::make_unique<Decoder>(reader, track, withImages)) {}

ClipPictures::~ClipPictures() = default;

std::string ClipPictures::Decode(const ClipSample& sample, const Sink& sink) {
    return m_Decoder->Decode(&sample, sink);
}

std::string ClipPictures::Finish(const Sink& sink) {
    return m_Decoder->Decode(nullptr, sink);
}

class ClipSound::Decoder : public TrackDecoder {
public:
    using TrackDecoder::TrackDecoder;
};

ClipSound::ClipSound(const ClipReader& reader, std::size_t track)
    : m_Decoder(std::make_unique<Decoder>(reader, track)) {}

ClipSound::~ClipSound() = default;

std::string ClipSound::Decode(const ClipSample& sample) {
    return m_Decoder->Decode(&sample, [](const AVFrame&) {});
}

}  // namespace Nimb::Authoring
