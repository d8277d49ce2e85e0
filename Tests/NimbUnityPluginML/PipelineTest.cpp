// Clips played from start to end: which pictures and meshes are shown together, and what stops and revives playback.
#include "Nimb/NimbAssert.h"
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <ml_types.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>

using namespace PluginTest;

namespace {

constexpr int c_Slots = 8;
constexpr std::int64_t c_Hour = 3600 * 1000000ll;

using PipelineTest = PluginFixture;

/// Whether every picture is shown beside its own mesh, and all of first .. last are there in this order.
testing::AssertionResult AllShown(const Pairs& shown, std::int64_t first, std::int64_t last) {
    std::int64_t next = first;
    for (const auto& [picture, mesh] : shown) {
        if (picture != mesh) {
            return testing::AssertionFailure() << "picture " << picture << " is shown with mesh " << mesh;
        }
        next += picture == next ? 1 : 0;
    }
    return next == last + 1 ? testing::AssertionSuccess() : testing::AssertionFailure() << "missing picture " << next;
}

testing::AssertionResult UntilAllShown(Screen& screen, std::int64_t first, std::int64_t last) {
    screen.RenderUntil([&] { return static_cast<bool>(AllShown(screen.shown, first, last)); });
    return AllShown(screen.shown, first, last);
}

/// The pairs that are shown when these pictures are lost.
Pairs MatchingBut(std::int64_t first, std::int64_t last, const std::set<std::int64_t>& lost) {
    Pairs pairs = Matching(first, last);
    const auto isLost = [&lost](const auto& pair) { return lost.count(pair.first) != 0; };
    pairs.erase(std::remove_if(pairs.begin(), pairs.end(), isLost), pairs.end());
    return pairs;
}

TEST_F(PipelineTest, EveryPictureIsShownWithItsMesh) {
    for (const bool late : {false, true}) {
        Fake::TheScript().callbackDelayUs = late ? 5000 : 0;
        Playback playback({40});
        EXPECT_TRUE(playback.UntilPicture(39));
        EXPECT_EQ(playback.Shown(), Matching(0, 39));
        EXPECT_EQ(LoggedWith("MISMATCHED"), 0);
        const NimbFrameInfo info = playback.player.FrameInfo();
        EXPECT_EQ(info.frameId, 39u);
        EXPECT_EQ(info.timestamp, 39 * 2000 * 10);
        EXPECT_EQ(info.vertexCount, c_MeshVertices);
        EXPECT_EQ(info.indexCount, c_MeshIndices);
        EXPECT_EQ(info.minX, 39.0);
        EXPECT_EQ(info.maxX, 39.25);
        EXPECT_EQ(info.maxY, 0.25);
        EXPECT_EQ(info.textureWidth, 640u);
        EXPECT_EQ(info.textureHeight, 480u);
        EXPECT_EQ(info.isRepeatedFrame, 0);
    }
}

TEST_F(PipelineTest, LoopsGoOnCounting) {
    Playback playback({10, 2000, 5}, true);
    EXPECT_TRUE(playback.Until([&] { return playback.Shown().size() >= 35; }));
    for (std::size_t i = 0; i < playback.Shown().size(); ++i) {
        const auto expected = static_cast<std::int64_t>(i % 10);
        EXPECT_EQ(playback.Shown()[i], std::make_pair(expected, expected)) << i;
    }
    EXPECT_EQ(LoggedWith("MISMATCHED"), 0);
    for (const char* const line : {"input EOS", "AutoLooping: waiting for output eos", "AutoLooping: restarting"}) {
        EXPECT_GE(playback.player.Logged(MLLogLevel_Info, line), 3) << line;
    }
    EXPECT_EQ(playback.player.State(), NimbState_Playing);
    EXPECT_EQ(playback.player.FrameInfo().endOfStream, 1);
}

int Awakenings(const std::string& thread) {
    return LoggedWith(thread + " thread is awake");
}
bool Sleeps(const std::string& thread) {
    return LoggedWith(thread + " thread sleeping") > Awakenings(thread);
}

TEST_F(PipelineTest, TheEndIsReportedOnceAndARewindPlaysAgain) {
    for (const std::size_t audioSamples : {std::size_t{0}, std::size_t{6}}) {
        Fake::ClearLog();
        Playback playback({12, 4000, audioSamples});
        Player& player = playback.player;
        EXPECT_TRUE(playback.UntilEnd());
        EXPECT_EQ(player.FrameInfo().endOfStream, 0);
        EXPECT_TRUE(playback.UntilPicture(11));
        EXPECT_EQ(player.State(), NimbState_Playing);
        EXPECT_EQ(player.Logged(MLLogLevel_Info, "Video output EOS"), 1);
        EXPECT_EQ(player.Logged(MLLogLevel_Info, "Audio output EOS"), audioSamples > 0 ? 1 : 0);

        playback.screen.shown.clear();
        EXPECT_TRUE(player.Rewind());
        EXPECT_EQ(player.State(), NimbState_Paused);
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(playback.UntilEnd());
        EXPECT_TRUE(UntilAllShown(playback.screen, 0, 11));
        EXPECT_EQ(player.FrameInfo().endOfStream, 0);

        // An end that nobody asked about is gone with its file.
        EXPECT_TRUE(player.Rewind() && player.Play());
        EXPECT_TRUE(playback.Until([&] {
            return LoggedWith("Video output EOS") == 3 && Sleeps("Video") && (audioSamples == 0 || Sleeps("Audio"));
        }));
        ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
        EXPECT_EQ(player.FrameInfo().endOfStream, 0);
    }
}

TEST_F(PipelineTest, AnEventShowsOneFrameAtMost) {
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(MakeClip({3}))));
    screen.Render();
    EXPECT_EQ(player.Logged(MLLogLevel_Info, "OnUnityRender: state = 2, bailing"), 1);
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(WaitFor([&] { return player.Logged(MLLogLevel_Info, "Video output EOS") == 1; }));
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
    Playback playback({4});
    playback.screen.arePicturesFrames = false;
    ASSERT_TRUE(playback.UntilPicture(0));
    EXPECT_EQ(playback.player.FrameInfo().isRepeatedFrame, 0);
    FakeGl::ClearCalls();
    ASSERT_TRUE(playback.UntilPicture(1));
    EXPECT_EQ(playback.player.FrameInfo().isRepeatedFrame, 1);
    EXPECT_EQ(playback.screen.Mesh(), 0);
    EXPECT_EQ(FakeGl::CallsOf("glMapBufferRange") + FakeGl::CallsOf("glBufferSubData"), 0);
}

