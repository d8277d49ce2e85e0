// Going to frames: every request ends once, with its frame in the engine's objects, and nothing else is shown before.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <algorithm>
#include <future>
#include <random>

namespace {

using namespace PluginTest;

/// Pictures are keys every 5 frames, meshes every 20: as encoders make clips, in small.
ClipOptions Clip() {
    ClipOptions options;
    options.frames = 60;
    options.deltaFrames = true;
    options.meshKeyInterval = 20;
    options.pictureKeyInterval = 5;
    return options;
}

class Seeker {
public:
    explicit Seeker(const ClipOptions& options = Clip(), bool autoLoop = false) : screen(player) {
        EXPECT_TRUE(player.Open(AddIndexedFile(options), autoLoop));
    }

    /// Renders until the request has ended.
    NimbSeekEnd Await(std::int64_t ticket) {
        EXPECT_GT(ticket, 0);
        NimbSeekEnd end{};
        EXPECT_TRUE(screen.RenderUntil([&] {
            while (TakeSeekEnd(player.Id(), &end) != 0) {
                EXPECT_TRUE(ended.insert(end.ticket).second) << "ticket " << end.ticket << " ends twice";
                if (end.ticket == ticket) {
                    return true;
                }
                EXPECT_EQ(end.result, NimbSeekResult_Superseded);
            }
            return false;
        })) << "ticket "
            << ticket << " does not end";
        return end;
    }

    /// Goes there, and sees nothing else on the way.
    void GoTo(std::int64_t frame, std::uint32_t options = NimbSeekOption_Pause) {
        const Pairs before = screen.shown;
        const NimbSeekEnd end = Await(SeekQuorObject(player.Id(), frame, options));
        ExpectDone(end, frame);
        Pairs expected = before;
        if (expected.empty() || expected.back() != std::pair(frame, frame)) {
            expected.emplace_back(frame, frame);
        }
        EXPECT_EQ(screen.shown, expected);
    }

    void ExpectDone(const NimbSeekEnd& end, std::int64_t frame) {
        EXPECT_EQ(end.result, NimbSeekResult_Done) << "frame " << frame << ", reason " << end.reason;
        EXPECT_EQ(end.frame, frame);
        EXPECT_EQ(end.time, frame * 20000);  // 2 ms each
        EXPECT_EQ(screen.Picture(), frame);
        EXPECT_EQ(screen.Mesh(), frame);
    }

    Player player;
    Screen screen;
    std::set<std::int64_t> ended;
};

class SeekTest : public PluginFixture {};

/// What a codec's counter of frames counts is its own affair.
class CountingTest : public PluginFixture, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        PluginFixture::SetUp();
        Fake::TheScript().countRendered = GetParam();
        Fake::TheScript().dropFramesOnFlush = GetParam();
    }
};
INSTANTIATE_TEST_SUITE_P(Counter, CountingTest, testing::Bool());

TEST_P(CountingTest, AnyFrameInAnyOrder) {
    Seeker seeker;
    std::mt19937 random(7);
    for (int i = 0; i < 60; ++i) {
        seeker.GoTo(static_cast<std::int64_t>(random() % 60));
        if (HasFailure()) {
            return;
        }
    }
    for (const std::int64_t frame : {0, 1, 2, 3, 4, 5, 6, 7, 6, 5, 4, 59, 58, 0, 59}) {
        seeker.GoTo(frame);
    }
}

