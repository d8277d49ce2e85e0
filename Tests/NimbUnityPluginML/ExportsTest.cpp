// The exported functions: ids, lookups, states, setters, and the engine's entry points, with the lines they log.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include "NimbUnityPluginML/GlErrors.h"
#include "NimbUnityPluginML/PlaybackClock.h"

#include <cstring>
#include <functional>

using namespace Nimb::Plugin;

using namespace PluginTest;

namespace {

using ExportsTest = PluginFixture;

TEST_F(ExportsTest, IdsCountUpAndAreNeverUsedAgain) {
    const int first = CreateQuorObject();
    EXPECT_EQ(Logged(MLLogLevel_Info, Text("CreateQuorObject with id = %i", first)), 1);
    const int second = CreateQuorObject();
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(DestroyQuorObject(second), 1);
    EXPECT_EQ(Logged(MLLogLevel_Info, Text("DestroyQuorObject: for with id = %i", second)), 1);
    EXPECT_EQ(Logged(MLLogLevel_Info, Text("[%i] ~QuorObject() (m_state = 1)", second)), 1);
    EXPECT_EQ(DestroyQuorObject(second), 0);
    EXPECT_EQ(Logged(MLLogLevel_Error, Text("DestroyQuorObject: player object with id = %i not found", second)), 1);
    const int third = CreateQuorObject();
    EXPECT_EQ(third, second + 1);
    EXPECT_EQ(DestroyQuorObject(first), 1);
    EXPECT_EQ(DestroyQuorObject(third), 1);
}

TEST_F(ExportsTest, UnknownIdsFailAndAllButOpenSaySo) {
    NimbOpenInfo open{};
    NimbFrameInfo frame{};
    NimbFileInfo file{};
    EXPECT_EQ(OpenQuorObject(-5, "path", &open), 0);
    EXPECT_EQ(SetUnityBuffers(-5, nullptr, 0, 0, nullptr, 0, nullptr, 0), 0);
    OnUnityRenderModeEvent(-5);
    EXPECT_TRUE(Fake::Log().empty());

    EXPECT_EQ(CloseQuorObject(-5), 0);
    EXPECT_EQ(PlayQuorObject(-5), 0);
    EXPECT_EQ(PauseQuorObject(-5), 0);
    EXPECT_EQ(RewindQuorObject(-5), 0);
    SetClockScale(-5, 1);
    EXPECT_EQ(SetAudioVolume(-5, 1), 0);
    EXPECT_EQ(GetQuorObjectFrameInfo(-5, &frame), 0);
    EXPECT_EQ(GetQuorObjectFileInfo(-5, &file), 0);
    EXPECT_EQ(GetQuorState(-5), 6);
    EXPECT_EQ(SetComputeNormals(-5, 1), 0);
    std::vector<Fake::LogLine> expected;
    for (const char* const function :
         {"CloseQuorObject", "PlayQuorObject", "PauseQuorObject", "RewindQuorObject", "SetClockScale", "SetAudioVolume",
          "GetQuorObjectFrameInfo", "GetQuorObjectFileInfo", "GetQuorState", "SetComputeNormals"}) {
        expected.push_back({MLLogLevel_Error, Text("%s: player object with id = -5 not found", function)});
    }
    EXPECT_EQ(Fake::Log(), expected);
}

TEST_F(ExportsTest, StubsSucceedAndTheAbiTextsKeepTheirPlaceholders) {
    EXPECT_EQ(SetQuorObjectAudio3DPosition(-5, 1, 2, 3), 1);
    EXPECT_EQ(SetUseGPU(-5, 0), 1);
    EXPECT_EQ(TestUnityBuffersValid(-5), 1);
    EXPECT_EQ(ReleaseUnityBuffers(-5), 1);
    EXPECT_TRUE(Fake::Log().empty());
    EXPECT_STREQ(getPlatformABI(), "This native library is compiled with ABI: %sunknown.");
    EXPECT_EQ(Logged(MLLogLevel_Error, "This dynamic shared library is compiled with ABI: unknown"), 1);
}

TEST_F(ExportsTest, StatesFollowTheTable) {
    const std::string path = AddFile(MakeClip({}));
    Player player;
    const auto open = [&] { return player.Open(path); };
    const auto play = [&] { return player.Play(); };
    const auto pause = [&] { return player.Pause(); };
    const auto rewind = [&] { return player.Rewind(); };
    const auto close = [&] { return player.Close(); };
    EXPECT_EQ(player.State(), NimbState_Initialized);
    const struct {
        const char* what;
        std::function<bool()> call;
        bool succeeds;
        int state;
    } steps[] = {
        {"play, nothing open", play, false, NimbState_Initialized},
        {"pause, nothing open", pause, false, NimbState_Initialized},
        {"close, nothing open", close, false, NimbState_Initialized},
        {"open", open, true, NimbState_Opened},
        {"pause, not playing", pause, false, NimbState_Opened},
        {"play", play, true, NimbState_Playing},
        {"play, playing", play, false, NimbState_Playing},
        {"pause", pause, true, NimbState_Paused},
        {"play, paused", play, true, NimbState_Playing},
        {"rewind", rewind, true, NimbState_Paused},
        {"close", close, true, NimbState_Closed},
        {"close, closed", close, true, NimbState_Closed},
        {"rewind, closed", rewind, true, NimbState_Paused},
        {"open, paused without a file", open, false, NimbState_Paused},
        {"close", close, true, NimbState_Closed},
        {"play, closed", play, true, NimbState_Playing},
        {"open, playing without a file", open, false, NimbState_Playing},
        {"close", close, true, NimbState_Closed},
        {"open, closed", open, true, NimbState_Opened},
        {"open, opened: it closes by itself", open, true, NimbState_Opened},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(step.call(), step.succeeds) << step.what;
        EXPECT_EQ(player.State(), step.state) << step.what;
    }
    EXPECT_EQ(Fake::Live(Fake::Kind::Extractor), 1);
    const std::pair<MLLogLevel, std::pair<const char*, int>> lines[] = {
        {MLLogLevel_Info, {"QuorObject::Play", 5}},
        {MLLogLevel_Info, {"QuorObject::Pause", 3}},
        {MLLogLevel_Info, {"QuorObject::Rewind", 2}},
        {MLLogLevel_Info, {"QuorObject::Close release resources (m_state = 5)", 5}},
        {MLLogLevel_Error, {"QuorObject::Close return false, m_state = 1", 1}},
        {MLLogLevel_Error, {"Error in QuorObject::Open: must be in Initialized(1) state. Current state is (3).", 1}},
        {MLLogLevel_Error, {"Error in QuorObject::Open: must be in Initialized(1) state. Current state is (4).", 1}},
    };
    for (const auto& [level, line] : lines) {
        EXPECT_EQ(player.Logged(level, line.first), line.second) << line.first;
    }
}

TEST_F(ExportsTest, PlayWithoutAnExtractorSaysSo) {
    Fake::TheScript().nullExtractor = true;
    Player player;
    ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
    EXPECT_FALSE(player.Play());
    EXPECT_EQ(player.Logged(MLLogLevel_Info, "QuorObject::Play media extractor is null"), 1);
    EXPECT_EQ(player.State(), NimbState_Playing);
}

TEST_F(ExportsTest, VolumeAndPitchReachTheSound) {
    const std::string silent = AddFile(MakeClip({})), loud = AddFile(MakeClip({12, 2000, 3}));
    Player player;
    ASSERT_TRUE(player.Open(silent));
    EXPECT_EQ(SetAudioVolume(player.Id(), 0.5f), 0);
    EXPECT_EQ(LoggedWith("Volume"), 0);
    ASSERT_TRUE(player.Open(loud, false, true));
    EXPECT_EQ(SetAudioVolume(player.Id(), 0.5f), 0);
    EXPECT_EQ(Fake::Live(Fake::Kind::Sound), 0);

    ASSERT_TRUE(player.Open(loud));
    EXPECT_EQ(SetAudioVolume(player.Id(), 0.25f), 1);
    EXPECT_EQ(Fake::Volume(), 0.25f);
    SetClockScale(player.Id(), 2.0f);
    EXPECT_EQ(Fake::Pitch(), 2.0f);
    ASSERT_TRUE(player.Open(loud));
    EXPECT_EQ(Fake::Pitch(), 2.0f);  // of a new sound
    EXPECT_EQ(player.Logged(MLLogLevel_Info, "SetClockScale = 2.000000"), 1);
    EXPECT_EQ(LoggedWith("failed"), 0);

    Fake::Fail("MLAudioSetSoundVolumeLinear", MLResult_UnspecifiedFailure);
    Fake::Fail("MLAudioSetSoundPitch", MLResult_UnspecifiedFailure);
    EXPECT_EQ(SetAudioVolume(player.Id(), 1), 0);
    EXPECT_EQ(player.Logged(MLLogLevel_Error, "MLAudioSetSoundVolumeLinear failed"), 1);
    SetClockScale(player.Id(), 1.0f);
    EXPECT_EQ(player.Logged(MLLogLevel_Info, "MLAudioSetSoundPitch failed"), 1);
}

TEST_F(ExportsTest, FrameInfoIsClearedFirst) {
    Player player;
    NimbFrameInfo info;
    std::memset(&info, 0xFF, sizeof(info));
    EXPECT_EQ(GetQuorObjectFrameInfo(player.Id(), &info), 1);
    const NimbFrameInfo zero{};
    EXPECT_EQ(std::memcmp(&info, &zero, sizeof(info)), 0);
    ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
    EXPECT_EQ(player.FrameInfo().textureWidth, 640u);
    EXPECT_EQ(player.FrameInfo().vertexCount, 0u);
}

TEST_F(ExportsTest, TheNormalsSettingDecidesTheFormatOfTheFirstOpen) {
    for (const std::uint8_t normals : {std::uint8_t{1}, std::uint8_t{0}}) {
        Player player;
        EXPECT_EQ(SetComputeNormals(player.Id(), normals), 1);
        EXPECT_EQ(player.Logged(MLLogLevel_Info, Text("SetComputeNormals called with computeNormals = %i", normals)),
                  1);
        ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
        const std::string line = normals != 0 ? "using nimb vertex format = 0xd" : "using nimb vertex format = 0xf";
        EXPECT_TRUE(WaitFor([&] { return player.Logged(MLLogLevel_Info, line) == 1; }));
    }
}

TEST_F(ExportsTest, TheEnginesEntryPoints) {
    UnityPluginLoad(nullptr);
    UnitySetGraphicsDevice(nullptr, 8, 2);
    GetRenderEventFunc()(3);
    const std::vector<Fake::LogLine> expected{{MLLogLevel_Info, "NimbUnityPlugin loaded: version 1.4.5.0-923a5b0\n"},
                                              {MLLogLevel_Info, "UnitySetGraphicsDevice: device type = 8"},
                                              {MLLogLevel_Info, Text("Unity EGL context = %p", FakeGl::TheContext())},
                                              {MLLogLevel_Info, "Unity EGL_CONTEXT_CLIENT_VERSION = 3"},
                                              {MLLogLevel_Info, "renderer = a fake"},
                                              {MLLogLevel_Info, "UnityRenderEvent"}};
    EXPECT_EQ(Fake::Log(), expected);
    EXPECT_EQ(GetRenderEventFunc(), &UnityRenderEvent);
    EXPECT_EQ(GetUnityRenderModeEventFunc(), &OnUnityRenderModeEvent);

    Player player;
    EXPECT_EQ(SetUnityBuffers(player.Id(), reinterpret_cast<void*>(0x700000003), 64, 32, reinterpret_cast<void*>(4), 9,
                              reinterpret_cast<void*>(5), 8),
              1);
    EXPECT_EQ(player.Logged(MLLogLevel_Info, "SetUnityBuffers, vb = 4, ib = 5, tex = 3 (64x32)"), 1);
}

TEST_F(ExportsTest, NothingIsLoggedAtLevelsThatAreOff) {
    Fake::SetLogLevel(MLLogLevel_Error);
    {
        Player player;
        ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
    }
    CloseQuorObject(-5);
    EXPECT_EQ(Fake::Log().size(), 1u);
}

TEST_F(ExportsTest, ErrorsOfGlAndEglAreLoggedInHexadecimal) {
    CheckGLError("quiet");
    CheckEGLError("quiet");
    FakeGl::TheScript().error = GL_INVALID_OPERATION;
    CheckGLError("gl label");
    FakeGl::TheScript().eglError = EGL_BAD_DISPLAY;
    CheckEGLError("egl label");
    const std::vector<Fake::LogLine> expected{{MLLogLevel_Error, "gl label, error = 502"},
                                              {MLLogLevel_Error, "egl label, error = 3008"}};
    EXPECT_EQ(Fake::Log(), expected);
}

TEST(PlaybackClockTest, AChangeOfScaleMakesNoJump) {
    PlaybackClock clock;
    EXPECT_EQ(clock.Map(10000), 10000);
    clock.SetScale(2.0f);
    EXPECT_EQ(clock.Map(10000), 10000);
    EXPECT_EQ(clock.Map(20001), 15000);  // truncated
    clock.SetScale(0.5f);
    EXPECT_EQ(clock.Map(20001), 15000);
    EXPECT_EQ(clock.Map(30001), 35000);
    clock.Restart();
    EXPECT_EQ(clock.Map(100), 200);
    clock.Restart();
    clock.SetScale(2.0f);  // before the first sample: not from the times before the restart
    EXPECT_EQ(clock.Map(100), 50);
}

TEST(PlaybackClockTest, TimesGoThroughSinglePrecisionAndSaturate) {
    PlaybackClock clock;
    EXPECT_EQ(clock.Map(16777217), 16777216);
    EXPECT_EQ(clock.Map(-1), INT64_MAX);  // as an unsigned number it is huge
    clock.SetScale(2.0f);                 // at the end of a file: from here on times wrap, in even steps
    const auto after = [&clock](std::int64_t time) { return static_cast<std::uint64_t>(clock.Map(time)); };
    EXPECT_EQ(after(39) - after(19), 10u);
    PlaybackClock stopped;
    stopped.SetScale(0.0f);
    EXPECT_EQ(stopped.Map(0), 0);
    EXPECT_EQ(stopped.Map(5), INT64_MAX);
    stopped.SetScale(-1.0f);
    EXPECT_EQ(stopped.Map(15), INT64_MAX - 10);
}

}  // namespace
