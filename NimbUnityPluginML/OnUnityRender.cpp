// What a render event does: one texture frame from the codec, the mesh of the same number, both into the engine's
// objects.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"
#include "NimbUnityPluginML/Times.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace Nimb::Plugin {

/// A frame acquired from the codec, given back at the end of the event.
class QuorObject::AcquiredFrame {
public:
    explicit AcquiredFrame(MLHandle codec) : m_codec(codec) {
        m_acquired = MLMediaCodecAcquireNextAvailableFrame(codec, &m_nativeBuffer) == MLResult_Ok;
    }
    ~AcquiredFrame() {
        if (m_acquired) {
            MLMediaCodecReleaseFrame(m_codec, m_nativeBuffer);
        }
    }
    AcquiredFrame(AcquiredFrame&& other) noexcept
        : m_codec(other.m_codec),
          m_nativeBuffer(other.m_nativeBuffer),
          m_acquired(std::exchange(other.m_acquired, false)) {}
    AcquiredFrame(const AcquiredFrame&) = delete;
    AcquiredFrame& operator=(const AcquiredFrame&) = delete;
    AcquiredFrame& operator=(AcquiredFrame&&) = delete;

    explicit operator bool() const noexcept { return m_acquired; }
    MLHandle NativeBuffer() const noexcept { return m_nativeBuffer; }

private:
    MLHandle m_codec;
    MLHandle m_nativeBuffer = ML_INVALID_HANDLE;
    bool m_acquired;
};

void QuorObject::OnUnityRender(EGLContext unityContext, std::uint32_t contextNumber) {
    m_textureCopy.FollowContext(contextNumber);
    const std::shared_ptr<SharedClock> shared = m_pace.Clock();
    if (shared == nullptr) {
        return Render(unityContext, MonotonicNanoseconds() / 1000, 1);
    }
    struct End {
        SharedClock& clock;
        ~End() { clock.EndEvent(MonotonicNanoseconds()); }
    };
    const End end{*shared};
    Render(unityContext, shared->BeginEvent(m_id, MonotonicNanoseconds()), INT_MAX);
}

/// Shows the last picture that is due at a position, but takes no more than `most` from the surface.
void QuorObject::Render(EGLContext unityContext, std::int64_t position, int most) {
    if (!m_textureCopy.IsInitialized()) {
        m_textureCopy.InitializeGraphicsResources(unityContext);
    }
    if (!IsRunning() && !m_isPausedByClock) {
        NIMB_LOG_INFO("[%i] OnUnityRender: state = %i, bailing", m_id, m_state.load());
        return;
    }
    // To the end of the event: the codec lives until its frame is released.
    const MutexLock lock(m_renderMutex);
    if (m_renderCodec == ML_INVALID_HANDLE) {
        return;
    }
    WatchForStall();
    if (m_seekPhase != SeekPhase::None && m_seekPhase != SeekPhase::Released) {
        DrainSurface();
        return;
    }
    const bool isTarget = m_seekPhase == SeekPhase::Released;
    const int due =
        isTarget ? static_cast<int>(std::min(m_surface.Available(), 1u)) : std::min(m_surface.CountDue(position), most);
    if (due == 0) {
        m_meshFrames.DropPassed(m_textureFrameNumber);  // meshes that came too late for their textures
        return;
    }
    for (int passed = 1; passed < due; ++passed) {
        TakePicture();
    }
    const std::optional<AcquiredFrame> acquired = TakePicture();
    if (!acquired) {
        NoteShown(nullptr);
        return;
    }
    const std::int64_t textureFrameNumber = m_textureFrameNumber;
    const FrameQueue::Matched matched = m_meshFrames.Match(textureFrameNumber, &m_pendingRestart);
    if (matched.discarded > 0) {
        NIMB_LOG_INFO("[%i] OnUnityRender: handling pending restart, discard %i mesh frames", m_id,
                      static_cast<int>(matched.discarded));
    }
    const bool isPair = matched.frame != nullptr && matched.frame->m_frameNumber == textureFrameNumber;
    if (!isPair && !matched.isFromBefore) {
        NoteLostFrame(textureFrameNumber);
    }
    if (matched.frame == nullptr) {
        NoteShown(nullptr);
        return;
    }
    if (isPair) {
        try {
            ShowFrame(acquired->NativeBuffer(), matched);
        } catch (...) {
            NoteShown(nullptr);
            throw;
        }
        NoteShown(matched.frame.get());
    } else {
        NoteShown(nullptr);
        // The engine goes on showing the texture and the mesh that it has.
        NIMB_LOG_WARNING("[%i] **** MISMATCHED TIMESTAMPS **** texture = %li, mesh = %li (mesh frames = %i)", m_id,
                         static_cast<long>(textureFrameNumber), static_cast<long>(matched.frame->m_frameNumber),
                         static_cast<int>(matched.queued));
    }
}

/// Takes the next picture from the surface, and notes its number. Empty when the platform refuses.
std::optional<QuorObject::AcquiredFrame> QuorObject::TakePicture() {
    if (!m_surface.TakeOne()) {
        return std::nullopt;  // the file is being closed
    }
    std::optional<AcquiredFrame> acquired(std::in_place, m_renderCodec);
    if (!*acquired) {
        NIMB_LOG_INFO("[%i] OnUnityRender: MLMediaCodecAcquireNextAvailableFrame failed", m_id);
        m_meshFrames.DropFirst();  // its texture was announced and is gone
        return std::nullopt;
    }
    std::uint64_t number = 0;
    if (MLMediaCodecGetFrameNumber(m_renderCodec, &number) != MLResult_Ok) {
        NIMB_LOG_INFO("[%i] OnUnityRender: MLMediaCodecGetFrameNumber failed", m_id);
        m_meshFrames.DropFirst();  // nobody knows which texture this was, so it counts as gone
        return std::nullopt;
    }
    // The codec counts from 1, meshes from 0.
    m_textureFrameNumber = MeshNumberOf(static_cast<std::int64_t>(number - 1));
    return acquired;
}

void QuorObject::ShowFrame(MLHandle nativeBuffer, const FrameQueue::Matched& matched) {
    UnityBuffers unity;
    bool copyIndices = false;
    {
        const MutexLock lock(m_unityMutex);
        unity = m_unityBuffers;
        if (matched.isFirstTake) {
            copyIndices = m_lastIndexBuffer.p != matched.frame->IndexBuffer();
            m_lastIndexBuffer = matched.frame->IndexBuffer();
        }
    }
    m_textureCopy.CopyTexture(reinterpret_cast<void*>(static_cast<std::uintptr_t>(nativeBuffer)), unity.texture,
                              unity.textureWidth, unity.textureHeight);
    if (!matched.isFirstTake) {
        return;
    }
    try {
        matched.frame->CopyToGLBuffers(
            unity.vertexBuffer, unity.indexBuffer, static_cast<unsigned int>(std::max(unity.indexBufferSize, 0)),
            static_cast<unsigned int>(std::max(unity.vertexBufferSize, 0)), m_computeNormals, copyIndices);
    } catch (...) {
        NoteInObjects(nullptr, unity);
        // The indices may be on their way still: the next frame must not count on them.
        const MutexLock lock(m_unityMutex);
        m_lastIndexBuffer.Release();
        throw;
    }
    NoteInObjects(matched.frame.get(), unity);
}

}  // namespace Nimb::Plugin
