// Pictures: decoded, and converted to RGBA once.
#include "Decoder.h"
#include "Log.h"

namespace NimbDesktop {
namespace {

// From this height on video that does not say which colours it means is taken for high definition.
constexpr int c_HighDefinitionHeight = 720;

int ColourMatrixOf(const AVFrame& frame) {
    switch (frame.colorspace) {
        case AVCOL_SPC_BT709:
            return SWS_CS_ITU709;
        case AVCOL_SPC_FCC:
            return SWS_CS_FCC;
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            return SWS_CS_ITU601;
        case AVCOL_SPC_SMPTE240M:
            return SWS_CS_SMPTE240M;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return SWS_CS_BT2020;
        default:
            return frame.height >= c_HighDefinitionHeight ? SWS_CS_ITU709 : SWS_CS_ITU601;
    }
}

bool HasFullRange(const AVFrame& frame) {
    switch (frame.format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVJ444P:
            return true;
        default:
            return frame.color_range == AVCOL_RANGE_JPEG;
    }
}

class VideoDecoder final : public Decoder {
public:
    explicit VideoDecoder(AvPtr<AVCodecContext> context)
        : Decoder(std::move(context)), m_Pool(std::make_shared<VideoFramePool>()) {}

protected:
    bool OnFrame(const AVFrame& frame, uint64_t number, const int64_t* timeUs, const Sink& sink) override {
        if (timeUs == nullptr) {
            return true;  // a second picture of one unit, or of one given up: there is no mesh for it
        }
        std::shared_ptr<VideoFrame> converted = m_Pool->Take(frame.width, frame.height);
        if (!Convert(frame, *converted)) {
            return true;
        }
        converted->number = number;
        DecodedBuffer buffer;
        buffer.timeUs = *timeUs;
        buffer.frame = std::move(converted);
        return sink(std::move(buffer));
    }

    void OnDrained(const Sink&) override {}

private:
    bool Convert(const AVFrame& from, VideoFrame& to) {
        SwsContext* const context = sws_getCachedContext(m_Converter.release(), from.width, from.height,
                                                         static_cast<AVPixelFormat>(from.format), to.width, to.height,
                                                         AV_PIX_FMT_RGBA, SWS_BILINEAR, nullptr, nullptr, nullptr);
        m_Converter.reset(context);
        if (context == nullptr) {
            NIMB_PLATFORM_LOG(MLLogLevel_Error, "pictures of pixel format %d cannot be shown", from.format);
            return false;
        }
        constexpr int unity = 1 << 16;
        sws_setColorspaceDetails(context, sws_getCoefficients(ColourMatrixOf(from)), HasFullRange(from) ? 1 : 0,
                                 sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, unity, unity);
        uint8_t* const planes[4] = {to.pixels.get(), nullptr, nullptr, nullptr};
        const int strides[4] = {static_cast<int>(to.stride), 0, 0, 0};
        return sws_scale(context, from.data, from.linesize, 0, from.height, planes, strides) == to.height;
    }

    const std::shared_ptr<VideoFramePool> m_Pool;
    AvPtr<SwsContext> m_Converter;
};

}  // namespace

std::unique_ptr<Decoder> MakeVideoDecoder(AvPtr<AVCodecContext> context) {
    return std::make_unique<VideoDecoder>(std::move(context));
}

}  // namespace NimbDesktop
