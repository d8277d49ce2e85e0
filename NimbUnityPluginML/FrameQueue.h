// The decoded mesh frames that wait for their texture frames, the one that is current, and the slots that bound them.
//
// At most c_MaxMeshFrames video samples are on their way as meshes: each takes a slot before it goes to the mesh thread
// and gives it back when its frame leaves the queue. A sample whose mesh is lost keeps its slot until Clear, the next
// loop or the next file; c_MaxMeshFrames lost meshes in one run through the file stall playback until Rewind or Close.
//
// Samples of a file that was closed, or from before a rewind, may still be on their way. Each sample carries a ticket
// that says where it belongs. A sample of an earlier file gets no number; one from before a rewind gets its number,
// which the codec has counted too. Neither is queued, and both give their slot back at once: frames without a picture
// would keep their slots, and playback would wait for ever.
//
// Lock order: the frames' mutex before the slots' mutex.
#pragma once

#include "NimbUnityPluginML/MeshFrame.h"
#include "NimbUnityPluginML/Mutex.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace Nimb::Plugin {

class FrameQueue {
public:
    static constexpr std::int32_t c_MaxMeshFrames = 8;

    /// Where a sample belongs.
    struct Ticket {
        std::uint32_t file;
        std::uint32_t pass;  ///< counts rewinds and files
        std::uint32_t loop;  ///< counts restarts within a pass
    };

    /// What Match found.
    struct Matched {
        std::shared_ptr<MeshFrame> frame;  ///< the current frame, whatever its number; null when there is none
        std::size_t queued = 0;            ///< frames that wait behind it
        std::size_t discarded = 0;         ///< stale frames that a pending restart threw away
        bool isFirstTake = false;          ///< the frame has the texture's number and is taken for the first time
        bool isFromBefore = false;         ///< the texture is from before the pass
    };

    /// Of the frame that is awaited.
    enum class Awaited { None, Waiting, Ready, Lost };

    // ---- Playback thread ----

    /// Takes a slot, waiting for one as long as `cancelled` is false. False when it was cancelled. Whoever makes
    /// `cancelled` true need not notify. `stillWaiting` is called now and then during a longer wait.
    bool TakeSlot(
        const std::function<bool()>& cancelled, const std::function<void()>& stillWaiting = [] {});

    /// For a sample that did not get to the mesh thread.
    void GiveSlotBack() { ReturnSlots(1); }

    /// The ticket of samples taken now.
    Ticket CurrentTicket();

    /// The file starts over by itself: what is queued stays, since its textures are still to be shown, and the slots of
    /// lost meshes come back.
    void BeginLoop();

    /// Until the mesh with this number is there, all before it are dropped. `isNewPass`: it is fed anew, and what is
    /// queued or still on its way belongs to an earlier pass. What is current stays.
    void Await(std::int64_t frameNumber, bool isNewPass);

    // ---- Mesh thread ----

    /// The next mesh frame number, counted from 0 in each file. None for an earlier file.
    std::optional<std::int64_t> TakeNumber(Ticket ticket);

    void Push(std::shared_ptr<MeshFrame> frame, Ticket ticket);

    /// A sample that had a slot lost its mesh.
    void CountLost(Ticket ticket);

    /// All samples up to the one with this number have been decoded.
    void SettleAwaited(Ticket ticket, std::int64_t frameNumber);

    // ---- Render thread ----

    /// Moves on to the frame that belongs to the texture frame with this number, as far as the queue goes. With
    /// `*pPendingRestart` set, frames from before the restart are discarded first, and the flag is cleared if there
    /// were any. Not for a texture from before the pass, as a codec may still hold after a rewind: all of the pass
    /// would be far ahead of it.
    Matched Match(std::int64_t textureFrameNumber, std::atomic<bool>* pPendingRestart);

    /// The texture frames up to this number are gone. When no slot is free, queued frames up to it give theirs back:
    /// without a slot no further texture frame would come, and without a texture frame nobody would take them from the
    /// queue.
    void DropPassed(std::int64_t textureFrameNumber);

    /// The texture frame that was to come next is gone: a platform may drop at a flush what nobody acquired, and a
    /// decoder may yield nothing. When no slot is free, the first queued frame gives its own back, for the same reason.
    /// Playback thread, too.
    void DropFirst();

    // ---- Script thread ----

    /// Numbers start from 0 again, and what is still on its way belongs to an earlier file.
    void BeginFile();

    /// The file starts over, and numbers go on. What is queued or still on its way belongs to an earlier pass.
    void BeginPass();

    // ---- Any thread ----

    Awaited AwaitedFrame();

    /// Nothing is awaited any more.
    void StopAwaiting();

    /// Drops all frames and gives back their slots and those of lost meshes. Returns how many frames were queued.
    std::size_t Clear();

    /// Calls `read` with the current frame (may be null) under the frames' mutex.
    void ReadCurrent(const std::function<void(const MeshFrame*)>& read);

private:
    static constexpr std::int64_t c_NotYetKnown = INT64_MAX;

    bool IsCurrentLocked(Ticket ticket) const noexcept NIMB_REQUIRES(m_meshFramesMutex) {
        return ticket.pass == m_ticket.pass;
    }
    bool HasFreeSlot() NIMB_EXCLUDES(m_slotsMutex);
    void PopLocked() NIMB_REQUIRES(m_meshFramesMutex);
    std::size_t ClearLocked() NIMB_REQUIRES(m_meshFramesMutex);
    void ReturnSlots(std::int32_t count) NIMB_EXCLUDES(m_slotsMutex);

    Mutex m_meshFramesMutex;
    std::deque<std::shared_ptr<MeshFrame>> m_frames NIMB_GUARDED_BY(m_meshFramesMutex);
    std::shared_ptr<MeshFrame> m_currentMeshFrame NIMB_GUARDED_BY(m_meshFramesMutex);
    std::int32_t m_lostSlots NIMB_GUARDED_BY(m_meshFramesMutex) = 0;
    std::int64_t m_meshFrameCounter NIMB_GUARDED_BY(m_meshFramesMutex) = 0;
    Awaited m_awaited NIMB_GUARDED_BY(m_meshFramesMutex) = Awaited::None;
    std::int64_t m_awaitedNumber NIMB_GUARDED_BY(m_meshFramesMutex) = -1;
    /// The lowest number of this pass; c_NotYetKnown until it is taken.
    std::int64_t m_firstOfPass NIMB_GUARDED_BY(m_meshFramesMutex) = 0;
    Ticket m_ticket NIMB_GUARDED_BY(m_meshFramesMutex){0, 0, 0};

    Mutex m_slotsMutex;
    Condition m_slotsChanged;
    std::int32_t m_freeMeshSlots NIMB_GUARDED_BY(m_slotsMutex) = c_MaxMeshFrames;
};

}  // namespace Nimb::Plugin
