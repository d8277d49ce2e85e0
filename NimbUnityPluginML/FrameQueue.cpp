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
    return static_cast<std::uint64_t>(frame.m_frameNumber) - static_cast<std::uint64_t>(textureFrameNumber);
}

}  // namespace

bool FrameQueue::TakeSlot(const std::function<bool()>& cancelled, const std::function<void()>& stillWaiting) {
    constexpr std::chrono::milliseconds slice{20};
    MutexLock lock(m_slotsMutex);
    for (;;) {
        const bool isFree =
            m_slotsChanged.WaitFor(lock, slice, [this]() NIMB_REQUIRES(m_slotsMutex) { return m_freeMeshSlots > 0; });
        if (cancelled()) {
            return false;  // also when it was the canceller who made a slot free
        }
        if (isFree) {
            --m_freeMeshSlots;
            return true;
        }
        lock.Unlock();
        stillWaiting();
        lock.Lock();
    }
}

void FrameQueue::ReturnSlots(std::int32_t count) {
    {
        const MutexLock lock(m_slotsMutex);
        m_freeMeshSlots += count;
    }
    m_slotsChanged.NotifyOne();
}

FrameQueue::Ticket FrameQueue::CurrentTicket() {
    const MutexLock lock(m_meshFramesMutex);
    return m_ticket;
}

std::optional<std::int64_t> FrameQueue::TakeNumber(Ticket ticket) {
    const MutexLock lock(m_meshFramesMutex);
    if (ticket.file != m_ticket.file) {
        return std::nullopt;
    }
    if (IsCurrentLocked(ticket)) {
        m_firstOfPass = std::min(m_firstOfPass, m_meshFrameCounter);
    }
    return m_meshFrameCounter++;
}

void FrameQueue::Push(std::shared_ptr<MeshFrame> frame, Ticket ticket) {
    const MutexLock lock(m_meshFramesMutex);
    const bool isAwaited = IsCurrentLocked(ticket) && m_awaited == Awaited::Waiting;
    if (isAwaited && frame->m_frameNumber >= m_awaitedNumber) {
        m_awaited = frame->m_frameNumber == m_awaitedNumber ? Awaited::Ready : Awaited::Lost;
    }
    if (IsCurrentLocked(ticket) && m_awaited != Awaited::Waiting) {
        m_frames.push_back(std::move(frame));
    } else {
        ReturnSlots(1);
    }
}

void FrameQueue::Await(std::int64_t frameNumber, bool isNewPass) {
    const MutexLock lock(m_meshFramesMutex);
    if (isNewPass) {
        ++m_ticket.pass;
        m_firstOfPass = c_NotYetKnown;
    }
    m_awaitedNumber = frameNumber;
    std::int32_t dropped = std::exchange(m_lostSlots, 0);
    for (; !m_frames.empty() && (isNewPass || m_frames.front()->m_frameNumber < frameNumber); ++dropped) {
        m_frames.pop_front();
    }
    ++m_ticket.loop;  // meshes that are lost from now on are of no concern to the slots given back here
    m_awaited = m_frames.empty()                                 ? Awaited::Waiting
                : m_frames.front()->m_frameNumber == frameNumber ? Awaited::Ready
                                                                 : Awaited::Lost;
    ReturnSlots(dropped);
}

void FrameQueue::SettleAwaited(Ticket ticket, std::int64_t frameNumber) {
    const MutexLock lock(m_meshFramesMutex);
    if (m_awaited == Awaited::Waiting && IsCurrentLocked(ticket) && frameNumber >= m_awaitedNumber) {
        m_awaited = Awaited::Lost;
    }
}

FrameQueue::Awaited FrameQueue::AwaitedFrame() {
    const MutexLock lock(m_meshFramesMutex);
    return m_awaited;
}

void FrameQueue::StopAwaiting() {
    const MutexLock lock(m_meshFramesMutex);
    m_awaited = Awaited::None;
}

void FrameQueue::CountLost(Ticket ticket) {
    const MutexLock lock(m_meshFramesMutex);
    if (IsCurrentLocked(ticket) && ticket.loop == m_ticket.loop) {
        ++m_lostSlots;
    } else {
        ReturnSlots(1);
    }
}

