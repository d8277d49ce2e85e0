// Opening a file: its tail, its tracks, the workers. Closing it: everything in reverse, whatever the workers are doing.
#include "Nimb/FileUri.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/QuorObject.h"

#include <pthread.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>

namespace Nimb::Plugin {
namespace {

/// Destroys a track format when it goes out of scope.
class TrackFormat {
public:
    TrackFormat(MLHandle extractor, std::size_t index) { MLMediaExtractorGetTrackFormat(extractor, index, &m_format); }
    ~TrackFormat() {
        if (m_format != ML_INVALID_HANDLE) {
            MLMediaFormatDestroy(m_format);
        }
    }
    TrackFormat(const TrackFormat&) = delete;
    TrackFormat& operator=(const TrackFormat&) = delete;
    operator MLHandle() const noexcept { return m_format; }

private:
    MLHandle m_format = ML_INVALID_HANDLE;
};

bool BeginsWith(const char* text, const char* prefix) {
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

}  // namespace

bool QuorObject::Open(const char* path, const NimbOpenInfo* info) {
    NIMB_LOG_INFO("[%i] QuorObject::Open called with path = %s", m_id, path);
    if (m_extractor != ML_INVALID_HANDLE) {
        if (!Close()) {
            NIMB_LOG_ERROR("[%i] QuorObject::Open: Closing existing file failed", m_id);
            return false;
        }
        m_pendingRestart = true;
    }
    if (m_state != Initialized && m_state != Closed) {
        NIMB_LOG_ERROR("[%i] Error in QuorObject::Open: must be in Initialized(%d) state. Current state is (%d).", m_id,
                       Initialized, m_state.load());
        return false;
    }
    m_openInfo = *info;
    ForgetShown();

    NIMB_LOG_INFO("[%i] Opening file with absolute path", m_id);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(Nimb::PathOfUri(path).c_str(), "rb"),
                                                               &std::fclose);
    if (file == nullptr) {
        NIMB_LOG_ERROR("[%i] failed to open file", m_id);
        return false;
    }
    ReadFileTail(file.get());
    std::string whyNot;
    m_frameIndex = FrameIndex::Read(Nimb::PathOfUri(path), &whyNot);
    if (m_frameIndex == nullptr) {
        NIMB_LOG_INFO("[%i] frames cannot be gone to: %s", m_id, whyNot.c_str());
    }

