// What a render event does: one texture frame from the codec, the mesh of the same number, both into the engine's
// objects.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"

namespace Nimb::Plugin {
namespace {

/// A frame acquired from the codec, given back at the end of the event.
class AcquiredFrame {
public:
    explicit AcquiredFrame(MLHandle codec) : m_Codec(codec) {
        m_Acquired = MLMediaCodecAcquireNextAvailableFrame(codec, &m_NativeBuffer) == MLResult_Ok;
    }
    ~AcquiredFrame() {
        if (m_Acquired) {
            MLMediaCodecReleaseFrame(m_Codec, m_NativeBuffer);
        }
    }
    AcquiredFrame(const AcquiredFrame&) = delete;
    AcquiredFrame& operator=(const AcquiredFrame&) = delete;

    explicit operator bool() const noexcept { return m_Acquired; }
    MLHandle NativeBuffer() const noexcept { return m_NativeBuffer; }

private:
    MLHandle m_Codec;
    MLHandle m_NativeBuffer = ML_INVALID_HANDLE;
    bool m_Acquired;
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
    if (m_Gl.program == 0) {
        InitializeGraphicsResources(unityContext);
    }
    if (m_state != Playing) {
        NIMB_LOG_INFO("[%i] OnUnityRender: state = %i, bailing", m_id, m_state.load());
        return;
    }
    // To the end of the event: the codec lives until its frame is released.
    const std::lock_guard<std::mutex> lock(m_RenderMutex);
    if (m_RenderCodec == ML_INVALID_HANDLE) {
        return;
    }
    if (!TakeOne(m_framesAvailable)) {
        m_MeshFrames.DropPassed(m_textureFrameNumber);  // meshes that came too late for their textures
        return;
    }
    const AcquiredFrame acquired(m_RenderCodec);
    if (!acquired) {
        NIMB_LOG_INFO("[%i] OnUnityRender: MLMediaCodecAcquireNextAvailableFrame failed", m_id);
        m_MeshFrames.DropFirst();  // its texture was announced and is gone
        return;
    }
    std::uint64_t number = 0;
    if (MLMediaCodecGetFrameNumber(m_RenderCodec, &number) != MLResult_Ok) {
        NIMB_LOG_INFO("[%i] OnUnityRender: MLMediaCodecGetFrameNumber failed", m_id);
        m_MeshFrames.DropFirst();  // nobody knows which texture this was, so it counts as gone
        return;
    }
    // The codec counts from 1, meshes from 0.
    const std::int64_t textureFrameNumber = static_cast<std::int64_t>(number - 1);
    m_textureFrameNumber = textureFrameNumber;

    const FrameQueue::Matched matched = m_MeshFrames.Match(textureFrameNumber, &m_pendingRestart);
    if (matched.discarded > 0) {
        NIMB_LOG_INFO("[%i] OnUnityRender: handling pending restart, discard %i mesh frames", m_id,
                      static_cast<int>(matched.discarded));
    }
    if (matched.frame == nullptr) {
        return;
    }
    if (matched.frame->m_FrameNumber == textureFrameNumber) {
        ShowFrame(acquired.NativeBuffer(), matched);
    } else {
        // The engine goes on showing the texture and the mesh that it has.
        NIMB_LOG_WARNING("[%i] **** MISMATCHED TIMESTAMPS **** texture = %li, mesh = %li (mesh frames = %i)", m_id,
                         static_cast<long>(textureFrameNumber), static_cast<long>(matched.frame->m_FrameNumber),
                         static_cast<int>(matched.queued));
    }
}

void QuorObject::ShowFrame(MLHandle nativeBuffer, const FrameQueue::Matched& matched) {
    UnityBuffers unity;
    bool copyIndices = false;
    {
        const std::lock_guard<std::mutex> lock(m_UnityMutex);
        unity = m_UnityBuffers;
        if (matched.isFirstTake) {
            copyIndices = m_lastIndexBuffer.p != matched.frame->IndexBuffer();
            m_lastIndexBuffer = matched.frame->IndexBuffer();
        }
    }
    CopyTexture(m_Gl.program, reinterpret_cast<void*>(static_cast<std::uintptr_t>(nativeBuffer)), unity.texture,
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
        const std::lock_guard<std::mutex> lock(m_UnityMutex);
        m_lastIndexBuffer.Release();
        throw;
    }
}

}  // namespace Nimb::Plugin
