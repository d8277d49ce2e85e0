// What players tell of themselves: the frame that is shown, what goes wrong, and the graphics device.
#include "NimbUnityPluginML/StallWatch.h"
#include "NimbUnityPluginML/Troubles.h"
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <algorithm>
#include <map>

namespace {

using namespace PluginTest;
using Nimb::Plugin::StallWatch;
using Nimb::Plugin::Troubles;

/// Reason and frame, and how often.
using Trouble = std::pair<int, std::int64_t>;
using Counts = std::map<Trouble, std::uint32_t>;

Counts TakeAll(int id) {
    Counts counts;
    for (NimbTrouble trouble{}; TakeTrouble(id, &trouble) != 0;) {
        counts[{trouble.reason, trouble.frame}] += trouble.count;
    }
    return counts;
}

/// With and without an index.
class ReportTest : public PluginFixture, public testing::WithParamInterface<bool> {
protected:
    static std::string Add(const ClipOptions& options) {
        return GetParam() ? AddIndexedFile(options) : AddFile(MakeClip(options));
    }
};
INSTANTIATE_TEST_SUITE_P(Index, ReportTest, testing::Bool());

TEST_P(ReportTest, FrameAndTimeAreThoseOfTheFileAtEverySpeedAndInEveryLoop) {
    const std::string path = Add({12, 3000});
    for (const float speed : {1.0f, 0.5f, 2.0f}) {
        SCOPED_TRACE(speed);
        Player player;
        Screen screen(player);
        SetClockScale(player.Id(), speed);
        ASSERT_TRUE(player.Open(path, true));
        EXPECT_EQ(screen.Record().frame, -1);
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(screen.RenderUntil([&] {
            const NimbShownFrame record = screen.Record();
            EXPECT_EQ(record.count, screen.shown.size());
            EXPECT_EQ(record.time, std::max<std::int64_t>(record.frame, 0) * 30000);
            return screen.shown.size() == 30;
        }));
        ASSERT_TRUE(player.Rewind());
        EXPECT_EQ(screen.Record().frame, screen.Picture());  // still there
        ASSERT_TRUE(player.Open(path));
        EXPECT_EQ(screen.Record().frame, -1);
        EXPECT_EQ(screen.Record().count, 0u);
    }
}

TEST_P(ReportTest, ADamagedOrMissingMeshIsTroubleWithItsFrame) {
    ClipOptions options{12, 2000};
    options.damagedMesh = {4};
    options.withoutMesh = {7};
    const Trouble damaged{NimbTroubleReason_DamagedMesh, 4}, missing{NimbTroubleReason_NoMesh, 7};
    const Trouble lost4{NimbTroubleReason_LostFrames, 4}, lost7{NimbTroubleReason_LostFrames, 7};
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(Add(options)));
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
    EXPECT_EQ(TakeAll(player.Id()), (Counts{{damaged, 1}, {lost4, 1}, {missing, 1}, {lost7, 1}}));

    // Nobody takes them: each is counted, and the next file begins without them.
    ASSERT_TRUE(player.Open(Add(options), true));
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Record().count >= 30; }));
    Counts counts = TakeAll(player.Id());
    EXPECT_EQ(counts.size(), 4u);
    EXPECT_GE(counts[damaged], 3u);
    EXPECT_GE(counts[lost7], 2u);
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Record().count >= 45; }));
    ASSERT_TRUE(player.Open(Add({12, 2000})));
    EXPECT_EQ(TakeAll(player.Id()), Counts{});
}

TEST_P(ReportTest, PicturesFromBeforeARewindAreNotLostFrames) {
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(Add({40, 2000})));
    for (int pass = 0; pass < 3; ++pass) {
        const int before = Fake::Calls("MLMediaCodecReleaseOutputBuffer");
        ASSERT_TRUE(player.Play());
        EXPECT_TRUE(WaitFor([&] { return Fake::Calls("MLMediaCodecReleaseOutputBuffer") >= before + 3; }));
        ASSERT_TRUE(player.Rewind());  // they are on the surface still
    }
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 39; }));
    EXPECT_EQ(TakeAll(player.Id()), Counts{});
}

