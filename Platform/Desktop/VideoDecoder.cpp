// Pictures: decoded, and converted to RGBA once.
#include "Decoder.h"
#include "FrameColours.h"
#include "Log.h"

namespace Nimb::Desktop {
namespace {

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
        SetColoursOf(from, *context);
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

}  // namespace Nimb::Desktop
