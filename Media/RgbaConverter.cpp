#include "Media/RgbaConverter.h"

namespace Nimb::Media {
namespace {

int ColourMatrixOf(const AVFrame& frame) {
    // From this height on, video that does not state its colour space is taken for high definition.
    constexpr int highDefinitionHeight = 720;
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
            return frame.height >= highDefinitionHeight ? SWS_CS_ITU709 : SWS_CS_ITU601;
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

}  // namespace

std::size_t RgbaConverter::StrideOf(int width) {
    const std::size_t rowSize = static_cast<std::size_t>(width) * 4;
    return (rowSize + c_Margin - 1) / c_Margin * c_Margin;
}

bool RgbaConverter::Convert(const AVFrame& frame, std::uint8_t* rgba, std::size_t stride) {
    const int flags = m_IsAccurate ? SWS_BILINEAR | SWS_ACCURATE_RND : SWS_BILINEAR;
    m_Context.reset(sws_getCachedContext(m_Context.release(), frame.width, frame.height,
                                         static_cast<AVPixelFormat>(frame.format), frame.width, frame.height,
                                         AV_PIX_FMT_RGBA, flags, nullptr, nullptr, nullptr));
    if (m_Context == nullptr) {
        return false;
    }
    constexpr int unity = 1 << 16;
    sws_setColorspaceDetails(m_Context.get(), sws_getCoefficients(ColourMatrixOf(frame)), HasFullRange(frame) ? 1 : 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, unity, unity);
    std::uint8_t* const planes[4] = {rgba, nullptr, nullptr, nullptr};
    const int strides[4] = {static_cast<int>(stride), 0, 0, 0};
    return sws_scale(m_Context.get(), frame.data, frame.linesize, 0, frame.height, planes, strides) == frame.height;
}

}  // namespace Nimb::Media