TEST_F(PipelineTest, ADamagedOrMissingMeshCostsItsFrameAlone) {
    Playback playback({12, 2000, 0, 0, {3}, {7}});
    ASSERT_TRUE(playback.UntilPicture(11));
    EXPECT_EQ(playback.Shown(), MatchingBut(0, 11, {3, 7}));
    for (const char* const numbers : {"texture = 3, mesh = 4", "texture = 7, mesh = 8"}) {
        const std::string line = std::string("**** MISMATCHED TIMESTAMPS **** ") + numbers + " (mesh frames = ";
        EXPECT_EQ(LoggedWith(playback.player.Line(line)), 1) << line;
    }
    EXPECT_EQ(LoggedWith("MISMATCHED"), 2);
    EXPECT_EQ(Logged(MLLogLevel_Error, "FindCompressedMesh returned null"), 1);
}

TEST_F(PipelineTest, ADamagedMeshInALoopDoesNotStallItInTheLongRun) {
    Playback playback({4, 500, 0, 0, {}, {2}}, true);
    EXPECT_TRUE(playback.Until([&] { return LoggedWith("AutoLooping: restarting") > c_Slots + 2; }));
}

/// A second without a picture is what it takes, so these two take a second.
TEST_F(PipelineTest, ADecoderThatYieldsNothingGetsMoreThanEightSamples) {
    Fake::TheScript().undecodable = c_Slots + 3;
    Playback playback({20});
    EXPECT_TRUE(playback.UntilPicture(19));
    EXPECT_EQ(playback.Shown(), Matching(c_Slots + 3, 19));
}

