// Which colours the values of a decoded picture mean. Included by the readers of clips, too: they show what players
// show.
#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace Nimb::Desktop {

inline int ColourMatrixOf(const AVFrame& frame) {
    // From this height on video that does not say which colours it means is taken for high definition.
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

inline bool HasFullRange(const AVFrame& frame) {
    switch (frame.format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVJ444P:
            return true;
        default:
            return frame.color_range == AVCOL_RANGE_JPEG;
    }
}

/// For a conversion of this frame to RGBA of full range.
inline void SetColoursOf(const AVFrame& frame, SwsContext& conversion) {
    constexpr int unity = 1 << 16;
    sws_setColorspaceDetails(&conversion, sws_getCoefficients(ColourMatrixOf(frame)), HasFullRange(frame) ? 1 : 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, unity, unity);
}

}  // namespace Nimb::Desktop
