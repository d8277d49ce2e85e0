// Clips played from start to end: which pictures and meshes are shown together, and what stops and revives playback.
#include "Nimb/NimbAssert.h"
#include "PluginTest.h"

#include <ml_types.h>

#include <algorithm>

using namespace PluginTest;

namespace {

using Shown = std::vector<std::pair<std::int64_t, std::int64_t>>;

constexpr int c_Slots = 8;

using PipelineTest = PluginFixture;

/// Whether every picture is shown beside its own mesh, and all of first .. last are there in this order.
testing::AssertionResult AllShown(const Shown& shown, std::int64_t first, std::int64_t last) {
    std::int64_t next = first;
    for (const auto& [picture, mesh] : shown) {
        if (picture != mesh) {
            return testing::AssertionFailure() << "picture " << picture << " is shown with mesh " << mesh;
        }
        next += picture == next ? 1 : 0;
    }
    return next == last + 1 ? testing::AssertionSuccess() : testing::AssertionFailure() << "missing picture " << next;
}

TEST_F(PipelineTest, EveryPictureIsShownWithItsMesh) {
    ClipOptions options;
    options.frames = 40;
    options.intervalUs = 4000;
    for (const bool late : {false, true}) {
        Fake::TheScript().callbackDelayUs = late ? 5000 : 0;
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 39; }));
        EXPECT_EQ(screen.shown, Matching(0, 39));
        EXPECT_EQ(LoggedWith("MISMATCHED"), 0);
        const NimbFrameInfo info = player.FrameInfo();
        EXPECT_EQ(info.frameId, 39u);
        EXPECT_EQ(info.timestamp, 39 * 4000 * 10);
        EXPECT_EQ(info.vertexCount, c_MeshVertices);
        EXPECT_EQ(info.indexCount, c_MeshIndices);
        EXPECT_EQ(info.minX, 39.0);
        EXPECT_EQ(info.maxX, 39.25);
        EXPECT_EQ(info.maxY, 0.25);
        EXPECT_EQ(info.textureWidth, 640u);
        EXPECT_EQ(info.textureHeight, 480u);
        EXPECT_EQ(info.isRepeatedFrame, 0);
    }
    EXPECT_EQ(FakeGl::ImagesOfReleasedBuffers(), 0);
}

TEST_F(PipelineTest, LoopsGoOnCounting) {
    ClipOptions options;
    options.frames = 10;
    options.intervalUs = 4000;
    options.audioSamples = 5;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options)), true));
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.shown.size() >= 35; }));
    for (std::size_t i = 0; i < screen.shown.size(); ++i) {
        const auto expected = static_cast<std::int64_t>(i % 10);
        EXPECT_EQ(screen.shown[i], std::make_pair(expected, expected)) << i;
    }
    EXPECT_EQ(LoggedWith("MISMATCHED"), 0);
    EXPECT_GE(Logged(MLLogLevel_Info, player.Line("input EOS")), 3);
    EXPECT_GE(Logged(MLLogLevel_Info, player.Line("AutoLooping: waiting for output eos")), 3);
    EXPECT_GE(Logged(MLLogLevel_Info, player.Line("AutoLooping: restarting")), 3);
    EXPECT_EQ(player.State(), NimbState_Playing);
    EXPECT_EQ(player.FrameInfo().endOfStream, 1);
}

TEST_F(PipelineTest, TheEndIsReportedOnceAndARewindPlaysAgain) {
    for (const std::size_t audioSamples : {std::size_t{0}, std::size_t{6}}) {
        ClipOptions options;
        options.audioSamples = audioSamples;
        options.intervalUs = 4000;
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
        ASSERT_TRUE(player.Play());
        bool ended = false;
        EXPECT_TRUE(screen.RenderUntil([&] { return ended = ended || player.FrameInfo().endOfStream != 0; }));
        EXPECT_EQ(player.FrameInfo().endOfStream, 0);
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
        EXPECT_EQ(player.State(), NimbState_Playing);
        EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("Video output EOS")), 1);
        EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("Audio output EOS")), audioSamples > 0 ? 1 : 0);

        screen.shown.clear();
        EXPECT_TRUE(player.Rewind());
        EXPECT_EQ(player.State(), NimbState_Paused);
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
        EXPECT_TRUE(AllShown(Shown(screen.shown.begin(), screen.shown.end()), 0, 11));
    }
}

