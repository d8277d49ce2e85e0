// A codec's surface: rendered frames, until they are acquired, and acquired ones, until they are released.
#pragma once

#include "Platform/Desktop/HandleTable.h"
#include "Platform/Desktop/VideoFrame.h"

#include <deque>
#include <memory>
#include <mutex>
#include <set>

namespace Nimb::Desktop {

class SurfaceQueue {
public:
    static constexpr std::size_t c_MaxRendered = 16;

    ~SurfaceQueue() { Close(); }

    /// The frame last acquired has number 0 again.
    void Configure();
    /// Rendered frames that nobody acquires are kept across a codec's flush, up to c_MaxRendered; beyond that, the
    /// oldest is dropped.
    void Push(std::shared_ptr<VideoFrame> frame);
    /// The oldest frame gets a handle.
    MLResult Acquire(MLHandle* outFrame);
    MLResult Release(MLHandle frame);
    uint64_t LastNumber() const;
    /// Drops the frames that nobody acquired.
    void DropRendered();
    /// Drops all frames and takes no more.
    void Close();

private:
    mutable std::mutex m_Mutex;  // guards all below; taken before the handle table's
    bool m_Closed = false;
    std::deque<std::shared_ptr<VideoFrame>> m_Rendered;
    std::set<MLHandle> m_Acquired;
    uint64_t m_LastNumber = 0;
};

}  // namespace Nimb::Desktop
