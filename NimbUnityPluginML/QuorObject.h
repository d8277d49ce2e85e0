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
//   feed -> take -> output
//   render -> frames -> slots   a render event holds the render mutex from acquiring a frame to releasing it
//   render -> Unity's buffers
//   render -> pace -> the shared clock
//   render -> the player's clock
//   render -> troubles
//   render, or feed -> fed frames
//   output -> sleep
//   output, or render -> range
// Docs/architecture.md says what each guards; Stopping.cpp says how a player stops.
#pragma once

#include "NimbCore/FileTail.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbUnityPluginML/AudioOutput.h"
#include "NimbUnityPluginML/ConcurrentQueue.h"
#include "NimbUnityPluginML/FedFrames.h"
#include "NimbUnityPluginML/FrameIndex.h"
#include "NimbUnityPluginML/FrameQueue.h"
#include "NimbUnityPluginML/Mutex.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"
#include "NimbUnityPluginML/Pace.h"
#include "NimbUnityPluginML/PictureQueue.h"
#include "NimbUnityPluginML/PlaybackClock.h"
#include "NimbUnityPluginML/SeekTickets.h"
#include "NimbUnityPluginML/StallWatch.h"
#include "NimbUnityPluginML/SurfacePictures.h"
#include "NimbUnityPluginML/TextureCopy.h"
#include "NimbUnityPluginML/Troubles.h"
#include "NimbUnityPluginML/Worker.h"

#include <ml_media_codec.h>
#include <ml_media_extractor.h>
#include <ml_media_format.h>

#include <EGL/egl.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
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

    // How it goes to frames: Seeking.cpp. The exported functions say what these do.
    std::int64_t Seek(std::int64_t frame, std::uint32_t options);
    std::int64_t SeekToTime(std::int64_t time, std::uint32_t options);
    std::int64_t Step(int frames);
    bool TakeSeekEnd(NimbSeekEnd* end) { return m_seeks.Take(end); }
    bool SetPlayRange(std::int64_t first, std::int64_t last, bool loop);

    // How it goes by a clock that players share: Following.cpp.
    /// Null: by its own again.
    void Follow(const std::shared_ptr<SharedClock>& clock);
    std::shared_ptr<SharedClock> FollowedClock() { return m_pace.Clock(); }
    bool IsInStep() { return m_pace.IsInStep(); }
    std::int64_t SeekInStep(std::int64_t position, std::uint32_t options);
    void PlayInStep();
    void PauseInStep();
    void FollowSpeed() { m_audioOutput.SetPitch(Pitch()); }

    // What it tells of itself, to any thread: Reporting.cpp.
    bool GetShownFrame(NimbShownFrame* pShown);
    bool TakeTrouble(NimbTrouble* pTrouble) { return m_troubles.Take(pTrouble); }

    /// The exported function takes the texture first. Returns 1.
    int SetUnityBuffers(void* vb, int vbSize, void* ib, int ibSize, void* tex, int width, int height);

    /// Drops all decoded frames and gives back every slot, those of lost frames included. Any thread.
    void ClearMeshFrames();

    // ---- Render thread ----

    /// Shows the next decoded video frame, if there is one, and the mesh that belongs to it. `unityContext`: the
    /// engine's EGL context, which is current. `contextNumber`: GraphicsDevice counts them.
    void OnUnityRender(EGLContext unityContext, std::uint32_t contextNumber);