TEST_F(PipelineTest, AnEventShowsOneFrameAtMost) {
    ClipOptions options;
    options.frames = 3;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    screen.Render();
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("OnUnityRender: state = 2, bailing")), 1);
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(WaitFor([&] { return Logged(MLLogLevel_Info, player.Line("Video output EOS")) == 1; }));
    // The callbacks come from the codec's thread: three frames are there when the third one has been rendered and told.
    for (std::int64_t picture = 0; picture < 3; ++picture) {
        ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() >= picture; }));
        EXPECT_EQ(screen.Picture(), picture);
    }
    const std::size_t events = screen.shown.size();
    screen.Render();
    EXPECT_EQ(screen.shown.size(), events);
    EXPECT_EQ(Fake::Calls("MLMediaCodecAcquireNextAvailableFrame"), 3);
}

TEST_F(PipelineTest, AFrameThatIsShownAgainIsNotUploadedAgain) {
    Fake::TheScript().repeatFrameNumber = true;
    ClipOptions options;
    options.frames = 4;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 0; }));
    EXPECT_EQ(player.FrameInfo().isRepeatedFrame, 0);
    FakeGl::ClearCalls();
    ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 1; }));
    EXPECT_EQ(player.FrameInfo().isRepeatedFrame, 1);
    EXPECT_EQ(screen.Mesh(), 0);
    for (const std::string& call : FakeGl::Calls()) {
        EXPECT_EQ(call.find("glMapBufferRange"), std::string::npos);
        EXPECT_EQ(call.find("glBufferSubData"), std::string::npos);
    }
}

TEST_F(PipelineTest, ADamagedMeshCostsItsFrame) {
    ClipOptions options;
    options.intervalUs = 4000;
    options.damagedMesh = {3, 7};
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
    Shown expected = Matching(0, 11);
    expected.erase(expected.begin() + 7);
    expected.erase(expected.begin() + 3);
    EXPECT_EQ(screen.shown, expected);
    EXPECT_EQ(LoggedWith(player.Line("**** MISMATCHED TIMESTAMPS **** texture = 3, mesh = 4 (mesh frames = ")), 1);
    EXPECT_EQ(LoggedWith(player.Line("**** MISMATCHED TIMESTAMPS **** texture = 7, mesh = 8 (mesh frames = ")), 1);
    EXPECT_EQ(LoggedWith("MISMATCHED"), 2);
}

TEST_F(PipelineTest, AFrameWithoutAMeshTakesNoNumber) {
    ClipOptions options;
    options.intervalUs = 4000;
    options.withoutMesh = {3};
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return LoggedWith("MISMATCHED") > 0; }));
    Shown expected = Matching(0, 2);
    for (std::int64_t picture = 3; picture < 11; ++picture) {
        expected.emplace_back(picture, picture + 1);  // its successors move up
    }
    EXPECT_EQ(screen.shown, expected);
    EXPECT_EQ(Logged(MLLogLevel_Error, "FindCompressedMesh returned null"), 1);
    EXPECT_EQ(Logged(MLLogLevel_Warning,
                     player.Line("**** MISMATCHED TIMESTAMPS **** texture = 11, mesh = 10 (mesh frames = 0)")),
              1);
}