TEST_F(PipelineTest, NoMeshIsGivenUpWhilePicturesWaitForTheClock) {
    Playback playback({12, 1300000});
    EXPECT_TRUE(playback.UntilPicture(1));
    EXPECT_EQ(playback.Shown(), Matching(0, 1));
}

TEST_F(PipelineTest, EightLostMeshesStallPlaybackUntilRewindOrClose) {
    ClipOptions options{20};
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

// ---- Where workers can be when they are told to stop ----

struct Phase {
    const char* name;
    ClipOptions options;
    bool autoLoop;
    void (*arrange)();
    bool (*isReached)(const Player&);
};

std::ostream& operator<<(std::ostream& out, const Phase& phase) {
    return out << phase.name;
}

const Phase c_Phases[] = {
    {"WaitingForAnInputBuffer",
     {},
     false,
     [] { Fake::TheScript().holdVideoInput = true; },
     [](const Player&) { return Fake::Calls("MLMediaCodecDequeueInputBuffer video") > 0; }},
    {"WaitingForASlot",
     {},
     false,
     [] {},
     [](const Player&) { return Fake::Calls("MLMediaExtractorReadSampleData") > c_Slots; }},
    {"WaitingForOutput",
     {},
     false,
     [] { Fake::TheScript().holdVideoOutput = true; },
     [](const Player&) { return Fake::Calls("MLMediaCodecQueueInputBuffer video") == c_Slots; }},
    {"WaitingForTheClock",
     {12, c_Hour},
     false,
     [] {},
     [](const Player& player) { return LoggedWith(player.Line("renderstart = ")) == 1; }},
    {"WaitingForTheEndOfOutput",
     {6},
     true,
     [] { Fake::TheScript().holdVideoOutput = true; },
     [](const Player& player) { return LoggedWith(player.Line("AutoLooping: waiting for output eos")) == 1; }},
    {"WaitingForTheSound",
     {12, 2000, 40, 4096},
     false,
     [] { Fake::TheScript().holdSound = true; },
     [](const Player&) { return Fake::Calls("MLAudioGetOutputStreamBuffer") > 3; }},
    {"WaitingForSoundToDecode",
     {12, 2000, 40},
     false,
     [] { Fake::TheScript().holdAudioOutput = true; },
     [](const Player&) { return Fake::Calls("MLMediaCodecDequeueOutputBuffer audio") > 0; }},
    {"RefusedAllTheTime",
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

class InEveryPhase : public PipelineTest, public testing::WithParamInterface<Phase> {
protected:
    void Reach(Player& player) {
        GetParam().arrange();
        ASSERT_TRUE(player.Open(AddFile(MakeClip(GetParam().options)), GetParam().autoLoop));
        ASSERT_TRUE(player.Play());
        ASSERT_TRUE(WaitFor([&] { return GetParam().isReached(player); }));
    }

    /// The picture to wait for: the last one that the clock lets be shown today.
    static std::int64_t Last() {
        const ClipOptions& options = GetParam().options;
        return options.intervalUs == c_Hour ? 0 : static_cast<std::int64_t>(options.frames) - 1;
    }

    template <class Call>
    static void InTime(const char* what, Call&& call) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(call()) << what;
        EXPECT_LT(std::chrono::steady_clock::now() - start, c_CallLimit) << what;
    }

    /// Calls that the player's own flushes end are not logged; what the platform refuses by itself is.
    template <class Call>
    static void ExpectNoComplaints(Call&& call) {
        const auto complaints = [] { return LoggedWith("unexpected info code") + LoggedWith("OutputBuffer"); };
        const int before = complaints();
        call();
        EXPECT_TRUE(complaints() == before || before > 0);
    }
};

TEST_P(InEveryPhase, PauseAndPlayGoOn) {
    Player player;
    Screen screen(player);
    Reach(player);
    InTime("Pause", [&] { return player.Pause(); });
    EXPECT_EQ(player.State(), NimbState_Paused);
    InTime("Play", [&] { return player.Play(); });
    LetGo();
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() >= Last(); }));
}

