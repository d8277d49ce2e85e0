#include "Clip/Write/PictureConverter.h"

#include "Clip/Write/CheckAv.h"

namespace Nimb::Authoring {

PictureConverter::PictureConverter(int width, int height) : m_Width(width), m_Height(height) {
    m_Converter =
        Media::Owned(sws_getContext(width, height, AV_PIX_FMT_RGBA, width, height, AV_PIX_FMT_YUV420P,
                                    SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr, nullptr));
    constexpr int unity = 1 << 16;
    sws_setColorspaceDetails(m_Converter.get(), sws_getCoefficients(SWS_CS_DEFAULT), 1,
                             sws_getCoefficients(SWS_CS_ITU709), 0, 0, unity, unity);
}

Media::AvPtr<AVFrame> PictureConverter::Convert(const BYTE* rgba, std::size_t stride) {
    Media::AvPtr<AVFrame> picture = Media::Owned(av_frame_alloc());
    picture->format = AV_PIX_FMT_YUV420P;
    picture->width = m_Width;
    picture->height = m_Height;
    CheckAv(av_frame_get_buffer(picture.get(), 0), "picture");
    const BYTE* const planes[4] = {rgba, nullptr, nullptr, nullptr};
    const int strides[4] = {static_cast<int>(stride), 0, 0, 0};
    CheckAv(sws_scale(m_Converter.get(), planes, strides, 0, m_Height, picture->data, picture->linesize), "picture");
    return picture;
}

}  // namespace Nimb::Authoring
