// Sound: every decoded byte reaches the output stream once and in order, whatever the sizes of the buffers.
#include "Tests/NimbUnityPluginML/PluginTest.h"

using namespace PluginTest;

namespace {

class AudioTest : public PluginFixture {
protected:
    /// What a stream of such buffers is handed for this sound: its last buffer is filled up with silence.
    static Fake::Bytes Padded(Fake::Bytes sound, std::size_t bufferBytes = 4096) {
        sound.resize((sound.size() + bufferBytes - 1) / bufferBytes * bufferBytes, 0);
        return sound;
    }

    const Fake::Clip m_Clip = MakeClip({12, 1000, 12, 3000});
};

TEST_F(AudioTest, NoByteIsLostOrRepeatedWhateverTheSizes) {
    for (const std::size_t chunk : {0u, 1000u, 4096u, 9001u, 40000u}) {
        for (const std::uint32_t buffer : {4096u, 777u, 30000u}) {
            SCOPED_TRACE(testing::Message() << chunk << " into " << buffer);
            Fake::ForgetPlayedSound();
            Fake::TheScript().audioChunk = chunk;
            Fake::TheScript().soundBufferBytes = buffer;
            Fake::TheScript().soundRefusals = buffer == 30000u ? 2 : 0;
            Playback playback(m_Clip);
            ASSERT_TRUE(playback.UntilEnd());
            EXPECT_EQ(Fake::PlayedSound(), Padded(SoundOf(m_Clip), buffer));
        }
    }
}

TEST_F(AudioTest, APauseLosesNothing) {
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(m_Clip)));
    for (int pause = 0; pause < 5; ++pause) {
        Fake::TheScript().holdSound = pause % 2 == 0;  // with the audio thread waiting for the device, and without
        const auto isAskedFor = [asked = Fake::Calls("MLAudioGetOutputStreamBuffer")](int times) {
            return Fake::Calls("MLAudioGetOutputStreamBuffer") > asked + times;
        };
        ASSERT_TRUE(player.Play());
        screen.RenderUntil([&] { return isAskedFor(4); }, std::chrono::milliseconds(100));
        ASSERT_TRUE(player.Pause());
        WaitFor([&] { return isAskedFor(7); }, std::chrono::milliseconds(50));
        Fake::TheScript().holdSound = false;
    }
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
    EXPECT_EQ(Fake::PlayedSound(), Padded(SoundOf(m_Clip)));
}

TEST_F(AudioTest, LoopsJoinWithoutAGap) {
    const Fake::Clip clip = MakeClip({12, 1000, 6, 1500});
    const Fake::Bytes once = SoundOf(clip);
    Playback playback(clip, true);
    ASSERT_TRUE(playback.Until([&] { return Fake::PlayedSound().size() >= 5 * 4096; }));
    const Fake::Bytes played = Fake::PlayedSound();
    for (std::size_t i = 0; i < 5 * 4096; ++i) {
        ASSERT_EQ(played[i], once[i % once.size()]) << i;
    }
}

TEST_F(AudioTest, ARewindBeginsWithTheFirstByte) {
    Playback playback(m_Clip);
    ASSERT_TRUE(playback.Until([&] { return !Fake::PlayedSound().empty(); }));
    ASSERT_TRUE(playback.player.Rewind());
    Fake::ForgetPlayedSound();
    ASSERT_TRUE(playback.player.Play());
    ASSERT_TRUE(playback.UntilEnd());
    EXPECT_EQ(Fake::PlayedSound(), Padded(SoundOf(m_Clip)));
}

TEST_F(AudioTest, AFileWithoutVideoIsHeardAndEndsAndLoops) {
    Fake::Clip clip = m_Clip;
    clip.tracks[0].mime = "text/plain";
    for (const bool autoLoop : {false, true}) {
        Fake::ForgetPlayedSound();
        Playback playback(clip, autoLoop);
        EXPECT_TRUE(playback.UntilEnd());
        EXPECT_TRUE(playback.Until([&] { return Fake::PlayedSound().size() >= (autoLoop ? 3u : 1u) * 36000; }));
    }
    EXPECT_EQ(LoggedWith("unexpected info code"), 0);
}

TEST_F(AudioTest, ABufferThatCannotBeReadIsLoggedAndSkipped) {
    Fake::Fail("MLMediaCodecGetOutputBufferPointer", MLResult_UnspecifiedFailure, 1, 1);
    const Fake::Clip clip = MakeClip({12, 1000, 4, 4096});
    Playback playback(clip);
    ASSERT_TRUE(playback.UntilEnd());
    EXPECT_EQ(playback.player.Logged(MLLogLevel_Error, "MLMediaCodecGetOutputBufferPointer failed"), 1);
    Fake::Bytes expected = SoundOf(clip);
    expected.erase(expected.begin() + 4096, expected.begin() + 2 * 4096);
    EXPECT_EQ(Fake::PlayedSound(), expected);
}

}  // namespace