void FrameQueue::BeginFile() {
    const MutexLock lock(m_meshFramesMutex);
    ++m_ticket.file;
    ++m_ticket.pass;
    m_awaited = Awaited::None;
    m_meshFrameCounter = 0;
    m_firstOfPass = 0;
    ReturnSlots(std::exchange(m_lostSlots, 0));
}

void FrameQueue::BeginPass() {
    const MutexLock lock(m_meshFramesMutex);
    ++m_ticket.pass;
    m_firstOfPass = c_NotYetKnown;
    m_awaited = Awaited::None;
    ClearLocked();
}

void FrameQueue::BeginLoop() {
    const MutexLock lock(m_meshFramesMutex);
    ++m_ticket.loop;
    ReturnSlots(std::exchange(m_lostSlots, 0));
}

void FrameQueue::DropPassed(std::int64_t textureFrameNumber) {
    const MutexLock lock(m_meshFramesMutex);
    if (HasFreeSlot()) {
        return;
    }
    std::int32_t dropped = 0;
    for (; !m_frames.empty() && m_frames.front()->m_frameNumber <= textureFrameNumber; ++dropped) {
        m_frames.pop_front();
    }
    ReturnSlots(dropped);
}

void FrameQueue::DropFirst() {
    const MutexLock lock(m_meshFramesMutex);
    if (!HasFreeSlot() && !m_frames.empty()) {
        m_frames.pop_front();
        ReturnSlots(1);
    }
}

bool FrameQueue::HasFreeSlot() {
    const MutexLock lock(m_slotsMutex);
    return m_freeMeshSlots > 0;
}

void FrameQueue::PopLocked() {
    m_currentMeshFrame = std::move(m_frames.front());
    m_frames.pop_front();
    ReturnSlots(1);
}

FrameQueue::Matched FrameQueue::Match(std::int64_t textureFrameNumber, std::atomic<bool>* pPendingRestart) {
    const MutexLock lock(m_meshFramesMutex);
    Matched matched;
    matched.isFromBefore = textureFrameNumber < m_firstOfPass;
    const auto isStale = [&]() NIMB_REQUIRES(m_meshFramesMutex) {
        return m_currentMeshFrame != nullptr && Ahead(*m_currentMeshFrame, textureFrameNumber) > c_RestartDistance;
    };
    if (*pPendingRestart && textureFrameNumber >= m_firstOfPass && isStale()) {
        for (; !m_frames.empty() && isStale(); ++matched.discarded) {
            PopLocked();
        }
        if (matched.discarded > 0) {
            *pPendingRestart = false;
        }
    }
    const auto isBehind = [&]() NIMB_REQUIRES(m_meshFramesMutex) {
        return m_currentMeshFrame == nullptr || static_cast<std::uint64_t>(m_currentMeshFrame->m_frameNumber) <
                                                    static_cast<std::uint64_t>(textureFrameNumber);
    };
    while (!m_frames.empty() && isBehind()) {
        PopLocked();
    }
    matched.frame = m_currentMeshFrame;
    matched.queued = m_frames.size();
    if (matched.frame != nullptr && matched.frame->m_frameNumber == textureFrameNumber) {
        matched.isFirstTake = matched.frame->m_renderCount++ == 0;
    }
    return matched;
}

std::size_t FrameQueue::Clear() {
    const MutexLock lock(m_meshFramesMutex);
    return ClearLocked();
}

std::size_t FrameQueue::ClearLocked() {
    const std::size_t queued = m_frames.size();
    m_currentMeshFrame.reset();
    m_frames.clear();
    ReturnSlots(static_cast<std::int32_t>(queued) + std::exchange(m_lostSlots, 0));
    return queued;
}

void FrameQueue::ReadCurrent(const std::function<void(const MeshFrame*)>& read) {
    const MutexLock lock(m_meshFramesMutex);
    read(m_currentMeshFrame.get());
}

}  // namespace Nimb::Plugin
