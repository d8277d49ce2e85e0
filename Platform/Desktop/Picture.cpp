#include "Platform/Desktop/Picture.h"

#include <new>
#include <utility>

namespace Nimb::Desktop {

std::shared_ptr<VideoFrame> PictureConverter::Convert(const AVFrame& frame, uint64_t number) {
    std::shared_ptr<VideoFrame> converted = m_Pool->Take(frame.width, frame.height);
    converted->number = number;
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (!m_Converter.Convert(frame, converted->pixels.get(), converted->stride)) {
        throw std::bad_alloc();  // the format can be converted, so this is all that there is
    }
    return converted;
}

Picture::Picture(std::shared_ptr<PictureConverter> converter, const AVFrame& frame, uint64_t number)
    : m_Converter(std::move(converter)), m_Number(number), m_Frame(Media::Owned(av_frame_clone(&frame))) {}

const std::shared_ptr<VideoFrame>& Picture::Rgba() {
    if (m_Rgba == nullptr) {
        m_Rgba = m_Converter->Convert(*m_Frame, m_Number);
        m_Frame.reset();
    }
    return m_Rgba;
}

size_t Picture::RgbaSize() const {
    return m_Rgba != nullptr ? m_Rgba->Size()
                             : Media::RgbaConverter::StrideOf(m_Frame->width) * static_cast<size_t>(m_Frame->height);
}

}  // namespace Nimb::Desktop