TEST_F(PipelineTest, EightLostMeshesStallPlaybackUntilRewindOrClose) {
    ClipOptions options;
    options.frames = 20;
    for (std::size_t i = 0; i < 20; ++i) {
        options.withoutMesh.insert(i);
    }
    const std::string path = AddFile(MakeClip(options));
    Player player;
    Screen screen(player);
    const auto lost = [] { return LoggedWith("FindCompressedMesh returned null"); };
    const auto losesEightAndStalls = [&] {
        const int before = lost();
        return player.Play() && screen.RenderUntil([&] { return lost() == before + c_Slots; }) &&
               !screen.RenderUntil([&] { return lost() > before + c_Slots; }, std::chrono::milliseconds(60));
    };
    ASSERT_TRUE(player.Open(path));
    EXPECT_TRUE(losesEightAndStalls());
    EXPECT_TRUE(player.Rewind());
    EXPECT_TRUE(losesEightAndStalls());
    EXPECT_TRUE(player.Close());
    ASSERT_TRUE(player.Open(path));
    EXPECT_TRUE(losesEightAndStalls());
}

TEST_F(PipelineTest, PicturesInTheWrongOrderAreMismatches) {
    Fake::TheScript().swapPictures = true;
    ClipOptions options;
    options.intervalUs = 2000;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return LoggedWith("MISMATCHED") == 6; }));
    for (const auto& [picture, mesh] : screen.shown) {
        EXPECT_EQ(picture, mesh);
        EXPECT_EQ(picture % 2, 1);
    }
    EXPECT_EQ(screen.shown.size(), 6u);
}

// ---- Where workers can be when they are told to stop ----

struct Phase {
    const char* name;
    ClipOptions options;
    bool autoLoop;
    void (*arrange)();
    bool (*isReached)(const Player&);
};

const Phase c_Phases[] = {
    {"waiting for an input buffer",
     {},
     false,
     [] { Fake::TheScript().holdVideoInput = true; },
     [](const Player&) { return Fake::Calls("MLMediaCodecDequeueInputBuffer video") > 0; }},
    {"waiting for a slot",
     {},
     false,
     [] {},
     [](const Player&) { return Fake::Calls("MLMediaExtractorReadSampleData") > c_Slots; }},
    {"waiting for output",
     {},
     false,
     [] { Fake::TheScript().holdVideoOutput = true; },
     [](const Player&) { return Fake::Calls("MLMediaCodecQueueInputBuffer video") == c_Slots; }},
    {"waiting for the clock",
     [] {
         ClipOptions options;
         options.intervalUs = 3600 * 1000000ll;
         return options;
     }(),
     false, [] {}, [](const Player& player) { return LoggedWith(player.Line("renderstart = ")) == 1; }},
    {"waiting for the end of output",
     [] {
         ClipOptions options;
         options.frames = 6;
         return options;
     }(),
     true, [] { Fake::TheScript().holdVideoOutput = true; },
     [](const Player& player) { return LoggedWith(player.Line("AutoLooping: waiting for output eos")) == 1; }},
    {"waiting for the sound",
     [] {
         ClipOptions options;
         options.audioSamples = 40;
         options.audioBytes = 4096;
         return options;
     }(),
     false, [] { Fake::TheScript().holdSound = true; },
     [](const Player&) { return Fake::Calls("MLAudioGetOutputStreamBuffer") > 3; }},
    {"waiting for sound to decode",
     [] {
         ClipOptions options;
         options.audioSamples = 40;
         return options;
     }(),
     false, [] { Fake::TheScript().holdAudioOutput = true; },
     [](const Player&) { return Fake::Calls("MLMediaCodecDequeueOutputBuffer audio") > 0; }},
    {"refused all the time",
     {},
     false,
     [] { Fake::Fail("MLMediaCodecDequeueOutputBuffer", MLResult_UnspecifiedFailure); },
     [](const Player& player) { return LoggedWith(player.Line("video codec: unexpected info code: 4")) > 0; }},
};

void LetGo() {
    Fake::Script& script = Fake::TheScript();
    script.holdVideoInput = script.holdVideoOutput = script.holdAudioOutput = script.holdSound = false;
    Fake::Fail("MLMediaCodecDequeueOutputBuffer", MLResult_Ok, 0, 0);
}

class InEveryPhase : public PipelineTest, public testing::WithParamInterface<int> {
protected:
    const Phase& m_Phase = c_Phases[GetParam()];

