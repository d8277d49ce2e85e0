// One player: it owns the platform's extractor, codecs and sound, a mesh reader, and four worker threads.
//
// Who does what:
//   script thread    Initialize .. ClearMeshFrames, and the destructor
//   render thread    OnUnityRender and all GL work
//   playback thread  reads samples in file order, feeds the codecs, queues mesh tasks
//   mesh thread      runs the tasks: sample -> payload -> MeshFrame -> frame queue
//   video thread     releases decoded video to the codec's surface at the clock's pace
//   audio thread     copies decoded audio into the sound's output stream
// The members below are grouped by what guards them. Locks are taken in these orders and no other; what is not named is
// held alone:
//   feed -> frames -> slots     the feed mutex is held across a wait for a slot, which m_abandon ends
//   feed -> tasks
//   render -> frames -> slots   a render event holds the render mutex from acquiring a frame to releasing it
//   render -> Unity's buffers
//   output -> sleep
// Docs/architecture.md says what each guards; Stopping.cpp says how a player stops.
#pragma once

#include "NimbCore/FileTail.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbUnityPluginML/AudioOutput.h"
#include "NimbUnityPluginML/ConcurrentQueue.h"
#include "NimbUnityPluginML/FrameQueue.h"
#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"
#include "NimbUnityPluginML/PlaybackClock.h"
#include "NimbUnityPluginML/TextureCopy.h"
#include "NimbUnityPluginML/Worker.h"

#include <ml_media_codec.h>
#include <ml_media_extractor.h>
#include <ml_media_format.h>

#include <EGL/egl.h>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace Nimb::Plugin {

class QuorObject {
public:
    enum State : int { Empty = 0, Initialized = 1, Opened = 2, Playing = 3, Paused = 4, Closed = 5 };

    explicit QuorObject(int id);
    ~QuorObject();
    QuorObject(const QuorObject&) = delete;
    QuorObject& operator=(const QuorObject&) = delete;

    // ---- Script thread ----

    bool Initialize();
    bool Open(const char* path, const NimbOpenInfo* info);
    bool Close();
    bool Play();
    bool Pause();
    bool Rewind();
    void SetClockScale(float scale);
    bool SetAudioVolume(float volume) { return m_audioOutput.SetVolume(volume); }
    void SetComputeNormals(bool computeNormals) noexcept { m_computeNormals = computeNormals; }
    bool GetFrameInfo(NimbFrameInfo* info);
    bool GetFileInfo(NimbFileInfo* info);
    State GetState() const noexcept { return m_state; }

    /// The exported function takes the texture first. Returns 1.
    int SetUnityBuffers(void* vb, int vbSize, void* ib, int ibSize, void* tex, int width, int height);

    /// Drops all decoded frames and gives back every slot, those of lost frames included. Any thread.
    void ClearMeshFrames();

    // ---- Render thread ----

    /// Shows the next decoded video frame, if there is one, and the mesh that belongs to it. `unityContext`: the
    /// engine's EGL context, which is current.
    void OnUnityRender(EGLContext unityContext);

private:
    friend class MeshBarrier;  // of the tests

    /// The input side of a codec.
    struct CodecInput {
        std::int64_t buffer = -1;  ///< playback thread: the buffer in hand, -1 when there is none
        bool endQueued =
            false;  ///< also the script thread while that sleeps: the codec was told of the end of this pass
    };

    // Open and Close.
    void ReadFileTail(std::FILE* file);
    bool OpenMedia(const char* path);
    bool ConfigureTracks();
    bool ConfigureVideoTrack(MLHandle format, std::size_t index, const char* mime);
    bool ConfigureAudioTrack(MLHandle format, std::size_t index, const char* mime);
    void StartWorkers();
    void ReleaseMedia();
    void WithdrawVideoCodec();
    bool ReadFileAttributes(NimbFileInfo* info, bool* pFailed);

    // How it stops, and why like this: Stopping.cpp.
    void StopPlayback();
    void FlushCodecs();
    void StopOutput(Worker& worker, const std::function<void()>& unblock);
    void ReleaseCodec(std::atomic<MLHandle>& codec, Worker& worker);
    void StartOver();
    bool IsAbandoned(const Worker& worker) const;
    void FollowState(Worker& worker);
    void SleepAtEnd(Worker& worker, const std::atomic<bool>& outputEOS);
    void ReportEndOfStream(bool hasOtherEnded);
    bool WaitForOutputEnd();
    bool HasOutputEnded();
    void NotifyOutputEnd();

    // Playback thread.
    void PlaybackThreadFunc();
    void PlaybackIteration();
    void EndOfInput(std::int64_t scaledTime);
    bool QueueEndOfStream(MLHandle codec, CodecInput& input, std::int64_t scaledTime);
    void FeedAudio(std::int64_t scaledTime);
    void FeedVideo(std::int64_t scaledTime);
    bool TakeMeshSlot() NIMB_REQUIRES(m_feedMutex);
    bool DequeueInput(MLHandle codec, CodecInput& input);
    bool ReadSample(MLHandle codec, CodecInput& input, std::uint8_t** ppBuffer, std::int64_t* pSize)
        NIMB_REQUIRES(m_feedMutex);

