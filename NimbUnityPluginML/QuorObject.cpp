// States and their transitions, and what scripts ask and set.
#include "NimbUnityPluginML/QuorObject.h"

#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/Times.h"

#include <cstring>

namespace Nimb::Plugin {

QuorObject::QuorObject(int id) : m_id(id) {}

QuorObject::~QuorObject() {
    NIMB_LOG_INFO("[%i] ~QuorObject() (m_state = %i)", m_id, m_state.load());
    if (m_state != Closed) {
        Close();
    }
    m_videoWorker.Join();
    m_audioWorker.Join();
    m_playbackWorker.Join();
    Follow(nullptr);
    m_meshTasks.Stop();
    if (m_meshThread.joinable()) {
        m_meshThread.join();
    }
}

bool QuorObject::Initialize() {
    if (m_state != Empty) {
        NIMB_LOG_ERROR("[%i] QuorObject::Initialize: must be in Empty(%d) state. Current state is (%d)", m_id, Empty,
                       m_state.load());
        return false;
    }
    m_state = Initialized;
    return true;
}

bool QuorObject::Play() {
    NIMB_LOG_INFO("[%i] QuorObject::Play", m_id);
    return StartPlaying(false);
}

/// `keepsPace`: pictures are due as they were before a pause.
bool QuorObject::StartPlaying(bool keepsPace) {
    const State state = m_state;
    if (state != Opened && state != Closed && state != Paused) {
        return false;
    }
    if (state == Paused && !keepsPace) {
        LeaveStep();
    }
    m_isPausedByClock = false;
    m_state = Playing;
    if (m_extractor == 0) {
        NIMB_LOG_INFO("[%i] QuorObject::Play media extractor is null", m_id);
        return false;
    }
    m_playbackWorker.Wake();
    if (m_videoCodec != ML_INVALID_HANDLE) {
        m_videoWorker.Wake();
    }
    if (m_audioCodec != ML_INVALID_HANDLE) {
        m_audioWorker.Wake();
    }
    return true;
}

bool QuorObject::Pause() {
    NIMB_LOG_INFO("[%i] QuorObject::Pause", m_id);
    if (m_state != Playing) {
        return false;
    }
    m_isPausedByClock = false;
    HoldNobodyBack();
    m_state = Paused;
    FollowState(m_videoWorker);
    FollowState(m_audioWorker);
    FollowState(m_playbackWorker);
    return true;
}

bool QuorObject::Rewind() {
    NIMB_LOG_INFO("[%i] QuorObject::Rewind", m_id);
    ForgetSeek(NimbSeekResult_Superseded, NimbSeekReason_None);
    // Before the requests: a loop that restarts right now wakes the others, and takes that back when it sees this
    // state.
    m_isPausedByClock = false;
    m_state = Paused;
    m_videoWorker.RequestSleep();
    m_audioWorker.RequestSleep();
    StopPlayback();
    m_meshFrames.BeginPass();
    MLMediaExtractorSeekTo(m_extractor, 0, MLMediaSeekMode_Closest_Sync);
    StopOutput(m_videoWorker, [this] { MLMediaCodecFlush(m_videoCodec); });
    if (m_audioCodec != ML_INVALID_HANDLE) {
        StopOutput(m_audioWorker, [this] { MLMediaCodecFlush(m_audioCodec); });
        m_audioOutput.DropFilled();
    }
    m_abandon = false;
    LeaveStep();
    StartOver();
    return true;
}

void QuorObject::SetClockScale(float scale) {
    NIMB_LOG_INFO("[%i] SetClockScale = %f", m_id, static_cast<double>(scale));
    m_clock.SetScale(scale);
    m_audioOutput.SetPitch(Pitch());
}

/// Of the sound.
float QuorObject::Pitch() {
    const std::shared_ptr<SharedClock> shared = m_pace.Clock();
    return m_clock.Scale() * (shared != nullptr ? shared->Read(MonotonicNanoseconds()).speed : 1.0f);
}

int QuorObject::SetUnityBuffers(void* vb, int vbSize, void* ib, int ibSize, void* tex, int width, int height) {
    // The engine's native pointers are GL names here.
    const auto name = [](void* pointer) {
        return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(pointer));
    };
    const MutexLock lock(m_unityMutex);
    m_unityBuffers = {name(vb), vbSize, name(ib), ibSize, name(tex), width, height, m_unityBuffers.handover + 1};
    m_lastIndexBuffer.Release();  // so that the next upload writes indices into what may be another buffer
    m_shown.frame = -1;
    m_shown.time = 0;
    m_shownFrame = -1;
    NIMB_LOG_INFO("[%i] SetUnityBuffers, vb = %i, ib = %i, tex = %i (%ix%i)", m_id,
                  static_cast<int>(m_unityBuffers.vertexBuffer), static_cast<int>(m_unityBuffers.indexBuffer),
                  static_cast<int>(m_unityBuffers.texture), width, height);
    return 1;
}

void QuorObject::ClearMeshFrames() {
    const std::size_t cleared = m_meshFrames.Clear();
    NIMB_LOG_INFO("[%i] Clearing %i old mesh frames", m_id, static_cast<int>(cleared));
}

bool QuorObject::GetFrameInfo(NimbFrameInfo* info) {
    std::memset(info, 0, sizeof(*info));
    m_meshFrames.ReadCurrent([info](const MeshFrame* frame) {
        if (frame == nullptr) {
            return;
        }
        info->timestamp = frame->m_timeStamp / 100;
        info->minX = frame->m_minX;
        info->minY = frame->m_minY;
        info->minZ = frame->m_minZ;
        info->maxX = frame->m_maxX;
        info->maxY = frame->m_maxY;
        info->maxZ = frame->m_maxZ;
        info->frameId = frame->m_frameId;
        info->vertexCount = frame->m_vertexCount;
        info->indexCount = frame->m_indexCount;
        info->isRepeatedFrame = frame->m_renderCount > 1 ? 1 : 0;
    });
    info->endOfStream = m_endOfStream.exchange(false) ? 1 : 0;
    info->textureWidth = static_cast<std::uint32_t>(m_textureWidth);
    info->textureHeight = static_cast<std::uint32_t>(m_textureHeight);
    return true;
}

}  // namespace Nimb::Plugin