TEST_P(InEveryPhase, RewindReturnsAndPlaysFromTheStart) {
    Player player;
    Screen screen(player);
    Reach(player);
    ExpectNoComplaints([&] { InTime("Rewind", [&] { return player.Rewind(); }); });
    EXPECT_EQ(player.State(), NimbState_Paused);
    LetGo();
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == Last(); }));
}

TEST_P(InEveryPhase, CloseReturnsAndTheNextOpenWorks) {
    const std::string other = AddFile(MakeClip({3}));
    Player player;
    Screen screen(player);
    Reach(player);
    ExpectNoComplaints([&] { InTime("Close", [&] { return player.Close(); }); });
    EXPECT_EQ(Fake::LiveHandles(), 0);
    LetGo();
    InTime("Open", [&] { return player.Open(other); });
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 2 && screen.Mesh() == 2; }));
}

TEST_P(InEveryPhase, DestroyReturns) {
    Player player;
    Reach(player);
    InTime("Destroy", [&] { return DestroyQuorObject(player.Id()) == 1; });
    EXPECT_EQ(Fake::LiveHandles(), 0);
}

INSTANTIATE_TEST_SUITE_P(Phases, InEveryPhase, testing::ValuesIn(c_Phases), testing::PrintToStringParamName());

TEST_F(PipelineTest, APauseSetsTheClockAnew) {
    Playback playback({40});
    ASSERT_TRUE(playback.UntilPicture(3));
    EXPECT_TRUE(playback.player.Pause());
    EXPECT_TRUE(playback.player.Play());
    EXPECT_TRUE(playback.UntilPicture(39));
    EXPECT_EQ(LoggedWith("renderstart = "), 2);
}

/// Whatever happens to the clock and the player, pictures keep their distances and go on.
TEST_F(PipelineTest, PlaybackIsPacedAtEverySpeedAfterEveryOperation) {
    const std::string path = AddFile(MakeClip({40, 10000}));
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(path));
    const auto rewind = [&] { return player.Rewind(); };
    const auto open = [&] { return player.Open(path); };
    const auto playTo = [&](std::int64_t picture) {
        return player.Play() && screen.RenderUntil([&] { return screen.Picture() == picture; });
    };
    ASSERT_TRUE(playTo(18));
    for (const double scale : {1.0, 0.5, 6.0}) {
        for (const std::function<bool()>& operation : {std::function<bool()>(rewind), std::function<bool()>(open)}) {
            SCOPED_TRACE(testing::Message() << "at " << scale);
            ASSERT_TRUE(operation());
            SetClockScale(player.Id(), static_cast<float>(scale));
            const auto start = std::chrono::steady_clock::now();
            EXPECT_TRUE(playTo(20));
            const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
            EXPECT_GT(time.count(), 20 * 10 / scale - 2);
            EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 22; }));
        }
    }
}

/// The scale is set after the time of a sound was mapped, and a picture with an earlier time follows.
TEST_F(PipelineTest, AChangeOfSpeedBetweenTimesThatDoNotAscendStopsNothing) {
    Fake::Clip clip = MakeClip({20, 10000, 1});
    clip.samples[1].timeUs = 25000;
    for (const float scale : {3.0f, 5.0f, 6.0f, 16.0f}) {
        SCOPED_TRACE(scale);
        Fake::TheScript().holdAudioInput = true;
        const int before = Fake::Calls("MLMediaCodecDequeueInputBuffer audio");
        Playback playback(clip);
        ASSERT_TRUE(WaitFor([&] { return Fake::Calls("MLMediaCodecDequeueInputBuffer audio") > before; }));
        SetClockScale(playback.player.Id(), scale);
        const auto start = std::chrono::steady_clock::now();
        Fake::TheScript().holdAudioInput = false;
        EXPECT_TRUE(playback.UntilPicture(19));
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
        EXPECT_GT(time.count(), 16 * 10 / static_cast<double>(scale) - 2);  // from picture 3 on
    }
}

/// Processor time that threads of this name have used, in hundredths of a second.
int ThreadTime(const std::string& name) {
    int total = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "stat");
        const std::vector<std::string> words{std::istream_iterator<std::string>(file), {}};
        if (words.size() > 14 && words[1] == '(' + name + ')') {
            total += std::stoi(words[13]) + std::stoi(words[14]);  // for itself and in the kernel
        }
    }
    return total;
}