TEST_P(CountingTest, PlaybackGoesOnFromTheFrame) {
    Seeker seeker;
    ASSERT_TRUE(seeker.player.Play());
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() >= 2; }));
    for (const std::int64_t frame : {33, 5, 8, 50}) {
        const Pairs before = seeker.screen.shown;
        seeker.ExpectDone(seeker.Await(SeekQuorObject(seeker.player.Id(), frame, 0)), frame);
        EXPECT_EQ(seeker.player.State(), NimbState_Playing);
        ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() >= frame + 6; }));
        Pairs expected = before;
        for (std::int64_t i = frame; i <= seeker.screen.Picture(); ++i) {
            expected.emplace_back(i, i);
        }
        EXPECT_EQ(seeker.screen.shown, expected);
    }
    EXPECT_TRUE(seeker.screen.RenderUntil([&] { return seeker.player.FrameInfo().endOfStream != 0; }));
    seeker.GoTo(12);  // from behind the end
    ASSERT_TRUE(seeker.player.Rewind());
    ASSERT_TRUE(seeker.player.Play());
    Pairs expected = seeker.screen.shown;
    for (std::int64_t i = 0; i <= 4; ++i) {
        expected.emplace_back(i, i);
    }
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() == 4; }));
    EXPECT_EQ(seeker.screen.shown, expected);
}

TEST_P(CountingTest, ARangeIsPlayedAgainAndAgain) {
    Seeker seeker;
    for (const auto& [first, last] : {std::pair(54, 59), std::pair(23, 27)}) {  // to the end of the file, and within
        ASSERT_EQ(SetPlayRange(seeker.player.Id(), first, last, 1), 1);
        Pairs expected = seeker.screen.shown;
        seeker.ExpectDone(seeker.Await(SeekQuorObject(seeker.player.Id(), last - 3, 0)), last - 3);
        ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.shown.size() >= expected.size() + 16; }));
        for (std::int64_t next = last - 3; expected.size() < seeker.screen.shown.size();
             next = next == last ? first : next + 1) {
            expected.emplace_back(next, next);
        }
        EXPECT_EQ(seeker.screen.shown, expected);
    }
    // Changed while it plays: the end of the new one is the end.
    ASSERT_EQ(SetPlayRange(seeker.player.Id(), 0, 40, 0), 1);
    EXPECT_TRUE(seeker.screen.RenderUntil([&] { return seeker.player.FrameInfo().endOfStream != 0; }));
    EXPECT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() == 40; }));
    EXPECT_EQ(seeker.screen.Mesh(), 40);
    EXPECT_EQ(SetPlayRange(seeker.player.Id(), 5, 60, 1), 0);
    EXPECT_EQ(SetPlayRange(seeker.player.Id(), 6, 5, 1), 0);
}

/// Nothing is fed behind an end that the codec has been told of, whatever is set afterwards.
TEST_P(CountingTest, AnEndIsLeftWhenItIsToldOrWhenItLoops) {
    Seeker seeker(Clip(), true);  // ranges count, not what was opened
    const int id = seeker.player.Id();
    const auto isTold = [&] { return seeker.player.FrameInfo().endOfStream != 0; };
    const auto playToEnd = [&](std::int64_t last) {
        ASSERT_EQ(SetPlayRange(id, 20, last, 0), 1);
        seeker.ExpectDone(seeker.Await(SeekQuorObject(id, 22, 0)), 22);
        ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() == last; }));
    };
    for (const std::int64_t last : {25, 59}) {
        playToEnd(last);
        ASSERT_TRUE(seeker.screen.RenderUntil(isTold));
        for (const std::int64_t other : {40, -1, 59, 25}) {
            ASSERT_EQ(SetPlayRange(id, 10, other, 1), 1);
            EXPECT_FALSE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() != last || isTold(); },
                                                   std::chrono::milliseconds(30)));
            if (other == 40) {
                seeker.ExpectDone(seeker.Await(SeekQuorObject(id, last - 1, NimbSeekOption_Pause)), last - 1);
                seeker.GoTo(33);
                playToEnd(last);
                ASSERT_TRUE(seeker.screen.RenderUntil(isTold));
            }
        }
        playToEnd(last);  // nobody is told: it goes on with what loops now
        ASSERT_EQ(SetPlayRange(id, 11, 14, 1), 1);
        for (const std::int64_t frame : {11, 14, 12}) {
            ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() == frame; })) << last;
        }
        EXPECT_TRUE(isTold());
        playToEnd(last);
        ASSERT_EQ(SetPlayRange(id, 0, -1, 0), 1);  // as it was opened
        ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() == 3; })) << last;
    }
}

