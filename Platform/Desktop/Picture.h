// A decoded picture before anybody has asked what it looks like: many are decoded only because others need them.
#pragma once

#include "Media/Av.h"
#include "Media/RgbaConverter.h"
#include "Platform/Desktop/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

namespace Nimb::Desktop {

/// What the pictures of one decoder are converted with. Any thread.
class PictureConverter {
public:
    PictureConverter() : m_Pool(std::make_shared<VideoFramePool>()) {}

    /// Throws std::bad_alloc.
    std::shared_ptr<VideoFrame> Convert(const AVFrame& frame, uint64_t number);

private:
    const std::shared_ptr<VideoFramePool> m_Pool;
    std::mutex m_Mutex;  // guards the converter
    Media::RgbaConverter m_Converter{false};
};

/// One thread at a time.
class Picture {
public:
    /// Whether pictures of this pixel format can be converted.
    static bool IsConvertible(const AVFrame& frame) {
        return sws_isSupportedInput(static_cast<AVPixelFormat>(frame.format)) != 0;
    }

    /// Shares the frame's memory. `number`: of its access unit. Throws std::bad_alloc.
    Picture(std::shared_ptr<PictureConverter> converter, const AVFrame& frame, uint64_t number);

    /// As RGBA, converted when it is asked for first. Throws std::bad_alloc.
    const std::shared_ptr<VideoFrame>& Rgba();

    /// Bytes as RGBA.
    size_t RgbaSize() const;

private:
    const std::shared_ptr<PictureConverter> m_Converter;
    const uint64_t m_Number;
    Media::AvPtr<AVFrame> m_Frame;  // null once it is converted
    std::shared_ptr<VideoFrame> m_Rgba;
};

}  // namespace Nimb::Desktop
