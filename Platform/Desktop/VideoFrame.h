// A decoded picture as RGBA: what the platform hands out as a native buffer.
#pragma once

#include "Media/Av.h"
#include "Platform/Desktop/HandleTable.h"

#include <memory>
#include <mutex>
#include <vector>

namespace Nimb::Desktop {

/// RGBA, 8 bits each, the top row first. Unchanging once the decoder has filled it.
class VideoFrame final : public Object {
public:
    /// Throws std::bad_alloc.
    VideoFrame(int frameWidth, int frameHeight);

    size_t Size() const { return stride * static_cast<size_t>(height); }

    const int width;
    const int height;
    const size_t stride;  // bytes; a multiple of 4, at least 4 x width
    const Media::AvPtr<uint8_t> pixels;
    uint64_t number = 0;  // of the access unit it was decoded from, 1 for the first since Configure
};

/// Keeps the memory of frames that nobody holds any more for the next ones of the same size: fresh pages for every
/// frame would cost more than the conversion into them.
class VideoFramePool : public std::enable_shared_from_this<VideoFramePool> {
public:
    VideoFramePool();

    /// A frame that the caller alone owns. It returns by itself, even after the pool is gone.
    std::shared_ptr<VideoFrame> Take(int width, int height);

private:
    void Return(std::unique_ptr<VideoFrame> frame) noexcept;

    std::mutex m_Mutex;
    std::vector<std::unique_ptr<VideoFrame>> m_Spare;
};

}  // namespace Nimb::Desktop
