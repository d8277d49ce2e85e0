#include "NimbUnityPluginML/FrameQueue.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Nimb::Plugin {
namespace {

/// How far apart numbers of mesh and texture are when one of them is from before a restart.
constexpr std::uint64_t c_RestartDistance = 10;

/// Mesh minus texture, unsigned: a mesh behind its texture is very far ahead of it.
std::uint64_t Ahead(const MeshFrame& frame, std::int64_t textureFrameNumber) {
    return static_cast<std::uint64_t>(frame.m_FrameNumber) - static_cast<std::uint64_t>(textureFrameNumber);
}

}  // namespace

bool FrameQueue::TakeSlot(const std::function<bool()>& cancelled, const std::function<void()>& stillWaiting) {
    constexpr std::chrono::milliseconds slice{20};
    std::unique_lock<std::mutex> lock(m_SlotsMutex);
    for (;;) {
        const bool isFree = m_SlotsChanged.wait_for(lock, slice, [this] { return m_freeMeshSlots > 0; });
        if (cancelled()) {
            return false;  // also when it was the canceller who made a slot free
        }
        if (isFree) {
            --m_freeMeshSlots;
            return true;
        }
        lock.unlock();
        stillWaiting();
        lock.lock();
    }
}

void FrameQueue::ReturnSlots(std::int32_t count) {
    {
        const std::lock_guard<std::mutex> lock(m_SlotsMutex);
        m_freeMeshSlots += count;
    }
    m_SlotsChanged.notify_one();
}

FrameQueue::Ticket FrameQueue::CurrentTicket() {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    return m_Ticket;
}

std::optional<std::int64_t> FrameQueue::TakeNumber(Ticket ticket) {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    if (ticket.file != m_Ticket.file) {
        return std::nullopt;
    }
    if (IsCurrentLocked(ticket)) {
        m_FirstOfPass = std::min(m_FirstOfPass, m_meshFrameCounter);
    }
    return m_meshFrameCounter++;
}

void FrameQueue::Push(std::shared_ptr<MeshFrame> frame, Ticket ticket) {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    if (IsCurrentLocked(ticket)) {
        m_Frames.push_back(std::move(frame));
    } else {
        ReturnSlots(1);
    }
}

void FrameQueue::CountLost(Ticket ticket) {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    if (IsCurrentLocked(ticket) && ticket.loop == m_Ticket.loop) {
        ++m_LostSlots;
    } else {
        ReturnSlots(1);
    }
}

void FrameQueue::BeginFile() {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    ++m_Ticket.file;
    ++m_Ticket.pass;
    m_meshFrameCounter = 0;
    m_FirstOfPass = 0;
    ReturnSlots(std::exchange(m_LostSlots, 0));
}

void FrameQueue::BeginPass() {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    ++m_Ticket.pass;
    m_FirstOfPass = c_NotYetKnown;
    ClearLocked();
}

void FrameQueue::BeginLoop() {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    ++m_Ticket.loop;
    ReturnSlots(std::exchange(m_LostSlots, 0));
}

void FrameQueue::DropPassed(std::int64_t textureFrameNumber) {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    if (HasFreeSlot()) {
        return;
    }
    std::int32_t dropped = 0;
    for (; !m_Frames.empty() && m_Frames.front()->m_FrameNumber <= textureFrameNumber; ++dropped) {
        m_Frames.pop_front();
    }
    ReturnSlots(dropped);
}

void FrameQueue::DropFirst() {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    if (!HasFreeSlot() && !m_Frames.empty()) {
        m_Frames.pop_front();
        ReturnSlots(1);
    }
}

bool FrameQueue::HasFreeSlot() {
    const std::lock_guard<std::mutex> lock(m_SlotsMutex);
    return m_freeMeshSlots > 0;
}

void FrameQueue::PopLocked() {
    m_currentMeshFrame = std::move(m_Frames.front());
    m_Frames.pop_front();
    ReturnSlots(1);
}

FrameQueue::Matched FrameQueue::Match(std::int64_t textureFrameNumber, std::atomic<bool>* pPendingRestart) {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    Matched matched;
    const auto isStale = [&] {
        return m_currentMeshFrame != nullptr && Ahead(*m_currentMeshFrame, textureFrameNumber) > c_RestartDistance;
    };
    if (*pPendingRestart && textureFrameNumber >= m_FirstOfPass && isStale()) {
        for (; !m_Frames.empty() && isStale(); ++matched.discarded) {
            PopLocked();
        }
        if (matched.discarded > 0) {
            *pPendingRestart = false;
        }
    }
    const auto isBehind = [&] {
        return m_currentMeshFrame == nullptr || static_cast<std::uint64_t>(m_currentMeshFrame->m_FrameNumber) <
                                                    static_cast<std::uint64_t>(textureFrameNumber);
    };
    while (!m_Frames.empty() && isBehind()) {
        PopLocked();
    }
    matched.frame = m_currentMeshFrame;
    matched.queued = m_Frames.size();
    if (matched.frame != nullptr && matched.frame->m_FrameNumber == textureFrameNumber) {
        matched.isFirstTake = matched.frame->m_RenderCount++ == 0;
    }
    return matched;
}

std::size_t FrameQueue::Clear() {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    return ClearLocked();
}

std::size_t FrameQueue::ClearLocked() {
    const std::size_t queued = m_Frames.size();
    m_currentMeshFrame.reset();
    m_Frames.clear();
    ReturnSlots(static_cast<std::int32_t>(queued) + std::exchange(m_LostSlots, 0));
    return queued;
}

void FrameQueue::ReadCurrent(const std::function<void(const MeshFrame*)>& read) {
    const std::lock_guard<std::mutex> lock(m_meshFramesMutex);
    read(m_currentMeshFrame.get());
}

}  // namespace Nimb::Plugin