TEST(StallWatchTest, TimeThatNobodyLookedAtDoesNotCount) {
    constexpr std::int64_t ms = 1000000;
    StallWatch watch;
    std::int64_t now = 1000 * 1000 * ms;
    const auto look = [&](std::int64_t wait, bool isAwaited) { return watch.Look(now += wait, isAwaited) / ms; };
    EXPECT_EQ(look(0, true), 0);
    EXPECT_EQ(look(60000 * ms, true), 0);
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(look(100 * ms, true), 0) << i;
    }
    EXPECT_EQ(look(100 * ms, true), 100);
    EXPECT_EQ(look(200 * ms, true), 300);
    watch.NoteReported();
    EXPECT_EQ(look(100 * ms, true), 0);
    watch.NoteShown(now);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(look(100 * ms, i % 30 != 0), 0) << i;  // paused now and then
    }
    for (int i = 0; i < 31; ++i) {
        look(100 * ms, true);
    }
    EXPECT_EQ(look(100 * ms, true), 1100);
}

TEST(TroublesTest, WhatNobodyTakesIsBoundedAndNoReasonIsLost) {
    Troubles troubles;
    troubles.BeginFile(1);
    troubles.Add(0, NimbTroubleReason_Stalled, 0);  // of the file before
    for (std::int64_t frame = 0; frame < 100; ++frame) {
        troubles.Add(1, NimbTroubleReason_DamagedMesh, frame);
    }
    troubles.Add(1, NimbTroubleReason_LostFrames, 3);
    troubles.Add(1, NimbTroubleReason_NoMesh, 5);
    troubles.Add(1, NimbTroubleReason_Stalled, 7);
    std::map<int, std::uint32_t> counts;
    std::int64_t next = 0;
    for (NimbTrouble trouble{}; troubles.Take(&trouble);) {
        if (trouble.reason == NimbTroubleReason_DamagedMesh) {
            EXPECT_EQ(trouble.frame, next++);  // the oldest first
        }
        counts[trouble.reason] += trouble.count;
    }
    EXPECT_EQ(counts, (std::map<int, std::uint32_t>{{1, 100}, {2, 1}, {3, 1}, {4, 1}}));
}

class ShownFrameTest : public PluginFixture {};

TEST_F(ShownFrameTest, SeeksAndRangesTellFrameAndTime) {
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddIndexedFile({60, 2000})));
    for (const std::int64_t frame : {50, 3, 4, 3}) {
        ASSERT_GT(SeekQuorObject(player.Id(), frame, NimbSeekOption_Pause), 0);
        EXPECT_TRUE(screen.RenderUntil([&] { return screen.Record().frame == frame; }));
        EXPECT_EQ(screen.Record().time, frame * 20000);
    }
    SetClockScale(player.Id(), 2);
    ASSERT_TRUE(SetPlayRange(player.Id(), 10, 15, 1));
    ASSERT_GT(SeekQuorObject(player.Id(), 10, 0), 0);
    const std::size_t before = screen.shown.size();
    EXPECT_TRUE(screen.RenderUntil([&] {
        EXPECT_EQ(screen.Record().time, screen.Record().frame * 20000);
        return screen.shown.size() > before + 20;
    }));
}