TEST_P(CountingTest, ARangeSetElsewhereBeginsAtItsOwnPace) {
    Seeker seeker;
    ASSERT_TRUE(seeker.player.Play());
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() >= 40; }));
    ASSERT_EQ(SetPlayRange(seeker.player.Id(), 5, 9, 1), 1);
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() == 5; }));
    const auto start = std::chrono::steady_clock::now();
    const std::size_t before = seeker.screen.shown.size();
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.shown.size() >= before + 25; }));
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30)) << "of frames of 2 ms";
}

/// Without render events pictures pile up on the surface; none of them is taken for the target.
TEST_P(CountingTest, WhatPiledUpOnTheSurfaceIsNotShown) {
    Seeker seeker;
    ASSERT_TRUE(seeker.player.Play());
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return seeker.screen.Picture() >= 2; }));
    for (const std::int64_t frame : {40, 13, 22}) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // until there are as many as there are slots
        seeker.GoTo(frame, 0);
    }
}

TEST_F(SeekTest, WhatIsInThePipelineIsNotFetchedAgain) {
    Seeker seeker;
    seeker.GoTo(20);
    const int flushes = Fake::Calls("MLMediaCodecFlush video");
    seeker.GoTo(21);  // fed already
    seeker.ExpectDone(seeker.Await(StepQuorObject(seeker.player.Id(), 1)), 22);
    seeker.GoTo(24);
    seeker.GoTo(23 + 6);  // ahead, across a key picture that comes next
    EXPECT_EQ(Fake::Calls("MLMediaCodecFlush video"), flushes);
    seeker.ExpectDone(seeker.Await(StepQuorObject(seeker.player.Id(), -1)), 28);
    EXPECT_GT(Fake::Calls("MLMediaCodecFlush video"), flushes);
    // Shown already: done without going anywhere; what is read ahead meanwhile is no part of it.
    const int seeks = Fake::Calls("MLMediaExtractorSeekTo");
    const std::int64_t ticket = SeekQuorObject(seeker.player.Id(), 28, NimbSeekOption_Pause);
    NimbSeekEnd end{};
    ASSERT_EQ(TakeSeekEnd(seeker.player.Id(), &end), 1);
    EXPECT_EQ(end.ticket, ticket);
    seeker.ExpectDone(end, 28);
    EXPECT_GT(seeks, 0);
    EXPECT_EQ(Fake::Calls("MLMediaExtractorSeekTo"), seeks);
}

TEST_F(SeekTest, TheNewestWinsAndNoneIsForgotten) {
    Seeker seeker;
    std::int64_t last = 0;
    for (std::int64_t frame = 0; frame < 50; ++frame) {
        last = SeekQuorObject(seeker.player.Id(), frame, NimbSeekOption_Pause);
        EXPECT_EQ(last, frame + 1);
    }
    seeker.ExpectDone(seeker.Await(last), 49);
    EXPECT_EQ(seeker.ended.size(), 50u);
    EXPECT_EQ(seeker.screen.shown, Matching(49, 49));

    NimbSeekEnd end = seeker.Await(SeekQuorObject(seeker.player.Id(), 60, 0));
    EXPECT_EQ(end.result, NimbSeekResult_Failed);
    EXPECT_EQ(end.reason, NimbSeekReason_OutOfRange);
    end = seeker.Await(SeekQuorObject(seeker.player.Id(), 33, NimbSeekOption_Pause | NimbSeekOption_NearestKey));
    seeker.ExpectDone(end, 35);
    end = seeker.Await(SeekQuorObjectToTime(seeker.player.Id(), 259999, NimbSeekOption_Pause));
    seeker.ExpectDone(end, 12);

    std::int64_t ticket = SeekQuorObject(seeker.player.Id(), 3, 0);
    ASSERT_TRUE(seeker.player.Rewind());
    EXPECT_EQ(seeker.Await(ticket).result, NimbSeekResult_Superseded);
    ticket = SeekQuorObject(seeker.player.Id(), 3, 0);
    ASSERT_TRUE(seeker.player.Close());
    end = seeker.Await(ticket);
    EXPECT_EQ(end.result, NimbSeekResult_Failed);
    EXPECT_EQ(end.reason, NimbSeekReason_Closed);
    EXPECT_EQ(SeekQuorObject(seeker.player.Id(), 3, 0), 0);
    EXPECT_EQ(SeekQuorObject(seeker.player.Id() + 1000, 3, 0), 0);
}

