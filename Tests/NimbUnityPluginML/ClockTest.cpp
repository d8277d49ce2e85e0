// One clock for several players: they show the same frame at every event, and none waits for one that is late.
#include "NimbUnityPluginML/SharedClock.h"
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <algorithm>
#include <array>
#include <limits>
#include <random>

namespace {

using namespace PluginTest;
using Nimb::Plugin::SharedClock;

constexpr std::int64_t c_Millisecond = 1000000;  // in nanoseconds

TEST(SharedClockTest, StandsStillUntilAllHaveArrivedOrPatienceIsOver) {
    SharedClock clock;
    clock.Add(1);
    clock.Add(2);
    clock.BeginGathering(5000, true);
    clock.Expect(1, 7);
    clock.NoteArrival(1, 7, 100 * c_Millisecond);  // before the next one has even been asked
    clock.Expect(2, 3);
    clock.EndGathering(200 * c_Millisecond);
    EXPECT_EQ(clock.Position(300 * c_Millisecond), 5000);
    EXPECT_EQ(clock.Until(6000, 300 * c_Millisecond), INT64_MAX);
    clock.NoteArrival(2, 2, 300 * c_Millisecond);  // of an earlier request
    EXPECT_EQ(clock.Read(300 * c_Millisecond).awaited, 1);
    clock.NoteArrival(2, 3, 400 * c_Millisecond);
    EXPECT_EQ(clock.Position(401 * c_Millisecond), 6000);
    EXPECT_EQ(clock.Until(6000, 400 * c_Millisecond), c_Millisecond);
    EXPECT_EQ(clock.Until(6000, 403 * c_Millisecond), -2 * c_Millisecond);

    clock.SetSpeed(0.5f, 402 * c_Millisecond);
    EXPECT_EQ(clock.Position(404 * c_Millisecond), 8000);
    clock.Pause(404 * c_Millisecond);
    EXPECT_EQ(clock.Position(500 * c_Millisecond), 8000);
    clock.Play(500 * c_Millisecond);
    EXPECT_EQ(clock.Position(502 * c_Millisecond), 9000);

    const std::int64_t start = 1000 * c_Millisecond;
    clock.BeginGathering(0, true);
    clock.Expect(1, 8);
    clock.Expect(2, 4);
    clock.EndGathering(start);
    clock.NoteArrival(1, 8, start);
    EXPECT_EQ(clock.Position(start + SharedClock::c_Patience), 0);
    EXPECT_EQ(clock.Position(start + SharedClock::c_Patience + 2 * c_Millisecond), 1000);
    clock.BeginGathering(0, true);
    clock.Expect(2, 5);
    clock.EndGathering(start);
    clock.Remove(2, start);  // nobody waits for one that has left
    EXPECT_TRUE(clock.IsMoving(start));
}

TEST(SharedClockTest, EventsOfOneEngineFrameSeeOnePosition) {
    SharedClock clock;
    clock.Add(1);
    clock.Add(2);
    clock.Play(0);
    const auto event = [&clock](int player, std::int64_t milliseconds) {
        const std::int64_t position = clock.BeginEvent(player, milliseconds * c_Millisecond);
        clock.EndEvent((milliseconds + 4) * c_Millisecond);
        return position / 1000;
    };
    EXPECT_EQ(event(2, 2), 2);  // the first player's first event is missing: only time tells where engine frames begin
    for (std::int64_t frame = 1; frame < 40; ++frame) {
        const std::int64_t first = event(1, frame * 16);
        const std::int64_t second = event(2, frame * 16 + 5);
        EXPECT_TRUE(frame < 4 || (first == frame * 16 && second == first)) << frame << ": " << first << ", " << second;
    }
    EXPECT_EQ(event(2, 645), 645);  // without the other's
    EXPECT_EQ(event(2, 661), 661);
}

TEST(SharedClockTest, AllShowWhatAllHaveButForStragglers) {
    SharedClock clock;
    clock.Add(1);
    clock.Add(2);
    clock.Play(0);
    const auto position = [&clock](std::int64_t milliseconds) {
        return clock.BeginEvent(1, milliseconds * c_Millisecond);
    };
    clock.NoteReady(1, 1000000);
    clock.NoteReady(2, 30000);
    EXPECT_EQ(position(25), 25000);
    EXPECT_EQ(position(180), 30000);
    EXPECT_EQ(position(181), 181000);
    clock.NoteReady(1, 100000);  // both are late
    EXPECT_EQ(position(300), 30000);
    clock.NoteReady(2, SharedClock::c_HoldsNobodyBack);
    EXPECT_EQ(position(301), 100000);
}

constexpr std::int64_t c_Interval = 20;  // milliseconds between frames

ClipOptions Clip() {
    ClipOptions options;
    options.frames = 300;
    options.intervalUs = c_Interval * 1000;
    options.deltaFrames = true;
    options.meshKeyInterval = 20;
    options.pictureKeyInterval = 5;
    return options;
}

class Scene {
public:
    explicit Scene(const ClipOptions& options = Clip(), bool autoLoop = false) {
        const std::string path = AddIndexedFile(options);
        for (Actor& actor : actors) {
            EXPECT_TRUE(actor.player.Open(path, autoLoop));
            EXPECT_EQ(JoinPlayerClock(clock, actor.player.Id()), 1);
        }
    }
    ~Scene() { DestroyPlayerClock(clock); }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// An engine frame: an event for each player.
    void Tick() {
        for (Actor& actor : actors) {
            actor.screen.Render();
        }
        ++ticks;
        agreeing += AllShow(actors[0].screen.Picture()) ? 1 : 0;
    }
    template <class Condition>
    bool TickUntil(Condition&& condition) {
        return WaitFor([&] {
            Tick();
            return condition();
        });
    }