private:
    friend class MeshBarrier;  // of the tests

    /// The input side of a codec.
    struct CodecInput {
        std::int64_t buffer = -1;  ///< playback thread: the buffer in hand, -1 when there is none
        bool endQueued =
            false;  ///< also the script thread while that sleeps: the codec was told of the end of this pass
    };

    /// The video codec's output that the video thread is dealing with.
    struct PictureInHand {
        std::int64_t index = -1;  ///< -1: there is none
        std::int64_t time = 0;
        bool hasData = false;
        std::uint32_t flushes = 0;  ///< m_flushes when it was taken
    };
    enum class Verdict { Render, Drop, Keep };

    /// What is played of the file.
    struct PlayRange {
        std::int64_t first = 0;
        std::int64_t last = -1;  ///< below 0: all of it
        bool loop = false;
    };

    static constexpr std::int64_t c_VideoTrack = 0;  // the file's track order is part of the format
    static constexpr std::int64_t c_AudioTrack = 1;
    static constexpr std::int64_t c_NoTrack = -1;

    /// How far the request under way has got.
    enum class SeekPhase {
        None,       ///< there is none
        Requested,  ///< the playback thread has yet to take it up: nobody shows or releases a picture
        Planned,    ///< it is finding out which pictures and meshes are needed
        Underway,   ///< the target's picture and mesh are being decoded, and the surface gets empty
        Released    ///< the target's picture is on its way to the surface
    };

    /// Whether both outputs have come to the end, and what follows.
    enum class OutputEnd {
        Ahead,
        IsOver,  ///< nothing, until a request or a rewind
        GoesOn   ///< it begins again
    };

    /// The engine's objects.
    struct UnityBuffers {
        unsigned int vertexBuffer = 0;
        int vertexBufferSize = 0;
        unsigned int indexBuffer = 0;
        int indexBufferSize = 0;
        unsigned int texture = 0;
        int textureWidth = 0;
        int textureHeight = 0;
        std::uint64_t handover = 0;  ///< counts calls of SetUnityBuffers
    };

    // Open and Close.
    bool StartPlaying(bool keepsPace);
    float Pitch();
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
    void LeaveEnd();
    void ForgetOutputEnd() NIMB_REQUIRES(m_outputMutex);
    void StartOver();
    bool IsAbandoned(const Worker& worker) const;
    bool IsRunning() const { return m_state == Playing || m_seekPhase != SeekPhase::None; }
    void FollowState(Worker& worker);
    void SleepAtEnd(Worker& worker, const std::atomic<bool>& outputEOS);
    bool IsGoingOn();
    void SleepAtEndOfInput();
    MLResult TakeOutput(MLHandle codec, Mutex& takeMutex, MLMediaCodecBufferInfo* pInfo, std::int64_t* pIndex,
                        std::uint32_t* pFlushes);
    bool NoteOutputEnd(std::atomic<bool>& outputEOS, MLHandle otherCodec, const std::atomic<bool>& otherEOS,
                       std::uint32_t flushes);
    bool WaitForOutputEnd();
    bool HasOutputEnded();
    void NotifyOutputEnd();

    // Seeking.
    std::int64_t BeginSeek(std::int64_t frame, std::uint32_t options, bool isInStep);
    void ForgetSeek(NimbSeekResult result, NimbSeekReason reason);
    void EndSeek(NimbSeekResult result, NimbSeekReason reason) NIMB_REQUIRES(m_renderMutex);
    void FailSeek(NimbSeekReason reason);
    void RetrySeek() NIMB_EXCLUDES(m_renderMutex);
    void RetrySeekLocked() NIMB_REQUIRES(m_renderMutex);
    void FollowStateAll();
    bool IsSeeking() const { return m_seekPhase != SeekPhase::None; }
    bool IsInterrupted() const { return IsAbandoned(m_playbackWorker) || m_seekPhase == SeekPhase::Requested; }
    void LeaveStep();
    void HoldNobodyBack();
    void ReportReady();
    void MoveInStep(std::int64_t frame) NIMB_REQUIRES(m_renderMutex);
    void NoteReleased(const PictureQueue::Picture& picture) NIMB_REQUIRES(m_renderMutex);
    bool ReleaseTarget(const PictureQueue::Picture& picture);
    bool ReleaseRestart(const PictureQueue::Picture& picture);
    void DrainSurface() NIMB_REQUIRES(m_renderMutex);
    std::int64_t MeshNumberOf(std::int64_t textureFrameNumber) NIMB_REQUIRES(m_renderMutex);
    void NoteShown(const MeshFrame* frame) NIMB_REQUIRES(m_renderMutex);

    // Seeking, playback thread.
    void TakeUpSeek();
    bool PlanSeek(std::int64_t frame);
    bool BeginAfresh(std::int64_t frame);
    bool FlushForSeek();
    bool GoBefore(std::int64_t frame, bool isWhole);
    std::int64_t FindMeshEntry(std::int64_t frame);
    bool IsKeyMesh(std::int64_t frame);
    bool GoToFrame(std::int64_t frame);
    bool ReadCurrentSample(std::size_t capacity, std::vector<BYTE>* pSample);
    void WarmUpMesh(std::int64_t frame);
    void LeaveWay();
    void FailGoal();
    bool TurnAtRangeEnd(std::int64_t frame);
    void BeginRangeAgain(const PlayRange& range);
    PlayRange CurrentRange();
    bool IsLooping();
    bool IsSoundOutside(std::int64_t sampleTime);
    void SetSoundAside(std::int64_t sampleTime);
    void FeedSoundSetAside();

    // Playback thread.
    void PlaybackThreadFunc();
    void PlaybackIteration();
    void EndOfInput(std::int64_t scaledTime);
    void BeginAgain();
    bool QueueEndOfStream(MLHandle codec, CodecInput& input, std::int64_t scaledTime);
    void FeedAudio(std::int64_t scaledTime);
    void FeedVideo(std::int64_t sampleTime, std::int64_t scaledTime);
    PictureQueue::Use UseOf(std::int64_t frame) const;
    void EnqueueMesh(std::shared_ptr<const std::vector<BYTE>> sample, std::int64_t timeStamp, ClipPlace place,
                     PictureQueue::Use use);
    bool TakeMeshSlot() NIMB_REQUIRES(m_feedMutex);
    bool DequeueInput(MLHandle codec, CodecInput& input);
    bool ReadSample(MLHandle codec, CodecInput& input, std::uint8_t** ppBuffer, std::int64_t* pSize)
        NIMB_REQUIRES(m_feedMutex);

    // Mesh thread.
    void MeshThreadFunc(UINT32 vertexFormat);
    void DecodeSample(const std::vector<BYTE>& sample, std::int64_t timeStamp, FrameQueue::Ticket ticket,
                      ClipPlace place);
    std::shared_ptr<MeshFrame> ReadMeshFrame(const std::vector<BYTE>& sample, std::int64_t timeStamp,
                                             FrameQueue::Ticket ticket, ClipPlace place);
    std::shared_ptr<MeshFrame> DecodeMesh(const std::vector<BYTE>& sample, std::int64_t timeStamp,
                                          FrameQueue::Ticket ticket, ClipPlace place);
    void PassSample(const std::vector<BYTE>& sample, FrameQueue::Ticket ticket, std::int64_t frame);

    // Video and audio threads.
    void VideoThreadFunc();
    void VideoIteration();
    bool TakeVideoOutput();
    Verdict AwaitShow(const PictureInHand& inHand);
    bool PaceVideo(const PictureQueue::Picture& picture);
    std::int64_t LeadOf(const PictureQueue::Picture& picture);
    void StartPaceAt(const PictureQueue::Picture& picture);
    bool IsPictureOverdue() const;
    void DeferOverduePicture();
    void AudioThreadFunc();
    void AudioIteration();
    bool AwaitSound(std::int64_t time, std::uint32_t* pEpoch);
    std::size_t SoundToSkip(std::int64_t time);
    std::size_t JoinRounds(std::int64_t time, std::size_t skipped, std::size_t count,
                           const std::function<bool()>& isGivenUp);
    std::size_t SoundBytes(std::int64_t timeUs);
    std::int64_t SoundTime(std::size_t bytes);

    // Render thread.
    class AcquiredFrame;
    void Render(EGLContext unityContext, std::int64_t position, int most);
    std::optional<AcquiredFrame> TakePicture() NIMB_REQUIRES(m_renderMutex);
    void ShowFrame(MLHandle nativeBuffer, const FrameQueue::Matched& matched) NIMB_REQUIRES(m_renderMutex);

    // Reporting.
    void ForgetShown();
    void NoteInObjects(const MeshFrame* frame, const UnityBuffers& objects);
    void NoteLostFrame(std::int64_t textureFrameNumber) NIMB_REQUIRES(m_renderMutex);
    void WatchForStall() NIMB_REQUIRES(m_renderMutex);
    std::int64_t ShownDuration() NIMB_REQUIRES(m_renderMutex);

    const int m_id;
    std::atomic<State> m_state{Empty};

    // Script thread; workers read them while a file is open.
    NimbOpenInfo m_openInfo{};
    std::unique_ptr<FileTail> m_xtraData;  // null when there is none
    std::uint32_t m_fileSize = 0;
    std::int32_t m_textureWidth = 0;
    std::int32_t m_textureHeight = 0;
    std::int64_t m_durationUs = 0;                   // of the first track
    std::unique_ptr<const FrameIndex> m_frameIndex;  // null when the file has none

    // Platform handles: made and destroyed by the script thread, used by it and by the workers. A stale one is refused
    // by the platform.
    std::atomic<MLHandle> m_extractor{ML_INVALID_HANDLE};
    std::atomic<MLHandle> m_videoCodec{ML_INVALID_HANDLE};
    std::atomic<MLHandle> m_audioCodec{ML_INVALID_HANDLE};

    // Flags between the threads.
    std::atomic<bool> m_videoOutputEOS{false};
    std::atomic<bool> m_audioOutputEOS{false};
    std::atomic<OutputEnd> m_outputEnd{OutputEnd::Ahead};  // set under the output mutex
    std::atomic<bool> m_endOfStream{false};
    std::atomic<bool> m_pendingRestart{false};
    std::atomic<bool> m_computeNormals{true};
    std::atomic<bool> m_abandon{false};  // Rewind or Close waits for the workers: give up what you wait for
    std::atomic<bool> m_isPausedByClock{false};
    std::atomic<std::int64_t> m_newestMesh{0};  // its time, microseconds
    static constexpr std::int64_t c_NoPictureAwaited = 0;
    std::atomic<std::int64_t> m_pictureAwaitedSince{c_NoPictureAwaited};  // monotonic nanoseconds, see IsPictureOverdue

    // Locked by themselves.
    PlaybackClock m_clock;
    Pace m_pace;
    FrameQueue m_meshFrames;
    ConcurrentQueue m_meshTasks;
    SeekTickets m_seeks;
    PictureQueue m_pictures;
    SurfacePictures m_surface;
    Troubles m_troubles;
    FedFrames m_fedFrames;

    // Seeking. The phase is changed under the render mutex, so that no render event shows a frame after a request.
    std::atomic<SeekPhase> m_seekPhase{SeekPhase::None};
    std::atomic<bool> m_surfaceEmpty{false};     // of what was released before the request
    std::atomic<std::int64_t> m_shownFrame{-1};  // of the file, in the engine's objects; -1: playback is elsewhere
    std::atomic<std::int64_t> m_shownTime{0};    // of m_shownFrame, on the timeline, microseconds
    std::atomic<std::int64_t> m_stepFrom{-1};    // the frame asked for or shown last
    std::atomic<bool> m_isPipelineWhole{true};   // codec and mesh reader have had all samples up to Feed::next
    std::atomic<std::uint32_t> m_flushes{0};     // counts what makes output void that was taken before
    std::atomic<std::uint32_t> m_soundEpoch{0};  // counts requests taken up: sound from before one is not played
    static constexpr std::int64_t c_NoSoundStart = INT64_MIN;
    std::atomic<std::int64_t> m_soundStart{c_NoSoundStart};  // decoded sound before this scaled time is not played
    Mutex m_rangeMutex;
    PlayRange m_range NIMB_GUARDED_BY(m_rangeMutex);

    // Held by the playback thread from an input buffer in hand to its being queued. Flushes from other threads take it,
    // so that a sample goes to codec and mesh thread, or to neither: their frame numbers depend on it.
    Mutex m_feedMutex;

    // Held by an output thread while it takes output from its codec, and by whoever flushes for a request: what is
    // taken is known to be from before the flush or from after it.
    Mutex m_videoTakeMutex;
    Mutex m_audioTakeMutex;

    // The video codec as render events know it. An event holds the mutex from before it acquires a frame until it has
    // released it; whoever is about to destroy the codec takes it away here first, and so waits for the event. The
    // frame queue moves to another file only while there is no codec here, so an event's number and meshes belong to
    // one file.
    Mutex m_renderMutex;
    /// m_videoCodec, or none while a file is opened or closed.
    MLHandle m_renderCodec NIMB_GUARDED_BY(m_renderMutex) = ML_INVALID_HANDLE;
    /// Of the texture frame last taken.
    std::int64_t m_textureFrameNumber NIMB_GUARDED_BY(m_renderMutex) = -1;
    /// Texture frame number minus the number of its mesh: codecs differ in what they count while pictures are passed.
    std::int64_t m_numberOffset NIMB_GUARDED_BY(m_renderMutex) = 0;
    /// How long the announcement of a released picture may take, nanoseconds. Some platforms drop pictures at a flush,
    /// and then it never comes.
    static constexpr std::int64_t c_SurfacePatience = 100000000;
    static constexpr std::int64_t c_NoAnchor = -1;
    /// The number of the mesh that belongs to the frame acquired next.
    std::int64_t m_anchor NIMB_GUARDED_BY(m_renderMutex) = c_NoAnchor;
    bool m_isDrainCertain NIMB_GUARDED_BY(m_renderMutex) = true;        // all that was released had been announced
    std::int64_t m_surfaceDeadline NIMB_GUARDED_BY(m_renderMutex) = 0;  // monotonic nanoseconds
    int m_seekTries NIMB_GUARDED_BY(m_renderMutex) = 0;
    StallWatch m_stallWatch NIMB_GUARDED_BY(m_renderMutex);

    // For the playback thread's wait for the end of the output: whoever changes what HasOutputEnded looks at notifies
    // under the mutex.
    Mutex m_outputMutex;
    Condition m_outputChanged;

    Mutex m_unityMutex;
    UnityBuffers m_unityBuffers NIMB_GUARDED_BY(m_unityMutex);
    /// Of the mesh last uploaded: its indices need no second upload.
    NIMBCORE::CComPtr<INimbBuffer> m_lastIndexBuffer NIMB_GUARDED_BY(m_unityMutex);
    /// What the objects hold.
    NimbShownFrame m_shown NIMB_GUARDED_BY(m_unityMutex){-1, 0, 0};

    // Playback thread, and the script thread while that sleeps.
    CodecInput m_videoInput;
    CodecInput m_audioInput;
    struct SoundSample {
        std::int64_t timeUs;  ///< scaled
        std::vector<BYTE> bytes;
    };
    struct Feed {
        std::int64_t next = 0;        ///< the frame that comes next, if the pipeline is whole
        std::int64_t count = 0;       ///< of video samples since the file's start; says the frame where no index does
        std::int64_t meshNumber = 0;  ///< of the next sample that is to be shown; counted as FrameQueue counts
        std::int64_t goal = -1;       ///< the target, until it has been fed; -1: there is none
        /// Samples before it are for the mesh reader alone. The codec has had all since.
        std::int64_t firstPicture = 0;
        bool isSeek = false;                 ///< the goal is that of a request, not a range's first frame
        bool isRestart = false;              ///< the next sample that is shown begins anew
        std::deque<SoundSample> soundAside;  ///< read while a request was under way
        std::vector<signed char> keyMeshes;  ///< of each frame: 1, 0, or -1 while nobody knows
    };
    Feed m_feed;

    // Video thread.
    PictureInHand m_pictureInHand;

    // Audio thread.
    std::uint32_t m_soundEpochInHand = 0;           // of the sound in the output's buffer
    std::int64_t m_soundExpected = c_NoSoundStart;  // the time of the sound that comes next if there is no gap

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