    void Reach(Player& player, const std::string& path) {
        SCOPED_TRACE(m_Phase.name);
        m_Phase.arrange();
        ASSERT_TRUE(player.Open(path, m_Phase.autoLoop));
        ASSERT_TRUE(player.Play());
        ASSERT_TRUE(WaitFor([&] { return m_Phase.isReached(player); })) << m_Phase.name;
    }

    template <class Call>
    static void InTime(const char* what, Call&& call) {
        const auto start = std::chrono::steady_clock::now();
        call();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << what;
    }
};

TEST_P(InEveryPhase, PauseAndPlayGoOn) {
    Player player;
    Screen screen(player);
    Reach(player, AddFile(MakeClip(m_Phase.options)));
    InTime("Pause", [&] { EXPECT_TRUE(player.Pause()); });
    EXPECT_EQ(player.State(), NimbState_Paused);
    InTime("Play", [&] { EXPECT_TRUE(player.Play()); });
    LetGo();
    if (m_Phase.options.intervalUs < 1000000) {
        const auto last = static_cast<std::int64_t>(m_Phase.options.frames) - 1;
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == last; })) << m_Phase.name;
    }
}

TEST_P(InEveryPhase, RewindReturnsAndPlaysFromTheStart) {
    Player player;
    Screen screen(player);
    Reach(player, AddFile(MakeClip(m_Phase.options)));
    InTime("Rewind", [&] { EXPECT_TRUE(player.Rewind()); });
    EXPECT_EQ(player.State(), NimbState_Paused);
    LetGo();
    ASSERT_TRUE(player.Play());
    const std::int64_t last =
        m_Phase.options.intervalUs < 1000000 ? static_cast<std::int64_t>(m_Phase.options.frames) - 1 : 0;
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == last; })) << m_Phase.name;
}

TEST_P(InEveryPhase, CloseReturnsAndTheNextOpenWorks) {
    const std::string path = AddFile(MakeClip(m_Phase.options));
    ClipOptions plain;
    plain.frames = 3;
    const std::string other = AddFile(MakeClip(plain));
    Player player;
    Screen screen(player);
    Reach(player, path);
    InTime("Close", [&] { EXPECT_TRUE(player.Close()); });
    EXPECT_EQ(Fake::LiveHandles(), 0);
    LetGo();
    InTime("Open", [&] { EXPECT_TRUE(player.Open(other)); });
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 2 && screen.Mesh() == 2; })) << m_Phase.name;
}

TEST_P(InEveryPhase, DestroyReturns) {
    Player player;
    Reach(player, AddFile(MakeClip(m_Phase.options)));
    InTime("Destroy", [&] { EXPECT_EQ(DestroyQuorObject(player.Id()), 1); });
    EXPECT_EQ(Fake::LiveHandles(), 0);
}

INSTANTIATE_TEST_SUITE_P(Phases, InEveryPhase, testing::Range(0, static_cast<int>(std::size(c_Phases))));

TEST_F(PipelineTest, PausedInTheLoopsWaitTheLoopGoesOnAfterPlay) {
    ClipOptions options;
    options.frames = 6;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options)), true));
    for (int pass = 1; pass <= 3; ++pass) {
        Fake::TheScript().holdVideoOutput = true;
        ASSERT_TRUE(player.State() == NimbState_Playing || player.Play());
        ASSERT_TRUE(screen.RenderUntil([&] { return LoggedWith("AutoLooping: waiting for output eos") >= pass; }));
        EXPECT_TRUE(player.Pause());
        Fake::TheScript().holdVideoOutput = false;
        EXPECT_TRUE(player.Play());
        ASSERT_TRUE(screen.RenderUntil([&] { return LoggedWith("AutoLooping: restarting") >= pass; }));
    }
    const std::size_t before = screen.shown.size();
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.shown.size() > before + 6; }));
}