TEST_F(SeekTest, WhatCannotBeShownFailsForItsReason) {
    ClipOptions options = Clip();
    options.deltaFrames = false;
    options.withoutMesh = {7};
    options.damagedMesh = {31};
    Seeker seeker(options);
    for (const std::int64_t frame : {7, 31}) {
        const NimbSeekEnd end = seeker.Await(SeekQuorObject(seeker.player.Id(), frame, NimbSeekOption_Pause));
        EXPECT_EQ(end.result, NimbSeekResult_Failed) << frame;
        EXPECT_EQ(end.reason, NimbSeekReason_NoMesh) << frame;
        for (const std::int64_t next : {frame + 1, frame + 2, frame - 1}) {
            seeker.GoTo(next);
        }
        // The same when it is in the pipeline already, and its mesh has been lost.
        const NimbSeekEnd step = seeker.Await(StepQuorObject(seeker.player.Id(), 1));
        EXPECT_EQ(step.reason, NimbSeekReason_NoMesh) << frame;
        for (std::int64_t next = frame + 1; next < frame + 5; ++next) {
            seeker.ExpectDone(seeker.Await(StepQuorObject(seeker.player.Id(), 1)), next);
        }
    }
    Fake::TheScript().undecodable = 47;
    const NimbSeekEnd end = seeker.Await(SeekQuorObject(seeker.player.Id(), 46, NimbSeekOption_Pause));
    EXPECT_EQ(end.reason, NimbSeekReason_NoPicture);
    Fake::TheScript().undecodable = 0;
    seeker.GoTo(46);

    Player other;  // a file without an index
    ASSERT_TRUE(other.Open(AddFile(MakeClip(Clip()))));
    NimbSeekEnd refused{};
    ASSERT_GT(SeekQuorObject(other.Id(), 3, 0), 0);
    ASSERT_EQ(TakeSeekEnd(other.Id(), &refused), 1);
    EXPECT_EQ(refused.reason, NimbSeekReason_NoIndex);
    EXPECT_EQ(SetPlayRange(other.Id(), 0, 3, 1), 0);
}

TEST_F(SeekTest, SoundStartsAtTheFrame) {
    ClipOptions options = Clip();
    options.audioSamples = 60;
    options.audioBytes = 384;  // 2 ms
    Seeker seeker(options);
    ASSERT_TRUE(seeker.player.Play());
    ASSERT_TRUE(seeker.screen.RenderUntil([&] { return !Fake::PlayedSound().empty(); }));
    ASSERT_TRUE(seeker.player.Pause());
    const Fake::Bytes sound = SoundOf(MakeClip(options));
    for (const std::int64_t frame : {40, 12, 33}) {
        seeker.GoTo(frame);
        Fake::ForgetPlayedSound();
        ASSERT_TRUE(seeker.player.Play());
        ASSERT_TRUE(seeker.screen.RenderUntil([&] { return Fake::PlayedSound().size() >= 3 * 384; }));
        ASSERT_TRUE(seeker.player.Pause());
        Fake::Bytes played = Fake::PlayedSound();
        played.resize(3 * 384);
        const Fake::Bytes expected(sound.begin() + frame * 384, sound.begin() + (frame + 3) * 384);
        EXPECT_TRUE(played == expected) << "from frame " << frame;
    }
}