    bool opened = false;
    try {
        opened = OpenMedia(path);
    } catch (const std::exception& error) {  // out of memory, or of threads
        NIMB_LOG_ERROR("[%i] QuorObject::Open: %s", m_id, error.what());
    }
    if (!opened) {
        // The state stays as it was, and what was created is released, so that nothing is in the way of the next Open.
        ReleaseMedia();
        return false;
    }
    m_playbackWorker.Wake();  // it sees a state other than Playing and goes back to sleep
    m_state = Opened;
    return true;
}

void QuorObject::ReadFileTail(std::FILE* file) {
    if (std::fseek(file, -static_cast<long>(c_FileTailBytes), SEEK_END) != 0) {
        return;
    }
    m_fileSize = static_cast<std::uint32_t>(std::ftell(file)) + static_cast<std::uint32_t>(c_FileTailBytes);
    m_xtraData = std::make_unique<FileTail>();
    if (std::fread(m_xtraData->data(), 1, c_FileTailBytes, file) == 0) {
        m_xtraData.reset();
    } else {
        NIMB_LOG_INFO("[%i] read end of file for xtra atom", m_id);
    }
}

bool QuorObject::OpenMedia(const char* path) {
    MLHandle extractor = ML_INVALID_HANDLE;
    MLMediaExtractorCreate(&extractor);
    m_extractor = extractor;
    const MLResult result = MLMediaExtractorSetDataSourceForURI(extractor, path);
    if (result != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaExtractorSetDataSourceForURI failed, error = %i", m_id, result);
        return false;
    }
    StartWorkers();
    // Releases what the previous file left; its workers sleep.
    m_clock.Restart();
    m_durationUs = 0;
    m_videoInput.endQueued = false;
    m_audioInput.endQueued = false;
    m_outputEnd = OutputEnd::Ahead;
    m_endOfStream = false;
    return ConfigureTracks();
}

/// Starts those that do not exist. When it throws, those that it started sleep, and the next Open starts the rest.
void QuorObject::StartWorkers() {
    if (!m_meshThread.joinable()) {
        // Fixed for the thread's life: the upload converts frames where a later setting differs.
        const UINT32 vertexFormat = m_computeNormals ? 0x0D : 0x0F;
        const NIMBCORE::CComPtr<INimbBufferAllocator> allocator(new NimbCrossPlatform::BufferAllocator);
        m_meshReader.Initialize(allocator, vertexFormat);
        m_meshThread = std::thread([this, vertexFormat] { MeshThreadFunc(vertexFormat); });
        pthread_setname_np(m_meshThread.native_handle(), "NimbMesh");
    }
    m_playbackWorker.RequestSleep();
    m_playbackWorker.Start("NimbPlayback", [this] { PlaybackThreadFunc(); });
    m_videoWorker.RequestSleep();
    m_audioWorker.RequestSleep();
    m_videoWorker.Start("NimbVideo", [this] { VideoThreadFunc(); });
}

bool QuorObject::ConfigureTracks() {
    std::uint64_t trackCount = 0;
    MLMediaExtractorGetTrackCount(m_extractor, &trackCount);
    NIMB_LOG_INFO("[%i] input has %i tracks", m_id, static_cast<int>(trackCount));
    for (std::size_t index = 0; index < trackCount; ++index) {
        const TrackFormat format(m_extractor, index);
        char text[512] = {};
        MLMediaFormatObjectToString(format, text);
        NIMB_LOG_INFO("[%i] track %d format: %s", m_id, static_cast<int>(index), text);
        if (index == 0) {
            MLMediaFormatGetKeyValueInt64(format, MLMediaFormat_Key_Duration, &m_durationUs);
        }
        char mime[64] = {};
        if (MLMediaFormatGetKeyString(format, MLMediaFormat_Key_Mime, mime) != MLResult_Ok) {
            NIMB_LOG_ERROR("[%i] no mime type", m_id);
            return false;
        }
        if (BeginsWith(mime, "video/")) {
            if (!ConfigureVideoTrack(format, index, mime)) {
                return false;
            }
        } else if (BeginsWith(mime, "audio/") && m_openInfo.disableAudio == 0) {
            if (!ConfigureAudioTrack(format, index, mime)) {
                return false;
            }
        }
    }
    return true;
}

bool QuorObject::ConfigureVideoTrack(MLHandle format, std::size_t index, const char* mime) {
    NIMB_LOG_INFO("[%i] configure video track", m_id);
    MLMediaFormatGetKeyValueInt32(format, MLMediaFormat_Key_Width, &m_textureWidth);
    MLMediaFormatGetKeyValueInt32(format, MLMediaFormat_Key_Height, &m_textureHeight);
    MLMediaExtractorSelectTrack(m_extractor, index);

    WithdrawVideoCodec();
    ReleaseCodec(m_videoCodec, m_videoWorker);  // of an earlier video track: the last one counts
    MLHandle codec = ML_INVALID_HANDLE;
    MLResult result = MLMediaCodecCreateCodec(MLMediaCodecCreation_ByType, MLMediaCodecType_Decoder, mime, &codec);
    if (result != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecCreateCodec (video) failed with error: %i", m_id, result);
        return false;
    }
    m_videoCodec = codec;
    MLMediaCodecCallbacks callbacks{};
    callbacks.on_frame_available = [](MLHandle, void* userData) {
        if (userData != nullptr) {
            static_cast<QuorObject*>(userData)->m_surface.NoteAnnounced();
            static_cast<QuorObject*>(userData)->ReportReady();
        }
    };
    if ((result = MLMediaCodecSetCallbacks(codec, &callbacks, this)) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecSetCallbacks failed with error: %i", m_id, result);
        return false;
    }
    if ((result = MLMediaCodecSetSurfaceHint(codec, MLMediaCodecSurfaceHint_Hardware)) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecSetSurfaceHint (video) failed with error: %i", m_id, result);
        return false;
    }
    if ((result = MLMediaCodecConfigure(codec, format, 0)) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecConfigure (video) failed with error: %i", m_id, result);
        return false;
    }
    if ((result = MLMediaCodecStart(codec)) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecStart (video) = %i", m_id, result);
        return false;
    }
    m_meshFrames.BeginFile();
    m_troubles.BeginFile(m_meshFrames.CurrentTicket().file);
    m_fedFrames.Clear();
    LeaveStep();
    m_videoOutputEOS = false;
    m_pictures.Clear(++m_flushes);
    m_feed = {};
    m_isPipelineWhole = true;
    m_soundStart = c_NoSoundStart;
    m_surface.Reset();
    const MutexLock lock(m_renderMutex);
    m_textureFrameNumber = -1;
    m_numberOffset = 0;
    m_renderCodec = codec;
    return true;
}

bool QuorObject::ConfigureAudioTrack(MLHandle format, std::size_t index, const char* mime) {
    NIMB_LOG_INFO("[%i] configure audio track", m_id);
    MLMediaExtractorSelectTrack(m_extractor, index);

    ReleaseCodec(m_audioCodec, m_audioWorker);
    m_audioOutput.Release();
    MLHandle codec = ML_INVALID_HANDLE;
    MLMediaCodecCreateCodec(MLMediaCodecCreation_ByType, MLMediaCodecType_Decoder, mime, &codec);
    MLResult result = MLMediaCodecConfigure(codec, format, 0);
    if (result != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecConfigure (audio) = %i", m_id, result);
        MLMediaCodecDestroy(codec);
        return false;
    }
    if ((result = MLMediaCodecStart(codec)) != MLResult_Ok) {
        NIMB_LOG_ERROR("[%i] MLMediaCodecStart (audio) = %i", m_id, result);
        MLMediaCodecDestroy(codec);
        return false;
    }
    m_audioCodec = codec;
    m_audioOutputEOS = false;

    if (!m_audioOutput.Create(this)) {
        return false;
    }
    if (const float pitch = Pitch(); pitch != 1.0f) {
        m_audioOutput.SetPitch(pitch);  // the clock's scale outlives files and their sounds
    }
    if (!m_audioOutput.Start()) {
        return false;
    }
    m_audioWorker.Start("NimbAudio", [this] { AudioThreadFunc(); });
    return true;
}

bool QuorObject::Close() {
    const State state = m_state;
    if (state != Opened && state != Playing && state != Paused && state != Closed) {
        NIMB_LOG_ERROR("[%i] QuorObject::Close return false, m_state = %i", m_id, state);
        return false;
    }
    m_state = Closed;
    LeaveStep();
    ForgetSeek(NimbSeekResult_Failed, NimbSeekReason_Closed);
    NIMB_LOG_INFO("[%i] QuorObject::Close release resources (m_state = %i)", m_id, m_state.load());
    ReleaseMedia();
    return true;
}

void QuorObject::ReleaseMedia() {
    WithdrawVideoCodec();
    StopPlayback();
    const MLHandle extractor = m_extractor.exchange(ML_INVALID_HANDLE);
    if (extractor != ML_INVALID_HANDLE) {
        MLMediaExtractorDestroy(extractor);
    }
    m_videoWorker.RequestSleep();
    m_audioWorker.RequestSleep();
    ReleaseCodec(m_videoCodec, m_videoWorker);
    ReleaseCodec(m_audioCodec, m_audioWorker);
    m_audioOutput.Release();
    m_abandon = false;
    m_frameIndex.reset();
    {
        const MutexLock lock(m_rangeMutex);
        m_range = {};
    }
    m_surface.Forget();
    m_meshFrames.BeginFile();  // meshes that are still being decoded no longer belong to anything
    ClearMeshFrames();
}

/// From here on render events find no codec. Waits for the one that holds a frame of it.
void QuorObject::WithdrawVideoCodec() {
    const MutexLock lock(m_renderMutex);
    m_renderCodec = ML_INVALID_HANDLE;
}

}  // namespace Nimb::Plugin