TEST_F(PipelineTest, RewindAtAnyMomentKeepsPicturesAndMeshesInStep) {
    ClipOptions options;
    options.frames = 20;
    options.intervalUs = 3000;
    options.audioSamples = 10;
    const std::string path = AddFile(MakeClip(options));
    for (const bool dropped : {false, true}) {
        Fake::TheScript().dropFramesOnFlush = dropped;
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(path));
        for (std::int64_t moment = 1; moment < 19; moment += 2) {
            ASSERT_TRUE(player.Play());
            screen.RenderUntil([&] { return screen.Picture() >= moment; }, std::chrono::milliseconds(200));
            ASSERT_TRUE(player.Rewind());
        }
        screen.shown.clear();
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 19; }));
        EXPECT_TRUE(AllShown(screen.shown, 0, 19));
    }
}

/// Keeps the mesh thread where it found a damaged mesh, until released.
class MeshThreadHold {
public:
    MeshThreadHold() {
        s_Held = true;
        m_Before = Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) {
            s_Reached = true;
            WaitFor([] { return !s_Held; });
        });
    }
    ~MeshThreadHold() {
        Release();
        Nimb::SetAssertionSink(m_Before);
    }
    MeshThreadHold(const MeshThreadHold&) = delete;
    MeshThreadHold& operator=(const MeshThreadHold&) = delete;

    static bool IsReached() { return s_Reached; }
    static void Release() { s_Held = s_Reached = false; }

private:
    static std::atomic<bool> s_Held;
    static std::atomic<bool> s_Reached;
    Nimb::AssertionSink m_Before;
};
std::atomic<bool> MeshThreadHold::s_Held{false};
std::atomic<bool> MeshThreadHold::s_Reached{false};

TEST_F(PipelineTest, MeshesOnTheirWayAcrossARewindOrACloseDoNotStallPlayback) {
    ClipOptions options;
    options.frames = 20;
    options.damagedMesh = {0};
    const std::string path = AddFile(MakeClip(options));
    options.frames = 40;
    options.damagedMesh = {20};
    Fake::Clip secondHalf = MakeClip(options);
    secondHalf.samples.erase(secondHalf.samples.begin(), secondHalf.samples.begin() + 20);
    const std::string other = AddFile(secondHalf);
    for (const bool close : {false, true}) {
        SCOPED_TRACE(close);
        Player player;
        Screen screen(player);
        Fake::TheScript().holdVideoOutput = true;
        const int before = Fake::Calls("MLMediaCodecQueueInputBuffer video");
        {
            MeshThreadHold hold;
            ASSERT_TRUE(player.Open(path));
            ASSERT_TRUE(player.Play());
            ASSERT_TRUE(WaitFor([&] {
                return hold.IsReached() && Fake::Calls("MLMediaCodecQueueInputBuffer video") - before == c_Slots;
            }));
            EXPECT_TRUE(close ? player.Close() : player.Rewind());
        }
        screen.Render();  // the mesh thread catches up, with meshes that no picture will come for
        Fake::TheScript().holdVideoOutput = false;
        ASSERT_TRUE(!close || player.Open(other));
        ASSERT_TRUE(player.Play());
        const std::int64_t first = close ? 21 : 1;
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == first + 18; }));
        EXPECT_EQ(screen.shown, Matching(first, first + 18));
    }
}

TEST_F(PipelineTest, ReopeningWhilePlayingStartsCountingAnew) {
    ClipOptions options;
    options.frames = 20;
    options.intervalUs = 3000;
    const std::string path = AddFile(MakeClip(options));
    Player player;
    Screen screen(player);
    for (std::int64_t moment = 1; moment < 12; moment += 3) {
        ASSERT_TRUE(player.Open(path));
        ASSERT_TRUE(player.Play());
        ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() == moment; }));
    }
    ASSERT_TRUE(player.Open(path));
    screen.shown.clear();
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 19; }));
    EXPECT_TRUE(AllShown(screen.shown, 0, 19));

    // Frames that nobody took are gone with the file.
    ASSERT_TRUE(player.Rewind());
    ASSERT_TRUE(player.Play());
    const int released = Fake::Calls("MLMediaCodecReleaseOutputBuffer");
    ASSERT_TRUE(WaitFor([&] { return Fake::Calls("MLMediaCodecReleaseOutputBuffer") > released + 2; }));
    ASSERT_TRUE(player.Open(path));
    Fake::ClearLog();
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 5; }));
    EXPECT_EQ(LoggedWith("MLMediaCodecAcquireNextAvailableFrame failed"), 0);
}