TEST_F(PipelineTest, WaitingForTheEndOfTheSoundTakesNoProcessorTime) {
    Fake::TheScript().holdSound = true;
    Playback playback({6, 2000, 4, 4096}, true);
    ASSERT_TRUE(
        playback.Until([] { return LoggedWith("AutoLooping: waiting for output eos") > 0 && Sleeps("Video"); }));
    for (const bool paused : {false, true}) {
        ASSERT_TRUE(!paused || playback.player.Pause());
        const int before = ThreadTime("NimbPlayback");
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_LT(ThreadTime("NimbPlayback") - before, 3) << paused;
    }
}

TEST_F(PipelineTest, ACodecIsToldOfTheEndOncePerPass) {
    Fake::Fail("MLMediaCodecDequeueInputBuffer audio", MLResult_UnspecifiedFailure, 3);
    Playback playback({6, 2000, 3});
    Player& player = playback.player;
    const auto ended = [](const char* track, int units) {
        return Fake::Calls(std::string("MLMediaCodecQueueInputBuffer ") + track) == units;
    };
    const auto playOn = [&] {
        ASSERT_TRUE(WaitFor([] { return Sleeps("Playback"); }));
        const int before = Awakenings("Playback");
        ASSERT_TRUE(player.Play());
        ASSERT_TRUE(WaitFor([&] { return Awakenings("Playback") > before; }));
    };
    // Between the two ends.
    ASSERT_TRUE(WaitFor([&] { return ended("video", 7); }));
    ASSERT_TRUE(player.Pause());
    playOn();
    ASSERT_TRUE(player.Rewind());
    playOn();
    Fake::Fail("MLMediaCodecDequeueInputBuffer audio", MLResult_Ok, 0, 0);
    ASSERT_TRUE(playback.UntilEnd());
    EXPECT_TRUE(ended("video", 14) && ended("audio", 7));
    // And after them.
    ASSERT_TRUE(player.Pause());
    playOn();
    ASSERT_TRUE(WaitFor([] { return Sleeps("Playback"); }));
    EXPECT_TRUE(ended("video", 14) && ended("audio", 7));
}

TEST_F(PipelineTest, PausedInTheLoopsWaitTheLoopGoesOnAfterPlay) {
    Fake::TheScript().holdVideoOutput = true;
    Playback playback({6}, true);
    for (int pass = 1; pass <= 3; ++pass) {
        ASSERT_TRUE(playback.Until([&] { return Fake::Calls("MLMediaCodecQueueInputBuffer video") == pass * 7; }));
        EXPECT_TRUE(playback.player.Pause());
        Fake::TheScript().holdVideoOutput = false;
        EXPECT_TRUE(playback.player.Play());
        ASSERT_TRUE(playback.Until([&] { return LoggedWith("AutoLooping: restarting") >= pass; }));
        Fake::TheScript().holdVideoOutput = pass < 3;
    }
    const std::size_t before = playback.Shown().size();
    EXPECT_TRUE(playback.Until([&] { return playback.Shown().size() > before + 6; }));
}

TEST_F(PipelineTest, RewindAtAnyMomentKeepsPicturesAndMeshesInStep) {
    const std::string path = AddFile(MakeClip({20, 3000, 10}));
    for (const bool dropped : {false, true}) {
        SCOPED_TRACE(dropped);
        Fake::TheScript().dropFramesOnFlush = dropped;
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(path));
        for (std::int64_t moment = 1; moment < 19; moment += 2) {
            ASSERT_TRUE(player.Play());
            screen.RenderUntil([&] { return screen.Picture() >= moment; }, std::chrono::milliseconds(200));
            ASSERT_TRUE(player.Rewind());
        }
        player.FrameInfo();  // forgets an earlier end
        screen.shown.clear();
        ASSERT_TRUE(player.Play());
        if (dropped) {  // frames that were announced and are gone cost their successors
            EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
            EXPECT_TRUE(std::all_of(screen.shown.begin(), screen.shown.end(),
                                    [](const auto& pair) { return pair.first == pair.second; }));
        } else {
            EXPECT_TRUE(UntilAllShown(screen, 0, 19));
        }
    }
}