    bool AllShow(std::int64_t frame) const {
        return std::all_of(actors.begin(), actors.end(), [frame](const Actor& actor) {
            return actor.screen.Picture() == frame && actor.screen.Mesh() == frame;
        });
    }

    /// Each player shows frames in their order, with their own meshes.
    void ExpectOrder(std::size_t from = 0) const {
        for (const Actor& actor : actors) {
            for (std::size_t i = from; i < actor.screen.shown.size(); ++i) {
                const auto& [picture, mesh] = actor.screen.shown[i];
                EXPECT_EQ(picture, mesh);
                EXPECT_TRUE(i == from || picture > actor.screen.shown[i - 1].first);
            }
        }
    }

    NimbClockInfo Info() const {
        NimbClockInfo info{};
        EXPECT_EQ(GetPlayerClockInfo(clock, &info), 1);
        return info;
    }

    struct Actor {
        Player player;
        Screen screen{player};
    };
    const int clock = CreatePlayerClock();
    std::array<Actor, 4> actors;
    int ticks = 0;
    int agreeing = 0;
};

class ClockTest : public PluginFixture {};

TEST_F(ClockTest, PlayersShowTheSameFrames) {
    Scene scene;
    ASSERT_EQ(PlayPlayerClock(scene.clock), 1);
    ASSERT_TRUE(scene.TickUntil([&] { return scene.AllShow(0); }));
    scene.ticks = scene.agreeing = 0;
    ASSERT_TRUE(scene.TickUntil([&] { return scene.actors[3].screen.Picture() >= 20; }));
    EXPECT_GT(scene.agreeing, scene.ticks * 3 / 4);  // a busy machine lets threads wait longer than pictures are early
    scene.ExpectOrder();

    // Paused when one has shown the next frame already: the others show it, too, and then they stand still.
    const std::int64_t before = scene.actors[0].screen.Picture();
    ASSERT_TRUE(scene.actors[0].screen.RenderUntil([&] { return scene.actors[0].screen.Picture() > before; }));
    ASSERT_EQ(PausePlayerClock(scene.clock), 1);
    const NimbClockInfo paused = scene.Info();
    EXPECT_EQ(paused.isPlaying, 0);
    const std::int64_t frame = scene.actors[0].screen.Picture();
    for (Scene::Actor& actor : scene.actors) {
        EXPECT_EQ(actor.player.State(), NimbState_Paused);
    }
    EXPECT_TRUE(scene.TickUntil([&] { return scene.AllShow(scene.actors[0].screen.Picture()); }));
    EXPECT_LE(scene.actors[0].screen.Picture(), paused.time / 10000 / c_Interval);
    EXPECT_EQ(scene.Info().time, paused.time);

    ASSERT_EQ(PlayPlayerClock(scene.clock), 1);
    ASSERT_TRUE(scene.TickUntil([&] { return scene.actors[3].screen.Picture() >= frame + 10; }));
    scene.ExpectOrder();
    // Twice as fast, without a jump, and no player has an advantage.
    ASSERT_EQ(SetPlayerClockSpeed(scene.clock, 2), 1);
    EXPECT_FLOAT_EQ(scene.Info().speed, 2);
    const std::int64_t from = scene.Info().time;
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(scene.TickUntil([&] { return scene.Info().time >= from + 4000000; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(199));
    ASSERT_TRUE(scene.TickUntil([&] { return scene.AllShow(scene.actors[0].screen.Picture()); }));
    scene.ExpectOrder();
}

TEST_F(ClockTest, AllGoWhereTheClockGoes) {
    Scene scene;
    for (const std::int64_t frame : {47, 12, 13, 280}) {
        Pairs expected = scene.actors[0].screen.shown;
        expected.emplace_back(frame, frame);
        EXPECT_EQ(SeekPlayerClock(scene.clock, frame * c_Interval * 10000 + 5, NimbSeekOption_Pause), 4);
        ASSERT_TRUE(scene.TickUntil([&] { return scene.Info().awaited == 0; })) << frame;
        EXPECT_TRUE(scene.AllShow(frame));
        for (Scene::Actor& actor : scene.actors) {
            EXPECT_EQ(actor.screen.shown, expected);
            NimbSeekEnd end{};
            ASSERT_EQ(TakeSeekEnd(actor.player.Id(), &end), 1);
            EXPECT_EQ(end.result, NimbSeekResult_Done);
        }
        EXPECT_EQ(scene.Info().time, frame * c_Interval * 10000);
    }
    // Again and again while it plays, to frames that are shown already, too.
    EXPECT_EQ(SeekPlayerClock(scene.clock, 40 * c_Interval * 10000, 0), 4);
    EXPECT_EQ(SeekPlayerClock(scene.clock, 30 * c_Interval * 10000, 0), 4);
    ASSERT_TRUE(scene.TickUntil([&] { return scene.actors[0].screen.Picture() >= 33; }));
    EXPECT_EQ(SeekPlayerClock(scene.clock, scene.actors[0].screen.Picture() * c_Interval * 10000, 0), 4);
    ASSERT_TRUE(scene.TickUntil([&] { return scene.actors[3].screen.Picture() >= 45; }));
    ASSERT_TRUE(scene.TickUntil([&] { return scene.AllShow(scene.actors[0].screen.Picture()); }));
}

TEST_F(ClockTest, WhoIsLateDropsPicturesAndTheOthersDoNotWait) {
    ClipOptions options = Clip();
    options.audioSamples = 300;
    Scene scene(options);
    Scene::Actor& late = scene.actors[2];
    ASSERT_EQ(PlayPlayerClock(scene.clock), 1);
    const auto othersTick = [&] {
        for (Scene::Actor& actor : scene.actors) {
            if (&actor != &late) {
                actor.screen.Render();
            }
        }
    };
    const auto othersUntil = [&](std::int64_t frame) {
        return WaitFor([&] {
            othersTick();
            return scene.actors[3].screen.Picture() >= frame;
        });
    };
    ASSERT_TRUE(WaitFor([&] {
        othersTick();
        return scene.Info().awaited == 1;
    }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const bool hasSound = !Fake::PlayedSound().empty();
    EXPECT_TRUE(!hasSound || scene.Info().time > 0) << "sound before the clock has started";
    ASSERT_TRUE(othersUntil(10));  // after their patience
    EXPECT_EQ(scene.Info().awaited, 1u);
    EXPECT_TRUE(late.screen.shown.empty());
    ASSERT_TRUE(scene.TickUntil([&] { return scene.AllShow(scene.actors[0].screen.Picture()); }));
    EXPECT_EQ(late.screen.shown.front().first, 0);
    EXPECT_LT(late.screen.shown.size(), 10u);
    scene.ExpectOrder();

    // One that goes its own way is out of step, until the clock plays again.
    ASSERT_GT(SeekQuorObject(late.player.Id(), 2, 0), 0);
    ASSERT_TRUE(scene.TickUntil([&] { return late.screen.Picture() == 2; }));
    const std::size_t before = late.screen.shown.size();
    ASSERT_TRUE(scene.TickUntil([&] { return late.screen.Picture() >= 6; }));
    EXPECT_LT(late.screen.shown[before].first, 10);  // from there, not from where the others are; it may drop some
    EXPECT_GT(scene.actors[0].screen.Picture(), 12);
    ASSERT_EQ(PlayPlayerClock(scene.clock), 1);
    ASSERT_TRUE(scene.TickUntil([&] { return scene.AllShow(scene.actors[0].screen.Picture()); }));
    scene.ExpectOrder(before);

    // One that leaves goes on alone; the others' clock is no affair of it any more.
    ASSERT_EQ(LeavePlayerClock(late.player.Id()), 1);
    EXPECT_EQ(LeavePlayerClock(late.player.Id()), 0);
    ASSERT_EQ(PausePlayerClock(scene.clock), 1);
    EXPECT_EQ(late.player.State(), NimbState_Playing);
    const std::int64_t picture = late.screen.Picture();
    EXPECT_TRUE(scene.TickUntil([&] { return late.screen.Picture() > picture + 2; }));
    EXPECT_EQ(scene.Info().players, 3u);
}

TEST_F(ClockTest, LoopsOfOneLengthStayInStep) {
    ClipOptions options = Clip();
    options.frames = 12;
    for (const bool isRange : {false, true}) {
        Scene scene(options, !isRange);
        for (Scene::Actor& actor : scene.actors) {
            if (isRange) {
                ASSERT_EQ(SetPlayRange(actor.player.Id(), 5, 9, 1), 1);
            }
        }
        EXPECT_EQ(SeekPlayerClock(scene.clock, 5 * c_Interval * 10000, 0), 4);
        // 5 rounds; by the clock, and not by what each needs for them.
        const std::int64_t end = (5 + 5 * (isRange ? 5 : 12)) * c_Interval * 10000;
        ASSERT_TRUE(scene.TickUntil([&] { return scene.Info().time >= end; }));
        EXPECT_GT(scene.agreeing, scene.ticks / 2);
        EXPECT_TRUE(scene.TickUntil([&] {
            const std::int64_t moment = scene.Info().time / 10000 / c_Interval;
            const std::int64_t now = isRange ? 5 + (moment - 5) % 5 : moment % 12;
            const std::int64_t before = isRange && now == 5 ? 9 : (now + 11) % 12;
            return scene.AllShow(now) || scene.AllShow(before);  // an event may be just before the next frame
        }));
    }
}

/// Whatever scripts do with the clock and with single players, on a platform that refuses now and then: in the end all
/// go where the clock goes.
TEST_F(ClockTest, NothingThatScriptsDoKeepsPlayersApart) {
    ClipOptions options = Clip();
    options.frames = 40;
    options.audioSamples = 40;
    Scene scene(options, true);
    const std::string path = AddIndexedFile(options);
    std::mt19937 random(5);
    Fake::SetChaos(3, 2, 20, 500);
    for (int i = 0; i < 150; ++i) {
        Scene::Actor& actor = scene.actors[random() % 4];
        const int id = actor.player.Id();
        switch (random() % 14) {
            case 0:
                actor.player.Rewind();
                break;
            case 1:
                actor.player.Pause();
                break;
            case 2:
                actor.player.Play();
                break;
            case 3:
                SeekQuorObject(id, static_cast<std::int64_t>(random() % 40), random() % 4);
                break;
            case 4:
                actor.player.Close();
                ASSERT_TRUE(WaitFor([&] { return actor.player.Open(path, true); }));
                break;
            case 5:
                LeavePlayerClock(id);
                break;
            case 6:
                SetPlayRange(id, 10, random() % 2 == 0 ? 20 : -1, 1);
                break;
            case 7:
            case 8:
                PausePlayerClock(scene.clock);
                break;
            case 9:
                SetPlayerClockSpeed(scene.clock, random() % 2 == 0 ? 1.0f : 3.0f);
                break;
            case 10:
            case 11:
                SeekPlayerClock(scene.clock, static_cast<std::int64_t>(random() % 10000000), random() % 4);
                break;
            default:
                EXPECT_EQ(JoinPlayerClock(scene.clock, id), 1);
                PlayPlayerClock(scene.clock);
        }
        for (auto event = random() % 8; event > 0; --event) {
            OnUnityRenderModeEvent(scene.actors[random() % 4].player.Id());
        }
    }
    Fake::SetChaos(0, 0, 0, 0);
    for (Scene::Actor& actor : scene.actors) {
        EXPECT_EQ(JoinPlayerClock(scene.clock, actor.player.Id()), 1);
        EXPECT_TRUE(actor.player.Open(path, true));  // a refusal may have left one that was opened without a track
    }
    for (const std::int64_t frame : {23, 7}) {
        EXPECT_EQ(SeekPlayerClock(scene.clock, frame * c_Interval * 10000, NimbSeekOption_Pause), 4);
        ASSERT_TRUE(scene.TickUntil([&] { return scene.AllShow(frame); })) << frame;
    }
}

TEST_F(ClockTest, WhatThereIsNot) {
    EXPECT_EQ(PlayPlayerClock(12345), 0);
    EXPECT_EQ(PausePlayerClock(12345), 0);
    EXPECT_EQ(SeekPlayerClock(12345, 0, 0), 0);
    EXPECT_EQ(DestroyPlayerClock(12345), 0);
    NimbClockInfo info{};
    EXPECT_EQ(GetPlayerClockInfo(12345, &info), 0);
    const int clock = CreatePlayerClock();
    EXPECT_EQ(JoinPlayerClock(clock, 12345), 0);
    EXPECT_EQ(SetPlayerClockSpeed(clock, 0), 0);
    EXPECT_EQ(SetPlayerClockSpeed(clock, -1), 0);
    EXPECT_EQ(SetPlayerClockSpeed(clock, std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(SetPlayerClockSpeed(clock, std::numeric_limits<float>::quiet_NaN()), 0);
    Player empty;
    ASSERT_EQ(JoinPlayerClock(clock, empty.Id()), 1);
    EXPECT_EQ(PlayPlayerClock(clock), 1);
    EXPECT_EQ(empty.State(), NimbState_Initialized);
    {
        Player gone;
        ASSERT_EQ(JoinPlayerClock(clock, gone.Id()), 1);
        ASSERT_TRUE(gone.Open(AddFile(MakeClip(Clip()))));  // without an index: plays, at the clock's speed
        EXPECT_EQ(SeekPlayerClock(clock, 0, 0), 0);
        EXPECT_EQ(PlayPlayerClock(clock), 1);
        EXPECT_EQ(gone.State(), NimbState_Playing);
        EXPECT_EQ(PausePlayerClock(clock), 1);
        EXPECT_EQ(gone.State(), NimbState_Paused);
    }
    EXPECT_EQ(GetPlayerClockInfo(clock, &info), 1);
    EXPECT_EQ(info.players, 1u);
    EXPECT_EQ(DestroyPlayerClock(clock), 1);
    EXPECT_EQ(DestroyPlayerClock(clock), 0);
}

}  // namespace
