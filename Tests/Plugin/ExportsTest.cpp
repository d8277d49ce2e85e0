// The exported functions: ids, lookups, states, setters, and the engine's entry points, with the lines they log.
#include "PluginTest.h"

#include "NimbUnityPluginML/GlErrors.h"
#include "NimbUnityPluginML/PlaybackClock.h"
#include "NimbUnityPluginML/QuorObject.h"

#include <cstring>

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

TEST_F(ExportsTest, AnObjectIsInitializedOnce) {
    QuorObject object(7);
    EXPECT_EQ(object.GetState(), QuorObject::Empty);
    EXPECT_TRUE(object.Initialize());
    EXPECT_FALSE(object.Initialize());
    EXPECT_EQ(Logged(MLLogLevel_Error, "[7] QuorObject::Initialize: must be in Empty(0) state. Current state is (1)"),
              1);
}

TEST_F(ExportsTest, StatesFollowTheTable) {
    const std::string path = AddFile(MakeClip({}));
    Player player;
    EXPECT_EQ(player.State(), NimbState_Initialized);
    EXPECT_FALSE(player.Play());
    EXPECT_FALSE(player.Pause());
    EXPECT_FALSE(player.Close());
    EXPECT_EQ(Logged(MLLogLevel_Error, player.Line("QuorObject::Close return false, m_state = 1")), 1);
    EXPECT_EQ(player.State(), NimbState_Initialized);

    ASSERT_TRUE(player.Open(path));
    EXPECT_EQ(player.State(), NimbState_Opened);
    EXPECT_FALSE(player.Pause());
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("QuorObject::Pause")), 2);
    EXPECT_EQ(player.State(), NimbState_Opened);
    EXPECT_TRUE(player.Play());
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("QuorObject::Play")), 2);
    EXPECT_FALSE(player.Play());
    EXPECT_EQ(player.State(), NimbState_Playing);
    EXPECT_TRUE(player.Pause());
    EXPECT_EQ(player.State(), NimbState_Paused);
    EXPECT_TRUE(WaitFor([&] {
        return LoggedWith(player.Line("Playback thread sleeping")) > 0 &&
               LoggedWith(player.Line("Video thread sleeping")) > 0;
    }));
    EXPECT_TRUE(player.Play());
    EXPECT_TRUE(player.Rewind());
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("QuorObject::Rewind")), 1);
    EXPECT_EQ(player.State(), NimbState_Paused);
    EXPECT_TRUE(player.Close());
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("QuorObject::Close release resources (m_state = 5)")), 1);
    EXPECT_EQ(player.State(), NimbState_Closed);
    EXPECT_TRUE(player.Close());
    EXPECT_EQ(player.State(), NimbState_Closed);
    EXPECT_TRUE(player.Rewind());
    EXPECT_EQ(player.State(), NimbState_Paused);
    EXPECT_FALSE(player.Open(path));
    EXPECT_EQ(Logged(MLLogLevel_Error, player.Line("Error in QuorObject::Open: must be in Initialized(1) state. "
                                                   "Current state is (4).")),
              1);
    EXPECT_TRUE(player.Close());
    ASSERT_TRUE(player.Open(path));
    ASSERT_TRUE(player.Open(path));  // closes by itself
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("QuorObject::Close release resources (m_state = 5)")), 4);
    EXPECT_EQ(Fake::Live(Fake::Kind::Extractor), 1);
}

TEST_F(ExportsTest, PlayWithoutAnExtractorSaysSo) {
    Fake::TheScript().nullExtractor = true;
    Player player;
    ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
    EXPECT_FALSE(player.Play());
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("QuorObject::Play media extractor is null")), 1);
    EXPECT_EQ(player.State(), NimbState_Playing);
}

TEST_F(ExportsTest, VolumeAndPitchReachTheSound) {
    ClipOptions options;
    const std::string silent = AddFile(MakeClip(options));
    options.audioSamples = 3;
    const std::string loud = AddFile(MakeClip(options));
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
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("SetClockScale = 2.000000")), 1);
    EXPECT_EQ(LoggedWith("failed"), 0);

    Fake::Fail("MLAudioSetSoundVolumeLinear", MLResult_UnspecifiedFailure);
    Fake::Fail("MLAudioSetSoundPitch", MLResult_UnspecifiedFailure);
    EXPECT_EQ(SetAudioVolume(player.Id(), 1), 0);
    EXPECT_EQ(Logged(MLLogLevel_Error, player.Line("MLAudioSetSoundVolumeLinear failed")), 1);
    SetClockScale(player.Id(), 1.0f);
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("MLAudioSetSoundPitch failed")), 1);
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
        EXPECT_EQ(
            Logged(MLLogLevel_Info, player.Line(Text("SetComputeNormals called with computeNormals = %i", normals))),
            1);
        ASSERT_TRUE(player.Open(AddFile(MakeClip({}))));
        const std::string format = normals != 0 ? "0xd" : "0xf";
        EXPECT_TRUE(
            WaitFor([&] { return Logged(MLLogLevel_Info, player.Line("using nimb vertex format = " + format)) == 1; }));
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
    EXPECT_EQ(Logged(MLLogLevel_Info, player.Line("SetUnityBuffers, vb = 4, ib = 5, tex = 3 (64x32)")), 1);
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
    FakeGl::SetError(GL_INVALID_OPERATION);
    CheckGLError("gl label");
    FakeGl::SetEglError(EGL_BAD_DISPLAY);
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
