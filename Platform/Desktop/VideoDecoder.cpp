// Pictures: decoded, and converted to RGBA once.
#include "Media/RgbaConverter.h"
#include "Platform/Desktop/Decoder.h"
#include "Platform/Desktop/Log.h"

namespace Nimb::Desktop {
namespace {

class VideoDecoder final : public Decoder {
public:
    explicit VideoDecoder(Media::AvPtr<AVCodecContext> context)
        : Decoder(std::move(context)), m_Pool(std::make_shared<VideoFramePool>()) {}

protected:
    bool OnFrame(const AVFrame& frame, uint64_t number, const int64_t* timeUs, const Sink& sink) override {
        if (timeUs == nullptr) {
            return true;  // a second picture of one unit, or of a unit that was given up: there is no mesh for it
        }
        std::shared_ptr<VideoFrame> converted = m_Pool->Take(frame.width, frame.height);
        if (!m_Converter.Convert(frame, converted->pixels.get(), converted->stride)) {
            NIMB_PLATFORM_LOG(MLLogLevel_Error, "pictures of pixel format %d cannot be shown", frame.format);
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
    const std::shared_ptr<VideoFramePool> m_Pool;
    Media::RgbaConverter m_Converter{false};
};

}  // namespace

std::unique_ptr<Decoder> MakeVideoDecoder(Media::AvPtr<AVCodecContext> context) {
    return std::make_unique<VideoDecoder>(std::move(context));
}

}  // namespace Nimb::Desktop
