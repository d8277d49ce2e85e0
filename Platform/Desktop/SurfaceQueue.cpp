// Rendered and acquired frames.
#include "Platform/Desktop/SurfaceQueue.h"

#include <utility>

namespace Nimb::Desktop {

void SurfaceQueue::Configure() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_LastNumber = 0;
}

void SurfaceQueue::Push(std::shared_ptr<VideoFrame> frame) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Closed) {
        return;
    }
    if (m_Rendered.size() == c_MaxRendered) {
        m_Rendered.pop_front();
    }
    m_Rendered.push_back(std::move(frame));
}

MLResult SurfaceQueue::Acquire(MLHandle* outFrame) {
    *outFrame = ML_INVALID_HANDLE;
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Rendered.empty()) {
        return MLResult_UnspecifiedFailure;
    }
    const uint64_t number = m_Rendered.front()->number;
    const MLHandle handle = HandleTable::Get().Add(m_Rendered.front());
    m_Acquired.insert(handle);
    m_Rendered.pop_front();
    m_LastNumber = number;
    *outFrame = handle;
    return MLResult_Ok;
}

MLResult SurfaceQueue::Release(MLHandle frame) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Acquired.erase(frame) == 0) {
        return MLResult_InvalidParam;
    }
    HandleTable::Get().Remove<VideoFrame>(frame);
    return MLResult_Ok;
}

uint64_t SurfaceQueue::LastNumber() const {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_LastNumber;
}

void SurfaceQueue::DropRendered() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Rendered.clear();
}

void SurfaceQueue::Close() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Closed = true;
    m_Rendered.clear();
    for (const MLHandle frame : m_Acquired) {
        HandleTable::Get().Remove<VideoFrame>(frame);
    }
    m_Acquired.clear();
}

}  // namespace Nimb::Desktop
