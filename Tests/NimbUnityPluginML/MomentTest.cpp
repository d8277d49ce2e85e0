// Calls at one exact moment: a hook stops a thread of the player there, the call is made, and the thread goes on.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <future>

using namespace PluginTest;

namespace {

using MomentTest = PluginFixture;

constexpr std::chrono::milliseconds c_Chance{100};  ///< for what must not happen, to happen

TEST_F(MomentTest, PlayBeforeAThreadFallsAsleepWakesIt) {
    const Fake::Clip clip = MakeClip({12, 2000, 6});
    const std::string path = AddFile(clip);
    for (const char* const line : {"playback thread going to sleep", "Playback thread sleeping",
                                   "Video thread sleeping", "Audio thread sleeping"}) {
        SCOPED_TRACE(line);
        Fake::ForgetPlayedSound();
        Player player;
        Screen screen(player);
        Halt halt;
        Fake::AtLine(line, halt.Hook());
        ASSERT_TRUE(player.Open(path));
        ASSERT_TRUE(halt.IsReached());
        ASSERT_TRUE(player.Play());
        halt.LetGo();
        EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
        EXPECT_EQ(Fake::PlayedSound().size() / 4096, (SoundOf(clip).size() + 4095) / 4096);
    }
}

TEST_F(MomentTest, NoFlushComesBetweenTheMeshOfASampleAndItsPicture) {
    Player player;
    Screen screen(player);
    Halt halt;
    ASSERT_TRUE(player.Open(AddFile(MakeClip({20}))));
    Fake::At("MLMediaCodecQueueInputBuffer video", halt.Hook());
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(halt.IsReached());  // the mesh thread has the sample, the codec has not
    auto rewind = std::async(std::launch::async, [&] { return player.Rewind(); });
    const auto tries = [] { return LoggedWith("old mesh frames"); };  // to get the playback thread out of its wait
    EXPECT_TRUE(WaitFor([&, before = tries()] { return tries() >= before + 3; }));
    halt.LetGo();
    EXPECT_TRUE(rewind.get());
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 19; }));
    EXPECT_EQ(screen.shown, Matching(0, 19));
}

TEST_F(MomentTest, EveryStartOverHandlesItsRestart) {
    const auto handled = [] { return LoggedWith("OnUnityRender: handling pending restart, discard 1 mesh frames"); };
    Playback playback({12, 3000});
    Player& player = playback.player;
    EXPECT_TRUE(playback.UntilPicture(11));
    EXPECT_EQ(handled(), 0);
    ASSERT_TRUE(player.Rewind() && player.Play());
    EXPECT_TRUE(playback.Until([&] { return handled() == 1; }));
    const std::string loop = AddFile(MakeClip({12, 3000}));
    ASSERT_TRUE(player.Open(loop, true) && player.Play());
    EXPECT_TRUE(playback.Until([&] { return handled() == 2; }));
    EXPECT_EQ(LoggedWith("AutoLooping: restarting"), 0);
    for (int pass = 1; pass <= 2; ++pass) {
        EXPECT_TRUE(playback.Until([&] { return handled() == 2 + pass; }));
        EXPECT_EQ(LoggedWith("AutoLooping: restarting"), pass);
    }
}

// ---- Render events ----

TEST_F(MomentTest, MeshesThatComeAfterTheirPicturesDoNotKeepTheirSlots) {
    Player player;
    Screen screen(player);
    Halt halt;
    ASSERT_TRUE(player.Open(AddFile(MakeClip({20, 2000, 0, 0, {0}}))));
    Fake::AtLine("FindCompressedMesh returned null", halt.Hook());
    ASSERT_TRUE(player.Play());
    ASSERT_TRUE(halt.IsReached());
    const auto taken = [] { return Fake::Calls("MLMediaCodecReleaseFrame"); };
    EXPECT_TRUE(WaitFor([&] {
        screen.Event();
        return taken() == 8;  // without a slot no further picture comes
    }));
    halt.LetGo();
    ASSERT_TRUE(AwaitMeshes(player.Id()));
    std::set<std::int64_t> lost;
    for (NimbTrouble trouble{}; TakeTrouble(player.Id(), &trouble) != 0;) {
        lost.insert(trouble.reason == NimbTroubleReason_LostFrames ? trouble.frame : 0);
    }
    EXPECT_EQ(lost, (std::set<std::int64_t>{0, 1, 2, 3, 4, 5, 6, 7}));
    screen.Event();
    // One lost mesh keeps its slot.
    EXPECT_TRUE(WaitFor([] { return Fake::Calls("MLMediaCodecQueueInputBuffer video") == 8 + 7; }));
}

/// The event has acquired a frame and is stopped when it asks for its number.
TEST_F(MomentTest, CloseOpenAndDestroyWaitForAnEventThatHoldsAFrame) {
    const std::string path = AddFile(MakeClip({20})), other = AddFile(MakeClip({20}));
    for (const std::string call : {"Close", "Open", "Destroy"}) {
        SCOPED_TRACE(call);
        Player player;
        Screen screen(player);
        ASSERT_TRUE(player.Open(path));
        ASSERT_TRUE(player.Play());
        ASSERT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 12; }));
        Halt halt;
        Fake::At("MLMediaCodecGetFrameNumber", halt.Hook());
        std::atomic<bool> done{false};
        std::thread render([&] {
            FakeGl::MakeCurrent(FakeGl::TheContext());
            while (!done) {
                OnUnityRenderModeEvent(player.Id());
            }
        });
        ASSERT_TRUE(halt.IsReached());
        auto made = std::async(std::launch::async, [&] {
            return call == "Close"  ? player.Close()
                   : call == "Open" ? player.Open(other) && player.Play()
                                    : DestroyQuorObject(player.Id()) == 1;
        });
        EXPECT_EQ(made.wait_for(c_Chance), std::future_status::timeout);
        done = true;
        halt.LetGo();
        render.join();
        EXPECT_TRUE(made.get());
        if (call == "Open") {  // the event's number was of the other file, and cost this one nothing
            screen.shown.clear();
            screen.texture = FakeGl::MakeTexture();
            screen.HandOver();
            EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 19; }));
            EXPECT_EQ(screen.shown, Matching(0, 19));
        }
    }
}

}  // namespace