TEST_F(ShownFrameTest, OtherObjectsHoldNothing) {
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddIndexedFile({60, 2000})));
    const auto goTo5 = [&] { return SeekQuorObject(player.Id(), 5, NimbSeekOption_Pause) > 0; };
    ASSERT_TRUE(goTo5());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Record().frame == 5; }));
    screen.HandOver();
    EXPECT_EQ(screen.Record().frame, -1);

    // During the event that fills those before.
    FakeGl::TheScript().failImages = true;
    bool isHandedOver = false;
    Fake::AtLine("EGL_NO_IMAGE", [&] {
        screen.HandOver();
        isHandedOver = true;
    });
    ASSERT_TRUE(goTo5());
    EXPECT_TRUE(WaitFor([&] {
        OnUnityRenderModeEvent(player.Id());
        return isHandedOver;
    }));
    EXPECT_EQ(screen.Record().frame, -1);
    FakeGl::TheScript().failImages = false;
    ASSERT_TRUE(goTo5());  // not there already
    EXPECT_TRUE(WaitFor([&] {
        OnUnityRenderModeEvent(player.Id());
        return screen.Record().frame == 5;
    }));
    EXPECT_EQ(screen.Picture(), 5);
}

TEST_F(ShownFrameTest, AStallIsReportedOnceAndNotAtTheEnd) {
    const std::chrono::milliseconds longer(StallWatch::c_Patience / 1000000 + 1000);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddIndexedFile({400, 2000})));
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() >= 5; }));
    Fake::TheScript().holdVideoOutput = true;
    Counts counts;
    EXPECT_TRUE(screen.RenderUntil([&] { return !(counts = TakeAll(player.Id())).empty(); }));
    EXPECT_EQ(counts, (Counts{{{NimbTroubleReason_Stalled, screen.Picture()}, 1}}));
    Fake::TheScript().holdVideoOutput = false;
    EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
    TakeAll(player.Id());  // meshes may have been given up for want of pictures
    EXPECT_FALSE(screen.RenderUntil([&] { return !TakeAll(player.Id()).empty(); }, longer));
}

class DeviceTest : public PluginFixture {
protected:
    static NimbDeviceInfo Announce() {
        GetDeviceEventFunc()(11);
        NimbDeviceInfo info{};
        EXPECT_EQ(GetDeviceInfo(&info), 1);
        return info;
    }
};

TEST_F(DeviceTest, WithoutAContextItSaysSoUntilThereIsOne) {
    FakeGl::MakeCurrent(EGL_NO_CONTEXT);
    EXPECT_EQ(Announce().status, NimbDevice_NoContext);
    EXPECT_EQ(FakeGl::CallsWithoutContext(), 0);
    EXPECT_EQ(LoggedWith("the engine draws without EGL"), 1);
    FakeGl::MakeCurrent(FakeGl::TheContext());
    EXPECT_EQ(Announce().status, NimbDevice_Ready);
    EXPECT_EQ(LoggedWith("UnitySetGraphicsDevice: device type = 11"), 1);
}

TEST_F(DeviceTest, AnotherContextIsNoticedAtTheSameAddressAndPlayersRemakeTheirObjects) {
    const std::uint32_t number = Announce().context;
    GLint bound = -1;
    glBindBuffer(GL_COPY_READ_BUFFER, 3);
    EXPECT_EQ(Announce().context, number);
    glGetIntegerv(GL_COPY_READ_BUFFER_BINDING, &bound);
    EXPECT_EQ(bound, 3);
    Playback playback({30, 2000});
    EXPECT_TRUE(playback.UntilPicture(5));
    EXPECT_EQ(FakeGl::CallsOf("glLinkProgram"), 1);

    FakeGl::Reset();  // all objects are gone
    EXPECT_EQ(Announce().context, number + 1);
    EXPECT_EQ(Announce().context, number + 1);
    playback.screen.texture = FakeGl::MakeTexture();
    playback.screen.vertexBuffer = FakeGl::MakeBuffer(c_MeshVertices * 32);
    playback.screen.indexBuffer = FakeGl::MakeBuffer(c_MeshIndices * 4);
    playback.screen.HandOver();
    EXPECT_TRUE(playback.UntilPicture(29));
    EXPECT_EQ(FakeGl::CallsOf("glLinkProgram"), 1);
}

}  // namespace
