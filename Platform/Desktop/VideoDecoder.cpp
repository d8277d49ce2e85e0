// Pictures, as they come out of the decoder.
#include "Platform/Desktop/Decoder.h"
#include "Platform/Desktop/Log.h"

namespace Nimb::Desktop {
namespace {

class VideoDecoder final : public Decoder {
public:
    explicit VideoDecoder(Media::AvPtr<AVCodecContext> context)
        : Decoder(std::move(context)), m_Converter(std::make_shared<PictureConverter>()) {}

protected:
    bool OnFrame(const AVFrame& frame, uint64_t number, const int64_t* timeUs, const Sink& sink) override {
        if (timeUs == nullptr) {
            return true;  // a second picture of one unit, or of a unit that was given up: there is no mesh for it
        }
        if (!Picture::IsConvertible(frame)) {
            NIMB_PLATFORM_LOG(MLLogLevel_Error, "pictures of pixel format %d cannot be shown", frame.format);
            return true;
        }
        DecodedBuffer buffer;
        buffer.timeUs = *timeUs;
        buffer.picture = std::make_unique<Picture>(m_Converter, frame, number);
        return sink(std::move(buffer));
    }

    void OnDrained(const Sink&) override {}

private:
    const std::shared_ptr<PictureConverter> m_Converter;
};

}  // namespace

std::unique_ptr<Decoder> MakeVideoDecoder(Media::AvPtr<AVCodecContext> context) {
    return std::make_unique<VideoDecoder>(std::move(context));
}

}  // namespace Nimb::Desktop
