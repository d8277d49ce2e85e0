// What a render event does: one texture frame from the codec, the mesh of the same number, both into the engine's
// objects.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"

namespace Nimb::Plugin {
namespace {

/// A frame acquired from the codec, given back at the end of the event.
class AcquiredFrame {
public:
    explicit AcquiredFrame(MLHandle codec) : m_codec(codec) {
        m_acquired = MLMediaCodecAcquireNextAvailableFrame(codec, &m_nativeBuffer) == MLResult_Ok;
    }
    ~AcquiredFrame() {
        if (m_acquired) {
            MLMediaCodecReleaseFrame(m_codec, m_nativeBuffer);
        }
    }
    AcquiredFrame(const AcquiredFrame&) = delete;
    AcquiredFrame& operator=(const AcquiredFrame&) = delete;

    explicit operator bool() const noexcept { return m_acquired; }
    MLHandle NativeBuffer() const noexcept { return m_nativeBuffer; }

private:
    MLHandle m_codec;
    MLHandle m_nativeBuffer = ML_INVALID_HANDLE;
    bool m_acquired;
};

/// Takes one off the counter unless it is 0.
bool TakeOne(std::atomic<std::uint32_t>& counter) {
    std::uint32_t value = counter;
    while (value != 0) {
        if (counter.compare_exchange_weak(value, value - 1)) {
            return true;
        }
    }
    return false;
}

}  // namespace

void QuorObject::OnUnityRender(EGLContext unityContext) {
    if (!m_textureCopy.IsInitialized()) {
        m_textureCopy.InitializeGraphicsResources(unityContext);
    }
    if (!IsRunning()) {
        NIMB_LOG_INFO("[%i] OnUnityRender: state = %i, bailing", m_id, m_state.load());
        return;
    }
    // To the end of the event: the codec lives until its frame is released.
    const MutexLock lock(m_renderMutex);
    if (m_renderCodec == ML_INVALID_HANDLE) {
        return;
    }
    if (m_seekPhase != SeekPhase::None && m_seekPhase != SeekPhase::Released) {
        DrainSurface();
        return;
    }
    if (!TakeOne(m_framesAvailable)) {
        m_meshFrames.DropPassed(m_textureFrameNumber);  // meshes that came too late for their textures
        return;
    }
    const AcquiredFrame acquired(m_renderCodec);
    if (!acquired) {
        NIMB_LOG_INFO("[%i] OnUnityRender: MLMediaCodecAcquireNextAvailableFrame failed", m_id);
        m_meshFrames.DropFirst();  // its texture was announced and is gone
        NoteShown(nullptr);
        return;
    }
    std::uint64_t number = 0;
    if (MLMediaCodecGetFrameNumber(m_renderCodec, &number) != MLResult_Ok) {
        NIMB_LOG_INFO("[%i] OnUnityRender: MLMediaCodecGetFrameNumber failed", m_id);
        m_meshFrames.DropFirst();  // nobody knows which texture this was, so it counts as gone
        NoteShown(nullptr);
        return;
    }
    // The codec counts from 1, meshes from 0.
    const std::int64_t textureFrameNumber = MeshNumberOf(static_cast<std::int64_t>(number - 1));
    m_textureFrameNumber = textureFrameNumber;

    const FrameQueue::Matched matched = m_meshFrames.Match(textureFrameNumber, &m_pendingRestart);
    if (matched.discarded > 0) {
        NIMB_LOG_INFO("[%i] OnUnityRender: handling pending restart, discard %i mesh frames", m_id,
                      static_cast<int>(matched.discarded));
    }
    if (matched.frame == nullptr) {
        NoteShown(nullptr);
        return;
    }
    if (matched.frame->m_frameNumber == textureFrameNumber) {
        try {
            ShowFrame(acquired.NativeBuffer(), matched);
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
        // The indices may be on their way still: the next frame must not count on them.
        const MutexLock lock(m_unityMutex);
        m_lastIndexBuffer.Release();
        throw;
    }
}

}  // namespace Nimb::Plugin
