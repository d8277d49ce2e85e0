// What a player tells scripts of itself: which frame the engine's objects hold, and what went wrong.
#include "NimbUnityPluginML/PlayerCall.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <cmath>
#include <cstddef>

static_assert(sizeof(NimbShownFrame) == 24);
static_assert(offsetof(NimbShownFrame, time) == 8);
static_assert(offsetof(NimbShownFrame, count) == 16);

static_assert(sizeof(NimbTrouble) == 16);
static_assert(offsetof(NimbTrouble, reason) == 8);
static_assert(offsetof(NimbTrouble, count) == 12);

namespace Nimb::Plugin {

bool QuorObject::GetShownFrame(NimbShownFrame* pShown) {
    const MutexLock lock(m_unityMutex);
    *pShown = m_shown;
    return true;
}

/// Another file: nothing of it has been shown.
void QuorObject::ForgetShown() {
    const MutexLock lock(m_unityMutex);
    m_shown = {-1, 0, 0};
}

/// A render event has put a frame into these objects. Null: one has got into them in part.
void QuorObject::NoteInObjects(const MeshFrame* frame, const UnityBuffers& objects) {
    const MutexLock lock(m_unityMutex);
    if (objects.handover != m_unityBuffers.handover) {
        return;  // others have been handed over meanwhile, which hold nothing yet
    }
    const std::uint64_t count = m_shown.count + 1;
    m_shown = frame != nullptr
                  ? NimbShownFrame{frame->m_place.frame, WrappingMultiply(frame->m_place.timeUs, 10), count}
                  : NimbShownFrame{-1, 0, count};
}

/// A picture was dropped since its mesh is not there.
void QuorObject::NoteLostFrame(std::int64_t textureFrameNumber) {
    if (!IsSeeking()) {  // otherwise it is gone to again, or the request fails and says so
        m_troubles.Add(m_meshFrames.CurrentTicket().file, NimbTroubleReason_LostFrames,
                       m_fedFrames.FrameOf(textureFrameNumber));
    }
}

void QuorObject::WatchForStall() {
    const bool isAwaited = m_state == Playing && !m_videoOutputEOS && !m_pace.IsHeld();
    const std::int64_t overdue = m_stallWatch.Look(MonotonicNanoseconds(), isAwaited);
    if (overdue > 0 && overdue > ShownDuration()) {
        m_stallWatch.NoteReported();
        NimbShownFrame shown;
        GetShownFrame(&shown);
        m_troubles.Add(m_meshFrames.CurrentTicket().file, NimbTroubleReason_Stalled, shown.frame);
    }
}

/// How long the frame that is shown is to stay, at the present speed, nanoseconds. Unknown: a second of the file.
std::int64_t QuorObject::ShownDuration() {
    constexpr double most = 9e18;
    const std::int64_t frame = m_shownFrame;
    const bool isKnown = m_frameIndex != nullptr && frame >= 0 && frame < m_frameIndex->Count();
    const double durationUs = isKnown ? static_cast<double>(m_frameIndex->DurationOf(frame)) : 1e6;
    const double duration = durationUs * 1000 / std::fabs(static_cast<double>(Pitch()));
    return duration < most ? static_cast<std::int64_t>(duration) : INT64_MAX;
}

}  // namespace Nimb::Plugin

using namespace Nimb::Plugin;

extern "C" {

uint8_t GetShownFrame(int id, NimbShownFrame* shown) {
    return CallSilently(id, "GetShownFrame", false, [=](QuorObject& player) { return player.GetShownFrame(shown); });
}

uint8_t TakeTrouble(int id, NimbTrouble* trouble) {
    return CallSilently(id, "TakeTrouble", false, [=](QuorObject& player) { return player.TakeTrouble(trouble); });
}

}  // extern "C"
