// Frames and their reuse.
#include "Platform/Desktop/VideoFrame.h"

#include "Media/RgbaConverter.h"

#include <utility>

namespace Nimb::Desktop {
namespace {

constexpr size_t c_MaxSpareFrames = 3;

}  // namespace

VideoFrame::VideoFrame(int frameWidth, int frameHeight)
    : width(frameWidth),
      height(frameHeight),
      stride(Media::RgbaConverter::StrideOf(frameWidth)),
      pixels(Media::Owned(static_cast<uint8_t*>(av_malloc(Size() + Media::RgbaConverter::c_Margin)))) {}

VideoFramePool::VideoFramePool() {
    m_Spare.reserve(c_MaxSpareFrames);
}

std::shared_ptr<VideoFrame> VideoFramePool::Take(int width, int height) {
    std::unique_ptr<VideoFrame> frame;
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        while (frame == nullptr && !m_Spare.empty()) {
            frame = std::move(m_Spare.back());
            m_Spare.pop_back();
            if (frame->width != width || frame->height != height) {
                frame.reset();
            }
        }
    }
    if (frame == nullptr) {
        frame = std::make_unique<VideoFrame>(width, height);
    }
    const std::weak_ptr<VideoFramePool> weakPool = weak_from_this();
    return std::shared_ptr<VideoFrame>(frame.release(), [weakPool](VideoFrame* released) {
        std::unique_ptr<VideoFrame> owned(released);
        const std::shared_ptr<VideoFramePool> pool = weakPool.lock();
        if (pool != nullptr) {
            pool->Return(std::move(owned));
        }
    });
}

void VideoFramePool::Return(std::unique_ptr<VideoFrame> frame) noexcept {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Spare.size() < c_MaxSpareFrames) {
        m_Spare.push_back(std::move(frame));
    }
}

}  // namespace Nimb::Desktop
