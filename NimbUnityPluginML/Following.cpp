// How a player goes by a clock that it shares with others: the clock's controls, as they reach one player. Pace.h and
// SharedClock.h say what is due when; OnUnityRender.cpp takes from the surface what is.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <memory>

namespace Nimb::Plugin {

void QuorObject::Follow(const std::shared_ptr<SharedClock>& clock) {
    const std::shared_ptr<SharedClock> before = m_pace.Clock();
    if (before == clock) {
        return;
    }
    m_pace.SetClock(clock);
    m_isPausedByClock = false;
    if (before != nullptr) {
        before->Remove(m_id, MonotonicNanoseconds());
    }
    if (clock != nullptr) {
        clock->Add(m_id);
    }
    FollowSpeed();
}

/// To the frame that is shown at this position. Returns a ticket, 0 when the player cannot go there.
std::int64_t QuorObject::SeekInStep(std::int64_t position, std::uint32_t options) {
    const bool hasPictures = m_frameIndex != nullptr && m_videoCodec != ML_INVALID_HANDLE;
    return hasPictures ? BeginSeek(m_frameIndex->FrameAt(position), options, true) : 0;
}

void QuorObject::PlayInStep() {
    if (m_state == Opened || m_state == Paused) {
        StartPlaying(true);
    }
}

void QuorObject::PauseInStep() {
    if (Pause()) {
        m_isPausedByClock = true;
    }
}

/// From now on it goes its own way.
void QuorObject::LeaveStep() {
    m_pace.LeaveStep();
    HoldNobodyBack();
}

void QuorObject::HoldNobodyBack() {
    if (const std::shared_ptr<SharedClock> shared = m_pace.Clock(); shared != nullptr) {
        shared->NoteReady(m_id, SharedClock::c_HoldsNobodyBack);
    }
}

/// The frame that is shown already belongs at its time in the file, and what is on the surface comes after it.
void QuorObject::MoveInStep(std::int64_t frame) {
    const std::int64_t before = m_pace.Origin();
    const std::int64_t origin = m_pace.Set(m_shownTime, m_frameIndex->TimeOf(frame));
    m_surface.Move(WrappingSubtract(origin, before), Pace::c_DueAtOnce);
}

static_assert(SurfacePictures::c_NoPosition == SharedClock::c_HoldsNobodyBack);

/// Tells the clock how far the player has both pictures and meshes.
void QuorObject::ReportReady() {
    const std::shared_ptr<SharedClock> shared = m_pace.Clock();
    if (shared != nullptr && m_pace.IsInStep()) {
        shared->NoteReady(m_id, std::min(m_surface.LastAnnounced(), m_pace.PositionOf(m_newestMesh)));
    }
}

}  // namespace Nimb::Plugin