/// Sound samples of 4 ms, of which a range has more or fewer than it lasts.
TEST_F(SeekTest, SoundStaysWithARangeThatIsRepeated) {
    ClipOptions options = Clip();
    options.audioSamples = 30;
    options.audioBytes = 768;
    for (const auto& [first, last] : {std::pair(23, 27), std::pair(24, 26)}) {
        Seeker seeker(options);
        Fake::TheScript().soundBufferBytes = 384;
        ASSERT_EQ(SetPlayRange(seeker.player.Id(), first, last, 1), 1);
        Fake::ForgetPlayedSound();
        seeker.ExpectDone(seeker.Await(SeekQuorObject(seeker.player.Id(), first, 0)), first);
        const std::size_t round = static_cast<std::size_t>(last - first + 1) * 384;
        ASSERT_TRUE(seeker.screen.RenderUntil([&] { return Fake::PlayedSound().size() >= 8 * round; }));
        const Fake::Bytes played = Fake::PlayedSound();
        const auto at = [&](std::size_t rounds) {
            return played.begin() + static_cast<std::ptrdiff_t>(rounds * round);
        };
        EXPECT_TRUE(std::equal(at(2), at(7), at(1))) << "frames " << first << " to " << last;
    }
}

/// Every call of the platform fails once, at every place at which a request makes it.
TEST_F(SeekTest, NoRefusalOfThePlatformLosesATicket) {
    ClipOptions options = Clip();
    options.audioSamples = 60;
    for (const std::string call :
         {"MLMediaExtractorSeekTo", "MLMediaExtractorAdvance", "MLMediaExtractorGetSampleTrackIndex",
          "MLMediaExtractorGetSampleTime", "MLMediaExtractorReadSampleData", "MLMediaCodecFlush video",
          "MLMediaCodecFlush audio", "MLMediaCodecDequeueInputBuffer video", "MLMediaCodecGetInputBufferPointer video",
          "MLMediaCodecQueueInputBuffer video", "MLMediaCodecQueueInputBuffer audio",
          "MLMediaCodecDequeueOutputBuffer video", "MLMediaCodecReleaseOutputBuffer video",
          "MLMediaCodecAcquireNextAvailableFrame video", "MLMediaCodecGetFrameNumber video",
          "MLMediaCodecGetOutputBufferPointer audio"}) {
        for (const int skip : {0, 1, 5}) {
            Seeker seeker(options);
            seeker.GoTo(11);
            Fake::Fail(call, MLResult_UnspecifiedFailure, skip, 1);
            const NimbSeekEnd end = seeker.Await(SeekQuorObject(seeker.player.Id(), 33, NimbSeekOption_Pause));
            EXPECT_NE(end.result, NimbSeekResult_Superseded);
            if (end.result == NimbSeekResult_Done) {
                EXPECT_EQ(seeker.screen.shown.back(), (std::pair<std::int64_t, std::int64_t>(33, 33)))
                    << call << ", after " << skip;
            }
            seeker.GoTo(18);
            ASSERT_FALSE(HasFailure()) << call << ", after " << skip;
        }
    }
}