TEST_F(PipelineTest, PicturesThatNobodyFetchedBeforeTwoRewindsCostNoneAfterThem) {
    Playback playback({40});
    for (const int pictures : {8, 16}) {
        ASSERT_TRUE(WaitFor([&] { return Fake::Calls("MLMediaCodecReleaseOutputBuffer video") >= pictures; }));
        ASSERT_TRUE(playback.player.Rewind() && playback.player.Play());
    }
    EXPECT_TRUE(UntilAllShown(playback.screen, 0, 39));
}

/// Keeps the mesh thread where it found a damaged mesh, until released.
class MeshThreadHold {
public:
    MeshThreadHold() {
        s_Held = true;
        s_Reached = false;
        m_Before = Nimb::SetAssertionSink([](const Nimb::AssertionInfo&) {
            s_Reached = true;
            WaitFor([] { return !s_Held; });
        });
    }
    ~MeshThreadHold() {
        s_Held = false;
        Nimb::SetAssertionSink(m_Before);
    }
    MeshThreadHold(const MeshThreadHold&) = delete;
    MeshThreadHold& operator=(const MeshThreadHold&) = delete;

    static bool IsReached() { return s_Reached; }

private:
    static inline std::atomic<bool> s_Held{false};
    static inline std::atomic<bool> s_Reached{false};
    Nimb::AssertionSink m_Before;
};

TEST_F(PipelineTest, MeshesOnTheirWayAcrossARewindOrACloseDoNotStallPlayback) {
    const std::string path = AddFile(MakeClip({20, 2000, 0, 0, {}, {0}}));
    Fake::Clip secondHalf = MakeClip({40, 2000, 0, 0, {}, {20}});
    secondHalf.samples.erase(secondHalf.samples.begin(), secondHalf.samples.begin() + 20);
    const std::string other = AddFile(secondHalf);
    for (const bool close : {false, true}) {
        SCOPED_TRACE(close);
        Player player;
        Screen screen(player);
        screen.arePicturesFrames = !close;
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
    const std::string path = AddFile(MakeClip({20, 3000}));
    Player player;
    Screen screen(player);
    for (const std::int64_t moment : {1, 4, 7, 10, 19}) {
        ASSERT_TRUE(player.Open(path));
        screen.shown.clear();
        ASSERT_TRUE(player.Play());
        ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() == moment; }));
    }
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

/// A clip with sound is shown and heard whole although the platform refuses, as arranged, what it is asked.
void ExpectAllOf(const Fake::Clip& clip, std::int64_t lastPicture) {
    Fake::ForgetPlayedSound();
    Playback playback(clip);
    EXPECT_TRUE(playback.UntilPicture(lastPicture));
    EXPECT_TRUE(playback.UntilEnd());
    EXPECT_EQ(playback.Shown(), Matching(0, lastPicture));
    EXPECT_EQ(Fake::PlayedSound(), SoundOf(clip));
}

TEST_F(PipelineTest, RefusalsOfAWhileLoseNothing) {
    const Fake::Clip clip = MakeClip({12, 2000, 12, 1024});
    for (const std::int64_t status : {-11, -1012, -1014}) {
        SCOPED_TRACE(status);
        Fake::Refuse("MLMediaCodecDequeueInputBuffer", status, 9);
        Fake::Refuse("MLMediaCodecDequeueOutputBuffer", status, 9);
        ExpectAllOf(clip, 11);
    }
    Fake::Fail("MLMediaCodecDequeueInputBuffer", MLResult_UnspecifiedFailure, 2, 3);
    Fake::Fail("MLMediaCodecDequeueOutputBuffer video", MLResult_Timeout, 3, 2);
    Fake::Fail("MLMediaCodecDequeueOutputBuffer audio", MLResult_Pending, 1, 2);
    ExpectAllOf(clip, 11);
    EXPECT_EQ(LoggedWith("video codec: unexpected info code: 2"), 2);
    EXPECT_EQ(LoggedWith("MLMediaCodecDequeueOutputBuffer returned 1"), 2);
}

