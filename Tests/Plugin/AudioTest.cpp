// Sound: every decoded byte reaches the output stream once and in order, whatever the sizes of the buffers.
#include "PluginTest.h"

using namespace PluginTest;

namespace {

using AudioTest = PluginFixture;

/// What a stream of such buffers is handed for this sound: its last buffer is filled up with silence.
Fake::Bytes Padded(Fake::Bytes sound, std::size_t bufferBytes) {
    sound.resize((sound.size() + bufferBytes - 1) / bufferBytes * bufferBytes, 0);
    return sound;
}

TEST_F(AudioTest, NoByteIsLostOrRepeatedWhateverTheSizes) {
    ClipOptions options;
    options.audioSamples = 12;
    options.audioBytes = 3000;
    const Fake::Clip clip = MakeClip(options);
    const std::string path = AddFile(clip);
    for (const std::size_t chunk : {0u, 1000u, 4096u, 9001u, 40000u}) {
        for (const std::uint32_t buffer : {4096u, 777u, 30000u}) {
            SCOPED_TRACE(testing::Message() << chunk << " into " << buffer);
            Fake::ForgetPlayedSound();
            Fake::TheScript().audioChunk = chunk;
            Fake::TheScript().soundBufferBytes = buffer;
            Fake::TheScript().soundRefusals = buffer == 30000u ? 2 : 0;
            Player player;
            Screen screen(player);
            ASSERT_TRUE(player.Open(path));
            ASSERT_TRUE(player.Play());
            ASSERT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
            EXPECT_EQ(Fake::PlayedSound(), Padded(SoundOf(clip), buffer));
        }
    }
}

TEST_F(AudioTest, APauseLosesNothing) {
    ClipOptions options;
    options.audioSamples = 12;
    options.audioBytes = 3000;
    const Fake::Clip clip = MakeClip(options);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip)));
    for (int pause = 0; pause < 5; ++pause) {
        Fake::TheScript().holdSound = pause % 2 == 0;  // with the audio thread waiting for the device, and without
        const int asked = Fake::Calls("MLAudioGetOutputStreamBuffer");
        ASSERT_TRUE(player.Play());
        screen.RenderUntil([&] { return Fake::Calls("MLAudioGetOutputStreamBuffer") > asked + 4; },
                           std::chrono::milliseconds(100));
        ASSERT_TRUE(player.Pause());
        const int paused = Fake::Calls("MLAudioGetOutputStreamBuffer");
        WaitFor([&] { return Fake::Calls("MLAudioGetOutputStreamBuffer") > paused + 2; },
                std::chrono::milliseconds(50));
        Fake::TheScript().holdSound = false;
    }
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
    EXPECT_EQ(Fake::PlayedSound(), Padded(SoundOf(clip), 4096));
}

TEST_F(AudioTest, LoopsJoinWithoutAGap) {
    ClipOptions options;
    options.audioSamples = 6;
    options.audioBytes = 1500;
    const Fake::Clip clip = MakeClip(options);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip), true));
    ASSERT_TRUE(player.Play());
    Fake::Bytes expected;
    while (expected.size() < 3 * 9000) {
        const Fake::Bytes once = SoundOf(clip);
        expected.insert(expected.end(), once.begin(), once.end());
    }
    ASSERT_TRUE(screen.RenderUntil([&] { return Fake::PlayedSound().size() >= 5 * 4096; }));
    Fake::Bytes played = Fake::PlayedSound();
    played.resize(5 * 4096);
    expected.resize(5 * 4096);
    EXPECT_EQ(played, expected);
}

TEST_F(AudioTest, ARewindBeginsWithTheFirstByte) {
    ClipOptions options;
    options.audioSamples = 12;
    options.audioBytes = 3000;
    const Fake::Clip clip = MakeClip(options);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip)));
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return !Fake::PlayedSound().empty(); }));
    ASSERT_TRUE(player.Rewind());
    Fake::ForgetPlayedSound();
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
    EXPECT_EQ(Fake::PlayedSound(), Padded(SoundOf(clip), 4096));
}

TEST_F(AudioTest, ABufferThatCannotBeReadIsLoggedAndSkipped) {
    Fake::Fail("MLMediaCodecGetOutputBufferPointer", MLResult_UnspecifiedFailure, 1, 1);
    ClipOptions options;
    options.audioSamples = 4;
    options.audioBytes = 4096;
    const Fake::Clip clip = MakeClip(options);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip)));
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
    EXPECT_EQ(Logged(MLLogLevel_Error, player.Line("MLMediaCodecGetOutputBufferPointer failed")), 1);
    Fake::Bytes expected = SoundOf(clip);
    expected.erase(expected.begin() + 4096, expected.begin() + 2 * 4096);
    EXPECT_EQ(Fake::PlayedSound(), expected);
}

}  // namespace