    // Mesh thread.
    void MeshThreadFunc(UINT32 vertexFormat);
    void DecodeSample(const std::vector<BYTE>& sample, std::int64_t timeStamp, FrameQueue::Ticket ticket);
    std::shared_ptr<MeshFrame> ReadMeshFrame(const std::vector<BYTE>& sample, std::int64_t timeStamp,
                                             FrameQueue::Ticket ticket);

    // Video and audio threads.
    void VideoThreadFunc();
    void VideoIteration();
    void PaceVideo(std::int64_t time);
    bool IsPictureOverdue() const;
    void DeferOverduePicture();
    void AudioThreadFunc();
    void AudioIteration();

    // Render thread.
    void ShowFrame(MLHandle nativeBuffer, const FrameQueue::Matched& matched) NIMB_REQUIRES(m_renderMutex);

    const int m_id;
    std::atomic<State> m_state{Empty};

    // Script thread; workers read them while a file is open.
    NimbOpenInfo m_openInfo{};
    std::unique_ptr<FileTail> m_xtraData;  // null when there is none
    std::uint32_t m_fileSize = 0;
    std::int32_t m_textureWidth = 0;
    std::int32_t m_textureHeight = 0;
    std::int64_t m_durationUs = 0;  // of the first track

    // Platform handles: made and destroyed by the script thread, used by it and by the workers. A stale one is refused
    // by the platform.
    std::atomic<MLHandle> m_extractor{ML_INVALID_HANDLE};
    std::atomic<MLHandle> m_videoCodec{ML_INVALID_HANDLE};
    std::atomic<MLHandle> m_audioCodec{ML_INVALID_HANDLE};

    // Flags between the threads.
    std::atomic<bool> m_videoOutputEOS{false};
    std::atomic<bool> m_audioOutputEOS{false};
    std::atomic<bool> m_endReported{false};  // when both outputs end at once, both threads see it
    std::atomic<bool> m_endOfStream{false};
    std::atomic<bool> m_pendingRestart{false};
    std::atomic<bool> m_computeNormals{true};
    std::atomic<bool> m_abandon{false};  // Rewind or Close waits for the workers: give up what you wait for
    static constexpr std::int64_t c_RenderStartUnset = -1;
    std::atomic<std::int64_t> m_renderStart{0};  // monotonic nanoseconds at which time zero is shown
    static constexpr std::int64_t c_NoPictureAwaited = 0;
    std::atomic<std::int64_t> m_pictureAwaitedSince{c_NoPictureAwaited};  // monotonic nanoseconds, see IsPictureOverdue
    std::atomic<std::uint32_t> m_framesAvailable{0};                      // rendered texture frames not yet taken

    // Locked by themselves.
    PlaybackClock m_clock;
    FrameQueue m_meshFrames;
    ConcurrentQueue m_meshTasks;

    // Held by the playback thread from an input buffer in hand to its being queued. Flushes from other threads take it,
    // so that a sample goes to codec and mesh thread, or to neither: their frame numbers depend on it.
    Mutex m_feedMutex;

    // The video codec as render events know it. An event holds the mutex from before it acquires a frame until it has
    // released it; whoever is about to destroy the codec takes it away here first, and so waits for the event. The
    // frame queue moves to another file only while there is no codec here, so an event's number and meshes belong to
    // one file.
    Mutex m_renderMutex;
    /// m_videoCodec, or none while a file is opened or closed.
    MLHandle m_renderCodec NIMB_GUARDED_BY(m_renderMutex) = ML_INVALID_HANDLE;
    /// Of the texture frame last taken.
    std::int64_t m_textureFrameNumber NIMB_GUARDED_BY(m_renderMutex) = -1;

    // For the playback thread's wait for the end of the output: whoever changes what HasOutputEnded looks at notifies
    // under the mutex.
    Mutex m_outputMutex;
    Condition m_outputChanged;

    // The engine's objects.
    struct UnityBuffers {
        unsigned int vertexBuffer = 0;
        int vertexBufferSize = 0;
        unsigned int indexBuffer = 0;
        int indexBufferSize = 0;
        unsigned int texture = 0;
        int textureWidth = 0;
        int textureHeight = 0;
    };
    Mutex m_unityMutex;
    UnityBuffers m_unityBuffers NIMB_GUARDED_BY(m_unityMutex);
    /// Of the mesh last uploaded: its indices need no second upload.
    NIMBCORE::CComPtr<INimbBuffer> m_lastIndexBuffer NIMB_GUARDED_BY(m_unityMutex);

    // Playback thread.
    CodecInput m_videoInput;
    CodecInput m_audioInput;

    // Script thread and audio thread.
    AudioOutput m_audioOutput{m_id};

    // Render thread; the mesh thread cleans it up at its end.
    TextureCopy m_textureCopy{m_id};

    // Mesh thread; initialised before it starts.
    Nimb::CNimbMeshReader m_meshReader;

    // Last, so that everything above exists while they run.
    Worker m_playbackWorker;
    Worker m_videoWorker{[this] { NotifyOutputEnd(); }};
    Worker m_audioWorker{[this] { NotifyOutputEnd(); }};
    std::thread m_meshThread;
};

}  // namespace Nimb::Plugin