// ---- Refusals ----

TEST_F(PipelineTest, StatusesInPlaceOfBuffersLoseNothing) {
    ClipOptions options;
    options.intervalUs = 3000;
    options.audioSamples = 12;
    options.audioBytes = 1024;
    const Fake::Clip clip = MakeClip(options);
    for (const std::int64_t status : {-11, -1012, -1014}) {
        Fake::Refuse("MLMediaCodecDequeueInputBuffer", status, 9);
        Fake::Refuse("MLMediaCodecDequeueOutputBuffer", status, 9);
        const std::size_t playedBefore = Fake::PlayedSound().size();
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(AddFile(clip)));
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
        EXPECT_TRUE(WaitFor([&] { return player.FrameInfo().endOfStream != 0; }));
        EXPECT_EQ(screen.shown, Matching(0, 11));
        const Fake::Bytes played = Fake::PlayedSound();
        EXPECT_EQ(Fake::Bytes(played.begin() + static_cast<std::ptrdiff_t>(playedBefore), played.end()), SoundOf(clip));
    }
}

TEST_F(PipelineTest, FailingDequeuesAreLoggedAndTriedAgain) {
    ClipOptions options;
    options.intervalUs = 3000;
    options.audioSamples = 6;
    Fake::Fail("MLMediaCodecDequeueInputBuffer", MLResult_UnspecifiedFailure, 2, 3);
    Fake::Fail("MLMediaCodecDequeueOutputBuffer video", MLResult_Timeout, 3, 2);
    Fake::Fail("MLMediaCodecDequeueOutputBuffer audio", MLResult_Pending, 1, 2);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
    EXPECT_TRUE(WaitFor([&] { return player.FrameInfo().endOfStream != 0; }));
    EXPECT_EQ(screen.shown, Matching(0, 11));
    EXPECT_EQ(Logged(MLLogLevel_Warning, player.Line("video codec: unexpected info code: 2")), 2);
    EXPECT_EQ(Logged(MLLogLevel_Error, player.Line("MLMediaCodecDequeueOutputBuffer returned 1")), 2);
}

TEST_F(PipelineTest, TheEndOfTheInputReachesCodecsThatRefuseAtFirst) {
    for (const bool autoLoop : {false, true}) {
        ClipOptions options;
        options.frames = 5;
        options.audioSamples = 3;
        Fake::Fail("MLMediaCodecDequeueInputBuffer video", MLResult_UnspecifiedFailure, 5, 3);
        Fake::Fail("MLMediaCodecDequeueInputBuffer audio", MLResult_UnspecifiedFailure, 3, 3);
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(AddFile(MakeClip(options)), autoLoop));
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
        if (autoLoop) {
            EXPECT_TRUE(screen.RenderUntil(
                [&] { return Logged(MLLogLevel_Info, player.Line("AutoLooping: restarting")) > 1; }));
        }
    }
}

TEST_F(PipelineTest, AFrameThatCannotBeAcquiredIsLost) {
    Fake::Fail("MLMediaCodecGetFrameNumber", MLResult_UnspecifiedFailure, 2, 1);
    ClipOptions options;
    options.intervalUs = 3000;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
    Shown expected = Matching(0, 11);
    expected.erase(expected.begin() + 2);
    EXPECT_EQ(screen.shown, expected);
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("OnUnityRender: MLMediaCodecGetFrameNumber failed")), 1);
    EXPECT_EQ(Fake::Live(Fake::Kind::NativeBuffer), 0);

    Fake::Fail("MLMediaCodecAcquireNextAvailableFrame", MLResult_UnspecifiedFailure, 0, 1);
    ASSERT_TRUE(player.Rewind());
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] {
        return Logged(MLLogLevel_Info, player.Line("OnUnityRender: MLMediaCodecAcquireNextAvailableFrame failed")) == 1;
    }));
}