TEST_F(PipelineTest, TheEndOfTheInputReachesCodecsThatRefuseAtFirst) {
    for (const bool autoLoop : {false, true}) {
        Fake::Fail("MLMediaCodecDequeueInputBuffer video", MLResult_UnspecifiedFailure, 5, 3);
        Fake::Fail("MLMediaCodecDequeueInputBuffer audio", MLResult_UnspecifiedFailure, 3, 3);
        Playback playback({5, 2000, 3}, autoLoop);
        EXPECT_TRUE(playback.UntilEnd());
        const int restarts = autoLoop ? 2 : 0;
        EXPECT_TRUE(playback.Until([&] { return LoggedWith("AutoLooping: restarting") >= restarts; }));
    }
}

TEST_F(PipelineTest, AFrameThatCannotBeAcquiredIsLost) {
    Fake::Fail("MLMediaCodecGetFrameNumber", MLResult_UnspecifiedFailure, 2, 1);
    Playback playback({12});
    Player& player = playback.player;
    EXPECT_TRUE(playback.UntilPicture(11));
    EXPECT_EQ(playback.Shown(), MatchingBut(0, 11, {2}));
    EXPECT_EQ(player.Logged(MLLogLevel_Info, "OnUnityRender: MLMediaCodecGetFrameNumber failed"), 1);
    EXPECT_EQ(Fake::Live(Fake::Kind::NativeBuffer), 0);

    // Its mesh gives the slot back that the next sample waits for.
    const auto fed = [] { return Fake::Calls("MLMediaCodecQueueInputBuffer video"); };
    for (const std::string call : {"MLMediaCodecAcquireNextAvailableFrame", "MLMediaCodecGetFrameNumber"}) {
        SCOPED_TRACE(call);
        Fake::ClearLog();
        Fake::Fail(call, MLResult_UnspecifiedFailure);
        ASSERT_TRUE(player.Rewind());
        const int before = fed();
        ASSERT_TRUE(player.Play());
        for (int lost = 0; lost < 4; ++lost) {
            EXPECT_TRUE(WaitFor([&] { return fed() == before + c_Slots + lost; })) << lost;
            EXPECT_TRUE(playback.Until(
                [&] { return player.Logged(MLLogLevel_Info, "OnUnityRender: " + call + " failed") == lost + 1; }));
        }
        Fake::Fail(call, MLResult_Ok, 0, 0);
    }
}

// ---- Unusual files ----

TEST_F(PipelineTest, AnEmptySampleIsSkipped) {
    Fake::Clip clip = MakeClip({12, 2000, 6});
    clip.samples.insert(clip.samples.begin() + 4, {0, 5000, {}});
    clip.samples.insert(clip.samples.begin() + 7, {1, 6000, {}});
    clip.samples.push_back({0, 90000, {}});
    clip.samples.push_back({1, 90000, {}});
    Playback playback(clip);
    playback.screen.arePicturesFrames = false;
    for (const bool again : {true, false}) {
        EXPECT_TRUE(playback.UntilEnd());
        EXPECT_TRUE(UntilAllShown(playback.screen, 0, 11));
        EXPECT_TRUE(!again || (playback.player.Rewind() && playback.player.Play()));
        playback.screen.shown.clear();
    }
}

TEST_F(PipelineTest, TracksBeyondTheSecondStallOrAreIgnored) {
    Fake::Clip clip = MakeClip({12, 2000, 6});
    clip.tracks.push_back({"text/plain", 0, 0, std::nullopt});
    clip.samples.insert(clip.samples.begin() + 5, {2, 3000, {1, 2, 3}});
    {
        Playback ignored(clip);
        EXPECT_TRUE(ignored.UntilPicture(11));
    }
    clip.tracks[2].mime = "audio/other";
    Playback stalled(clip);
    EXPECT_FALSE(stalled.Until([&] { return stalled.screen.Picture() > 4; }, std::chrono::milliseconds(100)));
    EXPECT_TRUE(stalled.player.Rewind());
    EXPECT_TRUE(stalled.player.Close());
    EXPECT_EQ(Fake::LiveHandles(), 0);  // both of the sounds, too
}

}  // namespace