/// Requests among everything else that scripts do, while render events come from another thread.
TEST_F(SeekTest, EveryTicketEndsWhateverElseHappens) {
    ClipOptions options = Clip();
    options.audioSamples = 60;
    Seeker seeker(options, true);
    const std::string path = AddIndexedFile(options);
    Fake::SetChaos(3, 2, 20, 500);
    std::mt19937 random(11);
    std::set<std::int64_t> open;
    std::int64_t newest = 0;
    std::vector<NimbSeekEnd> ends;
    const auto take = [&] {
        for (NimbSeekEnd end{}; TakeSeekEnd(seeker.player.Id(), &end) != 0;) {
            EXPECT_EQ(open.erase(end.ticket), 1u) << "ticket " << end.ticket;
            ends.push_back(end);
        }
    };
    for (int i = 0; i < 400 && !HasFailure(); ++i) {
        switch (random() % 12) {
            case 0:
                seeker.player.Play();
                break;
            case 1:
                seeker.player.Pause();
                break;
            case 2:
                seeker.player.Rewind();
                break;
            case 3:
                if (random() % 4 == 0) {
                    seeker.player.Close();
                    ASSERT_TRUE(WaitFor([&] { return seeker.player.Open(path, true); }));
                }
                break;
            case 4:
                SetClockScale(seeker.player.Id(), random() % 2 == 0 ? 1.0f : 2.0f);
                break;
            case 5:
                SetPlayRange(seeker.player.Id(), 10, random() % 2 == 0 ? 20 : -1, 1);
                break;
            default:
                newest = SeekQuorObject(seeker.player.Id(), static_cast<std::int64_t>(random() % 60),
                                        static_cast<std::uint32_t>(random() % 4));
                ASSERT_GT(newest, 0);
                open.insert(newest);
        }
        for (auto event = random() % 6; event > 0; --event) {
            OnUnityRenderModeEvent(seeker.player.Id());
        }
        if (random() % 4 == 0 && seeker.player.State() != NimbState_Closed) {
            EXPECT_TRUE(seeker.screen.RenderUntil([&] {
                take();
                return open.empty();
            })) << open.size()
                << " tickets are open";
        }
    }
    Fake::SetChaos(0, 0, 0, 0);
    ASSERT_TRUE(seeker.screen.RenderUntil([&] {
        take();
        return open.empty();
    })) << open.size()
        << " tickets are open";
    ASSERT_TRUE(seeker.player.Open(path, true));  // a refusal may have left one that was opened without a track
    seeker.GoTo(37);
    const auto done =
        std::count_if(ends.begin(), ends.end(), [](const NimbSeekEnd& e) { return e.result == NimbSeekResult_Done; });
    EXPECT_GT(done, 30);
}

/// A script may hand its calls to workers, one after the other, while the engine's threads go on.
TEST_F(SeekTest, CallsMayComeFromAnyThreadOneAtATime) {
    ClipOptions options = Clip();
    options.audioSamples = 60;
    const std::string path = AddIndexedFile(options);
    Player player;
    Screen screen(player);
    std::atomic<bool> isOver{false};
    std::thread engine([&] {
        while (!isOver) {
            OnUnityRenderModeEvent(player.Id());
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
    });
    const auto onWorker = [](const auto& call) { return std::async(std::launch::async, call).get(); };
    const auto ends = [&](std::int64_t ticket) {
        NimbSeekEnd end{};
        EXPECT_TRUE(WaitFor([&] {
            return onWorker([&] { return TakeSeekEnd(player.Id(), &end); }) != 0 && end.ticket == ticket;
        })) << ticket;
        return end;
    };
    for (int round = 0; round < 8; ++round) {
        ASSERT_TRUE(onWorker([&] { return player.Open(path, true); }));
        for (const std::int64_t frame : {31, 12}) {
            const std::int64_t ticket = onWorker([&] { return SeekQuorObject(player.Id(), frame, 0); });
            EXPECT_EQ(ends(ticket).result, NimbSeekResult_Done);
        }
        EXPECT_TRUE(onWorker([&] { return player.Pause(); }));
        const std::int64_t ticket = onWorker([&] { return StepQuorObject(player.Id(), -3); });
        if (round % 2 == 0) {
            EXPECT_TRUE(onWorker([&] { return player.Rewind(); }));
        }
        EXPECT_TRUE(onWorker([&] { return player.Close(); }));
        EXPECT_EQ(ends(ticket).ticket, ticket);
    }
    isOver = true;
    engine.join();
}

}  // namespace