TEST_F(PipelineTest, PlayFromClosedIsAcceptedAndShowsNothing) {
    const std::string path = AddFile(MakeClip({}));
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(path, true));
    ASSERT_TRUE(player.Close());
    EXPECT_TRUE(player.Play());
    EXPECT_EQ(player.State(), NimbState_Playing);
    EXPECT_TRUE(screen.RenderUntil([&] { return Logged(MLLogLevel_Info, player.Line("input EOS")) > 0; }));
    EXPECT_FALSE(player.Open(path));  // the state is not one to open from, and there is no file to close first
    EXPECT_EQ(Logged(MLLogLevel_Error, player.Line("Error in QuorObject::Open: must be in Initialized(1) state. "
                                                   "Current state is (3).")),
              1);
    EXPECT_TRUE(player.Close());
    EXPECT_TRUE(player.Open(path));
    EXPECT_TRUE(screen.shown.empty());
}

// ---- The clock ----

TEST_F(PipelineTest, TheScaleChangesTimesWithoutAJump) {
    ClipOptions options;
    options.frames = 30;
    options.intervalUs = 2000;
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip(options))));
    SetClockScale(player.Id(), 0.5f);
    ASSERT_TRUE(player.Play());
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::int64_t> times;
    EXPECT_TRUE(screen.RenderUntil([&] {
        const std::int64_t time = player.FrameInfo().timestamp;
        if (screen.Picture() >= 0 && (times.empty() || times.back() != time)) {
            times.push_back(time);
        }
        if (screen.Picture() == 10) {
            SetClockScale(player.Id(), 2.0f);
        }
        return screen.Picture() == 29;
    }));
    // 10 frames at half speed take 40 ms, however fast the machine is.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(39));
    ASSERT_GE(times.size(), 20u);
    EXPECT_EQ(times[1] - times[0], 40000);
    EXPECT_EQ(times.back() - times[times.size() - 2], 10000);
    for (std::size_t i = 1; i < times.size(); ++i) {
        EXPECT_GE(times[i] - times[i - 1], 10000) << i;
        EXPECT_LE(times[i] - times[i - 1], 40000) << i;
    }
}

// ---- Unusual files ----

TEST_F(PipelineTest, AnEmptySampleIsSkipped) {
    ClipOptions options;
    options.intervalUs = 3000;
    options.audioSamples = 6;
    Fake::Clip clip = MakeClip(options);
    clip.samples.insert(clip.samples.begin() + 4, {0, 5000, {}});
    clip.samples.insert(clip.samples.begin() + 7, {1, 6000, {}});
    clip.samples.push_back({0, 90000, {}});
    clip.samples.push_back({1, 90000, {}});
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip)));
    for (int pass = 0; pass < 2; ++pass) {
        screen.shown.clear();
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
        EXPECT_TRUE(AllShown(screen.shown, 0, 11));
        EXPECT_TRUE(player.Rewind());
    }
}

TEST_F(PipelineTest, TracksBeyondTheSecondStallOrAreIgnored) {
    ClipOptions options;
    options.audioSamples = 6;
    options.intervalUs = 3000;
    Fake::Clip clip = MakeClip(options);
    clip.tracks.push_back({"text/plain", 0, 0, std::nullopt});
    clip.samples.insert(clip.samples.begin() + 5, {2, 3000, {1, 2, 3}});
    {
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(AddFile(clip)));
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
    }
    clip.tracks[2].mime = "audio/other";
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip)));
    ASSERT_TRUE(player.Play());
    EXPECT_FALSE(screen.RenderUntil([&] { return screen.Picture() > 4; }, std::chrono::milliseconds(100)));
    EXPECT_TRUE(player.Rewind());
    EXPECT_TRUE(player.Close());
    EXPECT_EQ(Fake::LiveHandles(), 0);  // both of the sounds, too
}

}  // namespace
